#include "platform/FilePreview.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <functional>
#include <optional>
#include <utility>
#include <variant>

#include "platform/Error.h"
#include "platform/linux/calls/CallWithTimeout.h"
#include "platform/linux/calls/FileDescriptor.h"

namespace larkfold {
namespace {

FilePreview valuesOf(const struct stat& status) {
    FilePreview preview;
    preview.kind = S_ISREG(status.st_mode)   ? FilePreview::Kind::file
                   : S_ISDIR(status.st_mode) ? FilePreview::Kind::directory
                   : S_ISLNK(status.st_mode) ? FilePreview::Kind::symbolicLink
                                             : FilePreview::Kind::other;
    preview.logicalBytes = status.st_size;
    preview.allocatedBytes = static_cast<std::int64_t>(status.st_blocks) * 512;
    preview.modifiedAt =
        static_cast<double>(status.st_mtim.tv_sec) + static_cast<double>(status.st_mtim.tv_nsec) / 1e9;
    return preview;
}

struct Failure {
    SystemError::Operation operation;
    int code;
};
using Attempt = std::variant<FilePreview, Failure>;

// Reads to the end of the file or of `bytes`' limit; the error number, or 0.
int readUpTo(int descriptor, std::size_t limit, std::string& bytes) {
    constexpr std::size_t step = std::size_t{256} * 1024;
    while (bytes.size() < limit) {
        const std::size_t before = bytes.size();
        bytes.resize(std::min(limit, before + step));
        const ssize_t count = ::read(descriptor, bytes.data() + before, bytes.size() - before);
        const int code = count < 0 ? errno : 0;
        bytes.resize(before + static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        if (count == 0) {
            return 0;
        }
        if (code != 0 && code != EINTR) {
            return code;
        }
    }
    return 0;
}

Attempt attempt(const std::string& path, std::size_t limit) {
    struct stat status{};
    if (::lstat(path.c_str(), &status) != 0) {
        return Failure{SystemError::Operation::readAttributes, errno};
    }
    if (!S_ISREG(status.st_mode)) {
        return valuesOf(status);
    }
    // Another item may stand there by now: without blocking nothing is waited for, and what it is gets asked
    // again before the first byte is read.
    const FileDescriptor file(
        ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file) {
        return Failure{SystemError::Operation::open, errno};
    }
    if (::fstat(file.get(), &status) != 0) {
        return Failure{SystemError::Operation::readAttributes, errno};
    }
    FilePreview preview = valuesOf(status);
    if (preview.kind == FilePreview::Kind::file) {
        if (const int code = readUpTo(file.get(), limit, preview.beginning); code != 0) {
            return Failure{SystemError::Operation::read, code};
        }
        preview.isWhole = preview.logicalBytes <= static_cast<std::int64_t>(preview.beginning.size());
    }
    return preview;
}

}  // namespace

FilePreview FilePreview::read(const std::string& path, std::size_t limit, std::stop_token stop) {
    constexpr std::chrono::seconds patience{10};
    std::optional<Attempt> outcome =
        callWithTimeout<Attempt>([path, limit] { return attempt(path, limit); }, patience, stop);
    if (!outcome && stop.stop_requested()) {
        throw CancellationError();
    }
    Failure failure{SystemError::Operation::read, ETIMEDOUT};
    if (outcome) {
        if (auto* preview = std::get_if<FilePreview>(&*outcome)) {
            return std::move(*preview);
        }
        failure = std::get<Failure>(*outcome);
    }
    throw SystemError(failure.operation, failure.code, path);
}

}  // namespace larkfold
