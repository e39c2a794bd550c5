// What a scan is told to do.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace larkfold {

struct DiskScanOptions {
    bool skipHiddenFiles = true;
    std::vector<std::string> excludedPathPrefixes;  // absolute standardized paths
    bool skipSymbolicLinks = true;
    std::optional<std::size_t> maximumRetainedFiles;  // absent: no limit

    bool operator==(const DiskScanOptions&) const = default;
};

}  // namespace larkfold
