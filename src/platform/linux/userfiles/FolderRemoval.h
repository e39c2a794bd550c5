// Emptying a folder that is held by a descriptor. Linux part of the platform layer only.
#pragma once

#include <functional>

namespace larkfold {

struct Emptied {
    int problem = 0;        // errno of what could not be removed; then that and what holds it is left
    bool hasBegun = false;  // something has gone
};

// Removes everything in the folder that `folder` stands for; the folder stays, and is never asked for by a
// name. Nothing that is mounted below is touched, no link is followed. Any depth and any number of entries,
// with a bounded number of descriptors. Where the folder or one inside may not be read or written though the
// user owns it, it is given the owner's rights.
// `mayBegin` is asked immediately before anything goes: where it says no, EXDEV is told and all of it stands.
Emptied emptyFolder(int folder, const std::function<bool()>& mayBegin);

}  // namespace larkfold
