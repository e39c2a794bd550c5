// What the date of a folder says of a moment. Linux part of the platform layer only.
#pragma once

#include <chrono>
#include <cstdint>
#include <ctime>
#include <utility>

#include "platform/WatchBeginning.h"

namespace larkfold {

// Whether a folder of that date may have changed at or after `since`. Many file systems keep fewer digits
// than the clock has and cut off the others, which makes a change look older than it is: some keep
// hundredths, some whole seconds, some every other second. How many a date has shows in itself; one without a
// fraction may be any of the last two kinds. Where a file system keeps all digits that is a folder too many
// once in a long time, and never one too few.
inline bool mayBeSince(const timespec& date, FolderMoment since) {
    const auto wholeSeconds = std::chrono::floor<std::chrono::seconds>(since);
    std::int64_t seconds = wholeSeconds.time_since_epoch().count();
    std::int64_t nanoseconds = (since - wholeSeconds).count();
    if (date.tv_nsec == 0) {
        seconds -= ((seconds % 2) + 2) % 2;
        nanoseconds = 0;
    } else {
        std::int64_t step = 1;
        while (date.tv_nsec % (step * 10) == 0) {
            step *= 10;
        }
        nanoseconds -= nanoseconds % step;
    }
    // Compared in two parts: the date of a damaged or hostile file system need not fit into one.
    return std::pair<std::int64_t, std::int64_t>(date.tv_sec, date.tv_nsec) >=
           std::pair(seconds, nanoseconds);
}

}  // namespace larkfold
