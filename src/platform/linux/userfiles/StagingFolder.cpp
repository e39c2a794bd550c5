#include "platform/linux/userfiles/StagingFolder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string_view>

#include "platform/Error.h"
#include "platform/Path.h"
#include "platform/UserFiles.h"
#include "platform/linux/calls/SystemCalls.h"
#include "platform/linux/walk/KernelEntry.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

namespace {

using path_descriptors::FileStatus;
using system_calls::uninterrupted;
using user_files::Refusal;
using Operation = SystemError::Operation;
using Reason = Refusal::Reason;

bool isEmpty(int folder) {
    alignas(KernelEntry) std::array<char, 4096> buffer;
    for (;;) {
        const long count =
            uninterrupted([&] { return ::syscall(SYS_getdents64, folder, buffer.data(), buffer.size()); });
        if (count <= 0) {
            return count == 0;
        }
        for (long at = 0; at < count;) {
            const auto* entry = reinterpret_cast<const KernelEntry*>(buffer.data() + at);
            const std::string_view name = entry->name;
            if (name != "." && name != "..") {
                return false;
            }
            at += entry->length;
        }
    }
}

// Whether the user alone may give, take and exchange the item's name in its folder. The superuser may do
// anything and counts as nobody else.
bool isClosedToOthers(const FileStatus& folder, const FileStatus& item) {
    const auto user = ::geteuid();
    const bool isOwn = folder.owner == user;
    if (isOwn && (folder.mode & (S_IWGRP | S_IWOTH)) == 0) {
        return true;
    }
    return (folder.mode & S_ISVTX) != 0 && (isOwn || folder.owner == 0) && item.owner == user;
}

}  // namespace

StagingFolder::StagingFolder(int parent, const std::string& realPath, const FileStatus& item,
                             const std::string& stagingName)
    : parent_(parent), made_(stagingName), realPath_(realPath), item_(item) {
    if (::mkdirat(parent, made_.c_str(), 0700) != 0) {
        const int code = errno;
        if (code != ENOSPC && code != EDQUOT) {
            throw SystemError(Operation::remove, code, realPath);
        }
        useParent(code);
        return;
    }
    folder_ = path_descriptors::openBelow(parent, made_, O_RDONLY | O_DIRECTORY, false);
    if (!folder_) {
        const int code = errno;
        // Not compared, but a folder that is removed by this call is empty.
        ::unlinkat(parent, made_.c_str(), AT_REMOVEDIR);
        if (code == ELOOP || code == EXDEV) {
            throw Refusal(Reason::unsafePath);
        }
        throw SystemError(Operation::remove, code, realPath);
    }
    const auto status = path_descriptors::statusOf(folder_.get());
    if (!status || status->mount != item.mount || status->owner != ::geteuid() || !isEmpty(folder_.get())) {
        discard();
        throw Refusal(Reason::unsafePath);
    }
    if ((status->mode & 0777U) != 0700) {
        discard();
        useParent(0);
        return;
    }
    itemName_ = std::string(lastPathComponent(realPath));
    itemPath_ = joinedPath(joinedPath(std::string(parentPath(realPath)), made_), itemName_);
}

// `problem`: why no folder could be made; 0 where one was, and does not count.
void StagingFolder::useParent(int problem) {
    const auto status = path_descriptors::statusOf(parent_);
    if (!status || !isClosedToOthers(*status, item_)) {
        throw Refusal(Reason::openToOthers,
                      problem == 0 ? "Its file system keeps no rights. Nothing was changed."
                                   : "The disk is full: make some room first. Nothing was changed.");
    }
    folder_ = FileDescriptor(::fcntl(parent_, F_DUPFD_CLOEXEC, 0));
    if (!folder_) {
        throw SystemError(Operation::remove, errno, realPath_);
    }
    itemName_ = std::exchange(made_, {});
    itemPath_ = joinedPath(std::string(parentPath(realPath_)), itemName_);
}

void StagingFolder::discard() const {
    if (made_.empty()) {
        return;
    }
    // By its name, since the system removes a folder in no other way: where somebody exchanges it after this
    // comparison, it is a folder that is empty, and that they could have removed themselves.
    const auto now = path_descriptors::hold(parent_, made_);
    const auto held = path_descriptors::statusOf(folder_.get());
    // What cannot be compared is taken for it: only an empty folder of this name can go.
    if (!now || !held || now->status.identity == held->identity) {
        uninterrupted([&] { return ::unlinkat(parent_, made_.c_str(), AT_REMOVEDIR); });
    }
}

}  // namespace larkfold
