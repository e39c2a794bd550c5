#include "platform/linux/walk/PathDescriptors.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <utility>

#include "platform/linux/calls/SystemCalls.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold::path_descriptors {

namespace {

using system_calls::uninterrupted;

// The kernel gives up with EAGAIN where folders are renamed or mounted while it makes sure that
// it stays below.
constexpr int mostAttempts = 100;

FileDescriptor openPiece(int folder, const char* path, int flags, unsigned resolve) {
    open_how how{};
    how.flags = static_cast<unsigned>(flags | O_CLOEXEC);
    how.resolve = resolve;
    for (int attempt = 0;; ++attempt) {
        const long descriptor =
            uninterrupted([&] { return ::syscall(SYS_openat2, folder, path, &how, sizeof how); });
        if (descriptor >= 0) {
            return FileDescriptor(static_cast<int>(descriptor));
        }
        if (errno != EAGAIN || attempt == mostAttempts || (resolve & RESOLVE_CACHED) != 0) {
            return {};
        }
    }
}

int renameWithoutReplacing(int fromFolder, const char* fromName, int toFolder, const char* toName) {
    // Not by the library's own function, which tells a call that the kernel does not know as another error.
    const long result = uninterrupted(
        [&] { return ::syscall(SYS_renameat2, fromFolder, fromName, toFolder, toName, RENAME_NOREPLACE); });
    return result == 0 ? 0 : errno;
}

// For file systems that do not know the flag.
int moveOntoPlaceholder(int fromFolder, const char* fromName, int toFolder, const char* toName,
                        bool isDirectory) {
    if (isDirectory) {
        if (::mkdirat(toFolder, toName, 0700) != 0) {
            return errno;
        }
    } else {
        const FileDescriptor taken(
            ::openat(toFolder, toName, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
        if (!taken) {
            return errno;
        }
    }
    // A folder replaces an empty one only, so nothing can be lost there; of a file the name was taken an
    // instant ago.
    if (uninterrupted([&] { return ::renameat(fromFolder, fromName, toFolder, toName); }) == 0) {
        return 0;
    }
    const int problem = errno;
    struct stat values;
    const bool isStillEmpty = ::fstatat(toFolder, toName, &values, AT_SYMLINK_NOFOLLOW) == 0 &&
                              (isDirectory || (S_ISREG(values.st_mode) && values.st_size == 0));
    if (isStillEmpty) {
        ::unlinkat(toFolder, toName, isDirectory ? AT_REMOVEDIR : 0);
    }
    return problem;
}

}  // namespace

std::optional<FileStatus> statusOf(int descriptor) {
    struct statx values;
    if (::statx(descriptor, "", AT_EMPTY_PATH | AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT,
                STATX_BASIC_STATS | STATX_BTIME | STATX_MNT_ID, &values) != 0) {
        return std::nullopt;
    }
    return FileStatus{
        .identity = {makedev(values.stx_dev_major, values.stx_dev_minor), values.stx_ino},
        .mount = values.stx_mnt_id,
        .mode = values.stx_mode,
        .owner = values.stx_uid,
        .links = values.stx_nlink,
        .size = static_cast<std::int64_t>(values.stx_size),
        .allocated = static_cast<std::int64_t>(values.stx_blocks) * 512,
        .modified = {values.stx_mtime.tv_sec, values.stx_mtime.tv_nsec},
        .changed = {values.stx_ctime.tv_sec, values.stx_ctime.tv_nsec},
        .madeAt = (values.stx_mask & STATX_BTIME) == 0
                      ? std::nullopt
                      : std::optional(values.stx_btime.tv_sec * 1'000'000'000 + values.stx_btime.tv_nsec),
    };
}

FileDescriptor openBelow(int folder, const std::string& path, int flags, bool mayCrossMounts) {
    const unsigned resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS |
                             (mayCrossMounts ? 0U : RESOLVE_NO_XDEV);
    FileDescriptor held;
    int at = folder;
    std::size_t from = 0;
    while (path.size() - from > longestPiece) {
        const std::size_t to = path.rfind('/', from + longestPiece);
        held = openPiece(at, path.substr(from, to - from).c_str(), O_PATH | O_DIRECTORY, resolve);
        if (!held) {
            return {};
        }
        at = held.get();
        from = to + 1;
    }
    const std::string rest = path.substr(from);
    return openPiece(at, rest.empty() ? "." : rest.c_str(), flags, resolve);
}

FileDescriptor openOnSameMount(int folder, const char* name, int flags) {
    FileDescriptor opened = openFromMemory(folder, name, flags);
    if (opened || errno != EAGAIN) {
        return opened;
    }
    // To open a place as such starts no automount, and nobody has to answer for it. What the memory answers
    // starts none either, so only here, where the name is read from the disk, it costs a call.
    if (!openPiece(folder, name, O_PATH | O_NOFOLLOW, RESOLVE_NO_XDEV)) {
        return {};
    }
    return openPiece(folder, name, flags | O_NOFOLLOW, RESOLVE_NO_XDEV);
}

FileDescriptor openFromMemory(int folder, const char* path, int flags) {
    FileDescriptor opened = openPiece(folder, path, flags | O_NOFOLLOW, RESOLVE_NO_XDEV | RESOLVE_CACHED);
    if (!opened && errno == EINVAL) {
        errno = EAGAIN;  // a kernel before 5.12, which does not tell what it has in memory
    }
    return opened;
}

FileDescriptor openWithoutLinks(const std::string& path, int flags) {
    const FileDescriptor root(::open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!root) {
        return {};
    }
    return openBelow(root.get(), path.substr(std::min(path.find_first_not_of('/'), path.size())), flags);
}

FileDescriptor openFolder(const std::string& path, int flags) {
    const auto open = [flags](int folder, const std::string& name) {
        return FileDescriptor(
            uninterrupted([&] { return ::openat(folder, name.c_str(), flags | O_DIRECTORY | O_CLOEXEC); }));
    };
    if (path.size() < longestPiece) {
        return open(AT_FDCWD, path);
    }
    FileDescriptor at = open(AT_FDCWD, "/");
    for (std::size_t from = path.find_first_not_of('/'); at && from < path.size();) {
        std::size_t to = path.size();
        if (to - from > longestPiece) {
            to = path.rfind('/', from + longestPiece);
        }
        if (to == std::string::npos || to <= from) {
            errno = ENAMETOOLONG;
            return {};
        }
        at = open(at.get(), path.substr(from, to - from));
        from = path.find_first_not_of('/', to);
    }
    return at;
}

FileDescriptor openPlace(int folder, const std::string& name) {
    return FileDescriptor(::openat(folder, name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
}

std::optional<HeldPlace> hold(int folder, const std::string& name) {
    FileDescriptor descriptor = openPlace(folder, name);
    const auto status = descriptor ? statusOf(descriptor.get()) : std::nullopt;
    return status ? std::optional<HeldPlace>({std::move(descriptor), *status}) : std::nullopt;
}

std::expected<DurableIdentity, int> identityOfFolder(const std::string& path) {
    const FileDescriptor folder = openFolder(path, O_PATH);
    const auto status = folder ? statusOf(folder.get()) : std::nullopt;
    if (!status) {
        return std::unexpected(errno);
    }
    return status->durableIdentity();
}

std::optional<FileIdentity> identityAt(int folder, const std::string& name) {
    struct stat values;
    if (::fstatat(folder, name.c_str(), &values, AT_SYMLINK_NOFOLLOW | AT_EMPTY_PATH) == 0) {
        return FileIdentity{values.st_dev, values.st_ino};
    }
    struct statx more;
    if (::statx(folder, name.c_str(), AT_SYMLINK_NOFOLLOW | AT_EMPTY_PATH, STATX_INO, &more) == 0) {
        return FileIdentity{makedev(more.stx_dev_major, more.stx_dev_minor), more.stx_ino};
    }
    return std::nullopt;
}

std::optional<FileIdentity> identityOf(int descriptor) {
    struct stat values;
    if (::fstat(descriptor, &values) != 0) {
        return std::nullopt;
    }
    return FileIdentity{values.st_dev, values.st_ino};
}

FileDescriptor openAgain(int descriptor, int flags) {
    return FileDescriptor(
        uninterrupted([&] { return ::open(pathThrough(descriptor).c_str(), flags | O_CLOEXEC); }));
}

std::string pathThrough(int descriptor) {
    return "/proc/self/fd/" + std::to_string(descriptor);
}

std::optional<std::string> currentPath(int descriptor) {
    // The system tells no path that would fill this, and refuses instead of cutting it short.
    std::array<char, PATH_MAX> path;
    const ssize_t length = ::readlink(pathThrough(descriptor).c_str(), path.data(), path.size());
    if (length <= 0) {
        return std::nullopt;
    }
    return std::string(path.data(), static_cast<std::size_t>(length));
}

int moveWithoutReplacing(int fromFolder, const std::string& fromName, int toFolder, const std::string& toName,
                         bool isDirectory) {
    const int problem = renameWithoutReplacing(fromFolder, fromName.c_str(), toFolder, toName.c_str());
    if (problem != EINVAL && problem != ENOSYS) {
        return problem;
    }
    return moveOntoPlaceholder(fromFolder, fromName.c_str(), toFolder, toName.c_str(), isDirectory);
}

}  // namespace larkfold::path_descriptors
