#include "platform/OwnFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <vector>

#include "platform/Error.h"
#include "platform/Path.h"
#include "platform/UUID.h"
#include "platform/linux/calls/FileDescriptor.h"
#include "platform/linux/calls/SystemCalls.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold::own_files {

namespace {

using Operation = SystemError::Operation;

[[noreturn]] void fail(Operation operation, const std::string& path) {
    throw SystemError(operation, errno, path);
}

using system_calls::uninterrupted;

FileDescriptor open(const std::string& path, int flags, Operation operation, unsigned mode = 0) {
    FileDescriptor descriptor(uninterrupted([&] { return ::open(path.c_str(), flags | O_CLOEXEC, mode); }));
    if (!descriptor) {
        fail(operation, path);
    }
    return descriptor;
}

// Removes the file at the end unless it was kept.
class TemporaryFile {
public:
    explicit TemporaryFile(std::string path) : path_(std::move(path)) {}
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() {
        if (!path_.empty()) {
            ::unlink(path_.c_str());
        }
    }
    void keep() { path_.clear(); }

private:
    std::string path_;
};

// The bytes in a new file in the folder of `path`, under a name of its own.
std::string writeTemporary(const std::string& folder, std::string_view bytes, const std::string& path) {
    const std::string temporary = joinedPath(folder, ".larkfold-" + UUID::make().text());
    FileDescriptor descriptor =
        open(temporary, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, Operation::create, 0600);
    TemporaryFile guard(temporary);
    // The process's mask may have taken bits away.
    if (uninterrupted([&] { return ::fchmod(descriptor.get(), 0600); }) != 0) {
        fail(Operation::permissions, path);
    }
    if (const int problem = system_calls::writeAll(descriptor.get(), bytes)) {
        throw SystemError(Operation::write, problem, path);
    }
    if (!descriptor.close() && errno != EINTR) {
        fail(Operation::write, path);
    }
    guard.keep();
    return temporary;
}

}  // namespace

bool exists(const std::string& path) {
    struct stat values{};
    if (::lstat(path.c_str(), &values) == 0) {
        return true;
    }
    if (errno == ENOENT || errno == ENOTDIR) {
        return false;
    }
    fail(Operation::readAttributes, path);
}

void createFolders(const std::string& folder) {
    // Upwards to the first folder that is there, then down again.
    std::vector<std::string> missing;
    std::string at = standardizedPath(folder);
    for (;;) {
        struct stat values{};
        if (::stat(at.c_str(), &values) == 0) {
            if (!S_ISDIR(values.st_mode)) {
                throw SystemError(Operation::create, ENOTDIR, at);
            }
            break;
        }
        if (errno != ENOENT) {
            fail(Operation::create, at);
        }
        missing.push_back(at);
        if (at == "/") {
            fail(Operation::create, at);
        }
        at = parentPath(at);
    }
    for (auto path = missing.rbegin(); path != missing.rend(); ++path) {
        if (::mkdir(path->c_str(), 0700) != 0) {
            struct stat values{};
            // Another process may have been quicker.
            const int code = errno;
            if (code != EEXIST || ::stat(path->c_str(), &values) != 0 || !S_ISDIR(values.st_mode)) {
                throw SystemError(Operation::create, code, *path);
            }
        }
        syncFolder(std::string(parentPath(*path)));
    }
}

void setPermissions(const std::string& path, unsigned mode) {
    if (uninterrupted([&] { return ::chmod(path.c_str(), mode); }) != 0) {
        fail(Operation::permissions, path);
    }
}

void removeFile(const std::string& path) {
    if (::unlink(path.c_str()) != 0 && errno != ENOENT) {
        fail(Operation::remove, path);
    }
}

void replaceFile(const std::string& replacement, const std::string& target) {
    {
        const FileDescriptor descriptor = open(replacement, O_RDONLY | O_NOFOLLOW, Operation::replace);
        if (const int problem = system_calls::sync(descriptor.get())) {
            throw SystemError(Operation::sync, problem, replacement);
        }
    }
    if (::rename(replacement.c_str(), target.c_str()) != 0) {
        fail(Operation::replace, target);
    }
    syncFolder(std::string(parentPath(standardizedPath(target))));
}

void syncFolder(const std::string& folder) {
    const FileDescriptor descriptor = open(folder, O_RDONLY | O_DIRECTORY, Operation::sync);
    // EINVAL: this kind of file system has no such operation for folders. There is nothing that could fail.
    if (const int problem = system_calls::sync(descriptor.get()); problem != 0 && problem != EINVAL) {
        throw SystemError(Operation::sync, problem, folder);
    }
}

void moveAside(const std::string& path, const std::string& place) {
    if (::renameat2(AT_FDCWD, path.c_str(), AT_FDCWD, place.c_str(), RENAME_NOREPLACE) != 0) {
        fail(Operation::replace, place);
    }
    syncFolder(std::string(parentPath(standardizedPath(place))));
}

void writeFile(const std::string& path, std::string_view bytes) {
    const std::string folder(parentPath(standardizedPath(path)));
    createFolders(folder);
    const std::string temporary = writeTemporary(folder, bytes, path);
    TemporaryFile guard(temporary);
    replaceFile(temporary, path);
    guard.keep();
}

void writeCache(const std::string& path, std::string_view bytes) {
    const std::string temporary =
        writeTemporary(std::string(parentPath(standardizedPath(path))), bytes, path);
    TemporaryFile guard(temporary);
    if (::rename(temporary.c_str(), path.c_str()) != 0) {
        fail(Operation::replace, path);
    }
    guard.keep();
}

std::string readFile(const std::string& path, std::size_t limit) {
    // Not blocking: a pipe in the place of the file must not hold up its reader.
    const FileDescriptor descriptor = open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY, Operation::open);
    struct stat values{};
    if (::fstat(descriptor.get(), &values) != 0) {
        fail(Operation::readAttributes, path);
    }
    if (!S_ISREG(values.st_mode)) {
        throw SystemError(Operation::read, S_ISDIR(values.st_mode) ? EISDIR : EINVAL, path);
    }
    std::string bytes;
    const auto size = static_cast<std::size_t>(values.st_size);
    if (size > limit) {
        throw SystemError(Operation::read, EFBIG, path);
    }
    // The size is a hint: the file may grow or shrink while it is read, and some file systems say 0.
    bytes.resize(std::min(limit, size) + 1);
    std::size_t length = 0;
    for (;;) {
        if (length == bytes.size()) {
            bytes.resize(std::min(limit + 1, bytes.size() * 2));
        }
        const ssize_t count = uninterrupted(
            [&] { return ::read(descriptor.get(), bytes.data() + length, bytes.size() - length); });
        if (count < 0) {
            fail(Operation::read, path);
        }
        if (count == 0) {
            break;
        }
        length += static_cast<std::size_t>(count);
        if (length > limit) {
            throw SystemError(Operation::read, EFBIG, path);
        }
    }
    bytes.resize(length);
    return bytes;
}

}  // namespace larkfold::own_files
