#include "platform/linux/walk/FolderLister.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/Error.h"
#include "platform/linux/calls/CallWithTimeout.h"
#include "platform/linux/calls/FileDescriptor.h"
#include "platform/linux/calls/SystemCalls.h"
#include "platform/linux/walk/PathDescriptors.h"
#include "platform/linux/walk/SpecialPlace.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

namespace {

// Sorting a million names takes longer than a user waits for a cancellation: the comparison looks for it.
class StoppableLess {
public:
    StoppableLess(const std::stop_token& stop, unsigned& calls) : stop_(stop), calls_(calls) {}

    void count() const {
        if ((++calls_ & 0xFFFu) == 0 && stop_.stop_requested()) {
            throw CancellationError();
        }
    }

private:
    const std::stop_token& stop_;
    unsigned& calls_;
};

std::uint64_t sortKeyOf(const char* name, std::size_t length) {
    std::uint64_t key = 0;
    std::memcpy(&key, name, std::min<std::size_t>(length, sizeof key));
    if constexpr (std::endian::native == std::endian::little) {
        key = __builtin_bswap64(key);
    }
    return key;
}

void assign(DirectoryEntry& entry, const struct stat& values) {
    entry.fileSize = values.st_size;
    entry.allocatedSize = values.st_blocks * 512;
    entry.modifiedAt =
        static_cast<double>(values.st_mtim.tv_sec) + static_cast<double>(values.st_mtim.tv_nsec) * 1e-9;
    entry.kind = S_ISDIR(values.st_mode)   ? DirectoryEntry::Kind::directory
                 : S_ISREG(values.st_mode) ? DirectoryEntry::Kind::file
                 : S_ISLNK(values.st_mode) ? DirectoryEntry::Kind::symbolicLink
                                           : DirectoryEntry::Kind::other;
}

// Fills the entry, or tells why not: EXDEV for what lies on another mount than its folder.
int readOnMount(int fd, const char* name, const std::optional<path_descriptors::FileStatus>& folder,
                DirectoryEntry& entry) {
    struct statx values;
    if (::statx(fd, name, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, STATX_BASIC_STATS | STATX_MNT_ID, &values) !=
        0) {
        return errno;
    }
    if (!folder || values.stx_mnt_id != folder->mount) {
        return EXDEV;
    }
    struct stat told{};
    told.st_size = static_cast<off_t>(values.stx_size);
    told.st_blocks = static_cast<blkcnt_t>(values.stx_blocks);
    told.st_mtim = {.tv_sec = values.stx_mtime.tv_sec, .tv_nsec = values.stx_mtime.tv_nsec};
    told.st_mode = values.stx_mode;
    assign(entry, told);
    return 0;
}

}  // namespace

FolderLister::FolderLister(DirectoryReaderOptions options) : options_(std::move(options)) {
    buffer_.resize(std::size_t{256} * 1024);
}

void FolderLister::list(ListedFolder& folder, const std::stop_token& stop) {
    raw_.clear();
    nameBytes_.clear();
    struct stat values;
    if (::fstat(folder.descriptor.get(), &values) == 0) {
        folder.identity = FileIdentity{values.st_dev, values.st_ino};
        folder.allocatedSize = values.st_blocks * 512;
    }
    readNames(folder, stop);
    orderByName(stop);
    readValues(folder, stop);
}

void FolderLister::readNames(ListedFolder& folder, const std::stop_token& stop) {
    const int fd = folder.descriptor.get();
    for (;;) {
        if (stop.stop_requested()) {
            throw CancellationError();
        }
        const long count = system_calls::uninterrupted(
            [&] { return ::syscall(SYS_getdents64, fd, buffer_.data(), buffer_.size()); });
        if (count < 0) {
            folder.error = errno;
            return;
        }
        if (count == 0) {
            return;
        }
        for (long at = 0; at < count;) {
            const auto* entry = reinterpret_cast<const KernelEntry*>(buffer_.data() + at);
            at += entry->length;
            take(folder, *entry);
        }
    }
}

void FolderLister::take(ListedFolder& folder, const KernelEntry& entry) {
    const char* name = entry.name;
    if (name[0] == '.') {
        if (name[1] == '\0' || (name[1] == '.' && name[2] == '\0')) {
            return;
        }
        if (options_.skipHiddenFiles) {
            ++folder.hiddenSkipped;
            return;
        }
    }
    const std::size_t length = std::strlen(name);
    if (folder.place != nullptr) {
        const auto special = folder.place->below.find(std::string_view(name, length));
        if (special != folder.place->below.end() && special->second->isExcluded) {
            return;
        }
    }
    raw_.push_back({entry.inode, sortKeyOf(name, length), static_cast<std::uint32_t>(nameBytes_.size()),
                    static_cast<std::uint32_t>(length), entry.type});
    nameBytes_.insert(nameBytes_.end(), name, name + length + 1);
}

