#include "platform/MainQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

#include "support/TestMainLoop.h"

namespace larkfold {
namespace {

TEST(MainQueueTest, runsInTheOrderOfPosting) {
    MainQueue queue([] {});
    std::vector<int> order;
    for (int number = 0; number < 5; ++number) {
        queue.post([&order, number] { order.push_back(number); });
    }
    EXPECT_TRUE(order.empty());
    queue.drain();
    EXPECT_EQ(order, (std::vector{0, 1, 2, 3, 4}));
}

TEST(MainQueueTest, wakesOnceBetweenTwoDrains) {
    int wakes = 0;
    MainQueue queue([&] { ++wakes; });
    queue.post([] {});
    queue.post([] {});
    EXPECT_EQ(wakes, 1);
    queue.drain();
    EXPECT_EQ(wakes, 1);
    queue.post([] {});
    EXPECT_EQ(wakes, 2);
}

TEST(MainQueueTest, whatIsPostedWhileDrainingWaitsForTheNextDrainAndWakes) {
    int wakes = 0;
    bool hasRun = false;
    MainQueue queue([&] { ++wakes; });
    queue.post([&] { queue.post([&] { hasRun = true; }); });
    queue.drain();
    EXPECT_FALSE(hasRun);
    EXPECT_EQ(wakes, 2);
    queue.drain();
    EXPECT_TRUE(hasRun);
}

TEST(MainQueueTest, aDrainInsideOfADrainKeepsTheOrder) {
    MainQueue queue([] {});
    std::vector<int> order;
    queue.post([&] {
        order.push_back(1);
        queue.post([&] { order.push_back(3); });
        queue.drain();
    });
    queue.post([&] { order.push_back(2); });
    queue.drain();
    EXPECT_EQ(order, (std::vector{1, 2, 3}));
}

TEST(MainQueueTest, anExceptionLosesNothingOfWhatWaits) {
    int wakes = 0;
    bool hasRun = false;
    MainQueue queue([&] { ++wakes; });
    queue.post([] { throw std::runtime_error("broken"); });
    queue.post([&] { hasRun = true; });
    EXPECT_THROW(queue.drain(), std::runtime_error);
    EXPECT_EQ(wakes, 2);
    queue.drain();
    EXPECT_TRUE(hasRun);
}

TEST(MainQueueTest, whatNeverRanIsDestroyedWithTheQueue) {
    auto held = std::make_shared<int>(1);
    {
        MainQueue queue([] {});
        queue.post([held] {});
        EXPECT_EQ(held.use_count(), 2);
    }
    EXPECT_EQ(held.use_count(), 1);
}

TEST(MainQueueTest, postsOfManyThreadsAllArriveEachThreadsInOrder) {
    test::TestMainLoop loop;
    constexpr int threadCount = 4;
    constexpr int postCount = 2000;
    std::vector<std::vector<int>> seen(threadCount);
    int arrived = 0;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([&, thread] {
            for (int number = 0; number < postCount; ++number) {
                loop.queue().post([&, thread, number] {
                    seen[static_cast<std::size_t>(thread)].push_back(number);
                    ++arrived;
                });
            }
        });
    }
    EXPECT_TRUE(loop.runUntil([&] { return arrived == threadCount * postCount; }));
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const std::vector<int>& numbers : seen) {
        EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
    }
}

}  // namespace
}  // namespace larkfold
