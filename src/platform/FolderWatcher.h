// Watching a folder with everything below it: tells in which folders something was created, changed, renamed
// or removed, and says so where it cannot know.
//
// What it promises:
//
// - A change that happens after `covered` was called, in a folder that is covered, is told, or else that
//   events were lost. Folders that are made, moved in or put in another's place later are followed: their
//   watch stands before their change is told, so whoever reads them then misses nothing that comes after.
// - Events that the system dropped, a root that moved or went, and a link on the way to it that leads
// elsewhere
//   now are told as lost events. The watch is then
//   set up anew, and told as lost once more when it stands, for what happened in between.
// - What it does not cover it says: folders beyond the system's limit, and mounts behind which somebody else
//   has to answer (a server, a program), whose changes the kernel does not see.
//
// With a moment to begin from, folders to which something was added, or from which something went, between it
// and the set-up are told as changed too; that a file merely grew meanwhile no folder tells. Where something
// was mounted below the root meanwhile, or unmounted, events are told as lost.
//
// Reading is no change. Bursts are gathered for about a second; of a burst in one folder one path is told.
// What the options leave out is neither watched nor told.
//
// What the system grants a watch is given back an instant after its end, and one that begins waits for that.
//
// The watch has a thread of its own; the handlers are called on the main thread, and never after the watcher
// is gone. Main thread only.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Error.h"
#include "platform/MainQueue.h"
#include "platform/WatchBeginning.h"

namespace larkfold {

struct FolderWatcherOptions {
    // Items whose name begins with a dot are left out, and what is below them.
    bool skipHiddenFiles = false;
    // Items at or below one of these paths are left out unseen. Absolute standardized paths.
    std::vector<std::string> excludedPathPrefixes;
    // Since when changes count; without it, since the watch stands.
    std::optional<WatchBeginning> since = std::nullopt;
    // How long changes are gathered before they are told.
    std::chrono::milliseconds latency{1'000};
    // How long the volume of the root, or of a folder below it, may take to answer; one that slept takes a
    // while.
    std::chrono::milliseconds answerTimeout{10'000};
};

struct FolderChanges {
    // Anything below the root may have changed.
    bool eventsAreLost = false;
    // Absolute paths, each of an item that was created, changed or removed in its folder. Of a folder in
    // which much happened one stands for all; what lies below a changed folder is not named beside it. Where
    // no item is known, since the folder changed before the watch stood, its name is ".".
    std::vector<std::string> paths;
};

struct WatchCoverage {
    std::int64_t folders = 0;  // watched
    // The system grants this user no more watches, or no more of what they take.
    bool isLimitReached = false;
    // A network drive or the like lies below the root.
    bool leavesOutMounts = false;
    // A folder could not be opened for want of descriptors or because of a failing disk.
    bool hasUnopenedFolders = false;

    bool isComplete() const { return !isLimitReached && !leavesOutMounts && !hasUnopenedFolders; }
    bool operator==(const WatchCoverage&) const = default;
};

class FolderWatcher {
public:
    struct Handlers {
        std::function<void(const FolderChanges&)> changed;
        // The watch stands; called again when the coverage changes.
        std::function<void(const WatchCoverage&)> covered;
        // Nothing is watched, or nothing any more. No other call comes after this one.
        std::function<void(const SystemError&)> failed;
    };

    // Begins to watch the folder at `root` (absolute path, bytes; a link there is followed). Returns at once.
    // `mainQueue` outlives the watcher.
    FolderWatcher(MainQueue& mainQueue, std::string root, FolderWatcherOptions options, Handlers handlers);
    // Ends the watch; a set-up that is under way breaks off. Waits for nothing.
    ~FolderWatcher();
    FolderWatcher(const FolderWatcher&) = delete;
    FolderWatcher& operator=(const FolderWatcher&) = delete;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace larkfold
