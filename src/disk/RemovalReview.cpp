#include "disk/RemovalReview.h"

#include <algorithm>
#include <exception>
#include <numeric>
#include <optional>
#include <utility>

#include "disk/MarkTexts.h"
#include "platform/CoalescedReports.h"

namespace larkfold {

namespace {

// How many nodes are looked up before the main loop gets its turn: a few milliseconds' worth.
constexpr std::size_t sliceLength = 2'000;

constexpr const char* reasonOfAll = "Manually selected in disk analysis";

}  // namespace

CleanupPreviewItem RemovalReview::itemOf(const FileNode& node) {
    return {.url = node.url(),
            .estimatedBytes = node.size(),
            .reason = reasonOfAll,
            .risk = "Review",
            .keeper = std::nullopt,
            .isFolder = node.isDirectory(),
            .uncheckedReason = {}};
}

RemovalReviewPreparation::RemovalReviewPreparation(MainQueue& mainQueue, SerialContext& context,
                                                   std::shared_ptr<const RemovalScope> removalScope,
                                                   std::vector<FileNode::Pointer> marked,
                                                   std::function<bool(const FileNode&)> isInTree,
                                                   std::function<void(const Progress&)> onProgress,
                                                   std::function<void(Outcome<Prepared>)> onEnd)
    : mainQueue_(mainQueue),
      context_(context),
      removalScope_(std::move(removalScope)),
      marked_(std::move(marked)),
      isInTree_(std::move(isInTree)),
      onProgress_(std::move(onProgress)),
      onEnd_(std::move(onEnd)) {
    items_.reserve(marked_.size());
    nodes_.reserve(marked_.size());
    later(&RemovalReviewPreparation::gather);
}

RemovalReviewPreparation::~RemovalReviewPreparation() {
    run_.drop();
}

void RemovalReviewPreparation::later(void (RemovalReviewPreparation::*step)()) {
    mainQueue_.post([this, step, isAlive = std::weak_ptr(isAlive_)] {
        if (!isAlive.expired()) {
            (this->*step)();
        }
    });
}

void RemovalReviewPreparation::gather() {
    const std::size_t end = std::min(nextMarked_ + sliceLength, marked_.size());
    for (; nextMarked_ < end; ++nextMarked_) {
        const FileNode::Pointer& node = marked_[nextMarked_];
        if (isInTree_(*node)) {
            items_.push_back(RemovalReview::itemOf(*node));
            nodes_.push_back(node);
        }
    }
    if (nextMarked_ < marked_.size()) {
        later(&RemovalReviewPreparation::gather);
    } else if (items_.empty()) {
        // The disk has nothing to say to nothing; it may have enough to do with an earlier question.
        finish(Outcome<Decided>(Decided{.shown = CleanupReview::shownOf({}),
                                        .shownPositions = {},
                                        .refusedPositions = {},
                                        .isAnotherFolder = false}));
    } else {
        askTheDisk();
    }
}

void RemovalReviewPreparation::askTheDisk() {
    const CoalescedReports<Progress> reports(
        mainQueue_, [this, isAlive = std::weak_ptr(isAlive_)](const Progress& progress) {
            if (!isAlive.expired()) {
                onProgress_(progress);
            }
        });
    run_ = context_.run<Decided>(
        [removalScope = removalScope_, reports,
         items = std::move(items_)](const std::stop_token& stop) mutable {
            return decide(
                *removalScope, std::move(items), [&](const Progress& progress) { reports.report(progress); },
                stop);
        },
        [this](Outcome<Decided> outcome) { finish(std::move(outcome)); });
}

// 1. In the order of their paths, so that a list of one set of marks is always the same.
// 2. What the disk says of each.
// 3. Without what is refused; what could not be told keeps the reason.
// 4. What of it is shown.
RemovalReviewPreparation::Decided RemovalReviewPreparation::decide(
    const RemovalScope& removalScope, std::vector<CleanupPreviewItem> items,
    const std::function<void(const Progress&)>& report, const std::stop_token& stop) {
    std::vector<std::size_t> order(items.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::sort(order.begin(), order.end(),
              [&items](std::size_t left, std::size_t right) { return items[left].url < items[right].url; });
    std::vector<std::string> urls;
    urls.reserve(items.size());
    for (const std::size_t position : order) {
        urls.push_back(items[position].url);
    }

    const auto total = static_cast<std::int64_t>(urls.size());
    const auto tell = [&](std::size_t answered) {
        report({.answered = static_cast<std::int64_t>(answered),
                .total = total,
                .awaited = answered < urls.size() ? urls[answered] : std::string()});
    };
    const RemovalScope::Decisions decisions = removalScope.ask(urls, tell, stop);

    Decided decided;
    decided.isAnotherFolder = decisions.isAnotherFolder;
    std::vector<CleanupPreviewItem> kept;
    std::vector<std::size_t> keptPositions;
    for (std::size_t index = 0; index < order.size(); ++index) {
        using Verdict = removal_rules::PathDecision::Verdict;
        const removal_rules::PathDecision& decision = decisions.items[index];
        if (decision.verdict == Verdict::refused) {
            decided.refusedPositions.push_back(order[index]);
            continue;
        }
        CleanupPreviewItem& item = items[order[index]];
        if (decision.verdict == Verdict::unanswered) {
            item.uncheckedReason = mark_texts::notChecked(decision.reason->description());
        }
        kept.push_back(std::move(item));
        keptPositions.push_back(order[index]);
    }

    decided.shown = CleanupReview::shownOf(std::move(kept));
    decided.shownPositions.reserve(decided.shown->positions.size());
    for (const std::size_t position : decided.shown->positions) {
        decided.shownPositions.push_back(keptPositions[position]);
    }
    return decided;
}

RemovalReviewPreparation::Prepared RemovalReviewPreparation::preparedOf(Decided decided) const {
    const auto review = std::make_shared<RemovalReview>();
    review->shown = std::move(decided.shown);
    review->nodes.reserve(decided.shownPositions.size());
    for (const std::size_t position : decided.shownPositions) {
        review->nodes.push_back(nodes_[position]);
    }
    Prepared prepared{.review = review, .refused = {}, .isAnotherFolder = decided.isAnotherFolder};
    for (const std::size_t position : decided.refusedPositions) {
        prepared.refused.push_back(nodes_[position]);
    }
    return prepared;
}

void RemovalReviewPreparation::finish(Outcome<Decided> outcome) {
    std::optional<Outcome<Prepared>> prepared;
    try {
        prepared.emplace(preparedOf(std::move(outcome.get())));
    } catch (...) {
        prepared.emplace(std::current_exception());
    }
    const auto onEnd = std::move(onEnd_);  // whose owner may destroy this preparation
    onEnd(std::move(*prepared));
}

}  // namespace larkfold
