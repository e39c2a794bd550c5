// What the file list is narrowed to.
#pragma once

#include <cstdint>
#include <string>

namespace larkfold {

struct FileListFilter {
    std::int64_t minimumSize = 0;  // bytes on disk
    std::string extensionFilter;   // comma-separated, dots and blanks around each ignored
    std::string locationFilter;    // text that the path contains, case ignored by the locale
    int olderThanDays = 0;         // below 1: off

    bool operator==(const FileListFilter&) const = default;
};

}  // namespace larkfold
