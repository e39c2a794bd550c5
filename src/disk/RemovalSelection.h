// The marks on the map on screen: what may be marked, what the disk says of what was marked, and the review
// of it.
//
// A mark that is set is checked by the map's text at once. The disk is asked about it on a serial context, a
// portion at a time, and a mark that it refuses is taken back with a notice. The review asks about all of
// them, for as long as that takes. Part of the disk tab's driver; main thread only.
#pragma once

#include <QObject>
#include <cstddef>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "disk/DroppedMarks.h"
#include "disk/FileNode.h"
#include "disk/RemovalMarks.h"
#include "disk/RemovalReview.h"
#include "disk/RemovalScope.h"
#include "disk/ScanScope.h"
#include "platform/SerialContext.h"
#include "platform/UUID.h"
#include "removal/ReviewRequest.h"

namespace larkfold {

class RemovalSelection : public QObject {
    Q_OBJECT

public:
    using RemovalScopePointer = std::shared_ptr<const RemovalScope>;

    // `mainQueue` outlives it.
    explicit RemovalSelection(MainQueue& mainQueue, QObject* parent = nullptr);
    ~RemovalSelection() override;

    // Asks all that is under way to stop; nothing of it is told any more.
    void dropRuns();

    // The map that is marked from now on: a new one with its rules, another tree of the same map, or none.
    // What was marked is forgotten; of the marks on another tree of the same map `dropped` tells.
    void takeMap(FileNode::Pointer root, RemovalScope removalScope);
    void takeTree(FileNode::Pointer root);
    void dropMap();
    // Whose map it is, for what a refusal says.
    void setScanScope(ScanScope scope) { scanScope_ = scope; }
    // What may be removed from the map; null without one.
    const RemovalScopePointer& removalScope() const { return removalScope_; }

    const std::set<UUID>& ids() const { return marks_.ids(); }
    // How many marked nodes there are and their sizes together, what lies within another marked folder
    // counted once.
    RemovalMarks::Totals totals() const { return marks_.totals(); }
    // By what is known of the map, without a look at the disk: a sentence for the user; nothing where the
    // node can be marked.
    std::optional<std::string> whyNotMarked(const FileNode& node) const;
    // Where it cannot be marked, `notice` tells why, and `noticeChanged` comes each time.
    void toggle(const FileNode::Pointer& node);
    // Marks them all, with one signal; of those that cannot be marked `notice` tells.
    void mark(const std::vector<FileNode::Pointer>& nodes);
    void clear();
    // False while the disk is still to be asked about marks that were set.
    bool areChecked() const { return unchecked_.empty() && !markTask_; }
    // Why something was not marked, or a mark was taken back.
    const std::optional<std::string>& notice() const { return notice_; }
    void setNotice(std::optional<std::string> text);

    // The marks that went with what was replaced in the tree.
    DroppedMarks& dropped() { return dropped_; }

    // Asks the disk about all marks; `reviewPrepared` or `reviewFailed` tells the end. Dropping ends it at
    // once.
    void prepareReview();
    void dropReview();
    bool isPreparingReview() const { return preparation_ != nullptr; }
    const RemovalReviewPreparation::Progress& reviewProgress() const { return reviewProgress_; }
    // What was prepared; null until then.
    const std::shared_ptr<const RemovalReview>& review() const { return review_; }
    // The review that was prepared; without one what is marked and still in the tree, in the order of the
    // paths and not yet checked.
    std::shared_ptr<const RemovalReview> reviewOrMarks() const;
    // The review that was prepared, for the sheet. The user may take items out of it, which takes the marks
    // on them and below them away; `onConfirm` gets what was shown in the end. Belongs to this selection.
    ReviewRequest::Proposal proposal(
        std::function<void(bool permanently, std::shared_ptr<const RemovalReview> confirmed)> onConfirm);

    // For the end of a removal, and for a tree that was changed. None of these signals: whoever changes the
    // tree tells of it when all of it is changed.
    void forgetUnchecked();
    // Takes what has gone, by its positions in the review, out of the tree and the marks: a slice for each
    // turn of the main loop, and then `done`, in a turn of its own. Tells nobody.
    void takeOutOfTree(std::shared_ptr<const RemovalReview> review, std::vector<std::size_t> gone,
                       std::function<void()> done);
    // The children of that folder are about to be replaced; `recount` follows.
    void dropBelow(const FileNode& folder);
    void keepOnly(const std::vector<FileNode::Pointer>& nodes);
    void recount();

signals:
    void changed();
    void noticeChanged();
    void isPreparingReviewChanged();
    void reviewProgressChanged();
    // `review` is there.
    void reviewPrepared();
    void reviewFailed(const std::exception_ptr& failure);

private:
    void awaitRules();
    void clearMarks();
    void checkMarks();
    void takeBack(const std::vector<FileNode::Pointer>& nodes, bool isAnotherFolder);
    std::shared_ptr<const RemovalReview> without(const RemovalReview& review, const std::string& url);
    void eraseBelow(const FileNode& folder);
    void takeReview(Outcome<RemovalReviewPreparation::Prepared> outcome);

    struct Going;

    void takeOutNext(const std::shared_ptr<Going>& going);

    MainQueue& mainQueue_;
    FileNode::Pointer root_;
    ScanScope scanScope_ = ScanScope::selectedFolder;
    RemovalScopePointer removalScope_;
    RemovalMarks marks_;
    DroppedMarks dropped_;
    std::vector<FileNode::Pointer> unchecked_;  // of which the disk is still to be asked
    std::optional<std::string> notice_;
    RemovalReviewPreparation::Progress reviewProgress_;
    std::shared_ptr<const RemovalReview> review_;
    SerialContext context_;  // what the disk is asked about marks
    Run rulesTask_;
    Run markTask_;
    std::unique_ptr<RemovalReviewPreparation> preparation_;
};

}  // namespace larkfold
