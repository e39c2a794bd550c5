// What the file list is narrowed to, and the test of nodes against it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/Collation.h"
#include "platform/Date.h"

namespace larkfold {

class FileNode;

struct FileListFilter {
    std::int64_t minimumSize = 0;   // bytes on disk
    std::string extensionFilter{};  // comma-separated, dots and blanks around each ignored
    std::string locationFilter{};   // text that the path contains, case ignored by the locale
    int olderThanDays = 0;          // below 1: off

    bool operator==(const FileListFilter&) const = default;
};

// A filter made ready for many nodes: its texts are taken apart once. Serves one thread.
class FileListMatcher {
public:
    FileListMatcher(const FileListFilter& filter, Date now);

    // Without a filter everything passes; with an extension filter directories and aggregates never do.
    bool accepts(const FileNode& node) const;

private:
    std::int64_t minimumSize_;
    std::vector<std::string> extensions_;  // lower case, sorted, none empty
    std::optional<TextMatcher> location_;  // absent: any
    std::optional<Date> modifiedBefore_;   // absent: any
};

}  // namespace larkfold
