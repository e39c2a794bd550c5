#include "removal/RemovalRun.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QSignalSpy>
#include <QTest>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/qt/EventLoopQueue.h"
#include "support/GateThatTells.h"

namespace larkfold {
namespace {

class RemovalRunTest : public testing::Test {
protected:
    RemovalRunTest() {
        QObject::connect(run.get(), &RemovalRun::finished, run.get(),
                         [this](const CleanupOperation& operation) { finished.push_back(operation); });
    }
    ~RemovalRunTest() override { run.reset(); }  // before the gate that it asks

    using Result = FileDeleter::DeletionResult;

    void begin(const std::vector<std::string>& urls, bool permanently = false) {
        run->begin<Result>(
            static_cast<std::int64_t>(urls.size()), permanently,
            [urls] {
                FileDeleter::Request request;
                request.urls = urls;
                request.source = "Test";
                return request;
            },
            [](Result result) { return result; },
            [this](Outcome<Result> outcome) { outcomes.push_back(std::move(outcome)); });
    }
    static bool eventually(const std::function<bool()>& condition) {
        return QTest::qWaitFor(condition, 60'000);
    }

    EventLoopQueue events;
    test::GateThatTells gate;
    std::unique_ptr<RemovalRun> run = std::make_unique<RemovalRun>(events.queue(), gate.gate());
    std::vector<Outcome<Result>> outcomes;
    std::vector<CleanupOperation> finished;
};

TEST_F(RemovalRunTest, runsFromItsBeginningUntilTheDriverHasFollowed) {
    QSignalSpy states(run.get(), &RemovalRun::stateChanged);
    begin({"/a", "/b"}, true);
    EXPECT_TRUE(run->isRunning());
    EXPECT_FALSE(run->isStopping());
    ASSERT_TRUE(eventually([this] { return !outcomes.empty(); }));
    EXPECT_TRUE(run->isRunning()) << "the driver still shows what went";
    EXPECT_EQ(run->progress(), (RemovalRun::Progress{.completed = 2, .total = 2, .isPermanent = true}));
    ASSERT_EQ(gate.requests.size(), 1u);
    EXPECT_TRUE(gate.requests.front().permanently) << "as the run was begun";
    EXPECT_EQ(gate.requests.front().urls, (std::vector<std::string>{"/a", "/b"}));
    EXPECT_TRUE(finished.empty());

    run->end(outcomes.front().get().operation);
    EXPECT_FALSE(run->isRunning());
    ASSERT_EQ(finished.size(), 1u);
    EXPECT_EQ(finished.front().source, "Test");
    EXPECT_EQ(states.count(), 2);
}

TEST_F(RemovalRunTest, anotherOneBeginsOnlyAfterTheEnd) {
    begin({"/a"});
    begin({"/b"});
    ASSERT_TRUE(eventually([this] { return !outcomes.empty(); }));
    begin({"/c"});
    run->end();
    begin({"/d"});
    ASSERT_TRUE(eventually([this] { return outcomes.size() == 2; }));
    ASSERT_EQ(gate.requests.size(), 2u);
    EXPECT_EQ(gate.requests[0].urls.front(), "/a");
    EXPECT_EQ(gate.requests[1].urls.front(), "/d");
    EXPECT_EQ(run->progress().total, 1);
}

TEST_F(RemovalRunTest, aCancelledOneFinishesTheItemUnderWayAndTellsOfAll) {
    gate.waitsForTheStop = true;
    begin({"/a", "/bb", "/ccc"});
    ASSERT_TRUE(eventually([this] { return run->progress().completed == 1; }));
    run->cancel();
    EXPECT_TRUE(run->isRunning());
    EXPECT_TRUE(run->isStopping());
    ASSERT_TRUE(eventually([this] { return !outcomes.empty(); }));
    const Result& result = outcomes.front().get();
    EXPECT_EQ(result.successfulDeletions, (std::vector<std::string>{"/a"}));
    EXPECT_EQ(result.failedDeletions.size(), 2u);
    run->end(result.operation);
    EXPECT_FALSE(run->isStopping());
    run->cancel();
    EXPECT_FALSE(run->isStopping()) << "there is nothing to stop";
}

TEST_F(RemovalRunTest, whatCannotBeMadeOfTheResultIsToldAndLeavesNoRecord) {
    run->begin<int>(
        1, false, [] { return FileDeleter::Request(); },
        [](const Result&) -> int { throw std::runtime_error("too large"); },
        [this](Outcome<int> outcome) {
            EXPECT_THROW(outcome.get(), std::runtime_error);
            run->end();
        });
    ASSERT_TRUE(eventually([this] { return !run->isRunning(); }));
    EXPECT_TRUE(finished.empty());
}

TEST_F(RemovalRunTest, itsEndStopsTheGateAndWaitsForTheItemUnderWay) {
    gate.waitsForTheStop = true;
    begin({"/a", "/bb"});
    ASSERT_TRUE(eventually([this] { return run->progress().completed == 1; }));
    run.reset();
    EXPECT_EQ(gate.requests.size(), 1u);
    QCoreApplication::processEvents();
    EXPECT_TRUE(outcomes.empty());
}

}  // namespace
}  // namespace larkfold

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    const QCoreApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
