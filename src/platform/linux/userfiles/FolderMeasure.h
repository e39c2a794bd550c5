// What a folder that is held weighs. Linux part of the platform layer only.
#pragma once

#include <stop_token>

#include "platform/UserFiles.h"

namespace larkfold::user_files {

// Logical and allocated bytes of all that lies below `folder`, a descriptor by `O_PATH` or for reading;
// nothing where a part cannot be read or something is mounted in it. Throws CancellationError.
Measure measureOfFolder(int folder, const std::stop_token& stop);

}  // namespace larkfold::user_files
