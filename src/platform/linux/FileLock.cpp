#include "platform/FileLock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <thread>

#include "platform/Error.h"
#include "platform/linux/FileDescriptor.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold::own_files {

namespace {

using Clock = std::chrono::steady_clock;

// A waiter looks again after so long: at first at once, since a holder is done within a few milliseconds.
constexpr std::chrono::milliseconds shortestPause{1};
constexpr std::chrono::milliseconds longestPause{16};

}  // namespace

struct FileLock::Impl {
    FileDescriptor descriptor;
};

FileLock::FileLock(const std::string& file, std::chrono::milliseconds wait)
    : impl_(std::make_unique<Impl>()) {
    using Operation = SystemError::Operation;
    const std::string place = file + ".lock";
    // For writing, although nothing is written: network file systems grant an exclusive lock only then. Not
    // blocking: a pipe may stand there.
    int descriptor;
    do {
        descriptor =
            ::open(place.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY, 0600);
    } while (descriptor < 0 && errno == EINTR);
    if (descriptor < 0) {
        throw SystemError(Operation::create, errno, place);
    }
    impl_->descriptor.reset(descriptor);
    // Asked again and again rather than waited for in the kernel: that wait has no end of its own.
    const auto end = Clock::now() + wait;
    auto pause = shortestPause;
    while (::flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR) {
            throw SystemError(Operation::open, errno, place);
        }
        if (Clock::now() >= end) {
            throw SystemError(Operation::open, EBUSY, file);
        }
        std::this_thread::sleep_for(pause);
        pause = std::min(pause * 2, longestPause);
    }
}

// Closing releases: no other descriptor stands for this opening.
FileLock::~FileLock() = default;

}  // namespace larkfold::own_files
