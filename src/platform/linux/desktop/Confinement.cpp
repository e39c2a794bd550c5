#include "platform/Confinement.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string_view>

#include "platform/StandardFolders.h"
#include "platform/linux/calls/CallWithTimeout.h"
#include "platform/linux/calls/FileDescriptor.h"
#include "platform/linux/userfiles/SecurityLabel.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

namespace {

std::string securityLabelOfThisProcess() {
    const FileDescriptor descriptor(::open("/proc/self/attr/current", O_RDONLY | O_CLOEXEC));
    std::array<char, 512> buffer;
    const ssize_t length = descriptor ? ::read(descriptor.get(), buffer.data(), buffer.size()) : -1;
    return length <= 0 ? std::string() : std::string(buffer.data(), static_cast<std::size_t>(length));
}

bool canList(const std::string& folder) {
    DIR* stream = ::opendir(folder.c_str());
    if (stream == nullptr) {
        return false;
    }
    errno = 0;
    const bool listed = ::readdir(stream) != nullptr || errno == 0;
    ::closedir(stream);
    return listed;
}

}  // namespace

Confinement currentConfinement() {
    // Every Flatpak sandbox has this file, and nothing outside of one.
    if (::access("/.flatpak-info", F_OK) == 0) {
        return Confinement::flatpak;
    }
    return isConfiningSnapLabel(securityLabelOfThisProcess()) ? Confinement::snap : Confinement::none;
}

bool probeFullDiskAccess() {
    if (currentConfinement() != Confinement::none) {
        return false;
    }
    // A home folder may lie on a server that is gone.
    return callWithTimeout<bool>([home = realHomeDirectory()] { return canList(home); }).value_or(false);
}

}  // namespace larkfold
