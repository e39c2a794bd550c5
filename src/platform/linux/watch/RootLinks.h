// The symbolic links on the way to the root of a watch, and when one of them comes to lead elsewhere. Linux
// part of the platform layer only. One thread.
//
// A link is changed by putting another item in its place, which is a change of the folder that holds it. So
// those folders are watched, and the ones above them for their moves. They may lie inside of the tree that is
// watched as well: their watches are then the same ones, and tell for both. A folder whose entries may not be
// read cannot be watched.
#pragma once

#include <sys/inotify.h>

#include <chrono>
#include <map>
#include <memory>
#include <stop_token>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "platform/WatchBeginning.h"
#include "platform/linux/mounts/MountTable.h"

namespace larkfold {

class RootLinks {
public:
    // Finds the links on the way to `root`, and has `inotify` tell of their places, before the root is
    // opened. False where nobody answered within `wait`, or after a request to stop.
    bool follow(const std::string& root, int inotify, std::chrono::milliseconds wait,
                const std::stop_token& stop);
    // Whether the way still leads over the same links to the same place; also false where nobody answers. To
    // be asked when the root is open and the folders above it are watched: what happened before shows here,
    // and what happens later is told.
    bool isSameWay(std::chrono::milliseconds wait, const std::stop_token& stop) const;

    // Whether one of the links may have come to its place at or after that moment.
    bool mayHaveChangedSince(FolderMoment since) const;
    // Whether the event says that the way may lead elsewhere now.
    bool mayChangeWay(const inotify_event& event, std::string_view name) const;

    // Which mounts hold the links, and whether others do now: something was mounted over them, or unmounted.
    void noteMounts(const MountTable& table);
    bool haveMountsChanged(const MountTable& table) const;

private:
    struct Link {
        std::string folder;  // without links in it
        std::string name;
        timespec changed{};
    };
    struct Way {
        std::string end;  // where it leads; empty where that cannot be told
        std::vector<Link> links;

        bool isSameAs(const Way& other) const;
    };
    struct Followed {
        Way way;
        std::unordered_map<int, std::vector<std::string>>
            names;                      // of the links, by the watch of their folder
        std::unordered_set<int> above;  // watches of the folders above those
    };

    static Way wayTo(const std::string& root);
    static Followed followTo(const std::string& root, int inotify);
    static std::map<std::string, int> mountsOf(const Way& way, const MountTable& table);

    std::string root_;
    Followed followed_;
    std::map<std::string, int> mounts_;  // numbers, by the folder of a link
};

}  // namespace larkfold
