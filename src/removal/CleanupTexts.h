// The sentences of the review, of the banner and of the history, in one place. Figures follow the user's
// locale, paths stand as text for a person. Pure, safe from any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "removal/CleanupOperation.h"

namespace larkfold::cleanup_texts {

// The review.
std::string reviewSummary(std::int64_t count, std::int64_t estimatedBytes);
std::string preparingReview();
// "Checked 312 of 3,072 items", and which one the disk is asked for.
std::string checkedSoFar(std::int64_t checked, std::int64_t total);
std::string waitingFor(std::string_view path);
std::string reviewNote(bool permanent);
std::string reviewConfirm(bool permanent, const std::optional<std::string>& confirmLabel);
std::string permanentConfirmationTitle(std::int64_t count);
std::string retainedCopy(std::string_view keeper);
std::string closeApplication(std::string_view name);

// The removal under way: "Moving to Trash: 12 of 340 items…", and while it comes to a stop.
std::string removalUnderWay(bool permanent, std::int64_t completed, std::int64_t total);
std::string removalStopping();

// The banner. `isComplete`: whether every item succeeded.
bool isComplete(const CleanupOperation& operation);
std::string bannerHeadline(const CleanupOperation& operation);
std::string bannerFigures(const CleanupOperation& operation);
// "+4.2 GB", "−1 KB" with the minus sign of mathematics, "Zero KB", "Unavailable".
std::string freeSpaceChange(std::optional<std::int64_t> bytes);

// The history.
std::string historyLine(const CleanupOperation& operation);
// What became of an item; empty where there is nothing to tell.
std::string itemOutcome(const CleanupOperation::Item& item, bool permanent);
std::string historyUnreadable(std::string_view description);
std::string historyUnreadableHint();
std::string noLongerInTrash();

// A removal that did not come to its end: what became of an item, as it was found at the next start.
std::string interruptedInPlace();
std::string interruptedPartInPlace();
std::string interruptedRestsAt(std::string_view path, bool maybePart);
std::string interruptedWithoutNote(std::string_view path);
std::string interruptedNotFound();
std::string interruptedUnreachable();
std::string interruptedUnknown();
// Why a journal of such a removal did not come into the history; `file` is the journal.
std::string journalDamaged(std::string_view file);
std::string journalUnreadable(std::string_view description);
std::string journalNotRecorded(std::string_view description);
std::string journalWaits();

// The question about an item that such a removal had put aside, and what came of putting it back.
std::string asideTitle();
std::string asideText(std::string_view originalPath, bool maybePart);
std::string asidePlace(std::string_view path);
std::string asideRestoredTitle();
std::string asideRestored(std::string_view originalPath);
std::string asideNotRestoredTitle();
std::string asideNameTaken(std::string_view originalPath, std::string_view path);
std::string asideChanged();
std::string asideUnreachable();

// How to get an item back.
std::string restoreHelp();

}  // namespace larkfold::cleanup_texts
