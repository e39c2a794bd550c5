#include "platform/Volumes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <limits>
#include <set>

#include "platform/Path.h"
#include "platform/SaturatingSum.h"
#include "platform/linux/calls/CallWithTimeout.h"
#include "platform/linux/calls/SystemCalls.h"
#include "platform/linux/mounts/MountTable.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

namespace {

struct Answer {
    int error = 0;
    std::int64_t total = 0;
    std::int64_t available = 0;
    std::int64_t free = 0;
};

std::int64_t bytes(std::uint64_t blocks, std::uint64_t blockSize) {
    constexpr auto most = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    if (blockSize != 0 && blocks > most / blockSize) {
        return static_cast<std::int64_t>(most);
    }
    return static_cast<std::int64_t>(blocks * blockSize);
}

// Nothing where the volume did not answer.
std::optional<Answer> capacityAt(const std::string& path) {
    return callWithTimeout<Answer>([path] {
        struct statvfs values{};
        if (system_calls::uninterrupted([&] { return ::statvfs(path.c_str(), &values); }) != 0) {
            return Answer{.error = errno};
        }
        return Answer{.total = bytes(values.f_blocks, values.f_frsize),
                      .available = bytes(values.f_bavail, values.f_frsize),
                      .free = bytes(values.f_bfree, values.f_frsize)};
    });
}

// The mount points of the file systems that a scan of the whole disk covers.
std::vector<std::string> startupDiskPlaces() {
    const MountTable table = MountTable::current();
    std::vector<std::string> places;
    bool coversRoot = table.mounts().empty();  // the list could not be read: then nothing is known
    struct stat root{};
    const bool knowsRoot = ::stat("/", &root) == 0;
    for (const Mount& mount : table.startupDiskMounts()) {
        places.push_back(mount.mountPoint);
        coversRoot = coversRoot || mount.mountPoint == "/" ||
                     (knowsRoot && makedev(mount.deviceMajor, mount.deviceMinor) == root.st_dev);
    }
    // Where a program runs with a folder as its root, that folder need not be a mount point, and no list
    // names what it lies on.
    if (!coversRoot) {
        places.emplace_back("/");
    }
    return places;
}

VolumeCapacity capacityOf(const Answer& answer) {
    return {.total = answer.total, .available = answer.available, .free = answer.free};
}

VolumeCapacity capacityOfStartupDisk() {
    Answer sum;
    for (const std::string& place : startupDiskPlaces()) {
        const std::optional<Answer> answer = capacityAt(place);
        if (answer && answer->error == EACCES && place != "/") {
            continue;  // what this user may not even reach, the scan does not count either
        }
        if (!answer || answer->error != 0) {
            return {};  // a sum with a part missing would be wrong without looking so
        }
        sum.total = saturatingSum(sum.total, answer->total);
        sum.available = saturatingSum(sum.available, answer->available);
        sum.free = saturatingSum(sum.free, answer->free);
    }
    // No file system at all means that the list of mounts could not be read.
    return sum.total == 0 ? VolumeCapacity{} : capacityOf(sum);
}

}  // namespace

VolumeCapacity volumeCapacity(const std::string& path) {
    if (standardizedPath(path) == "/") {
        return capacityOfStartupDisk();
    }
    const std::optional<Answer> answer = capacityAt(path);
    if (!answer || answer->error != 0) {
        return {};
    }
    return capacityOf(*answer);
}

std::optional<std::string> volumeName(const std::string& path) {
    const MountTable table = MountTable::current();
    const Mount* mount = table.mountAt(standardizedPath(path));
    return mount == nullptr ? std::nullopt : table.label(*mount);
}

std::vector<std::string> volumesHolding(const std::vector<std::string>& paths) {
    // By the mount's number and not by the text of the path: links lead elsewhere, and a later mount may
    // cover an earlier one.
    const auto numbers = callWithTimeout<std::set<std::uint64_t>>([paths] {
        std::set<std::uint64_t> found;
        for (const std::string& path : paths) {
            struct statx values;
            const int flags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT | AT_STATX_DONT_SYNC;
            if (::statx(AT_FDCWD, path.c_str(), flags, STATX_MNT_ID, &values) == 0 &&
                (values.stx_mask & STATX_MNT_ID) != 0) {
                found.insert(values.stx_mnt_id);
            }
        }
        return found;
    });
    std::set<std::string> volumes;
    if (numbers) {
        const MountTable table = MountTable::current();
        for (const Mount& mount : table.mounts()) {
            if (numbers->contains(static_cast<std::uint64_t>(mount.id))) {
                volumes.insert(mount.mountPoint);
            }
        }
    }
    return {volumes.begin(), volumes.end()};
}

std::optional<std::int64_t> freeSpace(const std::string& volume) {
    const std::optional<Answer> answer = capacityAt(volume);
    return answer && answer->error == 0 ? std::optional(answer->available) : std::nullopt;
}

std::vector<std::string> startupDiskExclusions() {
    return MountTable::current().startupDiskExclusions();
}

}  // namespace larkfold
