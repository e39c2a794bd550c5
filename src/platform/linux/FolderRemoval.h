// Removing a folder with everything in it, below a descriptor. Linux part of the platform layer only.
#pragma once

#include <string>

#include "platform/linux/FileDescriptor.h"

namespace larkfold {

// Removes the folder `name` of `parent` and everything in it. Nothing that is mounted below is touched, no
// link is followed. Any depth and any number of entries, with a bounded number of descriptors. Where a folder
// inside may not be read or written though the user owns it, it is given the owner's rights. Tells 0, or the
// errno of what could not be removed; then that and what holds it is left.
int removeFolderWithContents(int parent, const std::string& name);

}  // namespace larkfold
