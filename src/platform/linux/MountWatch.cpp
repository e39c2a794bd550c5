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
    }
}

bool MountWatch::hasMountBelow(std::string_view folder) {
    refresh();
    return std::any_of(table_.mounts().begin(), table_.mounts().end(), [folder](const Mount& mount) {
        return mount.mountPoint != folder && isAtOrBelow(mount.mountPoint, folder);
    });
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
