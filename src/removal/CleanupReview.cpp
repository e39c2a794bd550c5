#include "removal/CleanupReview.h"

#include <algorithm>
#include <cstddef>
#include <unordered_map>
#include <utility>

#include "platform/Path.h"
#include "platform/SaturatingSum.h"
#include "removal/CleanupTexts.h"
#include "removal/PathRules.h"

namespace larkfold {

namespace {

// The positions of the items that no other one covers, in their order.
std::vector<std::size_t> withoutNested(const std::vector<CleanupPreviewItem>& items) {
    // Of two items for one path the last given stands for it, as it does in the gate.
    std::unordered_map<std::string, std::size_t> lastOfPath;
    std::vector<std::string> urls;
    urls.reserve(items.size());
    lastOfPath.reserve(items.size());
    for (std::size_t index = 0; index < items.size(); ++index) {
        urls.push_back(items[index].url);
        lastOfPath.insert_or_assign(standardizedPath(items[index].url), index);
    }
    std::vector<std::size_t> kept;
    for (const std::string& url : removal_rules::collapseNested(urls)) {
        kept.push_back(lastOfPath.at(standardizedPath(url)));
    }
    std::sort(kept.begin(), kept.end());
    return kept;
}

}  // namespace

CleanupReview::ShownPointer CleanupReview::shownOf(std::vector<CleanupPreviewItem> items) {
    const auto shown = std::make_shared<Shown>();
    shown->positions = withoutNested(items);
    std::stable_sort(shown->positions.begin(), shown->positions.end(),
                     [&items](std::size_t left, std::size_t right) {
                         return items[left].estimatedBytes > items[right].estimatedBytes;
                     });
    shown->items.reserve(shown->positions.size());
    for (const std::size_t position : shown->positions) {
        shown->estimatedBytes = saturatingSum(shown->estimatedBytes, items[position].estimatedBytes);
        shown->items.push_back(std::move(items[position]));
    }
    return shown;
}

CleanupReview::CleanupReview(ShownPointer shown, Options options, std::vector<RunningApplication> running)
    : shown_(std::move(shown)), options_(std::move(options)), running_(std::move(running)) {}

CleanupReview::CleanupReview(std::vector<CleanupPreviewItem> items, Options options,
                             std::vector<RunningApplication> running)
    : CleanupReview(shownOf(std::move(items)), std::move(options), std::move(running)) {}

void CleanupReview::setShown(ShownPointer shown) {
    shown_ = std::move(shown);
    showsPermanentConfirmation_ = false;
}

CleanupReview::ShownPointer CleanupReview::without(const Shown& shown, std::size_t index) {
    const auto rest = std::make_shared<Shown>(shown);
    rest->items.erase(rest->items.begin() + static_cast<std::ptrdiff_t>(index));
    rest->positions.erase(rest->positions.begin() + static_cast<std::ptrdiff_t>(index));
    // Summed anew: a sum that has reached its limit cannot be taken apart.
    rest->estimatedBytes = 0;
    for (const CleanupPreviewItem& item : rest->items) {
        rest->estimatedBytes = saturatingSum(rest->estimatedBytes, item.estimatedBytes);
    }
    return rest;
}

void CleanupReview::setPermanent(bool permanent) {
    isPermanent_ = permanent && options_.allowsPermanentDeletion;
    showsPermanentConfirmation_ = false;
}

CleanupReview::Decision CleanupReview::pressConfirm() {
    if (shown_->items.empty()) {
        return Decision::none;
    }
    if (!isPermanent_) {
        return Decision::trash;
    }
    showsPermanentConfirmation_ = true;
    return Decision::none;
}

CleanupReview::Decision CleanupReview::confirmPermanentDeletion() {
    const bool wasAsked = std::exchange(showsPermanentConfirmation_, false);
    return wasAsked && isPermanent_ ? Decision::permanent : Decision::none;
}

std::string CleanupReview::summaryText() const {
    return cleanup_texts::reviewSummary(shownCount(), estimatedBytes());
}

std::string CleanupReview::noteText() const {
    return cleanup_texts::reviewNote(isPermanent_);
}

std::string CleanupReview::confirmText() const {
    return cleanup_texts::reviewConfirm(isPermanent_, options_.confirmLabel);
}

std::string CleanupReview::permanentConfirmationTitle() const {
    return cleanup_texts::permanentConfirmationTitle(shownCount());
}

std::string CleanupReview::runningText(const CleanupPreviewItem& item) const {
    if (!options_.protectRunningApplications) {
        return {};
    }
    const auto name = RunningApplication::match(item.url, running_);
    return name ? cleanup_texts::closeApplication(*name) : std::string();
}

}  // namespace larkfold
