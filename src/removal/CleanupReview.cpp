#include "removal/CleanupReview.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <unordered_map>
#include <utility>

#include "platform/Path.h"
#include "removal/CleanupTexts.h"
#include "removal/PathRules.h"

namespace larkfold {

namespace {

// Sizes come from a store that may be damaged: a sum stops at the end of its type.
std::int64_t sum(std::int64_t left, std::int64_t right) {
    std::int64_t result;
    if (!__builtin_add_overflow(left, right, &result)) {
        return result;
    }
    return left < 0 ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
}

std::vector<CleanupPreviewItem> withoutNested(const std::vector<CleanupPreviewItem>& items) {
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
    std::vector<CleanupPreviewItem> shown;
    shown.reserve(kept.size());
    for (const std::size_t index : kept) {
        shown.push_back(items[index]);
    }
    return shown;
}

}  // namespace

CleanupReview::CleanupReview(const std::vector<CleanupPreviewItem>& items, Options options,
                             std::vector<RunningApplication> running)
    : shownItems_(withoutNested(items)), options_(std::move(options)), running_(std::move(running)) {
    std::stable_sort(shownItems_.begin(), shownItems_.end(),
                     [](const CleanupPreviewItem& left, const CleanupPreviewItem& right) {
                         return left.estimatedBytes > right.estimatedBytes;
                     });
    for (const CleanupPreviewItem& item : shownItems_) {
        estimatedBytes_ = sum(estimatedBytes_, item.estimatedBytes);
    }
}

void CleanupReview::setPermanent(bool permanent) {
    isPermanent_ = permanent && options_.allowsPermanentDeletion;
    showsPermanentConfirmation_ = false;
}

CleanupReview::Decision CleanupReview::pressConfirm() {
    if (shownItems_.empty()) {
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
    return cleanup_texts::reviewSummary(shownCount(), estimatedBytes_);
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
