#include "platform/RemovalRemains.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <utility>

#include "platform/Error.h"
#include "platform/OwnFiles.h"
#include "platform/Path.h"
#include "platform/linux/calls/CallWithTimeout.h"
#include "platform/linux/calls/FileDescriptor.h"
#include "platform/linux/calls/SystemCalls.h"
#include "platform/linux/userfiles/Trash.h"
#include "platform/linux/walk/KernelEntry.h"
#include "platform/linux/walk/PathDescriptors.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold::user_files {

namespace {

using Kind = Whereabouts::Kind;
using path_descriptors::hold;
using system_calls::uninterrupted;

constexpr std::size_t largestInfoFile = std::size_t{64} << 10;
// Beyond what is looked for here, a Trash is not read.
constexpr std::size_t mostTrashedItems = std::size_t{1} << 20;

bool isAt(int folder, const std::string& name, const DurableIdentity& identity) {
    const auto held = hold(folder, name);
    return held && held->status.durableIdentity().isSameAs(identity);
}

// The folder that holds the item at `path`, with no link on the way.
FileDescriptor openParent(const std::string& path) {
    return path_descriptors::openWithoutLinks(std::string(parentPath(path)), O_PATH | O_DIRECTORY);
}

// The private folder `name` of `parent`: ours, and closed to everybody else, on the same mount.
FileDescriptor openStaging(int parent, const std::string& name) {
    FileDescriptor folder = path_descriptors::openBelow(parent, name, O_RDONLY | O_DIRECTORY, false);
    const auto status = folder ? path_descriptors::statusOf(folder.get()) : std::nullopt;
    const bool isOurs =
        status && status->owner == ::geteuid() && (status->mode & 0777U) == 0700U && S_ISDIR(status->mode);
    return isOurs ? std::move(folder) : FileDescriptor();
}

void lookAside(int parent, const Sought& sought, Whereabouts& found) {
    const std::string name(lastPathComponent(sought.path));
    const std::string staging = joinedPath(std::string(parentPath(sought.path)), sought.stagingName);
    AsideItem item{.originalPath = sought.path,
                   .path = joinedPath(staging, name),
                   .stagingName = sought.stagingName,
                   .identity = {},
                   .isFolder = false,
                   .isItsOwnStaging = false};
    if (const FileDescriptor folder = openStaging(parent, sought.stagingName)) {
        found.hasStaging = true;
        if (const auto held = hold(folder.get(), name)) {
            item.identity = held->status.durableIdentity();
            item.isFolder = S_ISDIR(held->status.mode);
            found.aside = std::move(item);
        }
        return;
    }
    // Under that name it counts only where it is known to be the item: anybody may make a folder of any name.
    if (const auto held = hold(parent, sought.stagingName);
        held && held->status.durableIdentity().isSameAs(sought.identity)) {
        item.path = staging;
        item.identity = held->status.durableIdentity();
        item.isFolder = S_ISDIR(held->status.mode);
        item.isItsOwnStaging = true;
        found.aside = std::move(item);
    }
}

// The top of the volume of a Trash, from its path; empty for that of the home folder.
std::string topOf(const std::string& trash) {
    if (trash == trash::homeTrashPath()) {
        return {};
    }
    const std::string above(parentPath(trash));
    return lastPathComponent(above) == ".Trash" ? std::string(parentPath(above)) : above;
}

// Whether the Trash's info file of what lies at `name` tells that it came from `path`.
bool noteLeadsTo(int info, const std::string& trash, const std::string& name, const std::string& path) {
    trash::Folder folder;
    folder.topFolder = topOf(trash);
    const std::string text = trash::infoFileFor(folder, path, 0);
    const std::string begin = text.substr(0, text.rfind("\nDeletionDate=") + 1);
    const FileDescriptor infoFile(::openat(info, (name + std::string(trash::infoFileSuffix)).c_str(),
                                           O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!infoFile) {
        return false;
    }
    try {
        return own_files::readFile(path_descriptors::pathThrough(infoFile.get()), largestInfoFile)
            .starts_with(begin);
    } catch (const Error&) {
        return false;
    }
}

// Where the item lies in a Trash, if it does.
void lookInTrash(const Sought& sought, Whereabouts& found) {
    for (const std::string& place : sought.places) {
        const std::string files(parentPath(place));
        const std::string trash(parentPath(files));
        const std::string name(lastPathComponent(place));
        const FileDescriptor folder = path_descriptors::openFolder(files, O_PATH);
        if (!folder || !isAt(folder.get(), name, sought.identity)) {
            continue;
        }
        const FileDescriptor info = path_descriptors::openFolder(joinedPath(trash, "info"), O_PATH);
        found.path = place;
        found.kind = info && noteLeadsTo(info.get(), trash, name, sought.path) ? Kind::inTrash
                                                                               : Kind::inTrashWithoutNote;
        if (found.kind == Kind::inTrash) {
            return;
        }
    }
}

Whereabouts lookFor(const Sought& sought) {
    Whereabouts found;
    const FileDescriptor parent = openParent(sought.path);
    if (parent) {
        found.kind = Kind::nowhere;
        if (!sought.stagingName.empty()) {
            lookAside(parent.get(), sought, found);
        }
        if (isAt(parent.get(), std::string(lastPathComponent(sought.path)), sought.identity)) {
            found.kind = Kind::inPlace;
            found.path = sought.path;
            return found;
        }
        if (found.aside && found.aside->identity.isSameAs(sought.identity)) {
            found.kind = Kind::aside;
            found.path = found.aside->path;
            return found;
        }
    }
    lookInTrash(sought, found);
    return found;
}

void listTrash(const std::string& trash, std::vector<TrashedItem>& items) {
    const std::string files = joinedPath(trash, "files");
    // Links are followed here and where it is looked for: the path is the one under which the user finds what
    // lies there, and nothing but questions are asked.
    const FileDescriptor folder = path_descriptors::openFolder(files, O_RDONLY);
    if (!folder) {
        return;
    }
    std::vector<char> buffer(std::size_t{256} * 1024);
    for (;;) {
        const long count = uninterrupted(
            [&] { return ::syscall(SYS_getdents64, folder.get(), buffer.data(), buffer.size()); });
        if (count <= 0) {
            return;
        }
        for (std::size_t at = 0; at < static_cast<std::size_t>(count);) {
            const auto* entry = reinterpret_cast<const KernelEntry*>(buffer.data() + at);
            at += entry->length;
            const std::string_view name = entry->name;
            if (items.size() < mostTrashedItems && name != "." && name != "..") {
                items.push_back({.path = joinedPath(files, name), .file = entry->inode});
            }
        }
    }
}

void removeEmptyFolder(int parent, const std::string& name) {
    uninterrupted([&] { return ::unlinkat(parent, name.c_str(), AT_REMOVEDIR); });
}

Restoring outcomeOf(int problem, const AsideItem& item) {
    switch (problem) {
        case 0:
            return Restoring::done;
        case EEXIST:
            return Restoring::nameTaken;
        case ENOENT:
            return Restoring::changed;
        default:
            throw SystemError(SystemError::Operation::move, problem, item.path);
    }
}

}  // namespace

Whereabouts find(const Sought& sought) {
    const auto answer = callWithTimeout<Whereabouts>([sought] { return lookFor(sought); });
    Whereabouts unanswered;
    unanswered.isAnswered = false;
    return answer.value_or(unanswered);
}

std::vector<std::string> trashFolders(const std::vector<std::string>& volumes) {
    std::vector<std::string> folders = {trash::homeTrashPath()};
    const std::string user = std::to_string(::geteuid());
    for (const std::string& volume : volumes) {
        folders.push_back(joinedPath(joinedPath(volume, ".Trash"), user));
        folders.push_back(joinedPath(volume, ".Trash-" + user));
    }
    return folders;
}

std::vector<TrashedItem> itemsInTrashes(const std::vector<std::string>& trashFolders) {
    std::vector<TrashedItem> items;
    for (const std::string& folder : trashFolders) {
        auto listed = callWithTimeout<std::vector<TrashedItem>>([folder] {
            std::vector<TrashedItem> found;
            listTrash(folder, found);
            return found;
        });
        if (listed) {
            items.insert(items.end(), std::make_move_iterator(listed->begin()),
                         std::make_move_iterator(listed->end()));
        }
    }
    return items;
}

void discardEmptyStaging(const std::string& path, const std::string& stagingName) {
    // An answer that comes late removes an empty folder of ours all the same.
    callWithTimeout<bool>([path, stagingName] {
        const FileDescriptor parent = openParent(path);
        if (parent && openStaging(parent.get(), stagingName)) {
            removeEmptyFolder(parent.get(), stagingName);
        }
        return true;
    });
}

// 1. The folders and the item, held, and that they are what was offered.
// 2. The move, which replaces nothing.
// 3. What arrived: somebody may have exchanged it in between.
// 4. The private folder, which is empty now.
Restoring restore(const AsideItem& item) {
    // Who does not answer this one does not get the others, which have no limit. A name is asked for: the top
    // of a mount is opened without its file system.
    const auto isThere = callWithTimeout<bool>([path = item.originalPath, name = item.stagingName] {
        const FileDescriptor folder = openParent(path);
        return folder && (hold(folder.get(), name), true);
    });
    if (!isThere.value_or(false)) {
        return Restoring::unreachable;
    }
    const FileDescriptor parent = openParent(item.originalPath);
    if (!parent) {
        return Restoring::unreachable;
    }
    const std::string name(lastPathComponent(item.originalPath));
    const FileDescriptor staging = item.isItsOwnStaging
                                       ? FileDescriptor(::fcntl(parent.get(), F_DUPFD_CLOEXEC, 0))
                                       : openStaging(parent.get(), item.stagingName);
    if (!staging) {
        return Restoring::changed;
    }
    const std::string& from = item.isItsOwnStaging ? item.stagingName : name;
    const auto held = hold(staging.get(), from);
    if (!held || !held->status.durableIdentity().isSameAs(item.identity)) {
        return Restoring::changed;
    }
    const bool isFolder = S_ISDIR(held->status.mode);
    const Restoring outcome = outcomeOf(
        path_descriptors::moveWithoutReplacing(staging.get(), from, parent.get(), name, isFolder), item);
    if (outcome != Restoring::done) {
        return outcome;
    }
    const auto arrived = hold(parent.get(), name);
    if (!arrived || arrived->status.identity != held->status.identity) {
        // Back to where somebody had put it; where that fails it has the item's old name, and is whole.
        path_descriptors::moveWithoutReplacing(parent.get(), name, staging.get(), from,
                                               arrived && S_ISDIR(arrived->status.mode));
        return Restoring::changed;
    }
    if (!item.isItsOwnStaging) {
        removeEmptyFolder(parent.get(), item.stagingName);
    }
    return Restoring::done;
}

}  // namespace larkfold::user_files
