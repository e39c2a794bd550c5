#include "removal/BoundedProcess.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "platform/Error.h"
#include "support/TemporaryTree.h"

namespace larkfold::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using Case = BoundedProcess::Failure::Case;

constexpr std::int64_t plenty = 1 << 20;
constexpr double long_ = 300;  // seconds; nothing here takes so long unless it fails

// Each test has a folder for temporary files of its own, which is empty at its end.
class BoundedProcessTest : public testing::Test {
protected:
    BoundedProcessTest() {
        before_ = std::getenv("TMPDIR");
        setenv("TMPDIR", temporary.root().c_str(), 1);
    }
    ~BoundedProcessTest() override {
        EXPECT_THAT(left(), IsEmpty());
        before_ == nullptr ? unsetenv("TMPDIR") : setenv("TMPDIR", before_, 1);
        // Nobody of ours is left unreaped.
        EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
        EXPECT_EQ(errno, ECHILD);
    }

    // What lies in the folder for temporary files.
    std::vector<std::string> left() const {
        std::vector<std::string> names;
        for (const auto& item : std::filesystem::directory_iterator(temporary.root())) {
            names.push_back(item.path().filename());
        }
        return names;
    }

    // A script for the shell, with $0 as the folder for what tests pass on.
    std::string shell(const std::string& script, std::int64_t limit = plenty, double time = long_,
                      std::stop_token stop = {}) const {
        return BoundedProcess::run("/bin/sh", {"-c", script, tree.root()}, limit, time, std::move(stop));
    }

    // How a run fails.
    std::optional<BoundedProcess::Failure> failure(const std::string& script, std::int64_t limit = plenty,
                                                   double time = long_) const {
        try {
            shell(script, limit, time);
            return std::nullopt;
        } catch (const BoundedProcess::Failure& thrown) {
            return thrown;
        }
    }
    void expectFailure(Case which, const std::string& script, std::int64_t limit = plenty,
                       double time = long_) const {
        const auto thrown = failure(script, limit, time);
        ASSERT_TRUE(thrown) << script;
        EXPECT_EQ(thrown->which(), which) << thrown->description();
    }

    // The process whose number the script has written to that file.
    pid_t process(const std::string& name) const { return std::atoi(contentOf(tree.path(name)).c_str()); }
    static bool isAlive(pid_t process) {
        EXPECT_GT(process, 1);
        return kill(process, 0) == 0;
    }

    TemporaryTree tree;
    TemporaryTree temporary;

private:
    const char* before_;
};

TEST_F(BoundedProcessTest, messages_areTheExactOnes) {
    using Failure = BoundedProcess::Failure;
    EXPECT_EQ(Failure(Case::exit, 3).description(), "The command exited with status 3.");
    EXPECT_EQ(Failure(Case::exit, -1).description(), "The command exited with status -1.");
    EXPECT_EQ(Failure(Case::timedOut).description(), "The command exceeded its time limit.");
    EXPECT_EQ(Failure(Case::outputLimit).description(), "The command produced more output than allowed.");
}

TEST_F(BoundedProcessTest, returnsTheOutput) {
    EXPECT_EQ(BoundedProcess::run("/bin/echo", {"-n", "a b", "", "c\"d\n"}, plenty, long_), "a b  c\"d\n");
    EXPECT_EQ(shell(":"), "");
    EXPECT_EQ(shell("echo told >&2; echo output"), "output\n");
}

TEST_F(BoundedProcessTest, environmentAndInput_areInherited) {
    setenv("LARKFOLD_TEST_VALUE", "x y", 1);
    EXPECT_EQ(shell("printf %s \"$LARKFOLD_TEST_VALUE\""), "x y");
    unsetenv("LARKFOLD_TEST_VALUE");
    const std::string input = std::filesystem::read_symlink("/proc/self/fd/0");
    EXPECT_EQ(shell("readlink /proc/$$/fd/0"), input + "\n");
    EXPECT_EQ(shell("readlink /proc/$$/fd/2"), "/dev/null\n");
}

TEST_F(BoundedProcessTest, asMuchAsAllowed_isAllowed_oneByteMoreIsNot) {
    EXPECT_EQ(shell("printf 12345", 5), "12345");
    expectFailure(Case::outputLimit, "printf 123456", 5);
    EXPECT_EQ(shell(":", 0), "");
    expectFailure(Case::outputLimit, "printf x", 0);
    expectFailure(Case::outputLimit, ":", -1);
    EXPECT_EQ(shell("printf x", std::numeric_limits<std::int64_t>::max()), "x");
}

