// Watching and refreshing a folder below which file systems come, go, and do not answer. That nothing hangs
// is what these tests show by coming to their end.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "disk/IndexRefresh.h"
#include "disk/SavedScanLoader.h"
#include "disk/SavedScanSession.h"
#include "disk/ScanChangeTracker.h"
#include "disk/ScannedMap.h"
#include "faults/IndexOracle.h"
#include "faults/PrivateNamespace.h"
#include "platform/FolderWatcher.h"
#include "platform/Path.h"
#include "platform/WatchBeginning.h"
#include "support/FolderMoments.h"
#include "support/MachineRequirements.h"
#include "support/TemporaryTree.h"
#include "support/TestMainLoop.h"

namespace larkfold::test {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// A watch and what it told.
class Watch {
public:
    explicit Watch(const std::string& root) {
        FolderWatcherOptions options;
        options.latency = std::chrono::milliseconds(1);
        options.answerTimeout = std::chrono::seconds(1);
        watcher_.emplace(loop_.queue(), root, options,
                         FolderWatcher::Handlers{
                             .changed =
                                 [this](const FolderChanges& changes) {
                                     hasLost = hasLost || changes.eventsAreLost;
                                     losses_ += changes.eventsAreLost ? 1 : 0;
                                     paths_.insert(paths_.end(), changes.paths.begin(), changes.paths.end());
                                 },
                             .covered = [this](const WatchCoverage& covered) { coverage = covered; },
                             .failed = [this](const SystemError& error) { failure = error; },
                         });
        EXPECT_TRUE(loop_.runUntil([this] { return coverage || failure; }));
    }

    bool await(const std::function<bool()>& isDone) { return loop_.runUntil(isDone); }
    // That path itself, or that something about it was lost.
    bool isTold(const std::string& path) {
        return await([&] { return std::find(paths_.begin(), paths_.end(), path) != paths_.end(); });
    }
    // Changes something in a folder; whether that is told. Where a folder above has changed as well that one
    // stands for both, and then it is tried again.
    bool tells(const std::string& folder) {
        for (int attempt = 0; attempt < 10; ++attempt) {
            paths_.clear();
            std::ofstream(folder + "/file " + std::to_string(++files_)) << "x";
            const bool isAnyTold = await([&] {
                return std::any_of(paths_.begin(), paths_.end(), [&](const std::string& path) {
                    return isAtOrBelow(folder, parentPath(path));
                });
            });
            if (!isAnyTold || isToldIn(folder)) {
                return isAnyTold;
            }
        }
        return false;
    }
    // Since the last call events were lost, and lost once more when the watch stood again.
    bool hasBegunAnew() {
        lossesBefore_ += 2;
        return await([this] { return losses_ >= lossesBefore_; });
    }
    bool isToldIn(const std::string& folder) const {
        return std::any_of(paths_.begin(), paths_.end(),
                           [&](const std::string& path) { return fs::path(path).parent_path() == folder; });
    }
    void forget() { paths_.clear(); }
    void end() { watcher_.reset(); }

