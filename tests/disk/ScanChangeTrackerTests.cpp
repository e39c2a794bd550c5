#include "disk/ScanChangeTracker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <random>
#include <string>
#include <vector>

#include "removal/PathRules.h"

namespace larkfold {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

// A tracker over a stream that says what the test says.
class ScanChangeTrackerTest : public testing::Test {
protected:
    struct Made {
        std::string root;
        FolderWatcherOptions options;
        FolderWatcher::Handlers handlers;
        std::weak_ptr<void> stream;
    };

    ScanChangeTracker::StreamMaker maker() {
        return [this](const std::string& root, const FolderWatcherOptions& options,
                      FolderWatcher::Handlers handlers) -> ScanChangeTracker::Stream {
            auto stream = std::make_shared<int>(0);
            made.push_back({root, options, std::move(handlers), stream});
            return stream;
        };
    }
    void start(bool markRootDirty = false, const std::string& root = "/r") {
        tracker.start(root, {}, markRootDirty, [this](int count) { counts.push_back(count); });
    }
    void change(std::vector<std::string> paths) {
        made.back().handlers.changed({.eventsAreLost = false, .paths = std::move(paths)});
    }
    void fail() { made.back().handlers.failed(SystemError(SystemError::Operation::open, ENOSPC, "/r")); }
    // A refresh of these folders, from the taking of what changed to its good end.
    void refresh(const std::vector<std::string>& folders = {"/r"}) {
        tracker.takeDirtyFolders();
        tracker.noteRefreshed(folders, began);
    }
    void cover(WatchCoverage coverage = {.folders = 1,
                                         .isLimitReached = false,
                                         .leavesOutMounts = false,
                                         .hasUnopenedFolders = false}) {
        made.back().handlers.covered(coverage);
    }

    static constexpr WatchCoverage limited{
        .folders = 10, .isLimitReached = true, .leavesOutMounts = false, .hasUnopenedFolders = false};

