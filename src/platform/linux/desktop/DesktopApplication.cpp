#include "platform/DesktopApplication.h"

#include <limits.h>
#include <unistd.h>

#include <array>

#include "platform/linux/desktop/DesktopEntryCatalogue.h"
#include "platform/linux/process/RunningProcesses.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

std::vector<DesktopApplication> runningDesktopApplications() {
    std::array<char, PATH_MAX> own;
    const ssize_t length = ::readlink("/proc/self/exe", own.data(), own.size());
    const RunningProcesses processes{
        .folder = "/proc",
        .user = ::geteuid(),
        .ownExecutable =
            length <= 0 ? std::string() : std::string(own.data(), static_cast<std::size_t>(length))};
    return processes.applications(*DesktopEntryCatalogue::current());
}

}  // namespace larkfold
