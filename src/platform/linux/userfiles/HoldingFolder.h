// The folders in which a run of removals finds its items: opened without a link on the way, below the roots
// that were held at its beginning.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/UserFiles.h"
#include "platform/linux/calls/FileDescriptor.h"
#include "platform/linux/mounts/MountWatch.h"

namespace larkfold::user_files {

// The folder that holds an item, opened without a link on the way.
struct HoldingFolder {
    FileDescriptor descriptor;
    std::string path;  // without a link in it, where that can be told
    int problem = 0;   // why it is not open
};

// A root of a run, held from its beginning to its end.
struct HeldRoot {
    std::string given;  // as the caller writes it
    std::string path;   // without a link in it
    FileDescriptor descriptor;
    int problem = 0;  // why it could not be looked at: then nothing in it can be either
};

// Where its identity is another one by now, or cannot be told, it is not held.
std::optional<HeldRoot> heldRoot(const Root& root, MountWatch& mounts);

// Links are followed once. Where somebody may be gone who has to answer, the item itself is asked for first,
// and no longer than a short wait. With `roots` the folder is opened below the one that holds it, by its
// descriptor, and in no other way: a root is the folder that was held at the beginning, whatever stands at
// its path by now. Without, from the top of all paths.
HoldingFolder openFolderOf(const std::string& path, MountWatch& mounts, const std::vector<HeldRoot>* roots);

}  // namespace larkfold::user_files
