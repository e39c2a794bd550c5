#include "removal/CleanupOperation.h"

#include <algorithm>

#include "platform/SaturatingSum.h"

namespace larkfold {

std::int64_t CleanupOperation::succeededCount() const {
    return std::count_if(items.begin(), items.end(), [](const Item& item) { return !item.error; });
}

std::int64_t CleanupOperation::dataProcessed() const {
    std::int64_t bytes = 0;
    for (const Item& item : items) {
        if (!item.error) {
            bytes = saturatingSum(bytes, item.logicalBytes.value_or(0));
        }
    }
    return bytes;
}

bool CleanupOperation::hasPartialMeasurement() const {
    return std::any_of(items.begin(), items.end(),
                       [](const Item& item) { return !item.error && !item.logicalBytes; });
}

std::optional<std::int64_t> CleanupOperation::freeSpaceChange() const {
    if (volumes.empty()) {
        return std::nullopt;
    }
    std::int64_t bytes = 0;
    for (const VolumeChange& volume : volumes) {
        if (!volume.before || !volume.after) {
            return std::nullopt;
        }
        bytes = saturatingSum(bytes, saturatingDifference(*volume.after, *volume.before));
    }
    return bytes;
}

}  // namespace larkfold
