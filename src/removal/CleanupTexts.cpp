#include "removal/CleanupTexts.h"

#include <limits>

#include "platform/ByteCountFormatter.h"
#include "platform/Collation.h"
#include "platform/Path.h"

namespace larkfold::cleanup_texts {

namespace {

std::string countOfItems(std::int64_t count) {
    return groupedCount(count) + " items";
}

std::int64_t failedCount(const CleanupOperation& operation) {
    return static_cast<std::int64_t>(operation.items.size()) - operation.succeededCount();
}

}  // namespace

std::string reviewSummary(std::int64_t count, std::int64_t estimatedBytes) {
    return countOfItems(count) + " · " + formattedByteCount(estimatedBytes) + " estimated data";
}

std::string preparingReview() {
    return "Preparing the review…";
}

std::string checkedSoFar(std::int64_t checked, std::int64_t total) {
    return "Checked " + groupedCount(checked) + " of " + countOfItems(total);
}

std::string waitingFor(std::string_view path) {
    return "Waiting for the disk: " + displayText(path);
}

std::string reviewNote(bool permanent) {
    return permanent ? "Permanent deletion cannot be undone."
                     : "Moving to Trash usually does not free disk space until Trash is emptied. History "
                       "will show where each item was moved.";
}

std::string reviewConfirm(bool permanent, const std::optional<std::string>& confirmLabel) {
    return permanent ? "Review permanent deletion…" : confirmLabel.value_or("Move to Trash");
}

std::string permanentConfirmationTitle(std::int64_t count) {
    return "Permanently delete " + countOfItems(count) + "?";
}

std::string retainedCopy(std::string_view keeper) {
    return "Retained copy: " + displayText(keeper);
}

std::string closeApplication(std::string_view name) {
    return "Close " + std::string(name) + "; this item will be skipped while it is running.";
}

std::string removalUnderWay(bool permanent, std::int64_t completed, std::int64_t total) {
    return std::string(permanent ? "Deleting permanently: " : "Moving to Trash: ") + groupedCount(completed) +
           " of " + countOfItems(total) + "…";
}

std::string removalStopping() {
    return "Stopping after the item that is under way. What was not reached stays where it is.";
}

bool isComplete(const CleanupOperation& operation) {
    return failedCount(operation) == 0;
}

std::string bannerHeadline(const CleanupOperation& operation) {
    return countOfItems(operation.succeededCount()) + (operation.permanent ? " deleted" : " moved to Trash") +
           " · " + groupedCount(failedCount(operation)) + " skipped or failed";
}

std::string bannerFigures(const CleanupOperation& operation) {
    return "Data processed: " + formattedByteCount(operation.dataProcessed()) +
           (operation.hasPartialMeasurement() ? " (partial measurement)" : "") +
           " · Free-space change: " + freeSpaceChange(operation.freeSpaceChange());
}

std::string freeSpaceChange(std::optional<std::int64_t> bytes) {
    if (!bytes) {
        return "Unavailable";
    }
    if (*bytes > 0) {
        return "+" + formattedByteCount(*bytes);
    }
    if (*bytes < 0) {
        // The lowest number has no opposite.
        const std::int64_t magnitude = *bytes == std::numeric_limits<std::int64_t>::min()
                                           ? std::numeric_limits<std::int64_t>::max()
                                           : -*bytes;
        return "−" + formattedByteCount(magnitude);
    }
    return formattedByteCount(0);
}

std::string historyLine(const CleanupOperation& operation) {
    return groupedCount(operation.succeededCount()) + " succeeded · " + groupedCount(failedCount(operation)) +
           " failed · Data " + formattedByteCount(operation.dataProcessed()) + " · Free space " +
           freeSpaceChange(operation.freeSpaceChange());
}

std::string itemOutcome(const CleanupOperation::Item& item, bool permanent) {
    if (item.error) {
        return *item.error;
    }
    if (item.trashPath) {
        return "Trash location: " + displayText(*item.trashPath);
    }
    return permanent ? "Permanently deleted — no Trash copy" : "";
}

std::string historyPlace(std::string_view folder) {
    return "“This Mac” is this computer: the history lies in " + displayText(folder) + ".";
}

std::string historyUnreadable(std::string_view description) {
    return "History could not be read: " + std::string(description);
}

std::string historyUnreadableHint() {
    return "Your files, and what lies in Trash, are not affected by this.";
}

std::string noLongerInTrash() {
    return "This item is no longer at its recorded Trash location. It may have been restored or Trash may "
           "have been emptied.";
}

std::string revealFailed(std::string_view path) {
    return "No file manager answered, so the item could not be shown. It is still in Trash, at “" +
           displayText(path) + "”.";
}

std::string putBackHelp() {
    return "In Finder's Trash, select the original item and choose File → Put Back when available. Otherwise "
           "move it to the recorded original folder; check for an existing file before replacing anything.";
}

std::string putBackHelpHere() {
    return "On Linux: open Trash in your file manager, select the item and choose Restore.";
}

}  // namespace larkfold::cleanup_texts
