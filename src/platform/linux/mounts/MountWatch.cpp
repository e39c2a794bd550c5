#include "platform/linux/mounts/MountWatch.h"

#include <fcntl.h>
#include <poll.h>

#include <algorithm>
#include <utility>

#include "platform/Path.h"
#include "platform/linux/walk/PathDescriptors.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

namespace {

// How often a folder that does not come to rest is asked for its path.
constexpr int mostAttempts = 8;

// Whether the folder at `path`, in which something is mounted on the mount of `top`, is the one that `top`
// tells of, or lies below it on the same mount. Nothing where it does not stand there any more, or another
// mount covers the way to it.
std::optional<bool> liesWithin(const std::string& path, const path_descriptors::FileStatus& top) {
    FileDescriptor at = path_descriptors::openWithoutLinks(path, O_PATH | O_DIRECTORY);
    auto status = at ? path_descriptors::statusOf(at.get()) : std::nullopt;
    if (!status || status->mount != top.mount) {
        return std::nullopt;
    }
    while (status->mount == top.mount) {
        if (status->identity == top.identity) {
            return true;
        }
        FileDescriptor above(::openat(at.get(), "..", O_PATH | O_DIRECTORY | O_CLOEXEC));
        const auto aboveStatus = above ? path_descriptors::statusOf(above.get()) : std::nullopt;
        if (!aboveStatus) {
            return std::nullopt;
        }
        if (aboveStatus->identity == status->identity && aboveStatus->mount == status->mount) {
            return false;  // the top of all
        }
        at = std::move(above);
        status = aboveStatus;
    }
    return false;
}

}  // namespace

MountWatch::MountWatch() : changes_(::open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC)) {}

void MountWatch::refresh() {
    pollfd asked{.fd = changes_.get(), .events = POLLPRI, .revents = 0};
    const bool mayHaveChanged = !changes_ || ::poll(&asked, 1, 0) != 0;
    if (mayHaveChanged || !isRead_) {
        // The change was taken note of before the table is read, so one that comes in between is seen the
        // next time.
        read();
    }
}

void MountWatch::read() {
    std::string text = MountTable::currentMountInfo();
    if (text != text_ || !isRead_) {
        text_ = std::move(text);
        table_ = MountTable::fromMountInfo(text_, {});
        anyMayFailToAnswer_ = std::any_of(table_.mounts().begin(), table_.mounts().end(),
                                          [](const Mount& mount) { return mount.mayFailToAnswer; });
    }
    isRead_ = true;
}

bool MountWatch::hasMountBelow(std::string_view folder) {
    refresh();
    // Something is always mounted. A table without a row could not be read, and then nobody knows.
    if (table_.mounts().empty()) {
        isRead_ = false;
        return true;
    }
    return std::any_of(table_.mounts().begin(), table_.mounts().end(), [folder](const Mount& mount) {
        return mount.mountPoint != folder && isAtOrBelow(mount.mountPoint, folder);
    });
}

bool MountWatch::hasMountWithin(int folder, const std::string& usualPath) {
    const auto status = path_descriptors::statusOf(folder);
    if (!status) {
        return true;
    }
    for (int attempt = 0; attempt < mostAttempts; ++attempt) {
        const auto told = path_descriptors::currentPath(folder);
        const std::string& path = told ? *told : usualPath;
        read();
        const auto& mounts = table_.mounts();
        if (mounts.empty()) {
            isRead_ = false;
            return true;
        }
        // A folder above may be renamed between the two questions, and back again. The name of the folder
        // itself stands in the path of everything that is mounted within it in any case.
        const std::string component = "/" + std::string(lastPathComponent(path)) + "/";
        bool isCertain = true;
        for (const Mount& mount : mounts) {
            if (mount.mountPoint != path && isAtOrBelow(mount.mountPoint, path)) {
                return true;
            }
            if (static_cast<std::uint64_t>(mount.parentID) == status->mount &&
                mount.mountPoint.find(component) != std::string::npos) {
                const auto isWithin = liesWithin(std::string(parentPath(mount.mountPoint)), *status);
                if (isWithin.value_or(false)) {
                    return true;
                }
                isCertain = isCertain && isWithin.has_value();
            }
        }
        if (isCertain && path_descriptors::currentPath(folder) == told) {
            return false;
        }
    }
    return true;
}

bool MountWatch::mayFailToAnswer(std::string_view path) {
    refresh();
    const Mount* mount = anyMayFailToAnswer_ ? table_.mountHolding(path) : nullptr;
    return mount != nullptr && mount->mayFailToAnswer;
}

bool MountWatch::mayFailToAnswer(std::uint64_t mount) {
    refresh();
    const auto& mounts = table_.mounts();
    const auto row = std::find_if(mounts.begin(), mounts.end(), [mount](const Mount& candidate) {
        return static_cast<std::uint64_t>(candidate.id) == mount;
    });
    return row == mounts.end() || row->mayFailToAnswer;
}

std::optional<std::string> MountWatch::mountPoint(std::uint64_t mount) {
    refresh();
    for (const Mount& row : table_.mounts()) {
        if (static_cast<std::uint64_t>(row.id) == mount && row.isVisible) {
            return row.mountPoint;
        }
    }
    return std::nullopt;
}

}  // namespace larkfold
