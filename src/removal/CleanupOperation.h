// The record of one run of the gate: what was asked for, where each item went, what failed, how much data it
// held and how free space moved. A value; it may cross threads.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/Date.h"
#include "platform/UUID.h"

namespace larkfold {

struct CleanupOperation {
    struct Item {
        std::string originalPath;                  // bytes
        std::optional<std::string> trashPath;      // where Trash put it; absent where it is not there
        std::optional<std::int64_t> logicalBytes;  // measured just before the removal; absent where unknown
        std::optional<std::string> error;          // why it failed, for the user; absent on success

        bool operator==(const Item&) const = default;
    };

    struct VolumeChange {
        std::string path;                    // mount point, bytes
        std::optional<std::int64_t> before;  // free bytes before the run; absent where unknown
        std::optional<std::int64_t> after;   // free bytes after the run; absent where unknown

        bool operator==(const VolumeChange&) const = default;
    };

    UUID id;
    Date startedAt;   // before the volumes were measured
    Date finishedAt;  // after the last volume was measured
    std::string source;
    bool permanent = false;
    std::vector<Item> items;            // one per item handled, in processing order
    std::vector<VolumeChange> volumes;  // one per affected volume, in path order

    // How many items have no error.
    std::int64_t succeededCount() const;

    // The bytes of the items without an error, as far as they were measured.
    std::int64_t dataProcessed() const;

    // Whether an item without an error was not measured.
    bool hasPartialMeasurement() const;

    // By how many bytes the free space of all volumes grew (negative: other programs wrote meanwhile); absent
    // where there is no volume or one of them was not measured.
    std::optional<std::int64_t> freeSpaceChange() const;

    bool operator==(const CleanupOperation&) const = default;
};

}  // namespace larkfold
