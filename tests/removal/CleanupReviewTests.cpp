#include "removal/CleanupReview.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace larkfold {
namespace {

using Decision = CleanupReview::Decision;

CleanupPreviewItem item(std::string url, std::int64_t bytes) {
    return {.url = std::move(url),
            .estimatedBytes = bytes,
            .reason = "Because",
            .risk = "Review",
            .keeper = std::nullopt,
            .isFolder = false};
}

std::vector<std::string> urlsOf(const CleanupReview& review) {
    std::vector<std::string> urls;
    for (const CleanupPreviewItem& each : review.shownItems()) {
        urls.push_back(each.url);
    }
    return urls;
}

TEST(CleanupReview, aFolderAndAFileInItAreOneItemOfTheFoldersSize) {
    const CleanupReview review({item("/home/a/folder/file", 400), item("/home/a/folder", 1'000)}, {});
    EXPECT_EQ(urlsOf(review), std::vector<std::string>{"/home/a/folder"});
    EXPECT_EQ(review.estimatedBytes(), 1'000);
    EXPECT_EQ(review.summaryText(), "1 items · 1 KB estimated data");
}

TEST(CleanupReview, aNameThatOnlyBeginsLikeAFolderIsNotInsideOfIt) {
    const CleanupReview review({item("/a/folder", 1), item("/a/folder2", 2)}, {});
    EXPECT_EQ(review.shownCount(), 2);
}

TEST(CleanupReview, theLargestComesFirstAndTiesStayInTheGivenOrder) {
    const CleanupReview review({item("/a/z", 5), item("/a/small", 1), item("/a/b", 5), item("/a/large", 9)},
                               {});
    EXPECT_EQ(urlsOf(review), (std::vector<std::string>{"/a/large", "/a/z", "/a/b", "/a/small"}));
}

TEST(CleanupReview, ofTwoItemsForOnePathTheLastStandsAndCountsOnce) {
    CleanupPreviewItem last = item("/a/./file", 7);
    last.reason = "The last";
    const CleanupReview review({item("/a/file", 5), item("/a/other", 1), last}, {});
    ASSERT_EQ(review.shownCount(), 2);
    EXPECT_EQ(review.shownItems().front().reason, "The last");
    EXPECT_EQ(review.estimatedBytes(), 8);
}

TEST(CleanupReview, namesThatAreNotTextStayTheirBytes) {
    const CleanupReview review({item("/a/\xff\xfe", 5), item("/a/\xff", 1)}, {});
    EXPECT_EQ(urlsOf(review), (std::vector<std::string>{"/a/\xff\xfe", "/a/\xff"}));
}

TEST(CleanupReview, sizesThatLeaveTheirRangeStopAtItsEnd) {
    const std::int64_t most = std::numeric_limits<std::int64_t>::max();
    EXPECT_EQ(CleanupReview({item("/a", most), item("/b", 1)}, {}).estimatedBytes(), most);
}

TEST(CleanupReview, theMainButtonDecidesForTrash) {
    CleanupReview review({item("/a", 1)}, {});
    EXPECT_EQ(review.confirmText(), "Move to Trash");
    EXPECT_EQ(
        review.noteText(),
        "Moving to Trash usually does not free disk space until Trash is emptied. History will show where "
        "each item was moved.");
    EXPECT_EQ(review.pressConfirm(), Decision::trash);
    EXPECT_FALSE(review.showsPermanentConfirmation());
}

TEST(CleanupReview, nothingPermanentHappensByOnePress) {
    CleanupReview review({item("/a", 1), item("/b", 1)}, {});
    EXPECT_EQ(review.confirmPermanentDeletion(), Decision::none) << "nobody asked for it";
    review.setPermanent(true);
    EXPECT_EQ(review.confirmText(), "Review permanent deletion…");
    EXPECT_EQ(review.noteText(), "Permanent deletion cannot be undone.");
    EXPECT_EQ(review.confirmPermanentDeletion(), Decision::none) << "the switch alone is no decision";
    EXPECT_EQ(review.pressConfirm(), Decision::none);
    EXPECT_TRUE(review.showsPermanentConfirmation());
    EXPECT_EQ(review.permanentConfirmationTitle(), "Permanently delete 2 items?");
    EXPECT_EQ(review.confirmPermanentDeletion(), Decision::permanent);
    EXPECT_EQ(review.confirmPermanentDeletion(), Decision::none) << "once";
}

TEST(CleanupReview, cancellingTheSecondDecisionKeepsTheSwitch) {
    CleanupReview review({item("/a", 1)}, {});
    review.setPermanent(true);
    review.pressConfirm();
    review.cancelPermanentConfirmation();
    EXPECT_FALSE(review.showsPermanentConfirmation());
    EXPECT_TRUE(review.isPermanent());
    EXPECT_EQ(review.confirmPermanentDeletion(), Decision::none);
}

TEST(CleanupReview, turningTheSwitchBackTakesTheSecondDecisionAway) {
    CleanupReview review({item("/a", 1)}, {});
    review.setPermanent(true);
    review.pressConfirm();
    review.setPermanent(false);
    EXPECT_EQ(review.confirmPermanentDeletion(), Decision::none);
    EXPECT_EQ(review.pressConfirm(), Decision::trash);
}

TEST(CleanupReview, withoutThePermanentOptionOnlyTrashIsPossible) {
    CleanupReview review({item("/a", 1)}, {.allowsPermanentDeletion = false});
    review.setPermanent(true);
    EXPECT_FALSE(review.isPermanent());
    EXPECT_EQ(review.pressConfirm(), Decision::trash);
}

TEST(CleanupReview, aLabelOfTheDriversNeverReplacesThePermanentText) {
    CleanupReview review({item("/a", 1)}, {.confirmLabel = "Clean up"});
    EXPECT_EQ(review.confirmText(), "Clean up");
    review.setPermanent(true);
    EXPECT_EQ(review.confirmText(), "Review permanent deletion…");
}

TEST(CleanupReview, withNothingToRemoveNothingIsDecided) {
    CleanupReview review(std::vector<CleanupPreviewItem>{}, {});
    EXPECT_EQ(review.summaryText(), "0 items · Zero KB estimated data");
    EXPECT_EQ(review.pressConfirm(), Decision::none);
    review.setPermanent(true);
    EXPECT_EQ(review.pressConfirm(), Decision::none);
    EXPECT_FALSE(review.showsPermanentConfirmation());
}

TEST(CleanupReview, aRunningApplicationIsToldOnlyWhereItHoldsTheItemBack) {
    const std::vector<RunningApplication> running{{.name = "Larkbird", .bundleID = "org.example.larkbird"}};
    const CleanupPreviewItem held = item("/home/a/.cache/Larkbird/pictures", 1);
    EXPECT_EQ(CleanupReview({held}, {.protectRunningApplications = true}, running).runningText(held),
              "Close Larkbird; this item will be skipped while it is running.");
    EXPECT_EQ(CleanupReview({held}, {.protectRunningApplications = true}, running)
                  .runningText(item("/home/a/.cache/other", 1)),
              "");
    EXPECT_EQ(CleanupReview({held}, {}, running).runningText(held), "");
}

}  // namespace
}  // namespace larkfold
