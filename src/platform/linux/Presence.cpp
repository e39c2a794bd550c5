#include "platform/Presence.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <utility>

#include "platform/linux/ExpendableCall.h"
#include "platform/linux/PathDescriptors.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

namespace {

Presence look(const std::string& path) {
    bool stands;
    if (path.size() < PATH_MAX) {
        struct stat values{};
        stands = ::fstatat(AT_FDCWD, path.c_str(), &values, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT) == 0;
    } else {
        stands = static_cast<bool>(path_descriptors::openWithoutLinks(path, O_PATH | O_NOFOLLOW));
    }
    if (stands) {
        return Presence::stands;
    }
    return errno == ENOENT || errno == ENOTDIR ? Presence::missing : Presence::unknown;
}

}  // namespace

Presence presenceOf(const std::string& path, std::stop_token stop) {
    return expendable_call::run<Presence>([path] { return look(path); }, expendable_call::shortWait,
                                          std::move(stop))
        .value_or(Presence::unknown);
}

}  // namespace larkfold
