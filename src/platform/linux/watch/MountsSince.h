// What was mounted and unmounted below a folder while nobody watched it. Linux part of the platform layer
// only.
#pragma once

#include <string>

#include "platform/linux/mounts/MountTable.h"
#include "platform/linux/walk/SpecialPlace.h"

namespace larkfold {

// Whether something else stands at the folder `realRoot` or at a place below it than when the kernel's list
// of mounts read `before`. Places that `places` excludes are passed over, and with `skipHiddenFiles` those
// below a name that begins with a dot; so is everything elsewhere on the machine. Where `before` is empty,
// nothing is known, and that counts as changed.
//
// A file system that was unmounted and mounted again at its place looks as if it had stayed; what was done to
// it elsewhere shows in its folders' dates.
bool haveMountsChanged(const std::string& before, const MountTable& now, const std::string& realRoot,
                       const SpecialPlace& places, bool skipHiddenFiles);

}  // namespace larkfold