TEST_F(BoundedProcessTest, tooMuchOutputOfAToolThatFails_isToldAsItsFailure) {
    const auto thrown = failure("printf 123456; exit 3", 5);
    ASSERT_TRUE(thrown);
    EXPECT_EQ(thrown->which(), Case::exit);
    EXPECT_EQ(thrown->status(), 3);
}

TEST_F(BoundedProcessTest, aSignalThatEndsTheTool_isToldAsItsStatus) {
    const auto thrown = failure("kill -USR1 $$");
    ASSERT_TRUE(thrown);
    EXPECT_EQ(thrown->which(), Case::exit);
    EXPECT_EQ(thrown->status(), SIGUSR1);
}

TEST_F(BoundedProcessTest, outputThatIsNotUTF8_isRepaired) {
    EXPECT_EQ(shell("printf 'a\\377b\\303'"), "a\uFFFDb\uFFFD");
}

TEST_F(BoundedProcessTest, anAbsurdTimeLimit_isALimitAllTheSame) {
    for (const double time :
         {0.0, -1.0, std::numeric_limits<double>::quiet_NaN(), -std::numeric_limits<double>::infinity()}) {
        expectFailure(Case::timedOut, "exec sleep 1000", plenty, time);
    }
    EXPECT_EQ(shell("printf x", plenty, std::numeric_limits<double>::infinity()), "x");
}

TEST_F(BoundedProcessTest, aToolThatCannotBeStarted_isToldAsTheSystemTellsIt) {
    const auto codeOf = [](const std::string& executable) {
        try {
            BoundedProcess::run(executable, {}, plenty, long_);
            return 0;
        } catch (const SystemError& error) {
            EXPECT_THAT(error.description(), HasSubstr("could not be started: "));
            return error.code();
        }
    };
    EXPECT_EQ(codeOf(tree.path("missing")), ENOENT);
    EXPECT_EQ(codeOf(tree.file("plain", "text")), EACCES);
    EXPECT_EQ(codeOf(tree.root()), EACCES);
    const std::string odd = tree.file("odd", "no program");
    ASSERT_EQ(chmod(odd.c_str(), 0755), 0);
    EXPECT_EQ(codeOf(odd), ENOEXEC);
}

TEST_F(BoundedProcessTest, withoutAPlaceForTheOutput_failsBeforeAnythingIsStarted) {
    setenv("TMPDIR", tree.path("missing").c_str(), 1);
    EXPECT_THROW(shell("echo > \"$0/started\""), SystemError);
    EXPECT_FALSE(std::filesystem::exists(tree.path("started")));
}

TEST_F(BoundedProcessTest, theOutput_isTheUsersAloneAndNamedAsSaid) {
    const mode_t before = umask(0777);
    const std::string seen = shell("readlink /proc/$$/fd/1; stat -L -c %a /proc/$$/fd/1");
    umask(before);
    EXPECT_THAT(
        seen, testing::MatchesRegex(".*/Larkfold-command-[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}\n600\n"));
    EXPECT_THAT(seen, testing::StartsWith(temporary.root() + "/"));
}

// Cancellation.

TEST_F(BoundedProcessTest, cancelledBefore_makesNothing) {
    std::stop_source source;
    source.request_stop();
    setenv("TMPDIR", tree.path("missing").c_str(), 1);
    EXPECT_THROW(shell("echo > \"$0/started\"", plenty, long_, source.get_token()), CancellationError);
    EXPECT_FALSE(std::filesystem::exists(tree.path("started")));
}

// Runs `then` as soon as the tool has opened the pipe "ready" in the folder.
class WhenReady {
public:
    WhenReady(TemporaryTree& tree, std::function<void()> then)
        : thread_([path = tree.fifo("ready"), then = std::move(then)] {
              const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
              then();
              close(file);
          }) {}

private:
    std::jthread thread_;
};

TEST_F(BoundedProcessTest, cancelledMeanwhile_stopsTheTool) {
    std::stop_source source;
    const WhenReady stops(tree, [&source] { source.request_stop(); });
    EXPECT_THROW(
        shell("echo $$ > \"$0/tool\"; : > \"$0/ready\"; exec sleep 1000", plenty, long_, source.get_token()),
        CancellationError);
    EXPECT_FALSE(isAlive(process("tool")));
}

// Hostile tools.

TEST_F(BoundedProcessTest, aToolThatIgnoresThePoliteStop_isKilled) {
    expectFailure(Case::timedOut, "trap '' TERM INT HUP; echo $$ > \"$0/tool\"; while :; do sleep 1000; done",
                  plenty, 0.2);
    EXPECT_FALSE(isAlive(process("tool")));
}

TEST_F(BoundedProcessTest, aToolThatHasStoppedItself_isKilled) {
    expectFailure(Case::timedOut, "echo $$ > \"$0/tool\"; kill -STOP $$; sleep 1000", plenty, 0.2);
    EXPECT_FALSE(isAlive(process("tool")));
}

