#include "platform/linux/walk/FolderLister.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "platform/Error.h"
#include "platform/linux/calls/CallWithTimeout.h"
#include "platform/linux/calls/FileDescriptor.h"
#include "platform/linux/calls/SystemCalls.h"
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

constexpr int lookFlags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT;

DirectoryEntry::Kind kindOf(unsigned mode) {
    return S_ISDIR(mode)   ? DirectoryEntry::Kind::directory
           : S_ISREG(mode) ? DirectoryEntry::Kind::file
           : S_ISLNK(mode) ? DirectoryEntry::Kind::symbolicLink
                           : DirectoryEntry::Kind::other;
}

void assign(DirectoryEntry& entry, const struct statx& values) {
    entry.fileSize = static_cast<std::int64_t>(values.stx_size);
    entry.allocatedSize = static_cast<std::int64_t>(values.stx_blocks) * 512;
    entry.modifiedAt =
        static_cast<double>(values.stx_mtime.tv_sec) + static_cast<double>(values.stx_mtime.tv_nsec) * 1e-9;
    entry.kind = kindOf(values.stx_mode);
}

bool mayFailToAnswer(const SpecialPlace& folder, std::string_view name) {
    const SpecialPlace* place = SpecialPlace::child(&folder, name);
    return place != nullptr && place->mayFailToAnswer;
}

}  // namespace

FolderLister::FolderLister(DirectoryReaderOptions options) : options_(std::move(options)) {
    buffer_.resize(std::size_t{256} * 1024);
}

void FolderLister::list(ListedFolder& folder, Values values, const std::stop_token& stop) {
    raw_.clear();
    nameBytes_.clear();
    wanted_ = values;
    readItself(folder);
    readNames(folder, stop);
    orderByName(stop);
    readValues(folder, stop);
}

// By ".", which tells at once whether entries may be looked at: they may be listed all the same where not.
// Nothing is mounted there.
void FolderLister::readItself(ListedFolder& folder) {
    constexpr unsigned wanted = STATX_BASIC_STATS | STATX_MNT_ID;
    const int fd = folder.descriptor.get();
    struct statx values;
    const bool isSearchable = ::statx(fd, ".", lookFlags, wanted, &values) == 0;
    // Who answers for a file system may refuse its entries nevertheless.
    mayLookAtEntries_ = isSearchable && wanted_ == Values::known;
    if (!isSearchable && ::statx(fd, "", lookFlags | AT_EMPTY_PATH, wanted, &values) != 0) {
        return;
    }
    folder.identity = FileIdentity{makedev(values.stx_dev_major, values.stx_dev_minor), values.stx_ino};
    folder.mount = values.stx_mnt_id;
    folder.allocatedSize = static_cast<std::int64_t>(values.stx_blocks) * 512;
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
        if (folder.place != nullptr && mayFailToAnswer(*folder.place, entry.name)) {
            readMounted(folder, raw, entry, stop);
            continue;
        }
        // Of a folder nothing but its kind is wanted here: its identity is read when it is opened. The first
        // one is asked all the same where it is not known yet that entries may be looked at: where they may
        // not, all of them have to say so.
        if (mayLookAtEntries_ && raw.type == DT_DIR) {
            entry.kind = DirectoryEntry::Kind::directory;
            continue;
        }
        if (mayLookAtEntries_ && raw.type == DT_LNK && !options_.readsSymbolicLinks) {
            entry.kind = DirectoryEntry::Kind::symbolicLink;
            continue;
        }
        // Nobody but the kernel is asked, so that what was mounted there a moment ago shows itself only by
        // its number.
        struct statx& values = values_;
        if (::statx(fd, name, lookFlags | AT_STATX_DONT_SYNC, STATX_BASIC_STATS | STATX_MNT_ID, &values) !=
            0) {
            entry.error = errno;
        } else if (values.stx_mnt_id != folder.mount) {
            readMounted(folder, raw, entry, stop);
            mayLookAtEntries_ = true;
        } else if (wanted_ == Values::asked &&
                   ::statx(fd, name, lookFlags, STATX_BASIC_STATS, &values) != 0) {
            entry.error = errno;
        } else {
            assign(entry, values);
            mayLookAtEntries_ = true;
        }
    }
}

// What lies on another mount than its folder: that it is a folder tells the listing of its parent.
void FolderLister::readMounted(const ListedFolder& folder, const RawEntry& raw, DirectoryEntry& entry,
                               const std::stop_token& stop) const {
    if (raw.type == DT_DIR) {
        entry.kind = DirectoryEntry::Kind::directory;
    } else if (options_.crossesMounts) {
        askInTime(folder, entry, stop);
    } else {
        entry.error = EXDEV;
    }
}

// By a thread that can be given up.
void FolderLister::askInTime(const ListedFolder& folder, DirectoryEntry& entry,
                             const std::stop_token& stop) const {
    struct Answer {
        int error = 0;
        struct statx values{};
    };
    const int duplicate = ::fcntl(folder.descriptor.get(), F_DUPFD_CLOEXEC, 0);
    if (duplicate < 0) {
        entry.error = errno;
        return;
    }
    auto owned = std::make_shared<FileDescriptor>(duplicate);
    const auto answer = callWithTimeout<Answer>(
        [owned, name = std::string(entry.name)] {
            Answer told;
            if (::statx(owned->get(), name.c_str(), lookFlags, STATX_BASIC_STATS, &told.values) != 0) {
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
}

}  // namespace larkfold