void FolderLister::orderByName(const std::stop_token& stop) {
    unsigned calls = 0;
    const StoppableLess stoppable(stop, calls);
    const char* names = nameBytes_.data();
    std::sort(raw_.begin(), raw_.end(), [&](const RawEntry& left, const RawEntry& right) {
        stoppable.count();
        if (left.key != right.key) {
            return left.key < right.key;
        }
        // Equal keys: both names are shorter than eight bytes and equal so far, or go on behind them. The
        // terminating NUL makes the shorter one the smaller.
        return std::strcmp(names + left.nameOffset, names + right.nameOffset) < 0;
    });
}

void FolderLister::readValues(ListedFolder& folder, const std::stop_token& stop) {
    const int fd = folder.descriptor.get();
    folder.names = std::make_unique_for_overwrite<char[]>(nameBytes_.size());
    std::copy(nameBytes_.begin(), nameBytes_.end(), folder.names.get());
    folder.entries.reserve(raw_.size());
    bool mayLookAtEntries = false;
    const auto status = options_.crossesMounts ? std::nullopt : path_descriptors::statusOf(fd);
    std::size_t untilCheck = 64;
    for (const RawEntry& raw : raw_) {
        if (--untilCheck == 0) {
            untilCheck = 64;
            if (stop.stop_requested()) {
                throw CancellationError();
            }
        }
        const char* name = folder.names.get() + raw.nameOffset;
        DirectoryEntry& entry = folder.entries.emplace_back();
        entry.name = {name, raw.nameLength};
        if (folder.place != nullptr && readSpecial(folder, raw, entry, stop)) {
            continue;
        }
        // Of a folder nothing but its kind is wanted here: its identity is read when it is opened. The
        // first one is asked all the same: where entries may be listed but not looked at, all of them
        // have to say so.
        if (mayLookAtEntries && raw.type == DT_DIR) {
            entry.kind = DirectoryEntry::Kind::directory;
            continue;
        }
        if (mayLookAtEntries && raw.type == DT_LNK && !options_.readsSymbolicLinks) {
            entry.kind = DirectoryEntry::Kind::symbolicLink;
            continue;
        }
        if (!options_.crossesMounts) {
            entry.error = readOnMount(fd, name, status, entry);
            mayLookAtEntries = mayLookAtEntries || entry.error == 0;
            continue;
        }
        struct stat values;
        if (::fstatat(fd, name, &values, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT) == 0) {
            assign(entry, values);
            mayLookAtEntries = true;
        } else {
            entry.error = errno;
        }
    }
}

// The mount point of something that may not answer is not looked at from here: that it is a folder tells
// the listing of its parent; anything else is asked by a thread that can be given up.
bool FolderLister::readSpecial(const ListedFolder& folder, const RawEntry& raw, DirectoryEntry& entry,
                               const std::stop_token& stop) {
    const auto special = folder.place->below.find(entry.name);
    if (special == folder.place->below.end() || !special->second->mayFailToAnswer) {
        return false;
    }
    if (raw.type == DT_DIR) {
        entry.kind = DirectoryEntry::Kind::directory;
        return true;
    }
    struct Answer {
        int error = 0;
        struct stat values{};
    };
    const int duplicate = ::fcntl(folder.descriptor.get(), F_DUPFD_CLOEXEC, 0);
    if (duplicate < 0) {
        entry.error = errno;
        return true;
    }
    auto owned = std::make_shared<FileDescriptor>(duplicate);
    const auto answer = callWithTimeout<Answer>(
        [owned, name = std::string(entry.name)] {
            Answer told;
            if (::fstatat(owned->get(), name.c_str(), &told.values, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT) !=
                0) {
                told.error = errno;
            }
            return told;
        },
        options_.answerTimeout, stop, call_with_timeout::mostAbandonedForListing);
    if (!answer) {
        entry.error = ETIMEDOUT;
    } else if (answer->error != 0) {
        entry.error = answer->error;
    } else {
        assign(entry, answer->values);
    }
    return true;
}

}  // namespace larkfold
