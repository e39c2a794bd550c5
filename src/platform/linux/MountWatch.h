// Which mounts there are, at every moment, for the price of one question to the kernel as long as nothing
// changes. Linux part of the platform layer only. One thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/linux/FileDescriptor.h"
#include "platform/linux/MountTable.h"

namespace larkfold {

class MountWatch {
public:
    MountWatch();

    // Whether something is mounted strictly below `folder`, covered mounts included. True also where the
    // system does not tell its mounts.
    bool hasMountBelow(std::string_view folder);

    // Whether `path` lies by its text on a mount behind which somebody may be gone.
    bool mayFailToAnswer(std::string_view path);

    // The mount point of the mount with this number; nothing where it is gone or a later mount covers it.
    std::optional<std::string> mountPoint(std::uint64_t mount);

private:
    void refresh();

    FileDescriptor changes_;  // invalid: the table is read anew at each question
    MountTable table_;
    bool isRead_ = false;
    bool anyMayFailToAnswer_ = false;
};

}  // namespace larkfold
