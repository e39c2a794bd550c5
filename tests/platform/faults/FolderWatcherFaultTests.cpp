// What a watch tells when the system drops events, grants no more watches, or grants none. The program's own
// versions of the calls stand before the system's.
#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/FolderWatcher.h"
#include "support/OpenDescriptors.h"
#include "support/TemporaryTree.h"
#include "support/TestMainLoop.h"

namespace {

std::atomic<int> watchesLeft = -1;  // -1: as many as the system grants
std::atomic<int> watchError = ENOSPC;
std::atomic<int> instanceError = 0;
std::atomic<int> openError = 0;  // of folders opened below another
// While it is set the watch gets no event to read.
std::atomic<bool> isDeaf = false;
std::atomic<int> deafReaders = 0;  // that wait for one
// An instance is refused while there is another one.
std::atomic<bool> isOneInstanceGranted = false;

bool hasInstance() {
    std::error_code failure;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        if (std::filesystem::read_symlink(entry.path(), failure) == "anon_inode:inotify") {
            return true;
        }
    }
    return false;
}

}  // namespace

extern "C" {

int inotify_init1(int flags) noexcept {
    if (const int error = instanceError) {
        errno = error;
        return -1;
    }
    if (isOneInstanceGranted && hasInstance()) {
        errno = EMFILE;
        return -1;
    }
    return static_cast<int>(syscall(SYS_inotify_init1, flags));
}

int inotify_add_watch(int instance, const char* path, uint32_t mask) noexcept {
    if (watchesLeft == 0) {
        errno = watchError;
        return -1;
    }
    if (watchesLeft > 0) {
        --watchesLeft;
    }
    return static_cast<int>(syscall(SYS_inotify_add_watch, instance, path, mask));
}

// How folders below another are opened. Two of the arguments matter here, and none has more than six: of
// those that were not given it reads what lies there, as the system's own does, which no sanitizer likes.
__attribute__((no_sanitize("address", "undefined"))) long syscall(long number, ...) noexcept {
    va_list rest;
    va_start(rest, number);
    std::array<long, 6> with{};
    for (long& argument : with) {
        argument = va_arg(rest, long);
    }
    va_end(rest);
    if (const int error = number == SYS_openat2 ? openError.load() : 0) {
        errno = error;
        return -1;
    }
    static const auto system = reinterpret_cast<long (*)(long, ...)>(dlsym(RTLD_NEXT, "syscall"));
    return system(number, with[0], with[1], with[2], with[3], with[4], with[5]);
}

ssize_t read(int descriptor, void* bytes, size_t count) {
    const bool isOfTheWatch = syscall(SYS_gettid) != getpid();
    if (isOfTheWatch && isDeaf) {
        ++deafReaders;
        deafReaders.notify_all();
        while (isDeaf) {
            isDeaf.wait(true);
        }
        --deafReaders;
    }
    return syscall(SYS_read, descriptor, bytes, count);
}

}  // extern "C"

namespace larkfold::test {
namespace {

// Whether there come to be as many threads of watches as that. One that has ended gives back what it holds on
// its own thread.
bool awaitWatchThreads(int count) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (std::chrono::steady_clock::now() < end) {
        int found = 0;
        for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
            found += contentOf(task.path() / "comm") == "folder-watch\n" ? 1 : 0;
        }
        if (found == count) {
            return true;
        }
        std::this_thread::yield();
    }
    return false;
}

bool hasNoWatchThread() {
    return awaitWatchThreads(0);
}

class FolderWatcherFaults : public testing::Test {
protected:
    FolderWatcherFaults() {
        for (const char* folder : {"a", "b/c", "d"}) {
            tree_.folder(folder);
        }
    }
    ~FolderWatcherFaults() override {
        watchesLeft = -1;
        instanceError = 0;
        openError = 0;
        isOneInstanceGranted = false;
        hear();
    }

    static void hear() {
        isDeaf = false;
        isDeaf.notify_all();
    }
    // Ends the watch while its thread is held up in the middle of its work.
    void endWatchHeldUp() {
        isDeaf = true;
        tree_.file("a/event");
        while (deafReaders == 0) {
            deafReaders.wait(0);
        }
        watcher_.reset();
        coverage_.reset();
        failure_.reset();
    }
    void watch() {
        beginWatch();
        ASSERT_TRUE(loop_.runUntil([this] { return coverage_ || failure_; }));
    }
    void beginWatch() {
        FolderWatcherOptions options;
        options.latency = std::chrono::milliseconds(1);
        options.answerTimeout =
            std::chrono::hours(1);  // who waits for it in vain runs into the suite's limit
        watcher_.emplace(loop_.queue(), tree_.root(), options,
                         FolderWatcher::Handlers{
                             .changed =
                                 [this](const FolderChanges& changes) {
                                     losses_ += changes.eventsAreLost ? 1 : 0;
                                     paths_.insert(paths_.end(), changes.paths.begin(), changes.paths.end());
                                 },
                             .covered = [this](const WatchCoverage& coverage) { coverage_ = coverage; },
                             .failed = [this](const SystemError& error) { failure_ = error; },
                         });
    }
    bool isTold(const std::string& path) {
        return loop_.runUntil([&] { return std::find(paths_.begin(), paths_.end(), path) != paths_.end(); });
    }

    TestMainLoop loop_;
    TemporaryTree tree_;
    int losses_ = 0;
    std::vector<std::string> paths_;
    std::optional<WatchCoverage> coverage_;
    std::optional<SystemError> failure_;
    std::optional<FolderWatcher> watcher_;
};

