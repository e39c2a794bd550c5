#include "shell/removal/RemovalPresenter.h"

#include <gtest/gtest.h>

#include <QSignalSpy>
#include <QTest>
#include <memory>
#include <string>
#include <vector>

#include "platform/qt/EventLoopQueue.h"
#include "removal/CleanupHistoryStore.h"
#include "removal/RemovalRun.h"
#include "removal/ReviewRequest.h"
#include "support/GateThatTells.h"
#include "support/TemporaryTree.h"

namespace larkfold {
namespace {

// As a driver has them.
struct Driver {
    explicit Driver(MainQueue& queue, test::GateThatTells& gate) : run(queue, gate.gate()) {
        QObject::connect(&request, &ReviewRequest::closed, &request, [this] { ++closings; });
    }

    void propose(const std::string& url) {
        const CleanupPreviewItem item{.url = url,
                                      .estimatedBytes = 1,
                                      .reason = "Because",
                                      .risk = "Review",
                                      .keeper = std::nullopt,
                                      .isFolder = false};
        request.propose({.shown = CleanupReview::shownOf({item}),
                         .options = {},
                         .onConfirm = [this](bool permanently) { decisions.push_back(permanently); }});
    }

    ReviewRequest request;
    RemovalRun run;
    std::vector<bool> decisions;
    int closings = 0;
};

class RemovalPresenterTest : public testing::Test {
protected:
    RemovalPresenterTest() {
        presenter.attach(3, first.run, first.request);
        presenter.attach(4, second.run, second.request);
    }

    test::TemporaryTree store;
    EventLoopQueue events;
    NotificationCenter notifications;
    CleanupHistoryStore history{store.path("history.json")};
    test::GateThatTells gate;
    Driver first{events.queue(), gate};
    Driver second{events.queue(), gate};
    RemovalPresenter presenter{{.mainQueue = events.queue(),
                                .notifications = notifications,
                                .store = history,
                                .reveal = [](const std::string&, const std::function<void(bool)>&) {}}};
};

TEST_F(RemovalPresenterTest, theDriverThatAskedHearsTheDecision) {
    first.propose("/a");
    ASSERT_TRUE(presenter.review()->isOpen());
    EXPECT_EQ(presenter.review()->count(), 1);
    presenter.review()->confirm();
    EXPECT_EQ(first.decisions, std::vector<bool>{false});
    EXPECT_TRUE(second.decisions.empty());
    EXPECT_FALSE(presenter.review()->isOpen());
    EXPECT_FALSE(first.request.isOpen());
    EXPECT_EQ(first.closings, 1);
}

TEST_F(RemovalPresenterTest, whoeverClosesItTheOtherSideCloses) {
    first.propose("/a");
    presenter.review()->cancel();
    EXPECT_FALSE(first.request.isOpen());
    first.propose("/b");
    first.request.close();
    EXPECT_FALSE(presenter.review()->isOpen());
    EXPECT_EQ(first.closings, 2);
    EXPECT_TRUE(first.decisions.empty());
}

TEST_F(RemovalPresenterTest, thereIsOneSheet_andWhoHadItHearsThatItIsGone) {
    first.propose("/a");
    second.request.prepare();
    EXPECT_FALSE(first.request.isOpen());
    EXPECT_EQ(first.closings, 1);
    EXPECT_TRUE(presenter.review()->isPreparing());
    first.request.setProgress({.checked = 1, .total = 2});
    EXPECT_EQ(presenter.review()->preparedShare(), 0) << "that is not the one on screen";
    second.request.setProgress({.checked = 1, .total = 2});
    EXPECT_EQ(presenter.review()->preparedShare(), 0.5);
    second.propose("/b");
    EXPECT_TRUE(presenter.review()->isOpen());
    EXPECT_EQ(second.closings, 0);
    first.request.close();
    EXPECT_TRUE(presenter.review()->isOpen()) << "the sheet is not its own";
    presenter.review()->confirm();
    EXPECT_TRUE(first.decisions.empty());
    EXPECT_EQ(second.decisions, std::vector<bool>{false});
}

TEST_F(RemovalPresenterTest, anotherProposalOfTheSameDriverTakesThePlaceOfItsFirst) {
    first.propose("/a");
    first.propose("/b");
    EXPECT_TRUE(presenter.review()->isOpen());
    EXPECT_TRUE(first.request.isOpen());
    EXPECT_EQ(first.closings, 0);
    EXPECT_EQ(presenter.review()->data(presenter.review()->index(0), CleanupReviewModel::PathRole).toString(),
              "/b");
}

TEST_F(RemovalPresenterTest, eachRunHasItsStrip_andItsRecordTheBanner) {
    ASSERT_EQ(presenter.runs().size(), 2);
    auto* strip = presenter.runs()[1].value<RemovalProgressPresenter*>();
    ASSERT_NE(strip, nullptr);
    EXPECT_EQ(strip->tab(), 4);
    EXPECT_FALSE(strip->isRunning());
    EXPECT_TRUE(strip->text().isEmpty());

    gate.waitsForTheStop = true;
    second.run.begin<FileDeleter::DeletionResult>(
        2, false,
        [] {
            FileDeleter::Request request;
            request.urls = {"/a", "/bb"};
            return request;
        },
        [](FileDeleter::DeletionResult result) { return result; },
        [this](Outcome<FileDeleter::DeletionResult> outcome) { second.run.end(outcome.get().operation); });
    EXPECT_TRUE(strip->isRunning());
    ASSERT_TRUE(QTest::qWaitFor([&] { return strip->share() == 0.5; }, 60'000));
    EXPECT_EQ(strip->text(), "Moving to Trash: 1 of 2 items…");
    EXPECT_TRUE(strip->canCancel());
    strip->cancel();
    EXPECT_FALSE(strip->canCancel()) << "once is enough";
    ASSERT_TRUE(QTest::qWaitFor([&] { return !strip->isRunning(); }, 60'000));
    EXPECT_TRUE(presenter.result()->isShown());
    EXPECT_FALSE(presenter.result()->isComplete());

    QSignalSpy wanted(&presenter, &RemovalPresenter::historyWanted);
    presenter.showHistory();
    EXPECT_EQ(wanted.count(), 1);
    EXPECT_TRUE(presenter.history()->isExpanded(presenter.result()->latestCleanup()->id));
}

}  // namespace
}  // namespace larkfold
