// The moment from which a watch counts changes that happened before it stood. It is taken before what is to
// be kept up to date is read. Safe from any thread.
#pragma once

#include <chrono>
#include <string>

namespace larkfold {

// A moment by the clock that dates the changes of folders, which lags some milliseconds behind others.
using FolderMoment = std::chrono::sys_time<std::chrono::nanoseconds>;
FolderMoment folderMomentNow();

struct WatchBeginning {
    FolderMoment time;
    // What was mounted, in the system's own words. No date of a folder tells that something was mounted over
    // it, or unmounted. Empty: unknown.
    std::string mounts;

    bool operator==(const WatchBeginning&) const = default;
};

// Reads the system's list of mounts and looks at none of them. Not for the main thread: the list has a lock,
// which is held while somebody mounts.
WatchBeginning watchBeginningNow();

}  // namespace larkfold
