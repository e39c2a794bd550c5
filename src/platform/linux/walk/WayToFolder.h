// The way back to a folder that was open before, from one that still is. What stands there now may be
// something else, or something that never answers. Linux part of the platform layer only.
#pragma once

#include <chrono>
#include <optional>
#include <stop_token>
#include <string>

#include "platform/FileIdentity.h"
#include "platform/linux/calls/FileDescriptor.h"

namespace larkfold {

struct WayToFolder {
    int from;          // an open folder above it, or the one below it
    std::string path;  // from there on: names, of any length; or ".."
    std::optional<FileIdentity> identity;
    bool mayFailToAnswer;  // one of the folders on the way, or the folder itself, lies on such a mount

    // The folder that had that identity. Invalid, with errno set, where it is not there (ESTALE), nobody
    // answered in time (ETIMEDOUT), or it cannot be opened. Upwards no mount is left nor entered, unless it
    // may fail to answer anyway.
    FileDescriptor open(std::chrono::milliseconds wait, const std::stop_token& stop) const;
};

}  // namespace larkfold
