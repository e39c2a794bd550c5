#include "platform/FileLock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <optional>
#include <stop_token>
#include <thread>

#include "platform/Error.h"
#include "support/TemporaryTree.h"

namespace larkfold::test {
namespace {

using namespace std::chrono_literals;
using own_files::FileLock;
using testing::HasSubstr;

// Whether somebody holds it now.
bool isHeld(const std::string& file) {
    try {
        const FileLock lock(file, 0ms);
        return false;
    } catch (const SystemError& error) {
        EXPECT_EQ(error.code(), EBUSY);
        return true;
    }
}

TEST(FileLock, holdsAgainstAnotherOfThisProcessUntilItGoes) {
    TemporaryTree tree;
    const std::string file = tree.path("store.json");
    {
        const FileLock lock(file);
        EXPECT_TRUE(isHeld(file));
        EXPECT_FALSE(isHeld(tree.path("other.json")));
    }
    EXPECT_FALSE(isHeld(file));
}

TEST(FileLock, itsFileIsTheUsersAloneAndTheGuardedOneIsNotMade) {
    TemporaryTree tree;
    const FileLock lock(tree.path("store.json"));
    struct stat values{};
    ASSERT_EQ(stat(tree.path("store.json.lock").c_str(), &values), 0);
    EXPECT_EQ(values.st_mode & 07777U, 0600U);
    EXPECT_NE(stat(tree.path("store.json").c_str(), &values), 0);
}

TEST(FileLock, aHolderThatIsNeverDone_isToldInASentence) {
    TemporaryTree tree;
    const FileLock lock(tree.path("store.json"));
    try {
        const FileLock second(tree.path("store.json"), 20ms);
        FAIL() << "it was held twice";
    } catch (const SystemError& error) {
        EXPECT_THAT(error.description(),
                    HasSubstr("store.json” could not be opened: another program is using it."));
    }
}

TEST(FileLock, aWaiterGetsItWhenTheHolderIsDone) {
    TemporaryTree tree;
    const std::string file = tree.path("store.json");
    std::optional<FileLock> first(std::in_place, file);
    bool isSecondHeld = false;
    std::jthread waiter([&] {
        const FileLock second(file);
        isSecondHeld = true;
    });
    first.reset();
    waiter.join();
    EXPECT_TRUE(isSecondHeld);
}

TEST(FileLock, aProcessThatIsKilled_releasesIt) {
    TemporaryTree tree;
    const std::string file = tree.path("store.json");
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        const FileLock lock(file);
        if (write(ready[1], "x", 1) == 1) {
            for (;;) {
                pause();
            }
        }
        _exit(1);
    }
    close(ready[1]);
    char byte;
    ASSERT_EQ(read(ready[0], &byte, 1), 1);
    close(ready[0]);
    EXPECT_TRUE(isHeld(file));
    kill(child, SIGKILL);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_FALSE(isHeld(file));
}

TEST(FileLock, aLinkInThePlaceOfItsFile_isNotFollowed) {
    TemporaryTree tree;
    tree.link("store.json.lock", "elsewhere");
    EXPECT_THROW(FileLock(tree.path("store.json")), SystemError);
    struct stat values{};
    EXPECT_NE(lstat(tree.path("elsewhere").c_str(), &values), 0);
}

TEST(FileLock, withoutItsFolder_failsWithASentence) {
    TemporaryTree tree;
    try {
        const FileLock lock(tree.path("missing/store.json"));
        FAIL() << "it was held";
    } catch (const SystemError& error) {
        EXPECT_EQ(error.code(), ENOENT);
        EXPECT_THAT(error.description(), HasSubstr("could not be created"));
    }
}

TEST(FolderLock, holdsUntilItGoes_andLeavesNothingBehind) {
    TemporaryTree tree;
    {
        const own_files::FolderLock lock(tree.root());
        try {
            const own_files::FolderLock second(tree.root(), 0ms);
            FAIL() << "it was held twice";
        } catch (const SystemError& error) {
            EXPECT_EQ(error.code(), EBUSY);
        }
        const FileLock other(tree.path("store.json"), 0ms);  // another lock altogether
        tree.file("may-be-made-meanwhile");
    }
    const own_files::FolderLock again(tree.root(), 0ms);
    struct stat values{};
    EXPECT_NE(stat(tree.path(".lock").c_str(), &values), 0);
}

TEST(FolderLock, whoWaits_goesOnWhenAStopIsRequested) {
    TemporaryTree tree;
    const own_files::FolderLock lock(tree.root());
    std::stop_source stop;
    std::jthread stopper([&stop] { stop.request_stop(); });
    EXPECT_THROW(own_files::FolderLock(tree.root(), 1h, stop.get_token()), CancellationError);
}

TEST(FolderLock, withoutItsFolder_fails) {
    TemporaryTree tree;
    EXPECT_THROW(own_files::FolderLock(tree.path("missing")), SystemError);
    tree.file("file");
    EXPECT_THROW(own_files::FolderLock(tree.path("file")), SystemError);
}

}  // namespace
}  // namespace larkfold::test
