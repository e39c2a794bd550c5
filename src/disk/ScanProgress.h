// The live counters of a scan.
#pragma once

#include <cstdint>
#include <string>

namespace larkfold {

struct ScanProgress {
    std::string currentPath;  // bytes
    std::int64_t filesScanned = 0;
    std::int64_t directoriesScanned = 0;  // the root not counted
    std::int64_t bytesScanned = 0;        // allocated sizes of files seen so far
    bool isComplete = false;

    bool operator==(const ScanProgress&) const = default;
};

}  // namespace larkfold
