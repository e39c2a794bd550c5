#include "platform/FileIdentity.h"

#include <fcntl.h>
#include <sys/stat.h>

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

std::optional<FileIdentity> FileIdentity::of(const std::string& path) {
    struct stat values{};
    if (fstatat(AT_FDCWD, path.c_str(), &values, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT) != 0) {
        return std::nullopt;
    }
    return FileIdentity{.volume = values.st_dev, .file = values.st_ino};
}

}  // namespace larkfold
