// The outcome of a scan or of a load of the index. A value; the tree inside is shared.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "disk/FileNode.h"
#include "disk/ScanError.h"
#include "platform/Date.h"
#include "platform/UUID.h"
#include "platform/Volumes.h"

namespace larkfold {

struct ScanResult {
    UUID id = UUID::make();
    std::shared_ptr<FileNode> rootNode;  // never null in a result that was delivered
    Date scanDate = now();
    std::int64_t totalSize = 0;  // bytes on disk
    std::int64_t totalFiles = 0;
    std::int64_t totalDirectories = 0;
    double scanDuration = 0;  // seconds; 0 for a result that was loaded
    std::string rootPath;     // bytes, as the root was given
    std::vector<ScanError> errors;
    std::int64_t unreadablePlaces = 0;  // of a result that was loaded: for how many its one error stands
    std::optional<std::int64_t> volumeCapacity;   // bytes, at the time of the result
    std::optional<std::int64_t> volumeAvailable;  // bytes
    std::int64_t hiddenItemsLeftOut =
        0;  // names left out by `skipHiddenFiles`; 0 for a result that was loaded

    // Files and directories of a subtree; an aggregate counts for all the files that it stands for.
    struct NodeCounts {
        std::int64_t files = 0;
        std::int64_t directories = 0;
        bool operator==(const NodeCounts&) const = default;
    };
    static NodeCounts countNodes(const FileNode& node);

    // The totals of the tree as it is now, and its volume's capacity.
    void takeTotals(const VolumeCapacity& capacity);

    // A text for the user where the mapped total of the whole disk cannot be physical; nothing otherwise.
    std::optional<std::string> capacityNotice() const;
};

}  // namespace larkfold
