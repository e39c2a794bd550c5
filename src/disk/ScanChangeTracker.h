// Remembers which folders changed since the scan on screen, so that only those need to be scanned again.
//
// It listens to a watch of the scanned root and keeps a small set of folders, none within another. Where the
// watch cannot know what changed, the whole root counts as changed; and since what the system refused once it
// may grant later, a watch that failed or was limited is begun anew after each refresh of the whole root.
// Main thread only.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/FolderWatcher.h"
#include "platform/MainQueue.h"

namespace larkfold {

class ScanChangeTracker {
public:
    // Told the number of folders to scan again.
    using OnChange = std::function<void(int)>;
    // A watch that ends with the last copy of this, and calls its handlers on the main thread.
    using Stream = std::shared_ptr<void>;
    using StreamMaker = std::function<Stream(const std::string& root, const FolderWatcherOptions& options,
                                             FolderWatcher::Handlers handlers)>;

    // How far the watch can be relied on. Of one that is tried again, what the one before it could.
    struct Coverage {
        bool isReady = false;  // it stands, or has failed
        bool hasFailed = false;
        WatchCoverage watched;

        bool isComplete() const { return isReady && !hasFailed && watched.isComplete(); }
        bool operator==(const Coverage&) const = default;
    };

    // `indexFileURL` names the file of the index, asked at each use: what the program writes beside it is no
    // change. `onCoverageChange` may be empty.
    ScanChangeTracker(StreamMaker makeStream, std::function<std::string()> indexFileURL,
                      std::function<void()> onCoverageChange);
    // Watches with a `FolderWatcher`.
    static StreamMaker folderWatchers(MainQueue& mainQueue);
    ~ScanChangeTracker();
    ScanChangeTracker(const ScanChangeTracker&) = delete;
    ScanChangeTracker& operator=(const ScanChangeTracker&) = delete;

    // Watches `root` from now on, instead of what was watched before; the set is the root alone where
    // `markRootDirty`, and otherwise empty. `leavesOut` is what the scan left out.
    void start(const std::string& root, const FolderWatcherOptions& leavesOut, bool markRootDirty,
               OnChange onChange);
    void stop();
    // Empties the set and gives what it held, in no particular order.
    std::vector<std::string> takeDirtyFolders();
    // Adds a folder, or many at the price of one; what lies outside of the root is ignored.
    void markDirty(const std::string& url);
    void markDirty(const std::vector<std::string>& urls);
    // A refresh of these folders, which began at that moment, has ended well. Where the watch does not cover
    // everything, it is begun anew from that moment, if that may help, and otherwise the root counts as
    // changed again. Until the new watch stands, what is known of the old one's coverage remains.
    void noteRefreshed(const std::vector<std::string>& folders, const WatchBeginning& began);

    // What the watch tells. `rootNeedsRescan`: events were lost, so the paths say nothing.
    void handleEvents(bool rootNeedsRescan, const std::vector<std::string>& paths);

    const std::vector<std::string>& dirtyFolders() const { return dirty_; }
    const Coverage& coverage() const { return coverage_; }

private:
    void beginStream(const FolderWatcherOptions& options);
    void publish() const;
    void setCoverage(const Coverage& coverage);

    StreamMaker makeStream_;
    std::function<std::string()> indexFileURL_;
    std::function<void()> onCoverageChange_;
    std::optional<std::string> root_;
    FolderWatcherOptions leavesOut_;
    std::vector<std::string> dirty_;  // standardized, none within another
    OnChange onChange_;
    Coverage coverage_;
    bool isTriedAgain_ = false;  // and does not stand yet
    // What was taken before the watch stood: it may have changed again unseen.
    std::vector<std::string> takenUnwatched_;
    std::shared_ptr<int> generation_ = std::make_shared<int>(0);  // counts starts and stops
    Stream stream_;
};

}  // namespace larkfold
