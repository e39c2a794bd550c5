#include "platform/AppendFile.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <new>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/Error.h"
#include "platform/OwnFiles.h"
#include "platform/Path.h"
#include "platform/ThreadName.h"
#include "platform/UUID.h"
#include "platform/linux/calls/FileDescriptor.h"
#include "platform/linux/calls/SystemCalls.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold::own_files {

namespace {

using Operation = SystemError::Operation;

// Between the making of the file and its lock somebody who looks for left files may take and remove it.
constexpr int mostAttempts = 8;

using system_calls::uninterrupted;

void write(int descriptor, std::string_view bytes, const std::string& path) {
    if (const int problem = system_calls::writeAll(descriptor, bytes)) {
        throw SystemError(Operation::write, problem, path);
    }
}

void sync(int descriptor, const std::string& path) {
    if (const int problem = system_calls::sync(descriptor)) {
        throw SystemError(Operation::sync, problem, path);
    }
}

// Whether the name still leads to what is open.
bool isStillNamed(int descriptor, const std::string& path) {
    struct stat open{};
    struct stat named{};
    return ::fstat(descriptor, &open) == 0 && ::lstat(path.c_str(), &named) == 0 &&
           open.st_dev == named.st_dev && open.st_ino == named.st_ino;
}

struct DirectoryCloser {
    void operator()(DIR* directory) const { ::closedir(directory); }
};

}  // namespace

// --- The writer

struct AppendFile::Impl {
    std::string folder;
    std::string prefix;
    std::string suffix;
    std::function<std::string()> beginning;
    std::string path;
    FileDescriptor descriptor;  // invalid: there is no file
    std::thread thread;         // that begins it; the rest is its own until it is joined

    void begin() noexcept {
        try {
            const std::string bytes = std::exchange(beginning, nullptr)();
            createFolders(folder);
            make();
            write(descriptor.get(), bytes, path);
            sync(descriptor.get(), path);
            syncFolder(folder);
        } catch (const std::exception&) {
            discard();
        }
    }

    void make() {
        for (int attempt = 0; attempt < mostAttempts; ++attempt) {
            path = joinedPath(folder, prefix + UUID::make().text() + suffix);
            descriptor.reset(uninterrupted([&] {
                return ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                              0600);
            }));
            if (!descriptor) {
                throw SystemError(Operation::create, errno, path);
            }
            // The process's mask may have taken bits away.
            if (uninterrupted([&] { return ::fchmod(descriptor.get(), 0600); }) != 0) {
                throw SystemError(Operation::permissions, errno, path);
            }
            if (uninterrupted([&] { return ::flock(descriptor.get(), LOCK_EX | LOCK_NB); }) == 0) {
                if (isStillNamed(descriptor.get(), path)) {
                    return;
                }
            } else if (errno != EWOULDBLOCK) {
                throw SystemError(Operation::create, errno, path);
            }
        }
        throw SystemError(Operation::create, EBUSY, path);
    }

    void discard() noexcept {
        if (descriptor) {
            ::unlink(path.c_str());
            descriptor.reset();
        }
    }

    void join() {
        if (thread.joinable()) {
            thread.join();
        }
    }
};

AppendFile::AppendFile(std::string folder, std::string prefix, std::string suffix,
                       std::function<std::string()> beginning)
    : impl_(std::make_unique<Impl>()) {
    impl_->folder = std::move(folder);
    impl_->prefix = std::move(prefix);
    impl_->suffix = std::move(suffix);
    impl_->beginning = std::move(beginning);
    try {
        impl_->thread = std::thread([impl = impl_.get()] {
            nameThisThread("append-file");
            impl->begin();
        });
    } catch (const std::system_error&) {
        impl_->begin();
    }
}

AppendFile::~AppendFile() {
    impl_->join();
}

bool AppendFile::isBegun() {
    impl_->join();
    return static_cast<bool>(impl_->descriptor);
}

void AppendFile::append(std::string_view bytes) {
    if (isBegun()) {
        write(impl_->descriptor.get(), bytes, impl_->path);
    }
}

void AppendFile::remove() {
    if (isBegun()) {
        removeFile(impl_->path);
        impl_->descriptor.reset();
    }
}

// --- Who finds it

struct LeftAppendFile::Impl {
    std::string path;
    FileDescriptor descriptor;
};

LeftAppendFile::LeftAppendFile(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
LeftAppendFile::LeftAppendFile(LeftAppendFile&&) noexcept = default;
LeftAppendFile& LeftAppendFile::operator=(LeftAppendFile&&) noexcept = default;
LeftAppendFile::~LeftAppendFile() = default;

std::vector<std::string> LeftAppendFile::find(const std::string& folder, std::string_view prefix,
                                              std::string_view suffix) {
    const std::unique_ptr<DIR, DirectoryCloser> directory(::opendir(folder.c_str()));
    if (!directory) {
        if (errno == ENOENT) {
            return {};
        }
        throw SystemError(Operation::list, errno, folder);
    }
    std::vector<std::string> paths;
    for (;;) {
        errno = 0;
        // The stream is this function's own.
        const dirent* entry = ::readdir(directory.get());  // NOLINT(concurrency-mt-unsafe)
        if (entry == nullptr) {
            if (errno != 0) {
                throw SystemError(Operation::list, errno, folder);
            }
            break;
        }
        const std::string_view name = entry->d_name;
        if (name.size() >= prefix.size() + suffix.size() && name.starts_with(prefix) &&
            name.ends_with(suffix)) {
            paths.push_back(joinedPath(folder, name));
        }
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

std::optional<LeftAppendFile> LeftAppendFile::take(const std::string& path) {
    auto impl = std::make_unique<Impl>();
    impl->path = path;
    // Not blocking: a pipe may stand there.
    impl->descriptor.reset(uninterrupted([&] {
        return ::open(path.c_str(), O_RDWR | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    }));
    if (!impl->descriptor) {
        if (errno == ENOENT) {
            return std::nullopt;
        }
        throw SystemError(Operation::open, errno, path);
    }
    struct stat values{};
    if (::fstat(impl->descriptor.get(), &values) != 0) {
        throw SystemError(Operation::readAttributes, errno, path);
    }
    if (!S_ISREG(values.st_mode)) {
        throw SystemError(Operation::open, EINVAL, path);
    }
    if (uninterrupted([&] { return ::flock(impl->descriptor.get(), LOCK_EX | LOCK_NB); }) != 0) {
        if (errno == EWOULDBLOCK) {
            return std::nullopt;
        }
        throw SystemError(Operation::open, errno, path);
    }
    // Who had it before may have removed it.
    if (!isStillNamed(impl->descriptor.get(), path)) {
        return std::nullopt;
    }
    return LeftAppendFile(std::move(impl));
}

std::string LeftAppendFile::content(std::size_t limit) const {
    return readFile(impl_->path, limit);
}

void LeftAppendFile::append(std::size_t length, std::string_view bytes) {
    if (uninterrupted([&] { return ::ftruncate(impl_->descriptor.get(), static_cast<off_t>(length)); }) !=
        0) {
        throw SystemError(Operation::write, errno, impl_->path);
    }
    write(impl_->descriptor.get(), bytes, impl_->path);
    sync(impl_->descriptor.get(), impl_->path);
}

void LeftAppendFile::remove() {
    removeFile(impl_->path);
    impl_->descriptor.reset();
}

}  // namespace larkfold::own_files