    const WatchBeginning began{.time = FolderMoment(std::chrono::seconds(1'000)), .mounts = "then"};
    std::vector<Made> made;
    std::vector<int> counts;
    int coverageChanges = 0;
    ScanChangeTracker tracker{maker(), [] { return std::string("/r/own/latest-scan.sqlite"); },
                              [this] { ++coverageChanges; }};
};

TEST_F(ScanChangeTrackerTest, aStartGivesTheCount_andTheRootWhereItIsAsked) {
    start();
    EXPECT_THAT(counts, ElementsAre(0));
    EXPECT_THAT(tracker.dirtyFolders(), IsEmpty());
    EXPECT_EQ(made.back().root, "/r");
    start(true, "/r/./x/..//s/");
    EXPECT_EQ(counts.back(), 1);
    EXPECT_THAT(tracker.dirtyFolders(), ElementsAre("/r/s"));
}

TEST_F(ScanChangeTrackerTest, aChangedItemDirtiesTheFolderThatHoldsIt) {
    start();
    change({"/r/a/file"});
    EXPECT_THAT(tracker.dirtyFolders(), ElementsAre("/r/a"));
    EXPECT_EQ(counts.back(), 1);
    change({"/r/b/file", "/r/c/d/file"});
    EXPECT_THAT(tracker.dirtyFolders(), UnorderedElementsAre("/r/a", "/r/b", "/r/c/d"));
    EXPECT_EQ(counts.back(), 3);
}

TEST_F(ScanChangeTrackerTest, aChangeDeepDownAndALaterOneAboveIt_areOneFolder) {
    start();
    change({"/r/a/b/file"});
    change({"/r/a/file"});
    EXPECT_THAT(tracker.dirtyFolders(), ElementsAre("/r/a"));
    EXPECT_EQ(counts.back(), 1);
    change({"/r/a/b/other"});
    EXPECT_THAT(tracker.dirtyFolders(), ElementsAre("/r/a"));
    change({"/r/file"});
    EXPECT_THAT(tracker.dirtyFolders(), ElementsAre("/r"));
    EXPECT_EQ(counts.back(), 1);
}

TEST_F(ScanChangeTrackerTest, aNameThatBeginsAsAnother_isAFolderOfItsOwn) {
    start();
    change({"/r/a/file", "/r/ab/file"});
    EXPECT_EQ(counts.back(), 2);
}

TEST_F(ScanChangeTrackerTest, theIndexesOwnFolderAndWhatLiesOutside_changeNothing) {
    start();
    const auto before = counts;
    change({"/r/own", "/r/own/latest-scan.sqlite", "/r/own/deep/file", "/r", "/rr/file", "/file"});
    EXPECT_THAT(tracker.dirtyFolders(), IsEmpty());
    EXPECT_EQ(counts, before);
    change({"/r/own2/file"});
    EXPECT_THAT(tracker.dirtyFolders(), ElementsAre("/r/own2"));
}

TEST_F(ScanChangeTrackerTest, lostEventsMarkTheRoot_andTheirPathsAreIgnored) {
    start();
    tracker.handleEvents(true, {"/r/a/file"});
    EXPECT_THAT(tracker.dirtyFolders(), ElementsAre("/r"));
}

TEST_F(ScanChangeTrackerTest, ofTheRootOfTheFileSystem_everyFolderIsInside) {
    start(false, "/");
    change({"/x"});
    EXPECT_THAT(tracker.dirtyFolders(), ElementsAre("/"));
}

TEST_F(ScanChangeTrackerTest, whatIsTakenIsNotThereAnyMore) {
    start();
    cover();
    change({"/r/a/file", "/r/b/file"});
    EXPECT_THAT(tracker.takeDirtyFolders(), UnorderedElementsAre("/r/a", "/r/b"));
    EXPECT_EQ(counts.back(), 0);
    EXPECT_THAT(tracker.takeDirtyFolders(), IsEmpty());
}

TEST_F(ScanChangeTrackerTest, aStreamThatCannotBeMade_marksTheRoot) {
    start();
    made.back().handlers.failed(SystemError(SystemError::Operation::open, EMFILE, "/r"));
    EXPECT_THAT(tracker.dirtyFolders(), ElementsAre("/r"));
    EXPECT_TRUE(tracker.coverage().hasFailed);
    EXPECT_FALSE(tracker.coverage().isComplete());
    EXPECT_EQ(coverageChanges, 1);
}

TEST_F(ScanChangeTrackerTest, aSetUpThatFailsAfterAnotherStartOrAStop_marksNothing) {
    start();
    const auto late = made.back().handlers;
    start(false, "/other");
    late.failed(SystemError(SystemError::Operation::open, EMFILE, "/r"));
    late.changed({.eventsAreLost = true, .paths = {}});
    EXPECT_THAT(tracker.dirtyFolders(), IsEmpty());
    const auto later = made.back().handlers;
    tracker.stop();
    later.failed(SystemError(SystemError::Operation::open, EMFILE, "/other"));
    later.covered({});
    EXPECT_THAT(tracker.dirtyFolders(), IsEmpty());
    EXPECT_FALSE(tracker.coverage().isReady);
}

TEST_F(ScanChangeTrackerTest, aStopEndsTheStreamAndForgets) {
    start(true);
    const auto stream = made.back().stream;
    EXPECT_FALSE(stream.expired());
    tracker.stop();
    EXPECT_TRUE(stream.expired());
    EXPECT_EQ(counts.back(), 0);
    tracker.markDirty("/r/a");
    EXPECT_THAT(tracker.dirtyFolders(), IsEmpty());
}

TEST_F(ScanChangeTrackerTest, anotherStartEndsTheStreamBefore) {
    start();
    const auto stream = made.back().stream;
    start();
    EXPECT_TRUE(stream.expired());
    EXPECT_FALSE(made.back().stream.expired());
}

TEST_F(ScanChangeTrackerTest, whileAMountIsLeftOut_theRootCountsAsChangedAfterEachRefresh) {
    start();
    cover({.folders = 10, .isLimitReached = false, .leavesOutMounts = true, .hasUnopenedFolders = false});
    EXPECT_THAT(tracker.dirtyFolders(), ElementsAre("/r"));
    refresh();
    EXPECT_THAT(tracker.dirtyFolders(), ElementsAre("/r"));
    EXPECT_EQ(made.size(), 1u) << "the watch itself finds out when the mount goes";
    cover();  // whole again
    refresh();
    EXPECT_THAT(tracker.dirtyFolders(), IsEmpty());
    EXPECT_EQ(made.size(), 1u);
}

TEST_F(ScanChangeTrackerTest, aFailedWatch_isTriedAgainAfterARefreshOfTheRoot) {
    FolderWatcherOptions leavesOut;
    leavesOut.skipHiddenFiles = true;
    leavesOut.excludedPathPrefixes = {"/r/x"};
    leavesOut.since = WatchBeginning{.time = FolderMoment(std::chrono::seconds(1)), .mounts = "long ago"};
    tracker.start("/r", leavesOut, false, [this](int count) { counts.push_back(count); });
    fail();
    EXPECT_THAT(tracker.dirtyFolders(), ElementsAre("/r"));
    const auto before = made.back();
    const int coverageChangesBefore = coverageChanges;
    refresh();
    ASSERT_EQ(made.size(), 2u);
    EXPECT_TRUE(before.stream.expired());
    EXPECT_EQ(made.back().root, "/r");
    EXPECT_EQ(made.back().options.since, began);
    EXPECT_TRUE(made.back().options.skipHiddenFiles);
    EXPECT_THAT(made.back().options.excludedPathPrefixes, ElementsAre("/r/x"));
    // Nothing is new before it stands.
    EXPECT_TRUE(tracker.coverage().hasFailed);
    EXPECT_EQ(coverageChanges, coverageChangesBefore);
    EXPECT_THAT(tracker.dirtyFolders(), IsEmpty());
    before.handlers.changed({.eventsAreLost = true, .paths = {}});
    EXPECT_THAT(tracker.dirtyFolders(), IsEmpty()) << "the one before has nothing to say any more";

    change({"/r/a/."});  // what happened during the refresh
    cover();
    EXPECT_TRUE(tracker.coverage().isComplete());
    EXPECT_EQ(coverageChanges, coverageChangesBefore + 1);
    EXPECT_THAT(tracker.dirtyFolders(), ElementsAre("/r/a"));
    refresh({"/r/a"});
    EXPECT_THAT(tracker.dirtyFolders(), IsEmpty());
    EXPECT_EQ(made.size(), 2u);
}

TEST_F(ScanChangeTrackerTest, aLimitedWatch_isTriedAgainAfterEachRefreshOfTheRoot) {
    start();
    cover(limited);
    for (std::size_t tries = 2; tries < 5; ++tries) {
        refresh();
        ASSERT_EQ(made.size(), tries);
        EXPECT_THAT(tracker.dirtyFolders(), IsEmpty()) << "not before it is known";
        EXPECT_TRUE(tracker.coverage().watched.isLimitReached);
        cover(limited);
        EXPECT_THAT(tracker.dirtyFolders(), ElementsAre("/r"));
    }
    refresh();
    cover({.folders = 10, .isLimitReached = false, .leavesOutMounts = false, .hasUnopenedFolders = true});
    EXPECT_THAT(tracker.dirtyFolders(), ElementsAre("/r"));
    refresh();
    cover();
    EXPECT_THAT(tracker.dirtyFolders(), IsEmpty());
    EXPECT_TRUE(tracker.coverage().isComplete());
}

TEST_F(ScanChangeTrackerTest, aFailedWatchThatFailsAgain_marksTheRoot) {
    start();
    fail();
    refresh();
    fail();
    EXPECT_THAT(tracker.dirtyFolders(), ElementsAre("/r"));
    EXPECT_TRUE(tracker.coverage().hasFailed);
    refresh();
    EXPECT_EQ(made.size(), 3u);
}

TEST_F(ScanChangeTrackerTest, afterARefreshOfAnotherFolder_isNotTriedAgain_andTheRootCountsAsChanged) {
    start();
    cover(limited);
    refresh({"/r/a", "/r/b"});
    EXPECT_EQ(made.size(), 1u);
    EXPECT_THAT(tracker.dirtyFolders(), ElementsAre("/r"));
}

TEST_F(ScanChangeTrackerTest, whatIsTakenWhileAWatchIsTriedAgain_countsAsChangedOnceMore) {
    start();
    cover(limited);
    refresh();
    change({"/r/a/file"});
    EXPECT_THAT(tracker.takeDirtyFolders(), ElementsAre("/r/a"));
    tracker.noteRefreshed({"/r/a"}, began);
    EXPECT_EQ(made.size(), 2u) << "it is being tried";
    EXPECT_THAT(tracker.dirtyFolders(), IsEmpty());
    cover();
    EXPECT_THAT(tracker.dirtyFolders(), ElementsAre("/r/a"));
}

TEST_F(ScanChangeTrackerTest, aWatchThatIsTriedAgain_endsWithAStop) {
    start();
    fail();
    refresh();
    const auto late = made.back();
    tracker.stop();
    EXPECT_TRUE(late.stream.expired());
    late.handlers.covered(limited);
    EXPECT_THAT(tracker.dirtyFolders(), IsEmpty());
    EXPECT_FALSE(tracker.coverage().isReady);
    start();
    tracker.takeDirtyFolders();
    tracker.noteRefreshed({"/r"}, began);
    EXPECT_EQ(made.size(), 3u) << "of a watch that does not stand yet nothing is known";
}

TEST_F(ScanChangeTrackerTest, whatWasTakenBeforeTheWatchStood_countsAsChangedOnceMore) {
    start(true);
    EXPECT_THAT(tracker.takeDirtyFolders(), ElementsAre("/r"));
    tracker.noteRefreshed({"/r"}, began);
    EXPECT_THAT(tracker.dirtyFolders(), IsEmpty());
    cover();
    EXPECT_THAT(tracker.dirtyFolders(), ElementsAre("/r"));
    EXPECT_TRUE(tracker.coverage().isComplete());
    // Once, not for ever.
    tracker.takeDirtyFolders();
    tracker.noteRefreshed({"/r"}, began);
    EXPECT_THAT(tracker.dirtyFolders(), IsEmpty());
}

TEST_F(ScanChangeTrackerTest, theSetIsWhatTheGatesFoldingMakesOfIt) {
    std::mt19937 random(1);
    const auto number = [&](int below) { return std::uniform_int_distribution<>(0, below - 1)(random); };
    for (int round = 0; round < 50; ++round) {
        start();
        std::vector<std::string> all;
        for (int report = 0; report < 8; ++report) {
            std::vector<std::string> paths;
            for (int path = number(4); path >= 0; --path) {
                std::string folder = "/r";
                for (int depth = number(4); depth > 0; --depth) {
                    folder += "/" + std::string(1, static_cast<char>('a' + number(3)));
                }
                all.push_back(folder);
                paths.push_back(folder + "/file");
            }
            change(paths);
        }
        auto expected = removal_rules::collapseNested(all);
        auto actual = tracker.dirtyFolders();
        std::sort(expected.begin(), expected.end());
        std::sort(actual.begin(), actual.end());
        EXPECT_EQ(actual, expected);
    }
}

}  // namespace
}  // namespace larkfold
