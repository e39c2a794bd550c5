// Marks, review and removal on a disk that answers late, or not at all: what was confirmed goes, nothing else
// does, and the main thread never waits. The program's own version of the call by which paths are looked up
// stands before the system's.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <QSignalSpy>
#include <QTest>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "disk/DiskDriverFixture.h"
#include "disk/DiskScannerViewModel.h"
#include "disk/MarkTexts.h"
#include "platform/FileIdentity.h"
#include "platform/LinkResolution.h"
#include "removal/PathRules.h"
#include "support/GateThatTells.h"

namespace {

constexpr std::string_view silentName = "silent";

std::atomic<int> delayMilliseconds = 0;  // of each lookup
std::atomic<int> lookupsOfMainThread = 0;

std::mutex diskMutex;
std::condition_variable diskAnswers;
bool isDiskSilent = false;  // about what is called `silentName`

void awaitDisk(std::string_view name) {
    if (getpid() == gettid()) {
        ++lookupsOfMainThread;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(delayMilliseconds));
    std::unique_lock lock(diskMutex);
    diskAnswers.wait(lock, [name] { return !isDiskSilent || name != silentName; });
}

}  // namespace

extern "C" ssize_t readlinkat(int folder, const char* name, char* target, size_t size) noexcept {
    awaitDisk(name);
    return static_cast<ssize_t>(syscall(SYS_readlinkat, folder, name, target, size));
}

namespace larkfold {
namespace {

using test::GateThatTells;

class SlowDiskTest : public test::DiskDriverFixture {
protected:
    ~SlowDiskTest() override {
        answerEverything();
        driver.reset();  // before the gate that it asks
    }

    void makeDriverOf(DiskScannerViewModel::Gate with) {
        auto surroundings = dependencies();
        surroundings.gate = std::move(with);
        makeDriver(std::move(surroundings));
    }
    static void setSilent(bool silent) {
        {
            const std::lock_guard lock(diskMutex);
            isDiskSilent = silent;
        }
        diskAnswers.notify_all();
    }
    static void answerEverything() {
        delayMilliseconds = 0;
        setSilent(false);
    }
    void markAll() {
        for (const auto& each : root()->children()) {
            driver->toggleSelection(each);
        }
    }
    bool prepareReview() {
        driver->setShowDeleteConfirmation(true);
        return waitFor([this] { return driver->review() != nullptr; });
    }

