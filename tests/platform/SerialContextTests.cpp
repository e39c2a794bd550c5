#include "platform/SerialContext.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <random>
#include <thread>
#include <vector>

#include "platform/CoalescedReports.h"
#include "platform/Error.h"
#include "support/NoThreads.h"
#include "support/TestMainLoop.h"
#include "support/UnprivilegedUser.h"

namespace larkfold {
namespace {

// Inside of a test fixture the bare name is the fixture's own.
using Handle = larkfold::Run;

// Work that goes on until it is asked to stop.
void waitForStop(const std::stop_token& stop) {
    std::mutex mutex;
    std::condition_variable_any changed;
    std::unique_lock lock(mutex);
    changed.wait(lock, stop, [] { return false; });
}

// A door that work waits at until the test opens it.
class Gate {
public:
    void open() {
        const std::lock_guard lock(mutex_);
        isOpen_ = true;
        changed_.notify_all();
    }
    void pass() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return isOpen_; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool isOpen_ = false;
};

// Notes the thread on which the last copy of it is destroyed.
class DestructionProbe {
public:
    explicit DestructionProbe(std::atomic<std::thread::id>& place) : place_(place) {}
    ~DestructionProbe() { place_ = std::this_thread::get_id(); }
    DestructionProbe(const DestructionProbe&) = delete;
    DestructionProbe& operator=(const DestructionProbe&) = delete;

private:
    std::atomic<std::thread::id>& place_;
};

class SerialContextTest : public testing::Test {
protected:
    test::TestMainLoop loop;
};

TEST_F(SerialContextTest, deliversTheValueOnTheMainThread) {
    SerialContext context(loop.queue(), "test");
    std::optional<int> value;
    std::thread::id worker;
    std::thread::id deliverer;
    const Handle run = context.run<int>(
        [&](std::stop_token) {
            worker = std::this_thread::get_id();
            return 42;
        },
        [&](Outcome<int> outcome) {
            deliverer = std::this_thread::get_id();
            value = outcome.get();
        });
    ASSERT_TRUE(loop.runUntil([&] { return value.has_value(); }));
    EXPECT_EQ(value, 42);
    EXPECT_NE(worker, std::this_thread::get_id());
    EXPECT_EQ(deliverer, std::this_thread::get_id());
}

TEST_F(SerialContextTest, deliversWhatTheWorkThrewWithItsType) {
    SerialContext context(loop.queue(), "test");
    bool isDone = false;
    const Handle run = context.run<int>(
        [](std::stop_token) -> int { throw SystemError(SystemError::Operation::open, 5, "/x"); },
        [&](Outcome<int> outcome) {
            isDone = true;
            EXPECT_FALSE(outcome.succeeded());
            EXPECT_THROW(outcome.get(), SystemError);
        });
    EXPECT_TRUE(loop.runUntil([&] { return isDone; }));
}

TEST(SerialContextWithoutAThread, tellsWhyTheWorkDidNotBegin) {
    test::asUnprivilegedUser([](const std::string&) {
        test::TestMainLoop loop;
        SerialContext context(loop.queue(), "test");
        test::allowNoMoreThreads();
        bool hasBegun = false;
        std::string told;
        const auto begin = [&] {
            return context.run<int>(
                [&](std::stop_token) {
                    hasBegun = true;
                    return 1;
                },
                [&](Outcome<int> outcome) {
                    try {
                        outcome.get();
                    } catch (const SystemError& error) {
                        told += error.description() + "\n";
                    }
                });
        };
        {
            const Handle dropped = begin();
        }
        const Handle run = begin();
        EXPECT_TRUE(told.empty()) << "told before the main thread was asked";
        ASSERT_TRUE(loop.runUntil([&] { return !told.empty(); }));
        EXPECT_EQ(
            told,
            "The work could not be started: the system cannot run more at once. Close other programs and "
            "try again.\n");
        EXPECT_FALSE(hasBegun);
    });
}

TEST_F(SerialContextTest, runsOneAtATimeInTheOrderOfArrival) {
    SerialContext context(loop.queue(), "test");
    std::vector<int> begun;
    int delivered = 0;
    std::atomic<int> running{0};
    std::vector<Handle> runs;
    for (int number = 0; number < 20; ++number) {
        runs.push_back(context.run<int>(
            [&, number](std::stop_token) {
                EXPECT_EQ(running.fetch_add(1), 0);
                begun.push_back(number);
                running.fetch_sub(1);
                return number;
            },
            [&](Outcome<int> outcome) { EXPECT_EQ(outcome.get(), delivered++); }));
    }
    ASSERT_TRUE(loop.runUntil([&] { return delivered == 20; }));
    EXPECT_TRUE(std::is_sorted(begun.begin(), begun.end()));
}

TEST_F(SerialContextTest, cancellingStopsTheWorkAndStillDelivers) {
    SerialContext context(loop.queue(), "test");
    bool wasCancelled = false;
    Handle run = context.run<int>(
        [](std::stop_token stop) -> int {
            waitForStop(stop);
            throw CancellationError();
        },
        [&](Outcome<int> outcome) {
            EXPECT_THROW(outcome.get(), CancellationError);
            wasCancelled = true;
        });
    run.cancel();
    EXPECT_TRUE(loop.runUntil([&] { return wasCancelled; }));
}

TEST_F(SerialContextTest, droppingStopsTheWorkAndDeliversNothing) {
    SerialContext context(loop.queue(), "test");
    bool isDelivered = false;
    Gate begun;
    Handle run = context.run<int>(
        [&](std::stop_token stop) {
            begun.open();
            waitForStop(stop);
            return 1;
        },
        [&](Outcome<int>) { isDelivered = true; });
    begun.pass();
    run.drop();
    EXPECT_FALSE(run);
    bool nextIsDone = false;
    const Handle next =
        context.run<int>([](std::stop_token) { return 2; }, [&](Outcome<int>) { nextIsDone = true; });
    ASSERT_TRUE(loop.runUntil([&] { return nextIsDone; }));
    EXPECT_FALSE(isDelivered);
}

TEST_F(SerialContextTest, anOutcomeThatWaitsInTheMainQueueIsDroppedToo) {
    SerialContext context(loop.queue(), "test");
    bool isDelivered = false;
    Handle run =
        context.run<int>([](std::stop_token) { return 1; }, [&](Outcome<int>) { isDelivered = true; });
    // The second piece begins after the first outcome was posted.
    Gate begun;
    bool isDone = false;
    const Handle second = context.run<int>(
        [&](std::stop_token) {
            begun.open();
            return 2;
        },
        [&](Outcome<int>) { isDone = true; });
    begun.pass();
    run = Handle();
    ASSERT_TRUE(loop.runUntil([&] { return isDone; }));
    EXPECT_FALSE(isDelivered);
}

TEST_F(SerialContextTest, workThatIsDroppedBeforeItsTurnNeverBegins) {
    SerialContext context(loop.queue(), "test");
    Gate gate;
    bool isDone = false;
    bool hasBegun = false;
    const Handle first = context.run<int>(
        [&](std::stop_token) {
            gate.pass();
            return 1;
        },
        [](Outcome<int>) {});
    Handle second = context.run<int>(
        [&](std::stop_token) {
            hasBegun = true;
            return 2;
        },
        [](Outcome<int>) {});
    const Handle third =
        context.run<int>([](std::stop_token) { return 3; }, [&](Outcome<int>) { isDone = true; });
    second.drop();
    gate.open();
    ASSERT_TRUE(loop.runUntil([&] { return isDone; }));
    EXPECT_FALSE(hasBegun);
}

TEST_F(SerialContextTest, destroyingTheContextStopsTheWorkAndDropsWhatWaits) {
    bool waitingHasBegun = false;
    bool wasStopped = false;
    Handle first;
    Handle second;
    {
        SerialContext context(loop.queue(), "test");
        Gate begun;
        first = context.run<int>(
            [&](std::stop_token stop) {
                begun.open();
                waitForStop(stop);
                wasStopped = true;
                return 1;
            },
            [](Outcome<int>) {});
        second = context.run<int>(
            [&](std::stop_token) {
                waitingHasBegun = true;
                return 2;
            },
            [](Outcome<int>) { ADD_FAILURE() << "work that never began has no outcome"; });
        begun.pass();
    }
    EXPECT_TRUE(wasStopped);
    EXPECT_FALSE(waitingHasBegun);
    loop.queue().drain();
}

TEST_F(SerialContextTest, aContextThatNeverWorkedHasNoThreadToEnd) {
    const SerialContext context(loop.queue(), "test");
}

TEST_F(SerialContextTest, reportsOfTheWorkArriveBeforeItsOutcome) {
    SerialContext context(loop.queue(), "test");
    int latest = 0;
    bool isDone = false;
    const CoalescedReports<int> reports(loop.queue(), [&](const int& value) {
        EXPECT_FALSE(isDone) << "a report came behind the outcome";
        EXPECT_GT(value, latest);
        latest = value;
    });
    const Handle run = context.run<int>(
        [reports](std::stop_token) {
            for (int value = 1; value <= 10'000; ++value) {
                reports.report(value);
            }
            return 0;
        },
        [&](Outcome<int>) { isDone = true; });
    ASSERT_TRUE(loop.runUntil([&] { return isDone; }));
    EXPECT_EQ(latest, 10'000) << "the last report is never lost";
}

TEST_F(SerialContextTest, capturesAreDestroyedOnTheThreadThatTheyBelongTo) {
    SerialContext context(loop.queue(), "test");
    std::atomic<std::thread::id> ofWork;
    std::atomic<std::thread::id> ofDelivery;
    std::thread::id worker;
    bool isDone = false;
    const Handle run = context.run<int>(
        [&worker, probe = std::make_shared<DestructionProbe>(ofWork)](std::stop_token) {
            worker = std::this_thread::get_id();
            return 1;
        },
        [&isDone, probe = std::make_shared<DestructionProbe>(ofDelivery)](Outcome<int>) { isDone = true; });
    ASSERT_TRUE(loop.runUntil([&] { return isDone; }));
    EXPECT_EQ(ofWork.load(), worker);
    EXPECT_EQ(ofDelivery.load(), std::this_thread::get_id());
}

TEST_F(SerialContextTest, capturesOfDroppedWorkAreDestroyedOnTheMainThread) {
    SerialContext context(loop.queue(), "test");
    std::atomic<std::thread::id> place;
    Gate gate;
    bool isDone = false;
    const Handle first = context.run<int>(
        [&](std::stop_token) {
            gate.pass();
            return 1;
        },
        [](Outcome<int>) {});
    Handle second = context.run<int>([](std::stop_token) { return 2; },
                                     [probe = std::make_shared<DestructionProbe>(place)](Outcome<int>) {});
    const Handle third =
        context.run<int>([](std::stop_token) { return 3; }, [&](Outcome<int>) { isDone = true; });
    second.drop();
    gate.open();
    ASSERT_TRUE(loop.runUntil([&] { return isDone; }));
    EXPECT_EQ(place.load(), std::this_thread::get_id());
}

TEST_F(SerialContextTest, anOutcomeMayComeBackToTheContextWhileItIsDestroyed) {
    // The destructor of a discarded outcome posts: were it run under the queue's lock, this would never end.
    struct Chatty {
        MainQueue* queue = nullptr;
        ~Chatty() {
            if (queue != nullptr) {
                queue->post([] {});
            }
        }
    };
    SerialContext context(loop.queue(), "test");
    Handle run = context.run<std::shared_ptr<Chatty>>(
        [this](std::stop_token) { return std::make_shared<Chatty>(&loop.queue()); },
        [](Outcome<std::shared_ptr<Chatty>>) {});
    run.drop();
    bool isDone = false;
    const Handle next =
        context.run<int>([](std::stop_token) { return 1; }, [&](Outcome<int>) { isDone = true; });
    EXPECT_TRUE(loop.runUntil([&] { return isDone; }));
}

TEST_F(SerialContextTest, manyRunsStartedCancelledAndDroppedStayInOrder) {
    std::mt19937 random(7);
    int delivered = 0;
    int kept = 0;
    for (int round = 0; round < 20; ++round) {
        SerialContext context(loop.queue(), "stress");
        std::vector<Handle> runs;
        int last = -1;
        for (int number = 0; number < 50; ++number) {
            Handle run = context.run<int>(
                [number](std::stop_token stop) {
                    if (number % 7 == 0 && stop.stop_possible() && stop.stop_requested()) {
                        throw CancellationError();
                    }
                    return number;
                },
                [&, number](Outcome<int>) {
                    EXPECT_GT(number, last);
                    last = number;
                    ++delivered;
                });
            const auto fate = random() % 3;
            if (fate == 0) {
                run.drop();
            } else {
                if (fate == 1) {
                    run.cancel();
                }
                runs.push_back(std::move(run));
                ++kept;
            }
            if (number % 10 == 0) {
                loop.queue().drain();
            }
        }
        if (round % 2 == 0) {
            const int expected = kept;
            ASSERT_TRUE(loop.runUntil([&] { return delivered == expected; }));
        } else {
            // The context goes with work waiting; what was not delivered by then may still be or not.
            runs.clear();
            kept = delivered;
        }
    }
    loop.queue().drain();
    EXPECT_EQ(delivered, kept);
}

}  // namespace
}  // namespace larkfold
