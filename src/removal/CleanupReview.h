// A review under way: the items that a driver proposes, what of them is shown and counted, and the decisions
// that stand between the proposal and its removal.
//
// A folder covers what lies within it, so an item inside another proposed one is neither shown nor counted:
// the numbers agree with what the gate will do. A permanent removal takes two decisions after its switch:
// `pressConfirm` only asks for the second one, `confirmPermanentDeletion`. It removes nothing itself.
//
// Main thread only, but for `shownOf`.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "removal/CleanupPreviewItem.h"
#include "removal/RunningApplication.h"

namespace larkfold {

class CleanupReview {
public:
    struct Options {
        bool protectRunningApplications = false;  // show what a running application will hold back
        bool allowsPermanentDeletion = true;
        std::optional<std::string> confirmLabel =
            std::nullopt;  // the main button's text; never that of a permanent removal
        std::string notice = {};
    };

    // What the user has decided by a press.
    enum class Decision { none, trash, permanent };

    // What of a proposal is shown and counted, the largest first, ties in the given order: these items go if
    // the user so decides, and no others. It never changes.
    struct Shown {
        std::vector<CleanupPreviewItem> items;
        std::vector<std::size_t> positions;  // of each, among those proposed
        std::int64_t estimatedBytes = 0;
    };
    using ShownPointer = std::shared_ptr<const Shown>;

    // Takes about a second for a million items. Safe from any thread.
    static ShownPointer shownOf(std::vector<CleanupPreviewItem> items);

    CleanupReview() = default;
    // `running`: the applications that run as the review begins. They only inform; the gate looks again.
    CleanupReview(ShownPointer shown, Options options, std::vector<RunningApplication> running = {});
    CleanupReview(std::vector<CleanupPreviewItem> items, Options options,
                  std::vector<RunningApplication> running = {});

    // The user has taken items out of it; the decisions stand as they are.
    void setShown(ShownPointer shown);
    // What is left of a list without one of its items.
    static ShownPointer without(const Shown& shown, std::size_t index);

    const std::vector<CleanupPreviewItem>& shownItems() const { return shown_->items; }
    std::int64_t shownCount() const { return static_cast<std::int64_t>(shown_->items.size()); }
    std::int64_t estimatedBytes() const { return shown_->estimatedBytes; }
    // What the user is to know before the list; empty where there is nothing.
    const std::string& notice() const { return options_.notice; }

    bool allowsPermanentDeletion() const { return options_.allowsPermanentDeletion; }
    bool isPermanent() const { return isPermanent_; }
    void setPermanent(bool permanent);
    bool showsPermanentConfirmation() const { return showsPermanentConfirmation_; }

    // The main button. Decides for Trash, or asks for the second decision. With nothing
    // to remove it does nothing.
    Decision pressConfirm();
    // The second decision: counts only while it is asked for.
    Decision confirmPermanentDeletion();
    // Back to the review, with the switch as it stands.
    void cancelPermanentConfirmation() { showsPermanentConfirmation_ = false; }

    std::string summaryText() const;                 // "3 items · 21.1 GB estimated data"
    std::string noteText() const;                    // what moving to Trash, or deleting, means
    std::string confirmText() const;                 // of the main button
    std::string permanentConfirmationTitle() const;  // "Permanently delete 3 items?"
    // "Close {name}; this item will be skipped while it is running."; empty where none holds it back.
    std::string runningText(const CleanupPreviewItem& item) const;

private:
    ShownPointer shown_ = std::make_shared<const Shown>();
    Options options_;
    std::vector<RunningApplication> running_;
    bool isPermanent_ = false;
    bool showsPermanentConfirmation_ = false;
};

}  // namespace larkfold