    GateThatTells gate;
};

TEST_F(SlowDiskTest, whatTheReviewShowsGoesAndNothingElse_howeverLateTheDiskAnswers) {
    constexpr std::size_t count = 300;
    makeDriverOf(gate.gate());
    for (std::size_t number = 0; number < count; ++number) {
        tree.file("root/" + std::to_string(number));
    }
    scan(tree.path("root"));
    std::vector<std::string> all;
    for (const auto& each : root()->children()) {
        all.push_back(each->url());
    }
    lookupsOfMainThread = 0;
    delayMilliseconds = 2;
    markAll();
    ASSERT_EQ(driver->selectedForDeletion().size(), count);
    ASSERT_TRUE(prepareReview());
    std::vector<std::string> shown;
    for (const CleanupPreviewItem& item : driver->review()->shown->items) {
        EXPECT_EQ(item.uncheckedReason, "");
        shown.push_back(item.url);
    }
    const auto confirmed = driver->review();
    driver->setShowDeleteConfirmation(false);
    driver->toggleSelection(root()->children().front());  // its mark goes; the decision stands
    driver->deleteSelected(false, confirmed);
    ASSERT_TRUE(waitFor([this] { return !driver->isDeleting(); }));
    EXPECT_EQ(lookupsOfMainThread, 0) << "the main thread asked the disk";

    EXPECT_EQ(gate.requests.at(0).urls, shown) << "one for one";
    std::sort(shown.begin(), shown.end());
    std::sort(all.begin(), all.end());
    EXPECT_EQ(shown, all) << "none has vanished, none was added";
    // That this disk is late enough for whoever gives up after a second.
    for (const auto& answer : pathsWithLinksResolved(all)) {
        ASSERT_FALSE(answer.has_value());
    }
}

TEST_F(SlowDiskTest, theGateWaitsForALateDiskToo) {
    makeDriverOf(nullptr);
    for (const char* name : {"root/a", "root/b", "root/stays"}) {
        tree.file(name);
    }
    scan(tree.path("root"));
    delayMilliseconds = 10;
    ASSERT_FALSE(removal_rules::PathPolicy({tree.path("root")}).isUsable()) << "a disk that is late enough";
    driver->toggleSelection(node("a"));
    driver->toggleSelection(node("b"));
    ASSERT_TRUE(prepareReview());
    ASSERT_EQ(driver->review()->shown->items.size(), 2u);
    driver->deleteSelected(true);
    ASSERT_TRUE(waitFor([this] { return !driver->isDeleting(); }));
    EXPECT_FALSE(driver->error().has_value()) << *driver->error();
    EXPECT_FALSE(FileIdentity::of(tree.path("root/a")).has_value());
    EXPECT_FALSE(FileIdentity::of(tree.path("root/b")).has_value());
    EXPECT_TRUE(FileIdentity::of(tree.path("root/stays")).has_value());
}

TEST_F(SlowDiskTest, aPreparationThatWaitsForASilentDiskTellsForWhatAndIsCancelledAtOnce) {
    makeDriverOf(gate.gate());
    for (const char* name : {"root/a", "root/silent", "root/z"}) {
        tree.file(name);
    }
    scan(tree.path("root"));
    setSilent(true);
    lookupsOfMainThread = 0;
    markAll();
    EXPECT_EQ(driver->selectedForDeletion().size(), 3u) << "no mark waits for the disk";
    driver->setShowDeleteConfirmation(true);
    ASSERT_TRUE(
        waitFor([this] { return driver->reviewRequest().progress().awaited == tree.path("root/silent"); }));
    EXPECT_TRUE(driver->isPreparingReview());
    EXPECT_EQ(driver->reviewRequest().progress().checked, 1);
    EXPECT_EQ(driver->reviewRequest().progress().total, 3);

    driver->setShowDeleteConfirmation(false);
    EXPECT_FALSE(driver->isPreparingReview());
    EXPECT_EQ(driver->review(), nullptr);
    EXPECT_EQ(driver->selectedForDeletion().size(), 3u) << "not to be told is no refusal";
    EXPECT_TRUE(driver->markNotice().isEmpty());

    // The next one does not wait behind what the disk still owes.
    driver->toggleSelection(node("silent"));
    ASSERT_TRUE(prepareReview());
    EXPECT_EQ(driver->review()->shown->items.size(), 2u);
    driver->setShowDeleteConfirmation(false);
    setSilent(false);
    driver->toggleSelection(node("silent"));
    ASSERT_TRUE(prepareReview());
    EXPECT_EQ(driver->review()->shown->items.size(), 3u);
    EXPECT_EQ(lookupsOfMainThread, 0);
    EXPECT_TRUE(gate.requests.empty());
}

TEST_F(SlowDiskTest, theEndOfTheDriverWaitsForNoSilentDisk) {
    makeDriverOf(gate.gate());
    tree.file("root/silent");
    scan(tree.path("root"));
    setSilent(true);
    markAll();
    driver->setShowDeleteConfirmation(true);
    ASSERT_TRUE(
        waitFor([this] { return driver->reviewRequest().progress().awaited == tree.path("root/silent"); }));
    driver.reset();
}

TEST_F(SlowDiskTest, untilTheProtectedPlacesAreToldNothingIsMarkedAndThatIsSaid) {
    makeDriverOf(gate.gate());
    tree.file("root/a");
    delayMilliseconds = 10;
    scan(tree.path("root"));
    EXPECT_EQ(driver->whyNotMarked(*node("a")), mark_texts::notToldYet);
    driver->toggleSelection(node("a"));
    EXPECT_TRUE(driver->selectedForDeletion().empty());
    EXPECT_EQ(driver->markNotice().toStdString(), mark_texts::notToldYet);
    ASSERT_TRUE(waitFor([this] { return driver->canSelect(*node("a")); }));
    driver->toggleSelection(node("a"));
    EXPECT_EQ(driver->selectedForDeletion().size(), 1u);
}

// That the counter counts: who asks the path rules by themselves asks the disk, through a thread it waits
// for.
TEST_F(SlowDiskTest, aLookupOnTheMainThreadIsCounted) {
    lookupsOfMainThread = 0;
    std::vector<char> target(16);
    EXPECT_EQ(::readlinkat(AT_FDCWD, tree.root().c_str(), target.data(), target.size()), -1);
    EXPECT_EQ(lookupsOfMainThread, 1);
}

}  // namespace
}  // namespace larkfold
