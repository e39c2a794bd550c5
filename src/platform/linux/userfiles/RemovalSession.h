// What the items of a run of removals share.
#pragma once

#include <fcntl.h>

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/LinkResolution.h"
#include "platform/UserFiles.h"
#include "platform/linux/calls/FileDescriptor.h"
#include "platform/linux/mounts/MountWatch.h"
#include "platform/linux/userfiles/HoldingFolder.h"
#include "platform/linux/userfiles/Trash.h"

namespace larkfold::user_files {

struct RemovalSession {
    struct TrashNews {
        FileDescriptor trash;
        std::vector<trash::FolderSize> sizes;
    };

    explicit RemovalSession(const std::vector<Root>& given) {
        for (const Root& root : given) {
            if (auto held = heldRoot(root, mounts)) {
                rootPaths.push_back(held->path);
                roots.push_back(std::move(*held));
            }
        }
    }

    MountWatch mounts;
    std::vector<HeldRoot> roots;
    std::vector<std::string> rootPaths;
    // Where the Trash of the home folder really is; nothing where that cannot be told.
    std::optional<std::string> homeTrash = pathWithLinksResolved(trash::homeTrashPath());
    std::map<std::string, TrashNews> news;  // by the Trash's path

    void note(const trash::Folder& folder, trash::FolderSize size) {
        TrashNews& row = news[folder.path];
        if (!row.trash) {
            row.trash = FileDescriptor(::fcntl(folder.descriptor.get(), F_DUPFD_CLOEXEC, 0));
        }
        row.sizes.push_back(std::move(size));
    }
};

}  // namespace larkfold::user_files
