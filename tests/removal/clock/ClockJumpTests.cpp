// Time limits while the clock of the day jumps by years, back and forth. A program of its own: it puts its
// own version of the system's call before the system's.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <optional>
#include <string>
#include <thread>

#include "platform/ChildProcess.h"
#include "removal/BoundedProcess.h"
#include "support/TemporaryTree.h"

namespace {

std::atomic<bool> isJumping = false;
std::atomic<int> dayQuestions = 0;
std::atomic<int> steadyQuestions = 0;

}  // namespace

extern "C" int clock_gettime(clockid_t clock, timespec* now) noexcept {
    const long result = syscall(SYS_clock_gettime, clock, now);
    if (isJumping && clock == CLOCK_REALTIME) {
        constexpr time_t years = 20L * 365 * 24 * 3'600;
        now->tv_sec += dayQuestions++ % 2 == 0 ? years : -years;
    } else if (isJumping && clock == CLOCK_MONOTONIC) {
        ++steadyQuestions;
    }
    return static_cast<int>(result);
}

namespace larkfold::test {
namespace {

// Lets a tool that reads the pipe "go" in the folder go on when its runner has looked at a clock several
// times.
class GoesOnLater {
public:
    GoesOnLater(TemporaryTree& tree, const std::atomic<int>& questions)
        : thread_([this, path = tree.fifo("go"), &questions] {
              const int file = open(path.c_str(), O_WRONLY | O_CLOEXEC);
              const int before = questions;
              while (questions < before + 12 && !isOver_) {
                  std::this_thread::yield();
              }
              const ssize_t written = write(file, "on\n", 3);
              EXPECT_EQ(written, 3);
              close(file);
          }) {}
    ~GoesOnLater() { isOver_ = true; }
    GoesOnLater(const GoesOnLater&) = delete;
    GoesOnLater& operator=(const GoesOnLater&) = delete;

private:
    std::atomic<bool> isOver_ = false;
    std::jthread thread_;
};

class ClockJumpTest : public testing::Test {
protected:
    ClockJumpTest() { isJumping = true; }
    ~ClockJumpTest() override { isJumping = false; }

    TemporaryTree tree;
};

TEST_F(ClockJumpTest, theClockOfTheDayJumpsHere) {
    const auto first = std::chrono::system_clock::now();
    const auto second = std::chrono::system_clock::now();
    EXPECT_GT(first > second ? first - second : second - first, std::chrono::hours(24 * 365 * 30));
}

TEST_F(ClockJumpTest, aToolWithinItsTime_isLeftAlone) {
    const GoesOnLater later(tree, steadyQuestions);
    EXPECT_EQ(
        BoundedProcess::run("/bin/sh", {"-c", "read word < \"$0/go\"; echo $word", tree.root()}, 100, 300),
        "on\n");
}

TEST_F(ClockJumpTest, aToolBeyondItsTime_isStopped) {
    try {
        BoundedProcess::run("/bin/sleep", {"1000"}, 100, 0.05);
        FAIL() << "it ended";
    } catch (const BoundedProcess::Failure& failure) {
        EXPECT_EQ(failure.which(), BoundedProcess::Failure::Case::timedOut);
    }
}

// Negative control: the same loop by the clock of the day.
bool isInTimeByTheDay(TemporaryTree& tree, double seconds) {
    using Clock = std::chrono::system_clock;
    const CommandOutput output;
    ChildProcess process("/bin/sh", {"-c", "read word < \"$0/go\"", tree.root()}, output);
    const auto deadline =
        Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    while (!process.waitForEnd(std::chrono::milliseconds(25))) {
        if (deadline <= Clock::now()) {
            return false;
        }
    }
    return true;
}

TEST_F(ClockJumpTest, control_whoAsksTheClockOfTheDay_isMisled) {
    // The first question adds twenty years or takes them away; whichever the deadline got, one of two runs
    // ends at once although it had five minutes.
    int inTime = 0;
    for (int run = 0; run < 2; ++run) {
        dayQuestions = run;
        TemporaryTree own;
        std::optional<GoesOnLater> later(std::in_place, own, steadyQuestions);
        inTime += isInTimeByTheDay(own, 300) ? 1 : 0;
        // A tool that was stopped reads no more; somebody has to open the pipe for the writer to go on.
        const int file = open(own.path("go").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        later.reset();
        close(file);
    }
    EXPECT_LT(inTime, 2);
}

}  // namespace
}  // namespace larkfold::test
