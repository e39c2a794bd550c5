#include "platform/WatchBeginning.h"

#include <ctime>

#include "platform/linux/mounts/MountTable.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

FolderMoment folderMomentNow() {
    timespec time{};
    ::clock_gettime(CLOCK_REALTIME_COARSE, &time);
    return FolderMoment(std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec));
}

WatchBeginning watchBeginningNow() {
    return {.time = folderMomentNow(), .mounts = MountTable::currentMountInfo()};
}

}  // namespace larkfold
