#include "platform/linux/userfiles/HoldingFolder.h"

#include <fcntl.h>

#include <cerrno>
#include <utility>

#include "platform/LinkResolution.h"
#include "platform/Path.h"
#include "platform/linux/calls/CallWithTimeout.h"
#include "platform/linux/walk/PathDescriptors.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold::user_files {

namespace {

// Whether whoever keeps the volume answers when the item is asked for; the path has no link in it.
bool isAnsweredAt(const std::string& path) {
    return callWithTimeout<bool>([path] {
               const auto item = path_descriptors::openWithoutLinks(path, O_PATH | O_NOFOLLOW);
               return path_descriptors::statusOf(item.get()).has_value();
           })
        .has_value();
}

// The part of `path` below `folder`; nothing where it does not lie there. Empty for the folder itself.
std::optional<std::string> relativeTo(const std::string& folder, const std::string& path) {
    if (!isAtOrBelow(path, folder)) {
        return std::nullopt;
    }
    return path.size() == folder.size() ? std::string() : path.substr(folder == "/" ? 1 : folder.size() + 1);
}

}  // namespace

std::optional<HeldRoot> heldRoot(const Root& root, MountWatch& mounts) {
    HeldRoot held{.given = standardizedPath(root.path), .path = {}, .descriptor = {}};
    if (!root.identity) {
        return std::nullopt;
    }
    // What cannot be told is not a no: who asks for an item is told why.
    if (mounts.mayFailToAnswer(held.given) && !isAnsweredAt(held.given)) {
        held.path = held.given;
        held.problem = ETIMEDOUT;
        return held;
    }
    const auto resolved = pathWithLinksResolved(held.given);
    if (!resolved) {
        return std::nullopt;
    }
    held.path = *resolved;
    held.descriptor = path_descriptors::openWithoutLinks(held.path, O_PATH | O_DIRECTORY);
    const auto status = held.descriptor ? path_descriptors::statusOf(held.descriptor.get()) : std::nullopt;
    if (!status) {
        held.problem = errno;
        return held;
    }
    if (!status->durableIdentity().isSameAs(*root.identity)) {
        return std::nullopt;
    }
    return held;
}

HoldingFolder openFolderOf(const std::string& path, MountWatch& mounts, const std::vector<HeldRoot>* roots) {
    const std::string name(lastPathComponent(path));
    HoldingFolder folder{{}, std::string(parentPath(path))};
    const auto open = [&] {
        const HeldRoot* root = nullptr;
        std::optional<std::string> below;
        if (roots != nullptr) {
            for (const HeldRoot& candidate : *roots) {
                root = &candidate;
                below = relativeTo(candidate.path, folder.path);
                if (!below) {
                    below = relativeTo(candidate.given, folder.path);
                }
                if (below) {
                    folder.path = below->empty() ? candidate.path : joinedPath(candidate.path, *below);
                    break;
                }
            }
            if (!below) {
                folder.problem = ELOOP;  // it may lead into one of them by a link
                return;
            }
        }
        if (root != nullptr && root->problem != 0) {
            folder.problem = root->problem;
            return;
        }
        const std::string place = joinedPath(folder.path, name);
        if (mounts.mayFailToAnswer(place) && !isAnsweredAt(place)) {
            folder.problem = ETIMEDOUT;
            return;
        }
        // Where the path has no link in it, opening it so is proof of that.
        folder.descriptor =
            root == nullptr
                ? path_descriptors::openWithoutLinks(folder.path, O_PATH | O_DIRECTORY)
                : path_descriptors::openBelow(root->descriptor.get(), *below, O_PATH | O_DIRECTORY);
        folder.problem = folder.descriptor ? 0 : errno;
    };
    open();
    if (folder.problem == ELOOP) {
        if (auto resolved = pathWithLinksResolved(folder.path)) {
            folder.path = std::move(*resolved);
            // From here on a link on the way is one that was put there meanwhile.
            open();
        }
    }
    return folder;
}

}  // namespace larkfold::user_files
