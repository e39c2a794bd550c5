#include "platform/linux/userfiles/FileSHA256.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <memory>

#include "platform/Error.h"
#include "platform/SHA256.h"
#include "platform/linux/calls/FileDescriptor.h"
#include "platform/linux/calls/SystemCalls.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

std::string sha256OfDescriptor(int descriptor, const std::string& path, const std::stop_token& stop) {
    if (stop.stop_requested()) {
        throw CancellationError();
    }
    struct stat values;
    if (::fstat(descriptor, &values) != 0) {
        throw SystemError(SystemError::Operation::readAttributes, errno, path);
    }
    if (!S_ISREG(values.st_mode)) {
        throw SystemError(SystemError::Operation::read, S_ISDIR(values.st_mode) ? EISDIR : EOPNOTSUPP, path);
    }
    ::posix_fadvise(descriptor, 0, 0, POSIX_FADV_SEQUENTIAL);
    // By pread: the offset of a descriptor may be shared with whoever handed it over.
    const auto piece = std::make_unique_for_overwrite<std::byte[]>(fileSHA256PieceSize);
    SHA256 digest;
    off_t at = 0;
    for (;;) {
        const ssize_t count = system_calls::uninterrupted(
            [&] { return ::pread(descriptor, piece.get(), fileSHA256PieceSize, at); });
        if (count < 0) {
            throw SystemError(SystemError::Operation::read, errno, path);
        }
        if (stop.stop_requested()) {
            throw CancellationError();
        }
        if (count == 0) {
            return digest.finish();
        }
        digest.update({piece.get(), static_cast<std::size_t>(count)});
        at += count;
    }
}

std::string fileSHA256(const std::string& path, const std::stop_token& stop) {
    if (stop.stop_requested()) {
        throw CancellationError();
    }
    // Without waiting for the other end of a pipe.
    const FileDescriptor descriptor(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!descriptor) {
        throw SystemError(SystemError::Operation::open, errno, path);
    }
    return sha256OfDescriptor(descriptor.get(), path, stop);
}

std::string sha256OfHeld(int item, const path_descriptors::FileStatus& status, const std::string& path,
                         const std::stop_token& stop) {
    if (!S_ISREG(status.mode)) {
        throw SystemError(SystemError::Operation::read, S_ISDIR(status.mode) ? EISDIR : EOPNOTSUPP, path);
    }
    const FileDescriptor descriptor = path_descriptors::openAgain(item, O_RDONLY | O_NONBLOCK | O_NOCTTY);
    if (!descriptor) {
        throw SystemError(SystemError::Operation::open, errno, path);
    }
    return sha256OfDescriptor(descriptor.get(), path, stop);
}

}  // namespace larkfold
