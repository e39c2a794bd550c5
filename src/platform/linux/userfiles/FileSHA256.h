// The digest of a file that is open already. Linux part of the platform layer only.
#pragma once

#include <stop_token>
#include <string>

#include "platform/linux/walk/PathDescriptors.h"

namespace larkfold {

// Reads the regular file behind `descriptor` from its start, whatever its offset is. `path` is for the error.
// Throws SystemError and CancellationError.
std::string sha256OfDescriptor(int descriptor, const std::string& path, const std::stop_token& stop);

// The same of an item that is held by `O_PATH`. Opens nothing but regular files: merely opening a device may
// do something.
std::string sha256OfHeld(int item, const path_descriptors::FileStatus& status, const std::string& path,
                         const std::stop_token& stop);

}  // namespace larkfold
