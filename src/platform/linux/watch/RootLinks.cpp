#include "platform/linux/watch/RootLinks.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>

#include "platform/Path.h"
#include "platform/linux/calls/CallWithTimeout.h"
#include "platform/linux/calls/FileDescriptor.h"
#include "platform/linux/walk/LinkWalk.h"
#include "platform/linux/watch/FolderDate.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

namespace {

// What one watch is asked for adds to what another part of the watch asks for the same folder.
constexpr std::uint32_t aboveEvents = IN_MOVE_SELF | IN_DELETE_SELF | IN_ONLYDIR | IN_MASK_ADD;
constexpr std::uint32_t placeEvents = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;

}  // namespace

bool RootLinks::Way::isSameAs(const Way& other) const {
    return end == other.end && std::equal(links.begin(), links.end(), other.links.begin(), other.links.end(),
                                          [](const Link& left, const Link& right) {
                                              return left.folder == right.folder && left.name == right.name;
                                          });
}

RootLinks::Way RootLinks::wayTo(const std::string& root) {
    Way way;
    const LinkResolution resolution =
        walkLinks(root, [&way](int folder, const std::string& folderPath, const std::string& name) {
            Link link{.folder = folderPath, .name = name};
            struct stat values;
            if (::fstatat(folder, name.c_str(), &values, AT_SYMLINK_NOFOLLOW) == 0) {
                link.changed = values.st_ctim;
            }
            way.links.push_back(std::move(link));
        });
    way.end = resolution.path.value_or("");
    return way;
}

RootLinks::Followed RootLinks::followTo(const std::string& root, int inotify) {
    Followed followed{.way = wayTo(root), .names = {}, .above = {}};
    for (const Link& link : followed.way.links) {
        std::string_view folder = link.folder;
        const int watch = ::inotify_add_watch(inotify, link.folder.c_str(), placeEvents | aboveEvents);
        if (watch >= 0) {
            followed.names[watch].push_back(link.name);
        }
        for (; folder != "/"; folder = parentPath(folder)) {
            const int above = ::inotify_add_watch(inotify, std::string(folder).c_str(), aboveEvents);
            if (above >= 0) {
                followed.above.insert(above);
            }
        }
    }
    return followed;
}

bool RootLinks::follow(const std::string& root, int inotify, std::chrono::milliseconds wait,
                       const std::stop_token& stop) {
    root_ = root;
    followed_ = {};
    mounts_.clear();
    const auto held = std::make_shared<FileDescriptor>(::fcntl(inotify, F_DUPFD_CLOEXEC, 0));
    auto followed = callWithTimeout<Followed>(
        [root, held] {
            Followed found = followTo(root, held->get());
            held->reset();  // now: the thread's own end may come when the watch has long ended
            return found;
        },
        wait, stop);
    if (!followed) {
        return false;
    }
    followed_ = std::move(*followed);
    return true;
}

bool RootLinks::isSameWay(std::chrono::milliseconds wait, const std::stop_token& stop) const {
    const auto now = callWithTimeout<Way>([root = root_] { return wayTo(root); }, wait, stop);
    return now && now->isSameAs(followed_.way);
}

bool RootLinks::mayHaveChangedSince(FolderMoment since) const {
    const auto& links = followed_.way.links;
    return std::any_of(links.begin(), links.end(),
                       [&](const Link& link) { return mayBeSince(link.changed, since); });
}

bool RootLinks::mayChangeWay(const inotify_event& event, std::string_view name) const {
    if (name.empty()) {
        return (event.mask & (IN_MOVE_SELF | IN_DELETE_SELF)) != 0 && followed_.above.contains(event.wd);
    }
    const auto found = followed_.names.find(event.wd);
    return (event.mask & placeEvents) != 0 && found != followed_.names.end() &&
           std::find(found->second.begin(), found->second.end(), name) != found->second.end();
}

std::map<std::string, int> RootLinks::mountsOf(const Way& way, const MountTable& table) {
    std::map<std::string, int> mounts;
    for (const Link& link : way.links) {
        const Mount* mount = table.mountHolding(link.folder);
        mounts[link.folder] = mount == nullptr ? 0 : mount->id;
    }
    return mounts;
}

void RootLinks::noteMounts(const MountTable& table) {
    mounts_ = mountsOf(followed_.way, table);
}

bool RootLinks::haveMountsChanged(const MountTable& table) const {
    return mountsOf(followed_.way, table) != mounts_;
}

}  // namespace larkfold
