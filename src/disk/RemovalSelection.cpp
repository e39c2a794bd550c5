#include "disk/RemovalSelection.h"

#include <QPointer>
#include <algorithm>
#include <utility>

#include "disk/MarkTexts.h"
#include "platform/Path.h"
#include "removal/PathRules.h"

namespace larkfold {

namespace {

bool isBelow(const FileNode& node, const FileNode& folder) {
    FileNode::Pointer above = node.parent();
    while (above && above.get() != &folder) {
        above = above->parent();
    }
    return above != nullptr;
}

}  // namespace

struct RemovalSelection::Going {
    std::shared_ptr<const RemovalReview> review;
    std::vector<std::size_t> gone;
    std::function<void()> done;
    std::size_t next = 0;  // of `gone`
};

RemovalSelection::RemovalSelection(MainQueue& mainQueue, QObject* parent)
    : QObject(parent),
      mainQueue_(mainQueue),
      dropped_([this](const std::vector<FileNode::Pointer>& nodes) { mark(nodes); }),
      context_(mainQueue, "removal-review") {}

RemovalSelection::~RemovalSelection() {
    dropRuns();
}

void RemovalSelection::dropRuns() {
    rulesTask_.drop();
    markTask_.drop();
    preparation_.reset();
}

void RemovalSelection::takeMap(FileNode::Pointer root, RemovalScope removalScope) {
    root_ = std::move(root);
    marks_.begin(root_);
    dropped_.dismiss();
    removalScope_ = std::make_shared<const RemovalScope>(std::move(removalScope));
    if (!removalScope_->hasRules()) {
        awaitRules();
    }
}

void RemovalSelection::takeTree(FileNode::Pointer root) {
    std::vector<std::string> paths;
    for (const FileNode::Pointer& node : marks_.nodes()) {
        if (marks_.isInTree(*node)) {
            paths.push_back(node->url());
        }
    }
    clearMarks();
    root_ = std::move(root);
    marks_.begin(root_);
    if (!paths.empty()) {
        dropped_.take(DroppedMarks::Cause::refresh, std::move(paths));
    }
    dropped_.resolve(root_);
}

void RemovalSelection::dropMap() {
    root_.reset();
    removalScope_.reset();
    rulesTask_.drop();
    clear();
    setNotice(std::nullopt);
}

// Where the disk was too slow to tell the protected places with the map, for as long as it takes. Until then
// nothing can be marked, and that is told.
void RemovalSelection::awaitRules() {
    rulesTask_ = context_.run<RemovalScope>(
        [removalScope = *removalScope_](const std::stop_token& stop) mutable {
            removalScope.awaitRules(stop);
            return std::move(removalScope);
        },
        [this](Outcome<RemovalScope> outcome) {
            rulesTask_ = Run();
            try {
                removalScope_ = std::make_shared<const RemovalScope>(std::move(outcome.get()));
            } catch (const std::exception&) {
                // They stay unknown.
            }
        });
}

// --- Marks

std::optional<std::string> RemovalSelection::whyNotMarked(const FileNode& node) const {
    if (node.isAggregate()) {
        return mark_texts::aggregateCannotBeMarked;
    }
    if (root_ && node == *root_) {
        return mark_texts::rootCannotBeMarked;
    }
    using Answer = RemovalScope::Answer;
    switch (removalScope_ ? removalScope_->mayMark(node.url()) : Answer::refused) {
        case Answer::allowed:
            return std::nullopt;
        case Answer::unknownRoot:
            return mark_texts::unknownRoot;
        case Answer::notToldYet:
            return mark_texts::notToldYet;
        case Answer::refused:
            break;
    }
    return scanScope_ == ScanScope::startupDisk ? mark_texts::outsideHomeCannotBeMarked
                                                : mark_texts::protectedCannotBeMarked;
}

void RemovalSelection::toggle(const FileNode::Pointer& node) {
    if (!node) {
        return;
    }
    if (auto refusal = whyNotMarked(*node)) {
        notice_ = std::move(refusal);
        emit noticeChanged();  // also the same one once more: the user has asked again
        return;
    }
    setNotice(std::nullopt);
    if (!marks_.erase(node->id())) {
        marks_.insert(node);
        unchecked_.push_back(node);
        checkMarks();
    }
    emit changed();
}

void RemovalSelection::mark(const std::vector<FileNode::Pointer>& nodes) {
    std::optional<std::string> refusal;
    for (const FileNode::Pointer& node : nodes) {
        if (auto why = whyNotMarked(*node)) {
            refusal = std::move(why);
        } else if (marks_.insert(node)) {
            unchecked_.push_back(node);
        }
    }
    setNotice(std::move(refusal));
    checkMarks();
    emit changed();
}

void RemovalSelection::clear() {
    dropped_.dismiss();
    clearMarks();
}

void RemovalSelection::clearMarks() {
    unchecked_.clear();
    markTask_.drop();
    if (marks_.ids().empty()) {
        return;
    }
    marks_.clear();
    emit changed();
}

void RemovalSelection::setNotice(std::optional<std::string> text) {
    if (text != notice_) {
        notice_ = std::move(text);
        emit noticeChanged();
    }
}

void RemovalSelection::forgetUnchecked() {
    unchecked_.clear();
    markTask_.drop();
}

void RemovalSelection::dropBelow(const FileNode& folder) {
    std::vector<std::string> paths;
    for (const FileNode::Pointer& node : marks_.nodes()) {
        if (marks_.isInTree(*node) && isBelow(*node, folder)) {
            paths.push_back(node->url());
            marks_.erase(node->id());
        }
    }
    if (!paths.empty()) {
        dropped_.take(DroppedMarks::Cause::loading, std::move(paths));
    }
}

void RemovalSelection::recount() {
    marks_.recount();
    dropped_.resolve(root_);
}

void RemovalSelection::keepOnly(const std::vector<FileNode::Pointer>& nodes) {
    marks_.clear();
    for (const FileNode::Pointer& node : nodes) {
        marks_.insert(node);
    }
}

void RemovalSelection::eraseBelow(const FileNode& folder) {
    for (const FileNode::Pointer& node : marks_.nodes()) {
        if (isBelow(*node, folder)) {
            marks_.erase(node->id());
        }
    }
}

// Asks the disk about a portion of the marks that were set; the next one follows its answer. What it cannot
// tell stays marked, and the review tells of it.
void RemovalSelection::checkMarks() {
    constexpr std::size_t portion = 4'096;
    if (markTask_ || unchecked_.empty() || !removalScope_) {
        return;
    }
    const std::size_t count = std::min(portion, unchecked_.size());
    const auto end = unchecked_.end();
    std::vector<FileNode::Pointer> nodes(end - static_cast<std::ptrdiff_t>(count), end);
    unchecked_.resize(unchecked_.size() - count);
    std::vector<std::string> urls;
    urls.reserve(count);
    for (const FileNode::Pointer& node : nodes) {
        urls.push_back(node->url());
    }
    markTask_ = context_.run<RemovalScope::Decisions>(
        [removalScope = removalScope_, urls = std::move(urls)](const std::stop_token& stop) {
            return removalScope->ask(urls, nullptr, stop);
        },
        [this, nodes = std::move(nodes)](Outcome<RemovalScope::Decisions> outcome) {
            markTask_ = Run();
            try {
                const RemovalScope::Decisions& decisions = outcome.get();
                std::vector<FileNode::Pointer> refused;
                for (std::size_t index = 0; index < nodes.size(); ++index) {
                    using Verdict = removal_rules::PathDecision::Verdict;
                    if (decisions.items[index].verdict == Verdict::refused &&
                        marks_.contains(nodes[index]->id())) {
                        refused.push_back(nodes[index]);
                    }
                }
                takeBack(refused, decisions.isAnotherFolder);
            } catch (const std::exception&) {
                // Not asked, as where the system gives no thread. The review asks about all marks.
            }
            checkMarks();
        });
}

void RemovalSelection::takeBack(const std::vector<FileNode::Pointer>& nodes, bool isAnotherFolder) {
    if (nodes.empty()) {
        return;
    }
    std::vector<std::string> names;
    names.reserve(nodes.size());
    for (const FileNode::Pointer& node : nodes) {
        marks_.erase(node->id());
        names.push_back(displayText(node->name()));
    }
    if (isAnotherFolder) {
        clear();
        setNotice(mark_texts::takenBackWithTheFolder());
    } else {
        setNotice(mark_texts::takenBack(names));
    }
    emit changed();
}

// --- Review

void RemovalSelection::prepareReview() {
    // Of these it asks as well, and must not wait behind them.
    unchecked_.clear();
    markTask_.drop();
    setNotice(std::nullopt);
    review_.reset();
    reviewProgress_ = {.answered = 0, .total = static_cast<std::int64_t>(marks_.ids().size()), .awaited = {}};
    preparation_ = std::make_unique<RemovalReviewPreparation>(
        mainQueue_, context_, removalScope_, marks_.nodes(),
        [this](const FileNode& node) { return marks_.isInTree(node); },
        [this](const RemovalReviewPreparation::Progress& progress) {
            if (progress != reviewProgress_) {
                reviewProgress_ = progress;
                emit reviewProgressChanged();
            }
        },
        [this](Outcome<RemovalReviewPreparation::Prepared> outcome) { takeReview(std::move(outcome)); });
    emit isPreparingReviewChanged();
    emit reviewProgressChanged();
}

void RemovalSelection::dropReview() {
    review_.reset();
    if (preparation_) {
        preparation_.reset();
        emit isPreparingReviewChanged();
    }
}

void RemovalSelection::takeReview(Outcome<RemovalReviewPreparation::Prepared> outcome) {
    const auto ended = std::move(preparation_);  // alive until its own call has returned
    emit isPreparingReviewChanged();
    try {
        RemovalReviewPreparation::Prepared& prepared = outcome.get();
        takeBack(prepared.refused, prepared.isAnotherFolder);
        review_ = std::move(prepared.review);
    } catch (...) {
        emit reviewFailed(std::current_exception());
        return;
    }
    emit reviewPrepared();
}

std::shared_ptr<const RemovalReview> RemovalSelection::reviewOrMarks() const {
    if (review_) {
        return review_;
    }
    std::vector<std::pair<CleanupPreviewItem, FileNode::Pointer>> marked;
    for (const FileNode::Pointer& node : marks_.nodes()) {
        if (marks_.isInTree(*node) && !whyNotMarked(*node)) {
            marked.emplace_back(RemovalReview::itemOf(*node), node);
        }
    }
    std::sort(marked.begin(), marked.end(),
              [](const auto& left, const auto& right) { return left.first.url < right.first.url; });
    std::vector<CleanupPreviewItem> items;
    items.reserve(marked.size());
    for (auto& [item, node] : marked) {
        items.push_back(std::move(item));
    }
    const auto review = std::make_shared<RemovalReview>();
    review->shown = CleanupReview::shownOf(std::move(items));
    for (const std::size_t position : review->shown->positions) {
        review->nodes.push_back(marked[position].second);
    }
    return review;
}

void RemovalSelection::takeOutOfTree(std::shared_ptr<const RemovalReview> review,
                                     std::vector<std::size_t> gone, std::function<void()> done) {
    takeOutNext(std::make_shared<Going>(
        Going{.review = std::move(review), .gone = std::move(gone), .done = std::move(done)}));
}

void RemovalSelection::takeOutNext(const std::shared_ptr<Going>& going) {
    constexpr std::size_t slice = 4'096;
    const std::size_t end = std::min(going->next + slice, going->gone.size());
    std::vector<FileNode::Pointer> removed;
    removed.reserve(end - going->next);
    for (; going->next < end; ++going->next) {
        removed.push_back(going->review->nodes[going->gone[going->next]]);
        marks_.erase(removed.back()->id());
    }
    FileNode::removeFromParents(removed);
    mainQueue_.post([selection = QPointer(this), going] {
        if (!selection) {
            return;
        }
        if (going->next < going->gone.size()) {
            selection->takeOutNext(going);
        } else {
            going->done();
        }
    });
}

ReviewRequest::Proposal RemovalSelection::proposal(
    std::function<void(bool, std::shared_ptr<const RemovalReview>)> onConfirm) {
    // What is confirmed is what is shown, whatever is marked or changed by then.
    const auto shown = std::make_shared<std::shared_ptr<const RemovalReview>>(review_);
    return {.shown = review_->shown,
            .options = {.notice = notice_.value_or(std::string())},
            .onConfirm = [shown, onConfirm = std::move(onConfirm)](
                             bool permanently) { onConfirm(permanently, *shown); },
            .drop =
                [this, shown](const std::string& url) {
                    *shown = without(**shown, url);
                    return (*shown)->shown;
                }};
}

// What was marked below an item was not shown: with the item gone it must not come to light unseen.
std::shared_ptr<const RemovalReview> RemovalSelection::without(const RemovalReview& review,
                                                               const std::string& url) {
    const auto rest = std::make_shared<RemovalReview>(review);
    const auto& items = review.shown->items;
    const auto found = std::ranges::find(items, url, &CleanupPreviewItem::url);
    if (found == items.end()) {
        return rest;
    }
    const FileNode::Pointer node = review.nodes[static_cast<std::size_t>(found - items.begin())];
    rest->shown = CleanupReview::without(*review.shown, static_cast<std::size_t>(found - items.begin()));
    rest->nodes.erase(rest->nodes.begin() + (found - items.begin()));
    marks_.erase(node->id());
    eraseBelow(*node);
    review_ = rest;
    emit changed();
    return rest;
}

}  // namespace larkfold