TEST_F(FolderWatcherFaults, moreEventsThanTheSystemKeeps_areToldAsLost_andEverythingIsWatchedAgain) {
    watch();
    isDeaf = true;
    // Events of one file are gathered by the system, those of two by turns are not.
    std::ofstream one(tree_.path("a/one"));
    std::ofstream two(tree_.path("a/two"));
    std::ifstream limit("/proc/sys/fs/inotify/max_queued_events");
    int most = 0;
    ASSERT_TRUE(limit >> most);
    for (int event = 0; event < most + 1'000; ++event) {
        (event % 2 == 0 ? one : two) << 'x' << std::flush;
    }
    tree_.folder("made-while-nobody-listens");
    isDeaf = false;
    isDeaf.notify_all();
    // Once when it was noticed, once more when everything was watched again.
    ASSERT_TRUE(loop_.runUntil([this] { return losses_ >= 2; }));
    EXPECT_FALSE(failure_);
    const std::string file = tree_.file("made-while-nobody-listens/file");
    EXPECT_TRUE(isTold(file));
}

TEST_F(FolderWatcherFaults, aSystemThatGrantsNoMoreWatches_isTold_andTheRestIsWatched) {
    watchesLeft = 8;  // those above the root, the root, and a few more
    watch();
    ASSERT_TRUE(coverage_);
    EXPECT_TRUE(coverage_->isLimitReached);
    EXPECT_FALSE(coverage_->isComplete());
    EXPECT_LT(coverage_->folders, 5);
    ASSERT_GE(coverage_->folders, 1);
    EXPECT_TRUE(isTold(tree_.file("in-the-root")));
}

TEST_F(FolderWatcherFaults, aLimitThatIsReachedLater_isTold) {
    watch();
    ASSERT_TRUE(coverage_->isComplete());
    watchesLeft = 0;
    coverage_.reset();
    tree_.folder("new");
    ASSERT_TRUE(loop_.runUntil([this] { return coverage_.has_value(); }));
    EXPECT_TRUE(coverage_->isLimitReached);
}

TEST_F(FolderWatcherFaults, noWatchAtAll_fails) {
    watchesLeft = 0;
    watch();
    ASSERT_TRUE(failure_);
    EXPECT_EQ(failure_->code(), ENOSPC);
    EXPECT_FALSE(coverage_);
}

TEST_F(FolderWatcherFaults, noInstance_fails) {
    instanceError = EMFILE;
    watch();
    ASSERT_TRUE(failure_);
    EXPECT_EQ(failure_->code(), EMFILE);
}

TEST_F(FolderWatcherFaults, whatAWatchThatHasEndedStillHolds_isAwaitedByTheNextOne) {
    ASSERT_TRUE(hasNoWatchThread());
    isOneInstanceGranted = true;
    watch();
    ASSERT_TRUE(coverage_);
    {
        // The negative control: one whose owner is still there is not waited for.
        std::optional<SystemError> failure;
        const FolderWatcher second(
            loop_.queue(), tree_.root(), {},
            {.changed = {}, .covered = {}, .failed = [&](const SystemError& error) { failure = error; }});
        ASSERT_TRUE(loop_.runUntil([&] { return failure.has_value(); }));
        EXPECT_EQ(failure->code(), EMFILE);
    }
    ASSERT_TRUE(awaitWatchThreads(1));
    endWatchHeldUp();
    beginWatch();
    ASSERT_TRUE(awaitWatchThreads(2));
    hear();
    ASSERT_TRUE(loop_.runUntil([this] { return coverage_ || failure_; }));
    ASSERT_FALSE(failure_) << failure_->description();
    EXPECT_TRUE(coverage_->isComplete());
    EXPECT_TRUE(isTold(tree_.file("b/file")));
}

TEST_F(FolderWatcherFaults, aWatchThatWaitsForAnotherOnesEnd_canBeEndedItself) {
    ASSERT_TRUE(hasNoWatchThread());
    watch();
    endWatchHeldUp();
    beginWatch();
    ASSERT_TRUE(awaitWatchThreads(2));
    watcher_.reset();
    EXPECT_TRUE(awaitWatchThreads(1));
    hear();
    EXPECT_TRUE(hasNoWatchThread());
}

TEST_F(FolderWatcherFaults, foldersThatCannotBeOpened_areTold) {
    openError = EMFILE;
    watch();
    ASSERT_TRUE(coverage_);
    EXPECT_TRUE(coverage_->hasUnopenedFolders);
    EXPECT_EQ(coverage_->folders, 1);
}

TEST_F(FolderWatcherFaults, aNewFolderThatCannotBeOpened_isTold) {
    watch();
    ASSERT_TRUE(coverage_ && coverage_->isComplete());
    openError = EMFILE;
    tree_.folder("b/made");
    EXPECT_TRUE(loop_.runUntil([this] { return coverage_->hasUnopenedFolders; }));
}

TEST_F(FolderWatcherFaults, whatMayNotBeOpened_isNoGap) {
    openError = EACCES;  // a scan cannot read it either
    watch();
    ASSERT_TRUE(coverage_);
    EXPECT_TRUE(coverage_->isComplete());
}

TEST_F(FolderWatcherFaults, noDescriptor_isLeftBehind) {
    ASSERT_TRUE(hasNoWatchThread());
    const DescriptorBalance descriptors;
    watch();
    for (int round = 0; round < 20; ++round) {
        const std::string name = "round" + std::to_string(round);
        paths_.clear();
        tree_.file(name + "/deep/file");
        std::filesystem::rename(tree_.path(name), tree_.path("a/" + name));
        ASSERT_TRUE(loop_.runUntil([this] { return !paths_.empty(); }));
    }
    watcher_.reset();
    ASSERT_TRUE(hasNoWatchThread());
    EXPECT_EQ(descriptors.after(), descriptors.before());
}

}  // namespace
}  // namespace larkfold::test