    std::optional<WatchCoverage> coverage;
    std::optional<SystemError> failure;
    bool hasLost = false;

private:
    TestMainLoop loop_;
    std::vector<std::string> paths_;
    int files_ = 0;
    int losses_ = 0;
    int lossesBefore_ = 0;
    std::optional<FolderWatcher> watcher_;
};

void makeTree(TemporaryTree& tree) {
    for (const char* folder : {"root/a", "root/m/inner", "root/z", "beside"}) {
        tree.folder(folder);
    }
}

TEST(DeadMountBelowAWatch, isNotEntered_andTheRestIsTold) {
    inPrivateNamespace([] {
        TemporaryTree tree;
        makeTree(tree);
        const DeadMount dead(tree.folder("root/dead"));
        Watch watch(tree.path("root"));
        ASSERT_TRUE(watch.coverage);
        EXPECT_TRUE(watch.coverage->leavesOutMounts);
        EXPECT_FALSE(watch.coverage->hasUnopenedFolders);
        EXPECT_EQ(watch.coverage->folders, 5);
        EXPECT_TRUE(watch.tells(tree.path("root/a")));
        EXPECT_TRUE(watch.tells(tree.path("root/m/inner")));
    });
}

TEST(DeadMountBelowAWatch, whereTheRootItselfLies_failsInTime) {
    inPrivateNamespace([] {
        TemporaryTree tree;
        const DeadMount dead(tree.folder("dead"));
        for (const char* root : {"dead", "dead/below"}) {
            const Watch watch(tree.path(root));
            ASSERT_TRUE(watch.failure) << root;
            EXPECT_EQ(watch.failure->code(), ETIMEDOUT);
            EXPECT_FALSE(watch.coverage);
        }
    });
}

TEST(DeadMountBelowAWatch, whoeverEndsTheWatchWhileItsAnswerIsAwaited_goesOnAtOnce) {
    inPrivateNamespace([] {
        TemporaryTree tree;
        const DeadMount dead(tree.folder("dead"), DeadMount::Greeting::answered);
        TestMainLoop loop;
        FolderWatcherOptions options;
        options.answerTimeout =
            std::chrono::hours(1);  // so who waited for it would run into the suite's limit
        bool isTold = false;
        FolderWatcher::Handlers handlers;
        handlers.failed = [&](const SystemError&) { isTold = true; };
        std::optional<FolderWatcher> watcher(std::in_place, loop.queue(), tree.path("dead"), options,
                                             handlers);
        dead.awaitRequest();
        watcher.reset();
        loop.queue().drain();
        EXPECT_FALSE(isTold);
    });
}

TEST(DeadMountBelowAWatch, thatComesOverAWatchedFolder_isToldAndNotAskedAnyMore) {
    inPrivateNamespace([] {
        TemporaryTree tree;
        makeTree(tree);
        Watch watch(tree.path("root"));
        ASSERT_TRUE(watch.coverage && watch.coverage->isComplete());
        {
            const DeadMount dead(tree.path("root/m"));
            EXPECT_TRUE(watch.isTold(tree.path("root/m")));
            EXPECT_TRUE(watch.await([&] { return watch.coverage->leavesOutMounts; }));
            EXPECT_TRUE(watch.tells(tree.path("root/a")));
            watch.forget();
        }
        EXPECT_TRUE(watch.isTold(tree.path("root/m")));
        EXPECT_TRUE(watch.await([&] { return watch.coverage->isComplete(); }));
        EXPECT_TRUE(watch.tells(tree.path("root/m/inner"))) << "what lay below it is watched again";
    });
}

// What was made there before is settled when nobody answers any more.
TEST(DeadMountBelowAWatch, thatComesOverAFolderJustMade_isNotEntered) {
    inPrivateNamespace([] {
        TemporaryTree tree;
        makeTree(tree);
        Watch watch(tree.path("root"));
        std::vector<std::unique_ptr<DeadMount>> dead;
        for (int round = 0; round < 40; ++round) {
            const std::string name = "root/z/" + std::to_string(round);
            tree.folder(name + "/below");
            dead.push_back(std::make_unique<DeadMount>(tree.path(name)));
        }
        EXPECT_TRUE(watch.await([&] { return watch.coverage->leavesOutMounts; }));
        EXPECT_TRUE(watch.tells(tree.path("root/a")));
        EXPECT_FALSE(watch.failure);
    });
}

// The system tells no change of mounts then, although their places have changed.
TEST(DeadMountBelowAWatch, thatComesAlongWithAFolderThatMoves_isNotEntered) {
    inPrivateNamespace([] {
        TemporaryTree tree;
        makeTree(tree);
        tree.folder("beside/moving/live");
        const DeadMount dead(tree.folder("beside/moving/dead"));
        Watch watch(tree.path("root"));
        ASSERT_TRUE(watch.coverage && watch.coverage->isComplete());
        fs::rename(tree.path("beside/moving"), tree.path("root/moved"));
        EXPECT_TRUE(watch.isTold(tree.path("root/moved")));
        EXPECT_TRUE(watch.await([&] { return watch.coverage->leavesOutMounts; }));
        EXPECT_TRUE(watch.tells(tree.path("root/moved/live")));
        EXPECT_TRUE(watch.tells(tree.path("root/a")));
        fs::rename(tree.path("root/moved"), tree.path("beside/moving"));
    });
}

TEST(DeadMountBelowAWatch, thatComesOverTheRoot_failsInTime) {
    inPrivateNamespace([] {
        TemporaryTree tree;
        makeTree(tree);
        Watch watch(tree.path("root"));
        ASSERT_TRUE(watch.coverage);
        const DeadMount dead(tree.path("root"));
        EXPECT_TRUE(watch.await([&] { return watch.failure.has_value(); }));
        EXPECT_TRUE(watch.hasLost);
    });
}

TEST(MountBelowAWatch, thatComesAndGoes_isFollowed) {
    inPrivateNamespace([] {
        TemporaryTree tree;
        makeTree(tree);
        tree.folder("beside/other/inner");
        Watch watch(tree.path("root"));
        ASSERT_TRUE(watch.coverage && watch.coverage->isComplete());
        for (const bool isBind : {false, true}) {
            {
                const Mounted mounted(isBind ? tree.path("beside/other") : "none", tree.path("root/m"),
                                      isBind ? "none" : "tmpfs", isBind ? MS_BIND : 0, "");
                EXPECT_TRUE(watch.isTold(tree.path("root/m")));
                EXPECT_TRUE(watch.tells(tree.path("root/a")));
                watch.forget();
                tree.folder("root/m/inner");
                tree.folder("root/m/made/deep");
                EXPECT_TRUE(watch.await([&] {
                    return watch.isToldIn(tree.path("root/m")) || watch.isToldIn(tree.path("root/m/made"));
                }));
                EXPECT_TRUE(watch.tells(tree.path("root/m/made/deep")));
                EXPECT_TRUE(watch.tells(tree.path("root/m/inner")));
                watch.forget();
            }
            EXPECT_TRUE(watch.isTold(tree.path("root/m")));
            EXPECT_TRUE(watch.tells(tree.path("root/m/inner"))) << "what lay below it is watched again";
            watch.forget();
        }
        EXPECT_TRUE(watch.coverage->isComplete());
        EXPECT_FALSE(watch.hasLost);
    });
}

// The link itself stays where it is, unseen, and its name leads elsewhere.
TEST(MountOverTheLinkToARoot, isToldAsLost) {
    inPrivateNamespace([] {
        TemporaryTree tree;
        makeTree(tree);
        tree.link("links/deep/link", tree.path("root"));
        tree.link("others/deep/link", tree.path("beside"));
        tree.folder("beside/b");
        const std::string root = tree.path("links/deep/link");
        Watch watch(root);
        ASSERT_TRUE(watch.coverage && watch.coverage->isComplete());
        {
            const Mounted mounted(tree.path("others"), tree.path("links"), "none", MS_BIND, "");
            EXPECT_TRUE(watch.hasBegunAnew());
            EXPECT_TRUE(watch.tells(root + "/b"));
        }
        EXPECT_TRUE(watch.hasBegunAnew());
        EXPECT_TRUE(watch.tells(root + "/a"));
    });
}

TEST(MountBelowAWatch, thatStandsAlready_isWatched) {
    inPrivateNamespace([] {
        TemporaryTree tree;
        makeTree(tree);
        const Mounted mounted("none", tree.path("root/m"), "tmpfs", 0, "");
        tree.folder("root/m/made/deep");
        Watch watch(tree.path("root"));
        ASSERT_TRUE(watch.coverage);
        EXPECT_TRUE(watch.coverage->isComplete());
        EXPECT_EQ(watch.coverage->folders, 6);
        EXPECT_TRUE(watch.tells(tree.path("root/m/made/deep")));
        watch.forget();
        tree.folder("root/m/made/deep/new");
        EXPECT_TRUE(watch.isTold(tree.path("root/m/made/deep/new")));
        EXPECT_TRUE(watch.tells(tree.path("root/m/made/deep/new")));
    });
}

// --- What happened before the watch stood

// What a watch that counts from `since` tells before it stands: whether events were lost, and changed paths.
struct ToldBefore {
    bool hasLost = false;
    std::vector<std::string> paths;
};

ToldBefore toldBeforeItStands(const std::string& root, const WatchBeginning& since,
                              FolderWatcherOptions options = {}) {
    TestMainLoop loop;
    ToldBefore told;
    bool stands = false;
    options.since = since;
    const FolderWatcher watcher(
        loop.queue(), root, options,
        {.changed =
             [&](const FolderChanges& changes) {
                 EXPECT_FALSE(stands);
                 told.hasLost = told.hasLost || changes.eventsAreLost;
                 told.paths.insert(told.paths.end(), changes.paths.begin(), changes.paths.end());
             },
         .covered = [&](const WatchCoverage&) { stands = true; },
         .failed = [&](const SystemError& error) { ADD_FAILURE() << error.description(); }});
    EXPECT_TRUE(loop.runUntil([&] { return stands; }));
    return told;
}

void makeOldTree(TemporaryTree& tree) {
    makeTree(tree);
    tree.folder("beside/other/inner");
    tree.folder("root/.hidden/m");
    tree.folder("root/excluded/m");
    tree.folder("root/excluded-not");
    awaitNextFolderMoment();
}

// A bind mount shows folders with dates of long ago, and what it covers and uncovers keeps its own.
class Bound : public Mounted {
public:
    Bound(const TemporaryTree& tree, const std::string& place)
        : Mounted(tree.path("beside/other"), tree.path(place), "none", MS_BIND, "") {}
};

TEST(MountBeforeAWatch, thatCameSinceTheMoment_isToldAsLost) {
    inPrivateNamespace([] {
        TemporaryTree tree;
        makeOldTree(tree);
        WatchBeginning since = watchBeginningNow();
        for (const char* place : {"root/m", "root", "root/excluded-not"}) {
            const Bound mounted(tree, place);
            EXPECT_TRUE(toldBeforeItStands(tree.path("root"), since).hasLost) << place;
            // That the dates alone tell nothing of it:
            WatchBeginning datesOnly = watchBeginningNow();
            datesOnly.time = since.time;
            const ToldBefore told = toldBeforeItStands(tree.path("root"), datesOnly);
            EXPECT_FALSE(told.hasLost) << place;
            EXPECT_THAT(told.paths, IsEmpty()) << place;
        }
        EXPECT_FALSE(toldBeforeItStands(tree.path("root"), since).hasLost) << "all is as it was then";
        since.mounts.clear();
        EXPECT_TRUE(toldBeforeItStands(tree.path("root"), since).hasLost) << "who knows what was mounted";
    });
}

TEST(MountBeforeAWatch, thatWentSinceTheMoment_isToldAsLost) {
    inPrivateNamespace([] {
        TemporaryTree tree;
        makeOldTree(tree);
        std::optional<WatchBeginning> since;
        {
            const Bound mounted(tree, "root/m");
            since = watchBeginningNow();
            EXPECT_FALSE(toldBeforeItStands(tree.path("root"), *since).hasLost) << "it stands still";
        }
        EXPECT_TRUE(toldBeforeItStands(tree.path("root"), *since).hasLost);
        {
            // Another one at the same place, where the numbers of mounts are given again.
            const Mounted other(tree.folder("root/z/other"), tree.path("root/m"), "none", MS_BIND, "");
            EXPECT_TRUE(toldBeforeItStands(tree.path("root"), *since).hasLost);
        }
    });
}

TEST(MountBeforeAWatch, elsewhereOrWhereNothingIsWatched_isToldByNobody) {
    inPrivateNamespace([] {
        TemporaryTree tree;
        makeOldTree(tree);
        FolderWatcherOptions options;
        options.skipHiddenFiles = true;
        options.excludedPathPrefixes = {tree.path("root/excluded")};
        const WatchBeginning since = watchBeginningNow();
        const Bound hidden(tree, "root/.hidden/m");
        const Bound excluded(tree, "root/excluded/m");
        const Bound elsewhere(tree, "beside/other/inner");
        EXPECT_FALSE(toldBeforeItStands(tree.path("root"), since, options).hasLost);
        EXPECT_TRUE(toldBeforeItStands(tree.path("root"), since).hasLost) << "the negative control";
    });
}

// From the scan's first step on, over the session that hands the moment to the watch.
TEST(MountBeforeAWatch, thatCameAfterAScan_makesItsRootCountAsChanged) {
    inPrivateNamespace([] {
        TemporaryTree tree;
        makeOldTree(tree);
        TemporaryTree store;
        for (const bool isMounted : {false, true}) {
            TestMainLoop loop;
            std::string index = store.path("latest-scan.sqlite");
            const ScannedMap map = ScannedMap::of({.root = tree.path("root"),
                                                   .scope = ScanScope::selectedFolder,
                                                   .options = everything(),
                                                   .indexURL = index},
                                                  {}, [](const ScanProgress&) {});
            SavedScanSession session({.mainQueue = loop.queue(), .indexURL = [&index] { return index; }});
            const auto mounted = isMounted ? std::make_unique<Bound>(tree, "root/m") : nullptr;
            session.trackScanned(tree.path("root"), everything(), map.began);
            ASSERT_TRUE(loop.runUntil([&] { return session.coverage().isReady; }));
            EXPECT_TRUE(session.coverage().isComplete());
            EXPECT_THAT(session.takeChangedFolders(),
                        isMounted ? testing::Matcher<std::vector<std::string>>(ElementsAre(tree.path("root")))
                                  : IsEmpty());
        }
    });
}

// --- What the system grants

// In a user namespace of its own, in which this process may set how many there are.
void setWatchLimit(int count) {
    std::ofstream limit("/proc/sys/user/max_inotify_watches");
    limit << count << std::flush;
    ASSERT_TRUE(limit.good());
}

void limitWatches(int count) {
    ASSERT_EQ(unshare(CLONE_NEWUSER), 0) << errno;
    setWatchLimit(count);
}

TEST(WatchLimit, thatIsReached_isToldAndTheRestIsWatched) {
    require(Need::watchLimits);
    inPrivateNamespace([] {
        TemporaryTree tree;
        for (int i = 100; i < 200; ++i) {
            tree.folder("root/" + std::to_string(i));
        }
        limitWatches(50);
        Watch watch(tree.path("root"));
        ASSERT_TRUE(watch.coverage);
        EXPECT_TRUE(watch.coverage->isLimitReached);
        EXPECT_GT(watch.coverage->folders, 30);
        EXPECT_LE(watch.coverage->folders, 50);
        EXPECT_TRUE(watch.tells(tree.path("root/100")));
    });
}

TEST(WatchLimit, thatIsReachedLater_isTold) {
    require(Need::watchLimits);
    inPrivateNamespace([] {
        TemporaryTree tree;
        makeTree(tree);
        limitWatches(30);
        Watch watch(tree.path("root"));
        ASSERT_TRUE(watch.coverage && watch.coverage->isComplete());
        for (int i = 0; i < 40; ++i) {
            tree.folder("root/z/" + std::to_string(i));
        }
        EXPECT_TRUE(watch.await([&] { return watch.coverage->isLimitReached; }));
        EXPECT_TRUE(watch.tells(tree.path("root/a")));
    });
}

TEST(WatchLimit, ofNothing_fails) {
    require(Need::watchLimits);
    inPrivateNamespace([] {
        TemporaryTree tree;
        makeTree(tree);
        limitWatches(0);
        const Watch watch(tree.path("root"));
        ASSERT_TRUE(watch.failure);
        EXPECT_EQ(watch.failure->code(), ENOSPC);
    });
}

TEST(WatchLimit, ofAWatchThatHasJustEnded_isFreeForTheNextOne) {
    require(Need::watchLimits);
    inPrivateNamespace([] {
        TemporaryTree tree;
        for (int i = 0; i < 1'000; ++i) {
            tree.folder("root/" + std::to_string(i));
        }
        limitWatches(1'200);
        TestMainLoop loop;
        std::string index = tree.path("latest-scan.sqlite");
        ScanChangeTracker tracker(ScanChangeTracker::folderWatchers(loop.queue()), [&] { return index; }, {});
        for (int round = 0; round < 10; ++round) {
            tracker.start(tree.path("root"), {}, false, {});
            ASSERT_TRUE(loop.runUntil([&] { return tracker.coverage().isReady; }));
            ASSERT_TRUE(tracker.coverage().isComplete()) << "round " << round;
        }
    });
}

// Over the session, which hands the refresh's own beginning to the new watch.
TEST(WatchLimit, thatIsRaised_isFoundByTheNextRefresh) {
    require(Need::watchLimits);
    inPrivateNamespace([] {
        TemporaryTree tree;
        for (int i = 100; i < 200; ++i) {
            tree.folder("root/" + std::to_string(i));
        }
        limitWatches(50);
        const std::string root = tree.path("root");
        std::string index = tree.folder("index") + "/latest-scan.sqlite";
        makeIndex(root, index);
        TestMainLoop loop;
        std::vector<FolderWatcherOptions> watched;
        SavedScanSession session({.mainQueue = loop.queue(),
                                  .indexURL = [&index] { return index; },
                                  .makeStream =
                                      [&watched, make = ScanChangeTracker::folderWatchers(loop.queue())](
                                          const std::string& path, FolderWatcherOptions options,
                                          FolderWatcher::Handlers handlers) {
                                          options.latency = std::chrono::milliseconds(1);
                                          watched.push_back(options);
                                          return make(path, options, std::move(handlers));
                                      }});
        SerialContext scans(loop.queue(), "scan");
        const auto refresh = [&] {
            bool hasEnded = false;
            session.refresh(
                scans, root, session.takeChangedFolders(), [](bool) { return everything(); },
                [&](Outcome<ScanResult> outcome) {
                    EXPECT_TRUE(outcome.succeeded());
                    hasEnded = true;
                });
            EXPECT_TRUE(loop.runUntil([&] { return hasEnded; }));
        };
        session.trackRestored(root, everything(), Date());
        ASSERT_TRUE(loop.runUntil([&] { return session.coverage().isReady; }));
        ASSERT_TRUE(session.coverage().watched.isLimitReached);

        // In vain: it is tried and limited again.
        refresh();
        EXPECT_TRUE(loop.runUntil([&] { return session.changedFolderCount() == 1; }));
        EXPECT_TRUE(session.coverage().watched.isLimitReached);
        ASSERT_EQ(watched.size(), 2u);

        setWatchLimit(1'000);
        const WatchBeginning before = watchBeginningNow();
        refresh();
        EXPECT_TRUE(loop.runUntil([&] { return session.coverage().isComplete(); }));
        ASSERT_EQ(watched.size(), 3u);
        ASSERT_TRUE(watched.back().since);
        EXPECT_GE(watched.back().since->time, before.time);
        EXPECT_LE(watched.back().since->time, folderMomentNow());
        EXPECT_EQ(watched.back().since->mounts, before.mounts);
        EXPECT_EQ(session.changedFolderCount(), 0);
        tree.file("root/199/file");
        EXPECT_TRUE(loop.runUntil([&] { return session.changedFolderCount() == 1; }));
        EXPECT_THAT(session.takeChangedFolders(), ElementsAre(tree.path("root/199")));
    });
}

// --- The whole way: watch, changed folders, refresh

std::string outcomeOfRefresh(TestMainLoop& loop, const std::string& index, const std::string& root,
                             const std::string& folder) {
    SerialContext scans(loop.queue(), "scan");
    SerialContext indexes(loop.queue(), "index");
    std::string outcome;
    const IndexRefresh refresh(
        scans, indexes, {.indexURL = index, .root = root, .folders = {folder}},
        [](bool) { return everything(); },
        [&outcome](Outcome<ScanResult> came) {
            try {
                came.get();
                outcome = "done";
            } catch (const Error& error) {
                outcome = error.description();
            }
        });
    EXPECT_TRUE(loop.runUntil([&outcome] { return !outcome.empty(); }));
    return outcome;
}

TEST(RefreshOverADeadMount, ofAFolderThatLiesOnIt_isToldInTimeAndTheIndexStays) {
    inPrivateNamespace([] {
        const QuickFolder quick;
        TemporaryTree tree;
        tree.fileOfSize("root/m/two", 7'000);
        const std::string index = tree.folder("index") + "/latest-scan.sqlite";
        makeIndex(tree.path("root"), index);
        const std::string before = describeIndex(index);
        TestMainLoop loop;
        const DeadMount dead(tree.path("root"));
        for (const char* folder : {"root", "root/m"}) {
            EXPECT_THAT(outcomeOfRefresh(loop, index, tree.path("root"), tree.path(folder)),
                        HasSubstr("Its previous index was preserved."));
            EXPECT_EQ(describeIndex(index), before);
        }
    });
}

TEST(RefreshOverADeadMount, ofAFolderThatHoldsIt_isToldAndTheIndexStays) {
    inPrivateNamespace([] {
        const QuickFolder quick;
        TemporaryTree tree;
        tree.fileOfSize("root/a/one", 5'000);
        tree.fileOfSize("root/m/two", 7'000);
        tree.folder("root/m/dead");
        std::string index = tree.folder("index") + "/latest-scan.sqlite";
        makeIndex(tree.path("root"), index);
        const std::string before = describeIndex(index);

        TestMainLoop loop;
        int dirty = 0;
        ScanChangeTracker tracker(ScanChangeTracker::folderWatchers(loop.queue()), [&] { return index; }, {});
        FolderWatcherOptions options;
        options.latency = std::chrono::milliseconds(1);
        options.answerTimeout = std::chrono::seconds(1);
        tracker.start(tree.path("root"), options, false, [&dirty](int count) { dirty = count; });
        ASSERT_TRUE(loop.runUntil([&] { return tracker.coverage().isReady; }));
        ASSERT_TRUE(tracker.coverage().isComplete());

        const DeadMount dead(tree.path("root/m/dead"));
        ASSERT_TRUE(loop.runUntil([&] { return !tracker.coverage().isComplete(); }));
        EXPECT_TRUE(tracker.coverage().watched.leavesOutMounts);
        EXPECT_THAT(tracker.takeDirtyFolders(), ElementsAre(tree.path("root")))
            << "who knows what changes there";

        const std::string outcome = outcomeOfRefresh(loop, index, tree.path("root"), tree.path("root/m"));
        EXPECT_THAT(outcome, HasSubstr("The changed folder could not be fully read. Its previous index was "
                                       "preserved."));
        EXPECT_EQ(describeIndex(index), before);
        EXPECT_THAT(filesWithPrefix(tree.path("index"), "refresh-"), IsEmpty());
        EXPECT_THAT(filesWithPrefix(tree.path("index"), "scan-"), IsEmpty());
    });
}

}  // namespace
}  // namespace larkfold::test
