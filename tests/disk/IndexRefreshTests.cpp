// Bringing the saved index up to date, through the driver: what is scanned again, what is put in its place,
// and what a failure leaves.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <QSignalSpy>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "disk/DiskDriverFixture.h"
#include "disk/DiskScanner.h"
#include "disk/IndexRows.h"
#include "platform/Path.h"
#include "support/NoThreads.h"
#include "support/Sanitized.h"
#include "support/UnprivilegedUser.h"

namespace larkfold {
namespace {

namespace fs = std::filesystem;
using testing::IsEmpty;

struct RefreshedDriver : test::DiskDriver {
    RefreshedDriver() { makeDriver(worldThatTells()); }

    // A driver whose changes the test tells.
    DiskScannerViewModel::Dependencies worldThatTells() {
        auto with = dependencies();
        with.makeStream = [this](const std::string&, const FolderWatcherOptions&,
                                 FolderWatcher::Handlers handlers) {
            tell = std::move(handlers);
            auto stream = std::make_shared<int>(0);
            return stream;
        };
        return with;
    }
    void change(std::vector<std::string> paths) {
        tell.covered(WatchCoverage{});
        tell.changed({.eventsAreLost = false, .paths = std::move(paths)});
    }
    void refresh(bool currentFolderOnly = false) {
        driver->refreshIndex(currentFolderOnly);
        ASSERT_TRUE(driver->isRefreshingIndex());
        EXPECT_TRUE(driver->isScanning());
        EXPECT_EQ(driver->progress(), ScanProgress{});
        awaitEnd();
        EXPECT_FALSE(driver->isRefreshingIndex());
    }
    // The rows that a fresh scan of the same folder writes.
    std::vector<std::string> freshRows(bool skipHiddenFiles = true) {
        const std::string fresh = store.path("fresh/index.sqlite");
        DiskScanner(fresh).scan(driver->scanResult()->rootPath,
                                {.skipHiddenFiles = skipHiddenFiles,
                                 .excludedPathPrefixes = {},
                                 .skipSymbolicLinks = true,
                                 .maximumRetainedFiles = 50'000},
                                {});
        return test::rowsOf(fresh);
    }
    std::vector<std::string> temporaries() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(store.path("Larkfold"))) {
            const std::string name = entry.path().filename();
            if (name.starts_with("refresh-") || name.starts_with("scan-")) {
                names.push_back(name);
            }
        }
        return names;
    }

