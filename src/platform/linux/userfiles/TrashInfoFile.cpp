#include "platform/linux/userfiles/TrashInfoFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/Error.h"
#include "platform/Path.h"
#include "platform/UUID.h"
#include "platform/UserFiles.h"
#include "platform/linux/calls/SystemCalls.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

namespace {

using Operation = SystemError::Operation;

// Who has a full disk needs to know that there is a way that needs no room.
[[noreturn]] void fail(Operation operation, int code, const std::string& path) {
    if (code == ENOSPC || code == EDQUOT) {
        throw user_files::Refusal(
            user_files::Refusal::Reason::noTrash,
            "The disk is full, and Trash keeps a note of each item; permanent deletion needs no room.");
    }
    throw SystemError(operation, code, path);
}

std::string noteName(const std::string& trashed) {
    return trashed + std::string(trash::infoFileSuffix);
}

}  // namespace

TrashInfoFile::TrashInfoFile(FileDescriptor info, std::string name, FileDescriptor infoFile,
                             FileIdentity identity)
    : info_(std::move(info)), name_(std::move(name)), file_(std::move(infoFile)), identity_(identity) {}

std::expected<TrashInfoFile, int> TrashInfoFile::write(const trash::Folder& folder,
                                                       const std::string& trashed,
                                                       const std::string& itemPath,
                                                       std::int64_t secondsSince1970) {
    const std::string name = noteName(trashed);
    const std::string path = folder.pathOfNote(trashed);
    // Everything that can fail without a trace comes before the info file does.
    FileDescriptor info(::fcntl(folder.info.get(), F_DUPFD_CLOEXEC, 0));
    if (!info) {
        fail(Operation::create, errno, path);
    }
    FileDescriptor descriptor(system_calls::uninterrupted([&] {
        return ::openat(folder.info.get(), name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                        0600);
    }));
    if (!descriptor) {
        if (errno == EEXIST || errno == ENAMETOOLONG) {
            return std::unexpected(errno);
        }
        fail(Operation::create, errno, path);
    }
    const auto identity = path_descriptors::identityAt(descriptor.get(), {});
    if (!identity) {
        // It is left, empty: without its identity it cannot be told from a file of another program.
        fail(Operation::create, errno, path);
    }
    // Held until it was removed, so that its number is not used again.
    FileDescriptor held(::fcntl(descriptor.get(), F_DUPFD_CLOEXEC, 0));
    if (!held) {
        const int problem = errno;
        TrashInfoFile(std::move(info), name, std::move(descriptor), *identity).remove();
        fail(Operation::create, problem, path);
    }
    TrashInfoFile infoFile(std::move(info), name, std::move(held), *identity);
    try {
        if (const int unwritten = system_calls::writeAll(
                descriptor.get(), trash::infoFileFor(folder, itemPath, secondsSince1970))) {
            fail(Operation::write, unwritten, path);
        }
        if (const int unsynced = system_calls::sync(descriptor.get())) {
            fail(Operation::sync, unsynced, path);
        }
        if (!descriptor.close()) {
            fail(Operation::write, errno, path);
        }
    } catch (...) {
        infoFile.remove();
        throw;
    }
    return infoFile;
}

std::optional<TrashInfoFile> TrashInfoFile::find(const std::string& trashPath, const FileIdentity& files,
                                                 const std::string& trashed) {
    const FileDescriptor trash = path_descriptors::openWithoutLinks(trashPath, O_PATH | O_DIRECTORY);
    if (!trash) {
        return std::nullopt;
    }
    const FileDescriptor filesNow =
        path_descriptors::openBelow(trash.get(), "files", O_PATH | O_DIRECTORY, false);
    if (!filesNow || path_descriptors::identityAt(filesNow.get(), {}) != files) {
        return std::nullopt;
    }
    FileDescriptor info = path_descriptors::openBelow(trash.get(), "info", O_PATH | O_DIRECTORY, false);
    FileDescriptor infoFile =
        info ? path_descriptors::openPlace(info.get(), noteName(trashed)) : FileDescriptor();
    const auto status = infoFile ? path_descriptors::statusOf(infoFile.get()) : std::nullopt;
    if (!status || !S_ISREG(status->mode)) {
        return std::nullopt;
    }
    return TrashInfoFile(std::move(info), noteName(trashed), std::move(infoFile), status->identity);
}

bool TrashInfoFile::standsInItsFolder() const {
    return path_descriptors::identityAt(info_.get(), name_) == identity_;
}

bool TrashInfoFile::standsAt(const std::string& path) const {
    return path_descriptors::identityAt(AT_FDCWD, path) == identity_;
}

void TrashInfoFile::remove() const {
    const std::string aside = ".larkfold-removing-" + UUID::make().text();
    if (path_descriptors::moveWithoutReplacing(info_.get(), name_, info_.get(), aside, false) != 0) {
        return;
    }
    int result = -1;
    if (path_descriptors::identityAt(info_.get(), aside) == identity_) {
        result = system_calls::uninterrupted([&] { return ::unlinkat(info_.get(), aside.c_str(), 0); });
    }
    if (result != 0) {
        path_descriptors::moveWithoutReplacing(info_.get(), aside, info_.get(), name_, false);
    }
}

}  // namespace larkfold
