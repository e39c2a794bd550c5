#include "disk/ScanChangeTracker.h"

#include <algorithm>
#include <utility>

#include "platform/Path.h"
#include "removal/PathRules.h"

namespace larkfold {

ScanChangeTracker::ScanChangeTracker(StreamMaker makeStream, std::function<std::string()> indexFileURL,
                                     std::function<void()> onCoverageChange)
    : makeStream_(std::move(makeStream)),
      indexFileURL_(std::move(indexFileURL)),
      onCoverageChange_(std::move(onCoverageChange)) {}

ScanChangeTracker::~ScanChangeTracker() = default;

ScanChangeTracker::StreamMaker ScanChangeTracker::folderWatchers(MainQueue& mainQueue) {
    return [&mainQueue](const std::string& root, const FolderWatcherOptions& options,
                        FolderWatcher::Handlers handlers) -> Stream {
        return std::make_shared<FolderWatcher>(mainQueue, root, options, std::move(handlers));
    };
}

void ScanChangeTracker::start(const std::string& root, const FolderWatcherOptions& leavesOut,
                              bool markRootDirty, OnChange onChange) {
    stream_.reset();
    root_ = standardizedPath(root);
    leavesOut_ = leavesOut;
    onChange_ = std::move(onChange);
    dirty_.clear();
    takenUnwatched_.clear();
    if (markRootDirty) {
        dirty_.push_back(*root_);
    }
    isTriedAgain_ = false;
    publish();
    setCoverage({});
    beginStream(leavesOut_);
}

void ScanChangeTracker::beginStream(const FolderWatcherOptions& options) {
    stream_.reset();
    const int generation = ++*generation_;
    // A watch that was replaced or stopped meanwhile has nothing to say any more.
    const auto isCurrent = [weak = std::weak_ptr(generation_), generation] {
        const auto present = weak.lock();
        return present && *present == generation;
    };
    stream_ = makeStream_(*root_, options,
                          {.changed =
                               [this, isCurrent](const FolderChanges& changes) {
                                   if (isCurrent()) {
                                       handleEvents(changes.eventsAreLost, changes.paths);
                                   }
                               },
                           .covered =
                               [this, isCurrent](const WatchCoverage& covered) {
                                   if (!isCurrent()) {
                                       return;
                                   }
                                   isTriedAgain_ = false;
                                   markDirty(std::exchange(takenUnwatched_, {}));
                                   if (!covered.isComplete()) {
                                       markDirty(*root_);  // what is not watched may change at any time
                                   }
                                   setCoverage({.isReady = true, .hasFailed = false, .watched = covered});
                               },
                           .failed =
                               [this, isCurrent](const SystemError&) {
                                   if (isCurrent()) {
                                       isTriedAgain_ = false;
                                       takenUnwatched_.clear();  // the root stands for it
                                       markDirty(*root_);
                                       setCoverage({.isReady = true, .hasFailed = true, .watched = {}});
                                   }
                               }});
}

void ScanChangeTracker::stop() {
    stream_.reset();
    ++*generation_;
    root_.reset();
    dirty_.clear();
    takenUnwatched_.clear();
    isTriedAgain_ = false;
    publish();
    setCoverage({});
}

std::vector<std::string> ScanChangeTracker::takeDirtyFolders() {
    std::vector<std::string> taken = std::exchange(dirty_, {});
    if (root_ && (!coverage_.isReady || isTriedAgain_)) {
        takenUnwatched_.insert(takenUnwatched_.end(), taken.begin(), taken.end());
    }
    publish();
    return taken;
}

void ScanChangeTracker::markDirty(const std::string& url) {
    markDirty(std::vector{url});
}

void ScanChangeTracker::noteRefreshed(const std::vector<std::string>& folders, const WatchBeginning& began) {
    if (!root_ || !coverage_.isReady || isTriedAgain_ || coverage_.isComplete()) {
        return;
    }
    // What was not refreshed has changed unseen since long before that moment.
    const bool isWholeRefreshed = std::any_of(folders.begin(), folders.end(), [this](const auto& folder) {
        return standardizedPath(folder) == *root_;
    });
    // That a mount is there on which nothing can be watched, the watch finds out by itself when it goes.
    const bool mayHelp =
        coverage_.hasFailed || coverage_.watched.isLimitReached || coverage_.watched.hasUnopenedFolders;
    if (!isWholeRefreshed || !mayHelp) {
        markDirty(*root_);
        return;
    }
    isTriedAgain_ = true;
    FolderWatcherOptions options = leavesOut_;
    options.since = began;
    beginStream(options);
}

void ScanChangeTracker::handleEvents(bool rootNeedsRescan, const std::vector<std::string>& paths) {
    if (rootNeedsRescan && root_) {
        markDirty(*root_);
        return;
    }
    const std::string ownFolder(parentPath(indexFileURL_()));
    std::vector<std::string> folders;
    for (const std::string& path : paths) {
        if (!isAtOrBelow(path, ownFolder)) {
            folders.emplace_back(parentPath(path));
        }
    }
    markDirty(folders);
}

// Folding them together costs as much for one as for a thousand.
void ScanChangeTracker::markDirty(const std::vector<std::string>& urls) {
    if (!root_) {
        return;
    }
    bool isAnyInside = false;
    for (const std::string& url : urls) {
        std::string path = standardizedPath(url);
        if (isAtOrBelow(path, *root_)) {
            dirty_.push_back(std::move(path));
            isAnyInside = true;
        }
    }
    if (isAnyInside) {
        dirty_ = removal_rules::collapseNested(dirty_);
        publish();
    }
}

void ScanChangeTracker::publish() const {
    if (onChange_) {
        onChange_(static_cast<int>(dirty_.size()));
    }
}

void ScanChangeTracker::setCoverage(const Coverage& coverage) {
    if (coverage == coverage_) {
        return;
    }
    coverage_ = coverage;
    if (onCoverageChange_) {
        onCoverageChange_();
    }
}

}  // namespace larkfold
