#include "disk/ScanResult.h"

#include <algorithm>

#include "platform/Path.h"
#include "platform/SystemWords.h"

namespace larkfold {

ScanResult::NodeCounts ScanResult::countNodes(const FileNode& node) {
    NodeCounts counts;
    node.forEachNode([&](const FileNode& each) {
        if (each.isDirectory()) {
            ++counts.directories;
        } else {
            counts.files = saturatingSum(counts.files, each.representedFileCount());
        }
    });
    return counts;
}

void ScanResult::takeTotals(const VolumeCapacity& capacity) {
    totalSize = rootNode->size();
    const NodeCounts counts = countNodes(*rootNode);
    totalFiles = counts.files;
    totalDirectories = counts.directories;
    volumeCapacity = capacity.total;
    volumeAvailable = capacity.available;
}

// Sizes are totalled per path, and neither hard links nor clones are told apart between files, so a
// total for the whole disk can exceed the disk. A little more than its capacity is ordinary: the
// disk changes while it is read.
std::optional<std::string> ScanResult::capacityNotice() const {
    constexpr std::int64_t leastSlack = 0x40000000;  // 1 GiB
    if (standardizedPath(rootPath) != "/" || !volumeCapacity || *volumeCapacity < 1) {
        return std::nullopt;
    }
    const std::int64_t slack = std::max(*volumeCapacity / 20, leastSlack);
    if (saturatingSum(*volumeCapacity, slack) < totalSize) {
        return std::string("The logical file map exceeds this volume's physical capacity. ") +
               systemWords().fileSystemStart +
               " clones or virtual paths may share storage, so mapped sizes are not all independently "
               "reclaimable.";
    }
    return std::nullopt;
}

}  // namespace larkfold
