#include "platform/linux/MountWatch.h"

#include <fcntl.h>
#include <poll.h>

#include <algorithm>

#include "platform/Path.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

MountWatch::MountWatch() : changes_(::open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC)) {}

void MountWatch::refresh() {
    pollfd asked{.fd = changes_.get(), .events = POLLPRI, .revents = 0};
    const bool mayHaveChanged = !changes_ || ::poll(&asked, 1, 0) != 0;
    if (mayHaveChanged || !isRead_) {
        // The change was taken note of before the table is read, so one that comes in between is seen the
        // next time.
        table_ = MountTable::current();
        isRead_ = true;
        anyMayFailToAnswer_ = std::any_of(table_.mounts().begin(), table_.mounts().end(),
                                          [](const Mount& mount) { return mount.mayFailToAnswer; });
    }
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

bool MountWatch::mayFailToAnswer(std::string_view path) {
    refresh();
    const Mount* mount = anyMayFailToAnswer_ ? table_.mountHolding(path) : nullptr;
    return mount != nullptr && mount->mayFailToAnswer;
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
