#include "removal/CleanupTexts.h"

#include <limits>

#include "platform/ByteCountFormatter.h"
#include "platform/Collation.h"
#include "platform/Path.h"
#include "platform/SystemWords.h"

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

std::string interruptedInPlace() {
    return "The program ended before this item was removed. When it started again, the item was in its "
           "place.";
}

std::string interruptedPartInPlace() {
    return "The program ended while this item was being removed. When it started again, what was left of "
           "it was in its place.";
}

std::string interruptedRestsAt(std::string_view path, bool maybePart) {
    return "The program ended while this item was being removed. When it started again, " +
           std::string(maybePart ? "what was left of it" : "the item") + " lay at “" + displayText(path) +
           "”.";
}

std::string interruptedWithoutNote(std::string_view path) {
    return "The program ended while this item was being moved to Trash. When it started again, the item lay "
           "at “" +
           displayText(path) + "”, without Trash's note of where it came from.";
}

std::string interruptedNotFound() {
    return "The program ended before it recorded what became of this item. When it started again, the item "
           "was found neither in its place nor where it would have been moved.";
}

std::string interruptedUnreachable() {
    return "The program ended before it recorded what became of this item. When it started again, the "
           "folder of the item could not be looked at, so it is not known where the item is.";
}

std::string interruptedUnknown() {
    return "The program ended before it recorded what became of this item. Its disk had not answered in "
           "time before, so it is not known whether what stands in its place is the same item.";
}

std::string journalDamaged(std::string_view file) {
    return "The journal of an interrupted removal is damaged, so the removal is missing here. It was left as "
           "it is, at “" +
           displayText(file) + "”; “Clear history” removes it.";
}

std::string journalUnreadable(std::string_view description) {
    return "The journal of an interrupted removal could not be read, so the removal is missing here: " +
           std::string(description);
}

std::string journalNotRecorded(std::string_view description) {
    return "An interrupted removal could not be added to the history: " + std::string(description);
}

std::string journalWaits() {
    return "An interrupted removal is missing here, since a disk did not answer. It is looked at again when "
           "the program starts.";
}

std::string asideTitle() {
    return "A removal was interrupted";
}

std::string asideText(std::string_view originalPath, bool maybePart) {
    return std::string("The program ended while it was removing “") + displayText(originalPath) +
           "” permanently. " +
           (maybePart ? "What is left of it was put aside; parts of it may have gone already."
                      : "The item was put aside and has not been removed.");
}

std::string asidePlace(std::string_view path) {
    return "It lies at “" + displayText(path) + "”, where " + systemWords().fileManager +
           " shows it only among hidden files.";
}

std::string asideRestoredTitle() {
    return "The item is back";
}

std::string asideRestored(std::string_view originalPath) {
    return "It is at “" + displayText(originalPath) + "” again.";
}

std::string asideNotRestoredTitle() {
    return "The item could not be restored";
}

std::string asideNameTaken(std::string_view originalPath, std::string_view path) {
    return "Something else is at “" + displayText(originalPath) +
           "” now, and nothing was replaced. The item is still at “" + displayText(path) + "”.";
}

std::string asideChanged() {
    return "What lies there is no longer the item that was put aside, so nothing was moved.";
}

std::string asideUnreachable() {
    return "Its disk does not answer, or its folder cannot be opened. Nothing was moved.";
}

std::string restoreHelp() {
    return std::string("In ") + systemWords().trash + ", select the original item and choose " +
           systemWords().putBack +
           " when available. Otherwise move it to the recorded original folder; check for an existing file "
           "before replacing anything.";
}

}  // namespace larkfold::cleanup_texts
