// The clock of folders' dates moves in steps of some milliseconds, and may lag behind the finer one that a
// system gives to whatever somebody has just asked the date of.
#pragma once

#include <ctime>

#include "platform/WatchBeginning.h"

namespace larkfold::test {

// Until what happens from now on bears a later date than all that has happened.
inline void awaitNextFolderMoment() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const FolderMoment before(std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec));
    while (folderMomentNow() <= before) {
    }
}

}  // namespace larkfold::test
