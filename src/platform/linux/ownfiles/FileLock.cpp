#include "platform/FileLock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <thread>

#include "platform/Error.h"
#include "platform/linux/calls/FileDescriptor.h"
#include "platform/linux/calls/SystemCalls.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold::own_files {

namespace {

using Clock = std::chrono::steady_clock;
using system_calls::uninterrupted;

// A waiter looks again after so long: at first at once, since a holder is done within a few milliseconds.
constexpr std::chrono::milliseconds shortestPause{1};
constexpr std::chrono::milliseconds longestPause{16};

FileDescriptor openPlace(const std::string& place, int flags) {
    return FileDescriptor(uninterrupted(
        [&] { return ::open(place.c_str(), flags | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY, 0600); }));
}

// Tells 0, ECANCELED after a request to stop, EBUSY when the time was over, or another errno. Asked again and
// again rather than waited for in the kernel: that wait has no end of its own.
int lock(int descriptor, std::chrono::milliseconds wait, const std::stop_token& stop) {
    const auto end = Clock::now() + wait;
    auto pause = shortestPause;
    while (uninterrupted([&] { return ::flock(descriptor, LOCK_EX | LOCK_NB); }) != 0) {
        if (errno != EWOULDBLOCK) {
            return errno;
        }
        if (stop.stop_requested()) {
            return ECANCELED;
        }
        if (Clock::now() >= end) {
            return EBUSY;
        }
        std::this_thread::sleep_for(pause);
        pause = std::min(pause * 2, longestPause);
    }
    return 0;
}

}  // namespace

// Closing releases: no other descriptor stands for the same opening.

struct FileLock::Impl {
    FileDescriptor descriptor;
};

FileLock::FileLock(const std::string& file, std::chrono::milliseconds wait, const std::stop_token& stop)
    : impl_(std::make_unique<Impl>()) {
    using Operation = SystemError::Operation;
    const std::string place = file + ".lock";
    // For writing, although nothing is written: network file systems grant an exclusive lock only then. Not
    // blocking: a pipe may stand there.
    impl_->descriptor = openPlace(place, O_RDWR | O_CREAT);
    if (!impl_->descriptor) {
        throw SystemError(Operation::create, errno, place);
    }
    const int problem = lock(impl_->descriptor.get(), wait, stop);
    if (problem == ECANCELED) {
        throw CancellationError();
    }
    if (problem != 0) {
        throw SystemError(Operation::open, problem, problem == EBUSY ? file : place);
    }
}

FileLock::~FileLock() = default;

bool FileLock::isUnsupported(int code) {
    return code == EOPNOTSUPP || code == ENOLCK || code == ENOSYS;
}

struct FolderLock::Impl {
    FileDescriptor descriptor;
    std::optional<FileLock> file;
};

FolderLock::FolderLock(const std::string& folder, std::chrono::milliseconds wait, const std::stop_token& stop)
    : impl_(std::make_unique<Impl>()) {
    impl_->descriptor = openPlace(folder, O_RDONLY | O_DIRECTORY);
    if (!impl_->descriptor) {
        throw SystemError(SystemError::Operation::open, errno, folder);
    }
    const int problem = lock(impl_->descriptor.get(), wait, stop);
    if (problem == EBADF || FileLock::isUnsupported(problem)) {
        impl_->file.emplace(folder + "/", wait, stop);
    } else if (problem == ECANCELED) {
        throw CancellationError();
    } else if (problem != 0) {
        throw SystemError(SystemError::Operation::open, problem, folder);
    }
}

FolderLock::~FolderLock() = default;

}  // namespace larkfold::own_files