TEST_F(BoundedProcessTest, aToolThatFloodsItsOutput_isCutAtTheLimit) {
    expectFailure(Case::outputLimit, "echo $$ > \"$0/tool\"; exec cat /dev/zero", 1'000);
    EXPECT_FALSE(isAlive(process("tool")));
    // What only claims to be large counts as well.
    expectFailure(Case::outputLimit, "truncate -s 10G /proc/$$/fd/1; exec sleep 1000", 1'000);
    // Negative control: it was the limit that ended it.
    expectFailure(Case::timedOut, "while :; do sleep 1; done", std::numeric_limits<std::int64_t>::max(), 0.2);
}

// A process that has left its parent, its group and its session, and hears no polite word. The tool goes on
// when it is there.
const std::string leavesADaemon =
    "( ( setsid sh -c 'trap \"\" TERM HUP; echo $$ > \"$0/daemon.new\"; mv \"$0/daemon.new\" \"$0/daemon\"; "
    "exec sleep 1000' \"$0\" > /dev/null & ) & ); while [ ! -e \"$0/daemon\" ]; do :; done; ";

TEST_F(BoundedProcessTest, whatForksTwiceAndBeginsASession_doesNotOutliveTheTool) {
    EXPECT_EQ(shell(leavesADaemon + "echo done"), "done\n");
    EXPECT_FALSE(isAlive(process("daemon")));
}

TEST_F(BoundedProcessTest, whatForksTwiceAndBeginsASession_isStoppedWithTheTool) {
    std::stop_source source;
    const WhenReady stops(tree, [&source] { source.request_stop(); });
    EXPECT_THROW(shell(leavesADaemon + "trap '' TERM; echo $$ > \"$0/tool\"; : > \"$0/ready\"; "
                                       "while :; do sleep 1000; done",
                       plenty, long_, source.get_token()),
                 CancellationError);
    EXPECT_FALSE(isAlive(process("tool")));
    EXPECT_FALSE(isAlive(process("daemon")));
}

TEST_F(BoundedProcessTest, aCrowdOfSessions_isGone) {
    shell(
        "n=0; while [ $n -lt 60 ]; do setsid sh -c 'echo $$ > \"$0/p$1\"; exec sleep 1000' \"$0\" $n & "
        "n=$((n+1)); done; n=0; while [ $n -lt 60 ]; do [ -s \"$0/p$n\" ] && n=$((n+1)); done");
    for (int number = 0; number < 60; ++number) {
        EXPECT_FALSE(isAlive(process("p" + std::to_string(number))));
    }
}

// Negative control: a process group alone, as is usual, does not reach it.
TEST_F(BoundedProcessTest, control_aProcessGroupAlone_letsTheDaemonLive) {
    const pid_t tool = fork();
    ASSERT_GE(tool, 0);
    if (tool == 0) {
        setpgid(0, 0);
        execl("/bin/sh", "/bin/sh", "-c", leavesADaemon.c_str(), tree.root().c_str(),
              static_cast<char*>(nullptr));
        _exit(127);
    }
    ASSERT_EQ(waitpid(tool, nullptr, 0), tool);
    kill(-tool, SIGKILL);
    EXPECT_TRUE(isAlive(process("daemon")));
    kill(process("daemon"), SIGKILL);
}

// Reads until every writer of the pipe has gone.
void awaitEnd(int pipe) {
    char byte;
    while (read(pipe, &byte, 1) > 0) {
    }
}

TEST_F(BoundedProcessTest, whenThisProgramIsKilled_itsToolsGoToo) {
    const std::string path = tree.fifo("alive");
    // The daemon holds the pipe open until its end.
    const std::string script =
        "exec 9> \"$0/alive\"; echo >&9; " + leavesADaemon + "echo >&9; exec sleep 1000";
    const pid_t program = fork();
    ASSERT_GE(program, 0);
    if (program == 0) {
        try {
            shell(script);
        } catch (const std::exception&) {
            // It does not come back to tell.
        }
        _exit(0);
    }
    const int alive = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(alive, 0);
    char lines[2];
    ASSERT_EQ(read(alive, &lines[0], 1), 1);
    ASSERT_EQ(read(alive, &lines[1], 1), 1);
    kill(program, SIGKILL);
    ASSERT_EQ(waitpid(program, nullptr, 0), program);
    awaitEnd(alive);  // would wait a thousand seconds
    close(alive);
    for (const std::string& name : left()) {
        std::filesystem::remove(temporary.path(name));  // what a killed program cannot remove any more
    }
}

TEST_F(BoundedProcessTest, whenItsKeeperIsKilled_theToolGoesTooAndTheCallerIsTold) {
    const std::string path = tree.fifo("alive");
    const int alive = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    const auto thrown = failure("exec 9> \"$0/alive\"; kill -KILL $PPID; exec sleep 1000");
    ASSERT_TRUE(thrown);
    EXPECT_EQ(thrown->which(), Case::exit);
    EXPECT_EQ(thrown->status(), SIGKILL);
    fcntl(alive, F_SETFL, 0);
    awaitEnd(alive);
    close(alive);
}

// What the tool is given.

TEST_F(BoundedProcessTest, theToolHasTheThreeStandardDescriptorsAlone) {
    // Two that lack the mark that would close them, one of them far up.
    const int plain = open("/dev/null", O_RDONLY);
    const int high = fcntl(plain, F_DUPFD, 700);
    ASSERT_GT(high, 2);
    // Its own look at the folder is the fourth.
    EXPECT_EQ(BoundedProcess::run("/bin/ls", {"/proc/self/fd"}, plenty, long_), "0\n1\n2\n3\n");
    // Negative control: a tool started in the usual way has them.
    pid_t naive = 0;
    const std::string list = "ls /proc/self/fd > " + tree.path("list");
    const char* words[] = {"/bin/sh", "-c", list.c_str(), nullptr};
    ASSERT_EQ(posix_spawn(&naive, "/bin/sh", nullptr, nullptr, const_cast<char**>(words), environ), 0);
    ASSERT_EQ(waitpid(naive, nullptr, 0), naive);
    EXPECT_THAT(contentOf(tree.path("list")), HasSubstr("\n" + std::to_string(high) + "\n"));
    close(high);
    close(plain);
}

TEST_F(BoundedProcessTest, afterEachOutcome_noDescriptorOfOursIsLeftOpen) {
    const auto count = [] {
        std::size_t open = 0;
        for (const auto& item : std::filesystem::directory_iterator("/proc/self/fd")) {
            open += item.path().empty() ? 0U : 1U;
        }
        return open;
    };
    const std::size_t before = count();
    shell("echo x");
    failure("exit 1");
    failure("exec cat /dev/zero", 10);
    failure("exec sleep 1000", plenty, 0);
    EXPECT_THROW(BoundedProcess::run(tree.path("missing"), {}, plenty, long_), SystemError);
    EXPECT_EQ(count(), before);
}

TEST_F(BoundedProcessTest, signals_areAsTheSystemSetsThem) {
    sigset_t blocked;
    sigset_t before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    sigaddset(&blocked, SIGUSR2);
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    const auto pipeBefore = std::signal(SIGPIPE, SIG_IGN);
    EXPECT_EQ(BoundedProcess::run("/bin/grep", {"-E", "^Sig(Blk|Ign)", "/proc/self/status"}, plenty, long_),
              "SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n");
    std::signal(SIGPIPE, pipeBefore);
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, &before, &after);
    EXPECT_EQ(sigismember(&after, SIGUSR2), 1);  // this thread's own stand as they did
    EXPECT_EQ(sigismember(&after, SIGINT), 0);
}

TEST_F(BoundedProcessTest, theTool_leadsAGroupOfItsOwn) {
    EXPECT_EQ(shell("read pid name state parent group rest < /proc/$$/stat; [ $group = $$ ] && echo leads"),
              "leads\n");
}

TEST_F(BoundedProcessTest, withoutStandardDescriptors_itWorksAllTheSame) {
    const pid_t program = fork();
    ASSERT_GE(program, 0);
    if (program == 0) {
        close(0);
        close(1);
        close(2);
        try {
            const bool isRight = shell("echo output; echo told >&2") == "output\n";
            _exit(isRight && left().empty() ? 0 : 1);
        } catch (const std::exception&) {
            _exit(2);
        }
    }
    int status = 0;
    ASSERT_EQ(waitpid(program, &status, 0), program);
    EXPECT_EQ(status, 0);
}

TEST_F(BoundedProcessTest, manyAtOnce_doNotMeet) {
    std::atomic<int> right = 0;
    {
        std::vector<std::jthread> threads;
        for (int thread = 0; thread < 8; ++thread) {
            threads.emplace_back([this, thread, &right] {
                for (int round = 0; round < 10; ++round) {
                    const std::string word = std::to_string(thread) + "-" + std::to_string(round);
                    right += shell("echo " + word) == word + "\n" ? 1 : 0;
                    const auto thrown = failure("exit " + std::to_string(thread + 1));
                    right += thrown && thrown->status() == thread + 1 ? 1 : 0;
                }
            });
        }
    }
    EXPECT_EQ(right, 160);
}

}  // namespace
}  // namespace larkfold::test
