#include "platform/linux/calls/CallWithTimeout.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <condition_variable>
#include <mutex>

#include "platform/Bookmark.h"
#include "platform/linux/userfiles/SecurityLabel.h"
#include "support/TemporaryTree.h"

namespace larkfold {
namespace {

// What a call that never returns waits for, until the test lets it go.
struct Door {
    std::mutex mutex;
    std::condition_variable changed;
    bool isOpen = false;
    int passed = 0;

    int pass() {
        std::unique_lock lock(mutex);
        changed.wait(lock, [this] { return isOpen; });
        ++passed;
        changed.notify_all();
        return 1;
    }
    void open() {
        const std::lock_guard lock(mutex);
        isOpen = true;
        changed.notify_all();
    }
    void waitFor(int count) {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return passed == count; });
    }
};

TEST(CallWithTimeoutTest, returnsTheValueOfACallThatAnswers) {
    EXPECT_EQ(callWithTimeout<int>([] { return 7; }), 7);
}

TEST(CallWithTimeoutTest, aCallThatDoesNotAnswerIsGivenUp) {
    const auto door = std::make_shared<Door>();
    EXPECT_EQ(callWithTimeout<int>([door] { return door->pass(); }, std::chrono::milliseconds(1)),
              std::nullopt);
    door->open();
    door->waitFor(1);
}

TEST(CallWithTimeoutTest, aStopEndsTheWait) {
    const auto door = std::make_shared<Door>();
    std::stop_source stop;
    stop.request_stop();
    EXPECT_EQ(callWithTimeout<int>([door] { return door->pass(); }, std::chrono::hours(1), stop.get_token()),
              std::nullopt);
    door->open();
    door->waitFor(1);
}

TEST(CallWithTimeoutTest, noMoreThanAFewThreadsAreEverLeftBehind) {
    const auto door = std::make_shared<Door>();
    for (int count = 0; count < call_with_timeout::mostAbandoned + 5; ++count) {
        EXPECT_EQ(callWithTimeout<int>([door] { return door->pass(); }, std::chrono::milliseconds(1)),
                  std::nullopt);
    }
    EXPECT_EQ(callWithTimeout<int>([] { return 7; }), std::nullopt) << "as good as no answer";
    door->open();
    door->waitFor(call_with_timeout::mostAbandoned);
    // The threads that came back make room again; each says so a moment after it passed the door.
    while (callWithTimeout<int>([] { return 7; }) != 7) {
    }
}

TEST(SecurityLabelTest, onlyAnEnforcedSnapConfines) {
    EXPECT_TRUE(isConfiningSnapLabel("snap.larkfold.larkfold (enforce)\n"));
    EXPECT_FALSE(isConfiningSnapLabel("snap.code.code (complain)\n"));
    EXPECT_FALSE(isConfiningSnapLabel("unconfined\n"));
    EXPECT_FALSE(isConfiningSnapLabel("/usr/bin/thing (enforce)"));
    EXPECT_FALSE(isConfiningSnapLabel(""));
}

}  // namespace
}  // namespace larkfold
