// The walk along a path, link by link. Linux part of the platform layer only; touches the disk, and waits for
// as long as it takes. Safe from any thread.
#pragma once

#include <functional>
#include <string>

#include "platform/LinkResolution.h"

namespace larkfold {

// Where `path` leads, as `LinkResolution.h` says. `onLink` (may be empty) hears of each symbolic link in the
// order in which they are followed, after it was read: the folder that holds it, as a descriptor that only
// stands for its place and is open during the call, that folder's path without links, and the link's name.
LinkResolution walkLinks(
    const std::string& path,
    const std::function<void(int folder, const std::string& folderPath, const std::string& name)>& onLink);

}  // namespace larkfold
