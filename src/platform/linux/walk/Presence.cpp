#include "platform/Presence.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <utility>

#include "platform/linux/calls/CallWithTimeout.h"
#include "platform/linux/walk/PathDescriptors.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

namespace {

constexpr std::chrono::seconds answerTimeout{10};

Presence look(const std::string& path) {
    bool stands;
    struct stat values{};
    if (path.size() < PATH_MAX) {
        stands = ::fstatat(AT_FDCWD, path.c_str(), &values, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT) == 0;
    } else {
        const FileDescriptor item = path_descriptors::openWithoutLinks(path, O_PATH | O_NOFOLLOW);
        stands = item && ::fstat(item.get(), &values) == 0;
    }
    if (stands) {
        return S_ISLNK(values.st_mode) ? Presence::isLink : Presence::stands;
    }
    return errno == ENOENT || errno == ENOTDIR ? Presence::missing : Presence::unknown;
}

}  // namespace

Presence presenceOf(const std::string& path, std::stop_token stop) {
    return callWithTimeout<Presence>([path] { return look(path); }, answerTimeout, std::move(stop))
        .value_or(Presence::unknown);
}

}  // namespace larkfold
