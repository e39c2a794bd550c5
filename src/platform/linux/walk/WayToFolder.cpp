#include "platform/linux/walk/WayToFolder.h"

#include <fcntl.h>

#include <cerrno>
#include <memory>
#include <utility>

#include "platform/linux/calls/CallWithTimeout.h"
#include "platform/linux/calls/SystemCalls.h"
#include "platform/linux/walk/PathDescriptors.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

namespace {

constexpr int readFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW;

FileDescriptor ifSame(FileDescriptor opened, const std::optional<FileIdentity>& identity) {
    if (opened && path_descriptors::identityOf(opened.get()) != identity) {
        opened.reset();
        errno = ESTALE;
    }
    return opened;
}

FileDescriptor openAcrossMounts(int from, const std::string& path) {
    return path == ".." ? FileDescriptor(system_calls::uninterrupted(
                              [&] { return ::openat(from, path.c_str(), readFlags); }))
                        : path_descriptors::openBelow(from, path, readFlags);
}

// A path that is too long for one call counts as one that the kernel has not in memory.
FileDescriptor openWithoutWaiting(int from, const std::string& path) {
    if (path == "..") {
        return path_descriptors::openOnSameMount(from, path.c_str(), readFlags);
    }
    if (path.size() > path_descriptors::longestPiece) {
        errno = EAGAIN;
        return {};
    }
    return path_descriptors::openFromMemory(from, path.c_str(), readFlags);
}

}  // namespace

FileDescriptor WayToFolder::open(std::chrono::milliseconds wait, const std::stop_token& stop) const {
    if (!mayFailToAnswer) {
        FileDescriptor opened = ifSame(openWithoutWaiting(from, path), identity);
        const bool mayLieFurther = !opened && path != ".." && (errno == EAGAIN || errno == EXDEV);
        if (!mayLieFurther) {
            return opened;
        }
    }
    struct Answer {
        std::shared_ptr<FileDescriptor> folder;
        int error = 0;
    };
    const auto held = std::make_shared<FileDescriptor>(::fcntl(from, F_DUPFD_CLOEXEC, 0));
    if (!*held) {
        return {};
    }
    const auto answer = callWithTimeout<Answer>(
        [held, path = path, identity = identity] {
            auto folder =
                std::make_shared<FileDescriptor>(ifSame(openAcrossMounts(held->get(), path), identity));
            const int error = *folder ? 0 : errno;
            return Answer{.folder = std::move(folder), .error = error};
        },
        wait, stop,
        mayFailToAnswer ? call_with_timeout::mostAbandonedForListing : call_with_timeout::mostAbandoned);
    if (!answer || answer->error != 0) {
        errno = answer ? answer->error : ETIMEDOUT;
        return {};
    }
    return std::move(*answer->folder);
}

}  // namespace larkfold
