#include "shell/removal/CleanupReviewModel.h"

#include <gtest/gtest.h>

#include <QAbstractItemModelTester>
#include <QClipboard>
#include <QGuiApplication>
#include <QSignalSpy>
#include <algorithm>
#include <string>
#include <vector>

namespace larkfold {
namespace {

CleanupPreviewItem item(std::string url, std::int64_t bytes = 1'000) {
    return {.url = std::move(url),
            .estimatedBytes = bytes,
            .reason = "Manually selected in disk analysis",
            .risk = "Review",
            .keeper = std::nullopt,
            .isFolder = false};
}

class CleanupReviewModelTest : public testing::Test {
protected:
    void open(const std::vector<CleanupPreviewItem>& items, CleanupReview::Options options = {}) {
        model.open(items, std::move(options), [this](bool permanently) { decisions.push_back(permanently); });
    }
    QString text(int row, CleanupReviewModel::Role role) const {
        return model.data(model.index(row), role).toString();
    }

    int listings = 0;
    std::vector<RunningApplication> running;
    CleanupReviewModel model{[this] {
        ++listings;
        return running;
    }};
    QAbstractItemModelTester tester{&model, QAbstractItemModelTester::FailureReportingMode::Fatal};
    std::vector<bool> decisions;
};

TEST_F(CleanupReviewModelTest, aRowTellsEverythingOfItsItem) {
    CleanupPreviewItem duplicate = item("/home/a/film.mov", 14'900'000'000);
    duplicate.keeper = "/home/a/keep/film.mov";
    CleanupPreviewItem folder = item("/home/a/cache", 5);
    folder.isFolder = true;
    folder.risk = "Safe";
    open({folder, duplicate});
    ASSERT_EQ(model.rowCount(), 2);
    EXPECT_EQ(text(0, CleanupReviewModel::NameRole), "film.mov");
    EXPECT_EQ(text(0, CleanupReviewModel::RiskRole), "Review");
    EXPECT_EQ(text(0, CleanupReviewModel::SizeTextRole), "14.9 GB");
    EXPECT_EQ(text(0, CleanupReviewModel::PathRole), "/home/a/film.mov");
    EXPECT_EQ(text(0, CleanupReviewModel::ReasonRole), "Manually selected in disk analysis");
    EXPECT_EQ(text(0, CleanupReviewModel::KeeperTextRole), "Retained copy: /home/a/keep/film.mov");
    EXPECT_EQ(text(0, CleanupReviewModel::IconNameRole), "video");
    EXPECT_FALSE(model.data(model.index(0), CleanupReviewModel::IsSafeRole).toBool());
    EXPECT_EQ(
        text(0, CleanupReviewModel::SpokenTextRole),
        "film.mov, Review, 14.9 GB, /home/a/film.mov, Manually selected in disk analysis, Retained copy: "
        "/home/a/keep/film.mov");
    EXPECT_EQ(text(1, CleanupReviewModel::IconNameRole), "folder");
    EXPECT_EQ(text(1, CleanupReviewModel::KeeperTextRole), "");
    EXPECT_TRUE(model.data(model.index(1), CleanupReviewModel::IsSafeRole).toBool());
    EXPECT_EQ(model.summaryText(), "2 items · 14.9 GB estimated data");
}

TEST_F(CleanupReviewModelTest, anItemIsTakenOut_whereItsDriverCan) {
    auto shown =
        CleanupReview::shownOf({item("/home/a/x", 3'000), item("/home/a/y", 2'000), item("/home/a/z")});
    std::vector<std::string> dropped;
    model.open(
        shown, {}, [this](bool permanently) { decisions.push_back(permanently); },
        [&](const std::string& url) {
            dropped.push_back(url);
            const auto at = std::ranges::find(shown->items, url, &CleanupPreviewItem::url);
            shown = CleanupReview::without(*shown, static_cast<std::size_t>(at - shown->items.begin()));
            return shown;
        });
    EXPECT_TRUE(model.canDrop());
    model.setPermanent(true);
    const QSignalSpy removed(&model, &QAbstractItemModel::rowsRemoved);
    const QSignalSpy reset(&model, &QAbstractItemModel::modelReset);
    const QSignalSpy changed(&model, &CleanupReviewModel::shownChanged);
    model.drop(1);
    EXPECT_EQ(dropped, std::vector<std::string>{"/home/a/y"});
    ASSERT_EQ(removed.count(), 1);
    EXPECT_EQ(removed[0][1].toInt(), 1);
    EXPECT_EQ(reset.count(), 0);
    EXPECT_EQ(changed.count(), 1);
    EXPECT_EQ(model.summaryText(), "2 items · 4 KB estimated data");
    EXPECT_EQ(model.actionText(), "“y” was taken out of the queue. Nothing was moved.");
    EXPECT_TRUE(model.isPermanent());
    model.drop(7);
    EXPECT_EQ(dropped.size(), 1u);
    // The second decision has named a number: it stands until it is made or taken back.
    model.confirm();
    ASSERT_TRUE(model.showPermanentConfirmation());
    EXPECT_EQ(model.permanentConfirmationTitle(), "Permanently delete 2 items?");
    model.drop(0);
    EXPECT_EQ(dropped.size(), 1u);
    model.cancelPermanentConfirmation();
    model.drop(0);
    model.drop(0);
    EXPECT_EQ(model.count(), 0);
    model.confirm();
    EXPECT_TRUE(decisions.empty());
    model.cancel();
    EXPECT_FALSE(model.canDrop());
    EXPECT_EQ(model.actionText(), "");
}

TEST_F(CleanupReviewModelTest, withoutAWayToTakeItemsOut_theListStaysAsItIs) {
    open({item("/home/a/x"), item("/home/a/y")});
    EXPECT_FALSE(model.canDrop());
    model.drop(0);
    EXPECT_EQ(model.count(), 2);
}

TEST_F(CleanupReviewModelTest, runningApplicationsAreListedOnceAndOnlyWhereTheyAreAskedFor) {
    running = {{.name = "Larkbird", .bundleID = "org.example.larkbird"}};
    open({item("/home/a/.cache/Larkbird/x"), item("/home/a/.cache/y")});
    EXPECT_EQ(listings, 0);
    EXPECT_EQ(text(0, CleanupReviewModel::RunningTextRole), "");
    open({item("/home/a/.cache/Larkbird/x"), item("/home/a/.cache/y")}, {.protectRunningApplications = true});
    EXPECT_EQ(listings, 1);
    EXPECT_EQ(text(0, CleanupReviewModel::RunningTextRole),
              "Close Larkbird; this item will be skipped while it is running.");
    EXPECT_EQ(text(1, CleanupReviewModel::RunningTextRole), "");
    EXPECT_EQ(listings, 1);
}

TEST_F(CleanupReviewModelTest, aDecisionClosesTheSheetAndIsTakenOnce) {
    open({item("/a")});
    model.confirm();
    EXPECT_FALSE(model.isOpen());
    EXPECT_EQ(decisions, std::vector<bool>{false});
    model.confirm();
    model.cancel();
    EXPECT_EQ(decisions.size(), 1u);
}

TEST_F(CleanupReviewModelTest, theSheetIsClosedBeforeItsDecisionIsTold) {
    bool wasOpen = true;
    model.open({item("/a")}, {}, [&](bool) { wasOpen = model.isOpen(); });
    model.confirm();
    EXPECT_FALSE(wasOpen);
}

TEST_F(CleanupReviewModelTest, cancelClosesItAndDecidesNothing) {
    open({item("/a")});
    model.cancel();
    EXPECT_FALSE(model.isOpen());
    EXPECT_TRUE(decisions.empty());
    model.confirmPermanentDeletion();
    EXPECT_TRUE(decisions.empty());
}

TEST_F(CleanupReviewModelTest, permanentTakesTwoDecisionsAfterTheSwitch) {
    open({item("/a")});
    model.setPermanent(true);
    EXPECT_EQ(model.confirmText(), "Review permanent deletion…");
    model.confirm();
    EXPECT_TRUE(model.isOpen());
    EXPECT_TRUE(model.showPermanentConfirmation());
    EXPECT_TRUE(decisions.empty());
    model.cancelPermanentConfirmation();
    EXPECT_TRUE(model.isOpen());
    EXPECT_TRUE(model.isPermanent());
    model.confirmPermanentDeletion();
    EXPECT_TRUE(decisions.empty()) << "it is not asked for any more";
    model.confirm();
    model.confirmPermanentDeletion();
    EXPECT_EQ(decisions, std::vector<bool>{true});
    EXPECT_FALSE(model.isOpen());
    EXPECT_FALSE(model.showPermanentConfirmation());
}

TEST_F(CleanupReviewModelTest, theNextProposalBeginsWithTrash) {
    open({item("/a")});
    model.setPermanent(true);
    model.cancel();
    open({item("/a")});
    EXPECT_FALSE(model.isPermanent());
    EXPECT_EQ(model.confirmText(), "Move to Trash");
}

TEST_F(CleanupReviewModelTest, aNewProposalCancelsTheOpenOne) {
    std::vector<bool> first;
    model.open({item("/a")}, {}, [&](bool permanently) { first.push_back(permanently); });
    open({item("/b")});
    model.confirm();
    EXPECT_TRUE(first.empty());
    EXPECT_EQ(decisions.size(), 1u);
}

TEST_F(CleanupReviewModelTest, theSignalsTellWhatChanged) {
    QSignalSpy opened(&model, &CleanupReviewModel::isOpenChanged);
    QSignalSpy decided(&model, &CleanupReviewModel::decisionChanged);
    open({item("/a")});
    EXPECT_EQ(opened.size(), 1);
    decided.clear();
    model.setPermanent(false);
    EXPECT_TRUE(decided.isEmpty());
    model.setPermanent(true);
    EXPECT_EQ(decided.size(), 1);
    model.cancel();
    EXPECT_EQ(opened.size(), 2);
}

TEST_F(CleanupReviewModelTest, aPathThatIsNoTextIsCopiedAsItsAddress) {
    open({item("/a/caf\xe9", 2), item("/a/plain", 1)});
    EXPECT_EQ(text(0, CleanupReviewModel::PathRole), QString::fromUtf8("/a/caf\xef\xbf\xbd"));
    model.copyPath(0);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), "file:///a/caf%E9");
    model.copyPath(1);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), "/a/plain");
    model.copyPath(7);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), "/a/plain");
}

}  // namespace
}  // namespace larkfold
