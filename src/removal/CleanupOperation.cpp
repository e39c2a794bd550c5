#include "removal/CleanupOperation.h"

#include <algorithm>
#include <limits>

namespace larkfold {

namespace {

// Sums of what a file on disk may claim: they stop at the ends of the type.
std::int64_t sum(std::int64_t left, std::int64_t right) {
    std::int64_t result;
    if (!__builtin_add_overflow(left, right, &result)) {
        return result;
    }
    return left < 0 ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
}

std::int64_t difference(std::int64_t left, std::int64_t right) {
    std::int64_t result;
    if (!__builtin_sub_overflow(left, right, &result)) {
        return result;
    }
    return left < 0 ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
}

}  // namespace

std::int64_t CleanupOperation::succeededCount() const {
    return std::count_if(items.begin(), items.end(), [](const Item& item) { return !item.error; });
}

std::int64_t CleanupOperation::dataProcessed() const {
    std::int64_t bytes = 0;
    for (const Item& item : items) {
        if (!item.error) {
            bytes = sum(bytes, item.logicalBytes.value_or(0));
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
        bytes = sum(bytes, difference(*volume.after, *volume.before));
    }
    return bytes;
}

}  // namespace larkfold
