// Which mounts there are, at every moment, for the price of one question to the kernel as long as nothing
// changes. The kernel tells of a mount that comes or goes, and not of one that moves along with a folder
// above it: where a removal depends on the answer, the table is read all the same. Linux part of the platform
// layer only. One thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/linux/calls/FileDescriptor.h"
#include "platform/linux/mounts/MountTable.h"

namespace larkfold {

class MountWatch {
public:
    MountWatch();

    // Whether something is mounted strictly below `folder`, covered mounts included. True also where the
    // system does not tell its mounts.
    bool hasMountBelow(std::string_view folder);

    // Whether something is mounted within the folder that `folder` stands for, wherever that is now: the
    // table is read in any case, and a rename above the folder meanwhile hides nothing. `usualPath` counts
    // where the path is too long for the system to tell. True also where it cannot be told.
    bool hasMountWithin(int folder, const std::string& usualPath);

    // Whether `path` lies by its text on a mount behind which somebody may be gone.
    bool mayFailToAnswer(std::string_view path);

    // Whether somebody may be gone behind the mount with this number. True also of one that the system does
    // not tell of.
    bool mayFailToAnswer(std::uint64_t mount);

    // The mount point of the mount with this number; nothing where it is gone or a later mount covers it.
    std::optional<std::string> mountPoint(std::uint64_t mount);

private:
    void refresh();
    void read();

    FileDescriptor changes_;  // invalid: the table is read anew at each question
    std::string text_;        // that the table was made of
    MountTable table_;
    bool isRead_ = false;
    bool anyMayFailToAnswer_ = false;
};

}  // namespace larkfold
