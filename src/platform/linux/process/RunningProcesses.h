// Which applications the processes below a folder like /proc belong to. The operation behind
// `runningDesktopApplications`, with its surroundings given from outside. Linux part of the platform layer
// only.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "platform/DesktopApplication.h"
#include "platform/linux/desktop/DesktopEntryCatalogue.h"

namespace larkfold {

struct RunningProcesses {
    std::string folder = "/proc";
    uid_t user = 0;             // whose processes count
    std::string ownExecutable;  // what belongs to this program is left out

    // A process belongs to the application that its unit, its sandbox or its snap names and to the one that
    // its executable belongs to, which may be two: an editor that was started in a terminal. Arguments and
    // environment are never read.
    std::vector<DesktopApplication> applications(const DesktopEntryCatalogue& catalogue) const;
};

}  // namespace larkfold