    FolderWatcher::Handlers tell;
};

class IndexRefreshTest : public testing::Test, protected RefreshedDriver {};

TEST_F(IndexRefreshTest, withoutChangedFoldersNothingHappens) {
    tree.file("file");
    driver->refreshIndex(false);
    driver->refreshIndex(true);
    EXPECT_FALSE(driver->isScanning());
    scan(tree.root());
    const auto notice = driver->savedScanNotice();
    driver->refreshIndex(false);
    EXPECT_FALSE(driver->isRefreshingIndex());
    EXPECT_FALSE(driver->isScanning());
    EXPECT_EQ(driver->savedScanNotice(), notice);
}

TEST_F(IndexRefreshTest, onlyTheChangedFolderIsScannedAgain) {
    tree.fileOfSize("a/file", 5'000);
    tree.fileOfSize("b/file", 5'000);
    scan(tree.root());
    const auto before = driver->scanResult()->totalSize;
    tree.fileOfSize("a/new", 8'192);
    tree.fileOfSize("b/unseen", 4'096);
    change({tree.path("a/new")});
    EXPECT_EQ(driver->changedFolderCount(), 1);
    const auto oldRoot = root();
    driver->refreshIndex(false);
    EXPECT_EQ(driver->changedFolderCount(), 0);
    EXPECT_EQ(root(), oldRoot);  // the old map stays meanwhile
    awaitEnd();
    EXPECT_NE(root(), oldRoot);
    EXPECT_FALSE(driver->error());
    EXPECT_EQ(driver->scanResult()->totalSize, before + 8'192);
    EXPECT_EQ(driver->savedScanNotice(),
              "Updated 1 changed folder(s); other folders retain their previous scan.");
    EXPECT_TRUE(test::isConsistent(index()));
    EXPECT_THAT(temporaries(), IsEmpty());
    change({tree.path("b/unseen")});
    refresh();
    EXPECT_EQ(test::rowsOf(index()), freshRows());
}

TEST_F(IndexRefreshTest, theCountIsThatOfTheFoldersBeforeTheyAreFoldedTogether) {
    tree.file("a/b/file");
    tree.file("c/file");
    scan(tree.root());
    change({tree.path("a/b/file"), tree.path("c/file")});
    refresh();
    EXPECT_EQ(driver->savedScanNotice(),
              "Updated 2 changed folder(s); other folders retain their previous scan.");
}

TEST_F(IndexRefreshTest, theWayInTheMarksAndTheSelectionAreGoneWithTheOldTree) {
    tree.file("a/b/file");
    scan(tree.root());
    driver->navigateInto(node("a"));
    const auto inner = childOf(node("a"), "b");
    driver->setSelectedNode(inner);
    driver->setHoveredNode(inner);
    driver->toggleSelection(inner);
    ASSERT_FALSE(driver->selectedForDeletion().empty());
    change({tree.path("a/b/file")});
    refresh();
    EXPECT_TRUE(driver->navigationStack().empty());
    EXPECT_EQ(driver->selectedNode(), nullptr);
    EXPECT_EQ(driver->hoveredNode(), nullptr);
    EXPECT_TRUE(driver->selectedForDeletion().empty());
}

TEST_F(IndexRefreshTest, marksThatWentWithTheOldTree_areToldAndCanBeSetAgainWhereTheirPathsStand) {
    tree.file("a/one");
    tree.file("a/two");
    tree.file("b/three");
    scan(tree.root());
    driver->toggleSelection(childOf(node("a"), "one"));
    driver->toggleSelection(childOf(node("a"), "two"));
    driver->toggleSelection(node("b"));
    ASSERT_TRUE(waitFor([this] { return driver->areMarksChecked(); }));
    DroppedMarks& dropped = *driver->droppedMarks();
    EXPECT_TRUE(dropped.text().isEmpty());
    fs::remove(tree.path("a/two"));
    change({tree.path("a/two")});
    refresh();
    EXPECT_TRUE(driver->selectedForDeletion().empty());
    EXPECT_EQ(dropped.count(), 3U);
    EXPECT_EQ(dropped.markableAgain(), 2U);
    EXPECT_EQ(dropped.text(), "The refresh took back 3 marks.");
    EXPECT_EQ(dropped.detail(),
              "2 of them can be set again. What the others were on is not listed in the map any more.");

    QSignalSpy changed(driver.get(), &DiskScannerViewModel::selectedForDeletionChanged);
    dropped.markAgain();
    EXPECT_EQ(changed.count(), 1);
    EXPECT_EQ(driver->selectedForDeletion(),
              (std::set<UUID>{childOf(node("a"), "one")->id(), node("b")->id()}));
    EXPECT_TRUE(dropped.text().isEmpty());
    EXPECT_FALSE(dropped.canMarkAgain());
    ASSERT_TRUE(waitFor([this] { return driver->areMarksChecked(); }));
    EXPECT_EQ(driver->markedTotals().items, 2);
}

TEST_F(IndexRefreshTest, aMarkThatIsSetAgain_isAskedOfTheDiskAsAnyOther) {
    tree.file("a/one");
    tree.file("b/file");
    scan(tree.root());
    driver->toggleSelection(childOf(node("a"), "one"));
    ASSERT_TRUE(waitFor([this] { return driver->areMarksChecked(); }));
    change({tree.path("b/file")});
    refresh();
    ASSERT_EQ(driver->droppedMarks()->text(), "The refresh took back 1 mark.");
    EXPECT_EQ(driver->droppedMarks()->detail(), "It can be set again.");
    // Leads elsewhere by now.
    test::TemporaryTree elsewhere;
    elsewhere.file("one");
    fs::rename(tree.path("a"), tree.path("moved"));
    fs::create_directory_symlink(elsewhere.root(), tree.path("a"));
    driver->droppedMarks()->markAgain();
    ASSERT_TRUE(waitFor([this] { return driver->areMarksChecked(); }));
    EXPECT_TRUE(driver->selectedForDeletion().empty());
    EXPECT_TRUE(driver->markNotice().contains("taken back")) << driver->markNotice().toStdString();
}

TEST_F(IndexRefreshTest, whatIsToldOfDroppedMarks_lastsUntilItIsTakenUpOrDismissedOrAnotherMapComes) {
    tree.file("a/one");
    tree.file("b/file");
    scan(tree.root());
    DroppedMarks& dropped = *driver->droppedMarks();
    const auto dropOne = [&] {
        driver->toggleSelection(childOf(node("a"), "one"));
        change({tree.path("b/file")});
        refresh();
        EXPECT_EQ(dropped.count(), 1U);
    };
    dropOne();
    change({tree.path("b/file")});
    refresh();  // drops nothing itself, and the offer holds for the new tree
    EXPECT_EQ(dropped.markableAgain(), 1U);
    dropped.markAgain();
    EXPECT_EQ(driver->selectedForDeletion(), (std::set<UUID>{childOf(node("a"), "one")->id()}));
    driver->clearSelection();

    dropOne();
    dropped.dismiss();
    EXPECT_TRUE(dropped.text().isEmpty());
    dropOne();
    driver->clearSelection();
    EXPECT_TRUE(dropped.text().isEmpty());
    dropOne();
    scan(tree.path("a"));
    EXPECT_TRUE(dropped.text().isEmpty());
}

TEST_F(IndexRefreshTest, theCurrentFolderAlone_canBeScannedAgain) {
    tree.file("a/file");
    tree.file("b/file");
    scan(tree.root());
    tree.fileOfSize("a/new", 8'192);
    tree.fileOfSize("b/new", 8'192);
    change({tree.path("b/new")});
    driver->navigateInto(node("a"));
    refresh(true);
    EXPECT_NE(childOf(node("a"), "new"), nullptr);
    EXPECT_EQ(childOf(node("b"), "new"), nullptr);
    EXPECT_EQ(driver->changedFolderCount(), 1);  // still to be done
    // At the root that is everything.
    refresh(true);
    EXPECT_EQ(test::rowsOf(index()), freshRows());
}

TEST_F(IndexRefreshTest, aFolderThatWasRemoved_leavesTheIndexAndTheSizesAboveIt) {
    tree.fileOfSize("a/b/big", 100'000);
    tree.fileOfSize("a/small", 5'000);
    scan(tree.root());
    const auto held = childOf(node("a"), "b")->size();
    const auto before = driver->scanResult()->totalSize;
    const auto inA = node("a")->size();
    change({tree.path("a/b/big")});
    fs::remove_all(tree.path("a/b"));
    refresh();
    EXPECT_FALSE(driver->error());
    EXPECT_EQ(driver->scanResult()->totalSize, before - held);
    EXPECT_EQ(node("a")->size(), inA - held);
    EXPECT_EQ(test::rowsOf(index()), freshRows());
}

TEST_F(IndexRefreshTest, hiddenItemsAreTreatedAsInTheSavedScan_whateverTheSettingSaysNow) {
    defaults->setBool("skipHiddenFiles", false);
    tree.fileOfSize("a/.hidden", 5'000);
    scan(tree.root());
    defaults->setBool("skipHiddenFiles", true);
    tree.fileOfSize("a/.more", 5'000);
    change({tree.path("a/.more")});
    refresh();
    EXPECT_EQ(test::rowsOf(index()), freshRows(false));
    EXPECT_NE(childOf(node("a"), ".more"), nullptr);
}

TEST_F(IndexRefreshTest, afterARefreshSummariesReadAsThoseOfAnIndex) {
    for (int file = 0; file < 60; ++file) {
        tree.file("a/" + std::to_string(file), "x");
    }
    scan(tree.root());
    change({tree.path("a/0")});
    refresh();
    EXPECT_TRUE(driver->isFromIndex());
    EXPECT_EQ(driver->scanResult()->scanDuration, 0);
}

TEST_F(IndexRefreshTest, aPartlyReadFolder_neverTakesThePlaceOfACompleteRecord) {
    test::asUnprivilegedUser([](const std::string&) {
        RefreshedDriver own;
        own.tree.fileOfSize("a/locked/file", 5'000);
        own.tree.fileOfSize("b/file", 5'000);
        own.scan(own.tree.root());
        const auto rows = test::rowsOf(own.index());
        own.tree.fileOfSize("b/new", 8'192);
        ASSERT_EQ(::chmod(own.tree.path("a/locked").c_str(), 0), 0);
        own.change({own.tree.path("a/locked"), own.tree.path("b/new")});
        const auto oldRoot = own.root();
        own.refresh();
        EXPECT_EQ(
            own.driver->error(),
            "Refresh did not finish: Scan index: The changed folder could not be fully read. Its previous "
            "index was preserved.");
        EXPECT_EQ(own.root(), oldRoot);
        EXPECT_EQ(own.driver->changedFolderCount(), 2);  // both once more, whatever was merged
        int kept = 0;
        const auto now = test::rowsOf(own.index());
        for (const std::string& row : rows) {
            if (row.starts_with(own.tree.path("a/"))) {
                EXPECT_THAT(now, testing::Contains(row));
                ++kept;
            }
        }
        EXPECT_EQ(kept, 2);
        EXPECT_TRUE(test::isConsistent(own.index()));
        EXPECT_THAT(own.temporaries(), IsEmpty());
        ASSERT_EQ(::chmod(own.tree.path("a/locked").c_str(), 0700), 0);
        own.refresh();
        EXPECT_FALSE(own.driver->error());
        EXPECT_EQ(test::rowsOf(own.index()), own.freshRows());
    });
}

TEST_F(IndexRefreshTest, ofTheRootItself_unreadablePlacesAreCounted) {
    test::asUnprivilegedUser([](const std::string&) {
        RefreshedDriver own;
        own.tree.fileOfSize("locked/file", 5'000);
        own.tree.fileOfSize("b/file", 5'000);
        own.scan(own.tree.root());
        ASSERT_EQ(::chmod(own.tree.path("locked").c_str(), 0), 0);
        own.change({own.tree.path("locked")});
        own.refresh();
        EXPECT_FALSE(own.driver->error()) << *own.driver->error();
        ASSERT_EQ(own.driver->scanResult()->errors.size(), 1u);
        EXPECT_EQ(own.driver->scanResult()->unreadablePlaces, 1);
        EXPECT_EQ(own.driver->scanResult()->errors[0].error->description(),
                  "Scan index: Saved scan has 1 inaccessible entries. Rescan to review current errors.");
    });
}

TEST_F(IndexRefreshTest, aFolderInWhosePlaceALinkStands_isLeftOutAsInAScan) {
    tree.fileOfSize("a/file", 5'000);
    tree.fileOfSize("b/file", 5'000);
    test::TemporaryTree elsewhere;
    elsewhere.fileOfSize("large", 900'000);
    scan(tree.root());
    driver->navigateInto(node("a"));
    fs::remove_all(tree.path("a"));
    fs::create_symlink(elsewhere.root(), tree.path("a"));
    refresh(true);
    EXPECT_FALSE(driver->error()) << *driver->error();
    EXPECT_EQ(test::rowsOf(index()), freshRows());
    EXPECT_TRUE(test::isConsistent(index()));
}

TEST_F(IndexRefreshTest, anIndexThatAnotherWindowFilledWithAnotherFolder_isLeftAlone) {
    tree.file("mine/a/file");
    tree.file("other/file");
    scan(tree.path("mine"));
    const auto oldRoot = root();
    DiskScanner(index()).scan(tree.path("other"), driver->scanOptions(), {});
    const auto rows = test::rowsOf(index());
    change({tree.path("mine/a/file")});
    refresh();
    EXPECT_EQ(
        driver->error(),
        "Refresh did not finish: Scan index: Another window has saved a scan of another folder meanwhile. "
        "Scan everything again.");
    EXPECT_EQ(test::rowsOf(index()), rows);
    EXPECT_EQ(root(), oldRoot);
    EXPECT_EQ(driver->changedFolderCount(), 1);
}

TEST_F(IndexRefreshTest, aSystemThatGivesNoThread_endsTheRefreshAndNotTheProgram) {
    test::asUnprivilegedUser([](const std::string&) {
        RefreshedDriver own;
        own.tree.file("a/file");
        own.scan(own.tree.root());
        own.change({own.tree.path("a/file")});
        test::allowNoMoreThreads();
        own.refresh();
        EXPECT_THAT(own.driver->error().value_or(""),
                    testing::StartsWith("Refresh did not finish: The work could not be started"));
        EXPECT_EQ(own.driver->changedFolderCount(), 1);
    });
}

TEST_F(IndexRefreshTest, aCancelledRefresh_forgetsNothing) {
    for (int folder = 0; folder < 20; ++folder) {
        tree.file(std::to_string(folder) + "/file");
    }
    scan(tree.root());
    const auto rows = test::rowsOf(index());
    std::vector<std::string> changed;
    for (int folder = 0; folder < 20; ++folder) {
        changed.push_back(tree.fileOfSize(std::to_string(folder) + "/new", 4'096));
    }
    change(changed);
    const auto oldRoot = root();
    driver->refreshIndex(false);
    driver->cancelScan();
    awaitEnd();
    EXPECT_EQ(driver->error(), "Refresh did not finish: The operation was cancelled.");
    EXPECT_EQ(driver->changedFolderCount(), 20);
    EXPECT_EQ(root(), oldRoot);
    EXPECT_TRUE(test::isConsistent(index()));
    EXPECT_THAT(temporaries(), IsEmpty());
    refresh();
    EXPECT_EQ(test::rowsOf(index()), freshRows());
}

TEST_F(IndexRefreshTest, nothingElseBeginsMeanwhile) {
    tree.file("a/file");
    test::TemporaryTree other;
    scan(tree.root());
    change({tree.path("a/file")});
    driver->refreshIndex(false);
    driver->refreshIndex(true);
    driver->scanFolder(other.root());
    driver->forgetSavedScan();
    driver->deleteSelected(false);
    EXPECT_FALSE(driver->isDeleting());
    awaitEnd();
    EXPECT_EQ(driver->scanResult()->rootPath, tree.root());
    EXPECT_TRUE(fs::exists(index()));
}

TEST_F(IndexRefreshTest, anIndexThatIsGone_endsInItsFailure_andTheMapStays) {
    tree.file("a/file");
    scan(tree.root());
    fs::remove(index());
    change({tree.path("a/file")});
    refresh();
    EXPECT_EQ(driver->error(), "Refresh did not finish: Scan index: unable to open database file");
    EXPECT_TRUE(driver->hasScanResult());
    EXPECT_EQ(driver->changedFolderCount(), 1);
}

TEST_F(IndexRefreshTest, aWindowThatClosesInTheMiddle_leavesASoundIndex) {
    for (int folder = 0; folder < 200; ++folder) {
        tree.file("a/" + std::to_string(folder) + "/file");
    }
    scan(tree.root());
    change({tree.path("a/file")});
    driver->refreshIndex(false);
    driver.reset();
    EXPECT_TRUE(test::isConsistent(index()));
    EXPECT_THAT(temporaries(), IsEmpty());
}

// --- With the real watch

class RandomTree {
public:
    RandomTree(std::string root, unsigned seed) : root_(std::move(root)), random_(seed) {}

    void change() {
        std::error_code ignored;
        const std::string folder = pick(true);
        const std::string file = pick(false);
        const std::string other = pick(true);
        const std::string name = folder + "/" + std::string(1, static_cast<char>('a' + number(8)));
        switch (number(8)) {
            case 0:
                fs::create_directories(name + "/" + std::to_string(number(3)), ignored);
                break;
            case 1:
            case 2:
                std::ofstream(name, std::ios::app) << std::string(number(20'000) + 1, 'x');
                break;
            case 3:
                std::ofstream(file, std::ios::app) << std::string(number(20'000) + 1, 'y');
                break;
            case 4:
                fs::rename(file, name, ignored);
                break;
            case 5:  // two folders change places
                if (other != root_ && folder != root_) {
                    ::renameat2(-100, other.c_str(), -100, folder.c_str(), 2);
                }
                break;
            case 6:  // a folder gives way to a file
                if (other != root_ && number(3) == 0) {
                    fs::remove_all(other, ignored);
                    std::ofstream(other) << "a file now";
                }
                break;
            default:
                if (other != root_) {
                    fs::rename(other, name, ignored);
                }
        }
    }

private:
    unsigned number(unsigned below) { return std::uniform_int_distribution<unsigned>(0, below - 1)(random_); }
    std::string pick(bool folder) {
        std::vector<std::string> found{folder ? root_ : root_ + "/first"};
        for (const auto& entry : fs::recursive_directory_iterator(root_)) {
            if (entry.is_directory() == folder &&
                entry.path().string().find("/signals") == std::string::npos) {
                found.push_back(entry.path());
            }
        }
        return found[number(static_cast<unsigned>(found.size()))];
    }

    std::string root_;
    std::mt19937 random_;
};

class WatchedRefreshTest : public IndexRefreshTest {
protected:
    WatchedRefreshTest() { makeDriver(watchingWorld()); }

    // The real watch, which gathers for an instant only.
    DiskScannerViewModel::Dependencies watchingWorld() {
        auto with = dependencies();
        with.makeStream = [this, make = ScanChangeTracker::folderWatchers(events->queue())](
                              const std::string& path, FolderWatcherOptions options,
                              FolderWatcher::Handlers handlers) {
            options.latency = std::chrono::milliseconds(1);
            const auto inner = handlers;
            handlers.changed = [this, inner](const FolderChanges& changes) {
                for (const std::string& changed : changes.paths) {
                    // A signal before the latest says nothing of what came between them, and the root's
                    // change stands for the signal's too.
                    const bool isLatest = changed == tree.path("signals/" + std::to_string(given));
                    hasSignal = hasSignal || isLatest;
                    mustSignalAgain = mustSignalAgain || parentPath(changed) == tree.root() ||
                                      (parentPath(changed) == tree.path("signals") && !isLatest);
                }
                mustSignalAgain = mustSignalAgain || changes.eventsAreLost;
                inner.changed(changes);
            };
            return make(path, options, std::move(handlers));
        };
        return with;
    }
    // Until all that happened is told: the system tells in order, so the signal comes last.
    void awaitChanges() {
        hasSignal = false;
        while (!hasSignal) {
            mustSignalAgain = false;
            std::ofstream(tree.path("signals/" + std::to_string(++given))) << 'x';
            ASSERT_TRUE(waitFor([this] { return hasSignal || mustSignalAgain; }));
        }
    }

    // Also after a refresh, which writes the program's own files.
    void expectNoChangeButSignals() {
        awaitChanges();
        EXPECT_EQ(driver->changedFolderCount(), 1);
        refresh();
        awaitChanges();
        EXPECT_EQ(driver->changedFolderCount(), 1);
        driver.reset();
    }

    int given = 0;
    bool hasSignal = false;
    bool mustSignalAgain = false;
};

TEST_F(WatchedRefreshTest, afterRandomChangesARefreshedIndexIsThatOfAFreshScan) {
    constexpr unsigned seeds = test::isSanitized ? 2 : 8;
    for (unsigned seed = 1; seed <= seeds; ++seed) {
        for (const auto& entry : fs::directory_iterator(tree.root())) {
            fs::remove_all(entry.path());
        }
        tree.folder("signals");
        RandomTree random(tree.root(), seed);
        for (int change = 0; change < 60; ++change) {
            random.change();
        }
        scan(tree.root());
        ASSERT_TRUE(waitFor([this] { return driver->watchCoverage().isReady; }));
        ASSERT_TRUE(driver->watchCoverage().isComplete());
        for (int round = 0; round < 6; ++round) {
            for (unsigned change = 0; change <= seed; ++change) {
                random.change();
            }
            awaitChanges();
            refresh();
            ASSERT_FALSE(driver->error()) << *driver->error();
            ASSERT_EQ(test::rowsOf(index()), freshRows()) << "seed " << seed << ", round " << round;
            ASSERT_TRUE(test::isConsistent(index()));
        }
    }
}

TEST_F(WatchedRefreshTest, whatTheProgramWritesBesideTheIndex_isNoChange) {
    // The index lies within the folder that is scanned.
    tree.folder("own");
    makeDriver([this] {
        auto with = watchingWorld();
        with.indexFileURL = tree.path("own/latest-scan.sqlite");
        return with;
    }());
    tree.file("a/file");
    tree.folder("signals");
    scan(tree.root());
    ASSERT_TRUE(waitFor([this] { return driver->watchCoverage().isReady; }));
    expectNoChangeButSignals();
}

TEST_F(WatchedRefreshTest, ownFoldersBehindALink_areNoChangeEither) {
    tree.folder("real/settings");
    tree.folder("real/index");
    test::TemporaryTree home;
    fs::create_symlink(tree.path("real"), home.path("linked"));
    makeDriver([&] {
        auto with = watchingWorld();
        with.ownFolders = {home.path("linked/settings")};
        with.indexFileURL = home.path("linked/index/latest-scan.sqlite");
        return with;
    }());
    tree.folder("signals");
    scan(tree.root());
    ASSERT_TRUE(waitFor([this] { return driver->watchCoverage().isReady; }));
    tree.file("real/settings/settings.json");
    expectNoChangeButSignals();
}

TEST_F(WatchedRefreshTest, whatHappenedBetweenTheScanAndTheWatch_isAChange) {
    tree.file("a/file");
    tree.file("b/deep/file");
    tree.file("c/file");
    auto with = watchingWorld();
    with.makeStream = [this, make = with.makeStream](const std::string& path,
                                                     const FolderWatcherOptions& options,
                                                     FolderWatcher::Handlers handlers) {
        tree.file("b/deep/new");
        fs::remove(tree.path("c/file"));
        return make(path, options, std::move(handlers));
    };
    makeDriver(std::move(with));
    scan(tree.root());
    ASSERT_NE(test::rowsOf(index()), freshRows());
    ASSERT_TRUE(waitFor([this] { return driver->watchCoverage().isReady; }));
    EXPECT_EQ(driver->changedFolderCount(), 2);
    refresh();
    EXPECT_EQ(test::rowsOf(index()), freshRows());
    EXPECT_EQ(driver->changedFolderCount(), 0);
    driver.reset();
}

TEST_F(WatchedRefreshTest, theWatchCountsFromTheScansFirstStep_alsoOfWhatWasMounted) {
    auto with = watchingWorld();
    std::vector<FolderWatcherOptions> watched;
    with.makeStream = [&](const std::string&, const FolderWatcherOptions& options,
                          const FolderWatcher::Handlers&) {
        watched.push_back(options);
        return std::make_shared<int>(0);
    };
    makeDriver(std::move(with));
    const WatchBeginning before = watchBeginningNow();
    scan(tree.root());
    const WatchBeginning after = watchBeginningNow();
    ASSERT_EQ(watched.size(), 1u);
    ASSERT_TRUE(watched[0].since);
    EXPECT_GE(watched[0].since->time, before.time);
    EXPECT_LE(watched[0].since->time, after.time);
    EXPECT_FALSE(watched[0].since->mounts.empty());
    driver.reset();
}

TEST_F(WatchedRefreshTest, aRemovalNeedsNoSpecialHandling) {
    tree.fileOfSize("a/file", 5'000);
    tree.folder("signals");
    scan(tree.root());
    ASSERT_TRUE(waitFor([this] { return driver->watchCoverage().isReady; }));
    fs::remove(tree.path("a/file"));
    ASSERT_TRUE(waitFor([this] { return driver->changedFolderCount() == 1; }));
    refresh();
    EXPECT_EQ(test::rowsOf(index()), freshRows());
}

}  // namespace
}  // namespace larkfold
