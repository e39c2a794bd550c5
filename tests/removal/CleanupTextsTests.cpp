#include "removal/CleanupTexts.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace larkfold {
namespace {

using namespace cleanup_texts;

CleanupOperation operation(std::vector<CleanupOperation::Item> items, bool permanent = false) {
    CleanupOperation result;
    result.permanent = permanent;
    result.items = std::move(items);
    return result;
}

CleanupOperation::Item gone(std::optional<std::int64_t> bytes) {
    return {.originalPath = "/a", .trashPath = "/trash/a", .logicalBytes = bytes, .error = std::nullopt};
}

CleanupOperation::Item failed(std::optional<std::int64_t> bytes = std::nullopt) {
    return {.originalPath = "/b", .trashPath = std::nullopt, .logicalBytes = bytes, .error = "It stayed."};
}

TEST(CleanupTexts, theBannerCountsWhatWentAndWhatDidNot) {
    EXPECT_EQ(bannerHeadline(operation({gone(1), gone(2), failed()})),
              "2 items moved to Trash · 1 skipped or failed");
    EXPECT_EQ(bannerHeadline(operation({gone(1)}, true)), "1 items deleted · 0 skipped or failed");
    EXPECT_TRUE(isComplete(operation({gone(1)})));
    EXPECT_FALSE(isComplete(operation({gone(1), failed()})));
}

TEST(CleanupTexts, aBannerOfFailuresAloneCountsNothing) {
    const CleanupOperation all = operation({failed(), failed()});
    EXPECT_EQ(bannerHeadline(all), "0 items moved to Trash · 2 skipped or failed");
    EXPECT_FALSE(isComplete(all));
}

TEST(CleanupTexts, theBannersFiguresLeaveOutFailuresAndTellWhereTheyArePartial) {
    CleanupOperation measured = operation({gone(1'500'000), failed(9'000'000)});
    measured.volumes = {{.path = "/", .before = 1'000, .after = 1'000}};
    EXPECT_EQ(bannerFigures(measured), "Data processed: 1.5 MB · Free-space change: Zero KB");
    EXPECT_EQ(bannerFigures(operation({gone(1'500'000), gone(std::nullopt)})),
              "Data processed: 1.5 MB (partial measurement) · Free-space change: Unavailable");
}

TEST(CleanupTexts, aChangeOfFreeSpaceHasItsSign) {
    EXPECT_EQ(freeSpaceChange(std::nullopt), "Unavailable");
    EXPECT_EQ(freeSpaceChange(0), "Zero KB");
    EXPECT_EQ(freeSpaceChange(4'200'000), "+4.2 MB");
    EXPECT_EQ(freeSpaceChange(-4'200'000),
              "\xe2\x88\x92"
              "4.2 MB");
    EXPECT_EQ(freeSpaceChange(std::numeric_limits<std::int64_t>::min()).substr(0, 3), "\xe2\x88\x92");
}

TEST(CleanupTexts, theHistoryTellsAnOperationInOneLine) {
    CleanupOperation mixed = operation({gone(2'000), gone(1'000), failed()});
    mixed.volumes = {{.path = "/", .before = 5'000, .after = 2'000}};
    EXPECT_EQ(historyLine(mixed),
              "2 succeeded · 1 failed · Data 3 KB · Free space \xe2\x88\x92"
              "3 KB");
}

TEST(CleanupTexts, anItemTellsItsErrorBeforeItsPlaceAndThatBeforeItsEnd) {
    CleanupOperation::Item item = gone(1);
    EXPECT_EQ(itemOutcome(item, true), "Trash location: /trash/a");
    item.error = "It stayed.";
    EXPECT_EQ(itemOutcome(item, true), "It stayed.");
    const CleanupOperation::Item nowhere{
        .originalPath = "/a", .trashPath = std::nullopt, .logicalBytes = 1, .error = std::nullopt};
    EXPECT_EQ(itemOutcome(nowhere, true), "Permanently deleted — no Trash copy");
    EXPECT_EQ(itemOutcome(nowhere, false), "");
}

TEST(CleanupTexts, pathsThatAreNotTextAreShownAndNotBroken) {
    const CleanupOperation::Item item{
        .originalPath = "/a", .trashPath = "/trash/\xff", .logicalBytes = 1, .error = std::nullopt};
    EXPECT_EQ(itemOutcome(item, false), "Trash location: /trash/\xef\xbf\xbd");
    EXPECT_EQ(retainedCopy("/keep/\xff"), "Retained copy: /keep/\xef\xbf\xbd");
}

TEST(CleanupTexts, aRemovalUnderWayTellsHowFarItIs) {
    EXPECT_EQ(removalUnderWay(false, 12, 340), "Moving to Trash: 12 of 340 items…");
    EXPECT_EQ(removalUnderWay(true, 1'200, 10'000), "Deleting permanently: 1,200 of 10,000 items…");
}

}  // namespace
}  // namespace larkfold
