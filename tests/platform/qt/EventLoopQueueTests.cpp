#include "platform/qt/EventLoopQueue.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>
#include <thread>
#include <vector>

#include "platform/SerialContext.h"

namespace larkfold {
namespace {

// Runs the event loop until `quit` is called, or gives up after the limit.
bool runLoop(QEventLoop& loop) {
    bool hasQuit = true;
    QTimer limit;
    QObject::connect(&limit, &QTimer::timeout, &loop, [&] {
        hasQuit = false;
        loop.quit();
    });
    limit.start(std::chrono::seconds(60));
    loop.exec();
    return hasQuit;
}

TEST(EventLoopQueueTest, aFunctionPostedByAThreadRunsInTheEventLoop) {
    EventLoopQueue queue;
    QEventLoop loop;
    std::thread::id place;
    std::thread poster([&] {
        queue.queue().post([&] {
            place = std::this_thread::get_id();
            loop.quit();
        });
    });
    EXPECT_TRUE(runLoop(loop));
    poster.join();
    EXPECT_EQ(place, std::this_thread::get_id());
}

TEST(EventLoopQueueTest, theOutcomeOfAContextArrivesByTheEventLoop) {
    EventLoopQueue queue;
    SerialContext context(queue.queue(), "test");
    QEventLoop loop;
    int value = 0;
    const larkfold::Run run = context.run<int>([](std::stop_token) { return 42; },
                                               [&](Outcome<int> outcome) {
                                                   value = outcome.get();
                                                   loop.quit();
                                               });
    EXPECT_TRUE(runLoop(loop));
    EXPECT_EQ(value, 42);
}

TEST(EventLoopQueueTest, whatIsPostedBetweenTwoTurnsArrivesInOrder) {
    EventLoopQueue queue;
    QEventLoop loop;
    std::vector<int> order;
    queue.queue().post([&] {
        order.push_back(1);
        queue.queue().post([&] {
            order.push_back(3);
            loop.quit();
        });
    });
    queue.queue().post([&] { order.push_back(2); });
    EXPECT_TRUE(runLoop(loop));
    EXPECT_EQ(order, (std::vector{1, 2, 3}));
}

TEST(EventLoopQueueTest, aQueueThatGoesTakesItsWaitingFunctionsAlong) {
    auto held = std::make_shared<int>(0);
    {
        EventLoopQueue queue;
        queue.queue().post([held] {});
    }
    QCoreApplication::processEvents();
    EXPECT_EQ(held.use_count(), 1);
}

}  // namespace
}  // namespace larkfold
