// The review of a removal from the map: how the marks become the list that the user decides about.
//
// The marked nodes are looked up on the main thread, a slice for each turn of the main loop. Whether they may
// go is then asked of the disk on a serial context, for as long as the disk takes: what it refuses is left
// out and told, what it cannot tell is in the list with the reason. The list that comes of it never changes,
// and it alone is what a removal takes.
//
// Main thread only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "disk/FileNode.h"
#include "disk/RemovalScope.h"
#include "platform/MainQueue.h"
#include "platform/SerialContext.h"
#include "removal/CleanupPreviewItem.h"
#include "removal/CleanupReview.h"

namespace larkfold {

// What the user sees, and the nodes that stand behind it.
struct RemovalReview {
    CleanupReview::ShownPointer shown;
    std::vector<FileNode::Pointer> nodes;  // of each shown item

    // An item of the review for a node, not yet checked.
    static CleanupPreviewItem itemOf(const FileNode& node);
};

class RemovalReviewPreparation {
public:
    struct Progress {
        std::int64_t answered = 0;
        std::int64_t total = 0;
        std::string awaited;  // the path that the disk is being asked for

        bool operator==(const Progress&) const = default;
    };
    struct Prepared {
        std::shared_ptr<const RemovalReview> review;
        std::vector<FileNode::Pointer> refused;
        bool isAnotherFolder = false;  // `refused` are all: the map's folder is another one by now
    };

    // `isInTree` leaves out what is not on the map any more. `onEnd` is called once, never from within this
    // constructor; destroying the preparation asks the disk's context to stop, at once, and nothing is called
    // any more. Queue and context outlive it.
    RemovalReviewPreparation(MainQueue& mainQueue, SerialContext& context,
                             std::shared_ptr<const RemovalScope> removalScope,
                             std::vector<FileNode::Pointer> marked,
                             std::function<bool(const FileNode&)> isInTree,
                             std::function<void(const Progress&)> onProgress,
                             std::function<void(Outcome<Prepared>)> onEnd);
    ~RemovalReviewPreparation();
    RemovalReviewPreparation(const RemovalReviewPreparation&) = delete;
    RemovalReviewPreparation& operator=(const RemovalReviewPreparation&) = delete;

private:
    // What the context makes of the gathered items; positions are theirs.
    struct Decided {
        CleanupReview::ShownPointer shown;
        std::vector<std::size_t> shownPositions;
        std::vector<std::size_t> refusedPositions;
        bool isAnotherFolder = false;
    };

    void later(void (RemovalReviewPreparation::*step)());
    void gather();
    void askTheDisk();
    static Decided decide(const RemovalScope& removalScope, std::vector<CleanupPreviewItem> items,
                          const std::function<void(const Progress&)>& report, const std::stop_token& stop);
    Prepared preparedOf(Decided decided) const;
    void finish(Outcome<Decided> outcome);

    MainQueue& mainQueue_;
    SerialContext& context_;
    std::shared_ptr<const RemovalScope> removalScope_;
    std::vector<FileNode::Pointer> marked_;
    std::size_t nextMarked_ = 0;
    std::function<bool(const FileNode&)> isInTree_;
    std::function<void(const Progress&)> onProgress_;
    std::function<void(Outcome<Prepared>)> onEnd_;
    std::vector<FileNode::Pointer> nodes_;  // of `items_`
    std::vector<CleanupPreviewItem> items_;
    std::shared_ptr<bool> isAlive_ = std::make_shared<bool>(true);  // for what waits in the main queue
    Run run_;
};

}  // namespace larkfold
