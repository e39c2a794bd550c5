// A folder that is not there any more, or holds nothing any more, as where a drive is not connected: a saved
// scan with files is never replaced by an empty one unasked.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <QSignalSpy>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "disk/DiskDriverFixture.h"
#include "disk/DiskScanner.h"
#include "disk/EmptyFolderFailure.h"
#include "disk/IndexRows.h"
#include "support/UnprivilegedUser.h"

namespace larkfold {
namespace {

namespace fs = std::filesystem;
using test::contentOf;
using testing::HasSubstr;
using Kind = DiskFailure::Kind;

class MissingFolderTest : public test::DiskDriverFixture {
protected:
    MissingFolderTest() {
        auto with = dependencies();
        with.makeStream = [this](const std::string&, const FolderWatcherOptions&,
                                 FolderWatcher::Handlers handlers) {
            tell = std::move(handlers);
            return std::make_shared<int>(0);
        };
        makeDriver(with);
        tree.file("drive/a/file", "content");
        tree.file("drive/b/file", "content");
    }
    void change(std::vector<std::string> paths) {
        tell.covered(WatchCoverage{});
        tell.changed({.eventsAreLost = false, .paths = std::move(paths)});
    }
    // As if the drive had been unplugged: its mount point is there or goes with it.
    void unplug(bool mountPointStays) {
        fs::rename(drive(), tree.path("elsewhere"));
        if (mountPointStays) {
            tree.folder("drive");
        }
    }
    void plugIn() {
        fs::remove(drive());
        fs::rename(tree.path("elsewhere"), drive());
    }
    void expectAllStays(const std::string& indexBefore) const {
        EXPECT_FALSE(driver->isScanning());
        ASSERT_TRUE(driver->hasScanResult());
        EXPECT_EQ(driver->scanResult()->totalFiles, 2);
        EXPECT_EQ(driver->scanResult()->rootPath, drive());
        EXPECT_TRUE(driver->hasSavedIndex());
        EXPECT_TRUE(contentOf(index()) == indexBefore) << "the saved scan was changed";
    }
    std::string drive() const { return tree.path("drive"); }
    RescanCheck& check() const { return *driver->rescanCheck(); }

    FolderWatcher::Handlers tell;
};

TEST_F(MissingFolderTest, scanningItAgain_keepsMapAndSavedScan) {
    scan(drive());
    const std::string before = contentOf(index());
    const FileNode::Pointer map = root();
    unplug(false);
    const std::vector<std::function<void()>> ways{
        [this] { driver->rescanCurrent(); }, [this] { driver->rescan(drive(), std::nullopt); },
        [this] { driver->rescan(drive(), driver->scanRootBookmarkData()); }};
    for (const auto& way : ways) {
        driver->dismissError();
        way();
        EXPECT_TRUE(driver->isScanning());
        EXPECT_TRUE(check().isLooking());
        EXPECT_EQ(root(), map) << "the map stays while the disk is asked";
        awaitEnd();
        EXPECT_FALSE(check().isLooking());
        expectAllStays(before);
        EXPECT_EQ(root(), map);
        ASSERT_TRUE(driver->failure());
        EXPECT_EQ(driver->failure()->kind, Kind::folderMissing);
        EXPECT_EQ(driver->failure()->text, "“" + drive() + "” is not there.");
    }
    plugIn();
    driver->rescanCurrent();
    awaitEnd();
    EXPECT_FALSE(driver->error());
    EXPECT_EQ(driver->scanResult()->totalFiles, 2);
}

TEST_F(MissingFolderTest, whereItIsEmptyNow_theUserIsAsked) {
    scan(drive());
    const std::string before = contentOf(index());
    unplug(true);
    driver->rescanCurrent();
    awaitEnd();
    expectAllStays(before);
    EXPECT_FALSE(driver->error());
    ASSERT_TRUE(check().asksUser());
    EXPECT_EQ(check().path(), drive());
    EXPECT_THAT(check().question().toStdString(), HasSubstr("its saved scan has 2 files."));
    check().keepSavedScan();
    EXPECT_FALSE(check().asksUser());
    expectAllStays(before);

    driver->rescanCurrent();
    awaitEnd();
    check().replaceSavedScan();
    EXPECT_TRUE(driver->isScanning());
    EXPECT_FALSE(check().asksUser());
    awaitEnd();
    ASSERT_TRUE(driver->hasScanResult());
    EXPECT_EQ(driver->scanResult()->totalFiles, 0);
    EXPECT_EQ(test::rowsOf(index()).size(), 1u);
    // Nothing is lost any more, so nobody is asked.
    driver->rescanCurrent();
    awaitEnd();
    EXPECT_FALSE(check().asksUser());
}

TEST_F(MissingFolderTest, chosenAnew_theUserIsAskedAndTheSavedMapComesBack) {
    scan(drive());
    const std::string before = contentOf(index());
    unplug(true);
    driver->scanFolder(drive());
    EXPECT_FALSE(driver->hasScanResult());
    awaitEnd();
    ASSERT_TRUE(waitFor([this] { return driver->hasScanResult() && !driver->isScanning(); }));
    expectAllStays(before);
    EXPECT_FALSE(driver->error());
    EXPECT_TRUE(driver->isFromIndex());
    EXPECT_TRUE(check().asksUser());
    check().replaceSavedScan();
    awaitEnd();
    EXPECT_EQ(driver->scanResult()->totalFiles, 0);
}

TEST_F(MissingFolderTest, chosenAnewWhereItIsGone_theSavedScanStays) {
    scan(drive());
    const std::string before = contentOf(index());
    unplug(false);
    driver->scanFolder(drive());
    awaitEnd();
    EXPECT_FALSE(driver->hasScanResult());
    ASSERT_TRUE(driver->error());
    EXPECT_FALSE(check().asksUser());
    EXPECT_TRUE(contentOf(index()) == before);
    driver->restoreSavedScanIfNeeded();
    awaitEnd();
    EXPECT_EQ(driver->scanResult()->totalFiles, 2);
}

TEST_F(MissingFolderTest, aRefreshOfItsFolders_takesNoneForGone) {
    scan(drive());
    const std::string before = contentOf(index());
    unplug(false);
    change({tree.path("drive/a/file")});
    driver->refreshIndex(false);
    awaitEnd();
    expectAllStays(before);
    ASSERT_TRUE(driver->failure());
    EXPECT_EQ(driver->failure()->kind, Kind::folderMissing);
    EXPECT_THAT(driver->failure()->text, testing::StartsWith("Refresh did not finish: Scan index: "));
    EXPECT_EQ(driver->changedFolderCount(), 1);
    plugIn();
    driver->refreshIndex(false);
    awaitEnd();
    EXPECT_FALSE(driver->error());
    EXPECT_EQ(driver->scanResult()->totalFiles, 2);
}

TEST_F(MissingFolderTest, aRefreshWhereItIsEmptyNow_asksTheUser) {
    for (const char* changed : {"drive/a/file", "drive/new"}) {
        SCOPED_TRACE(changed);
        scan(drive());
        const std::string before = contentOf(index());
        unplug(true);
        change({tree.path(changed)});
        driver->refreshIndex(false);
        awaitEnd();
        expectAllStays(before);
        EXPECT_FALSE(driver->error());
        EXPECT_TRUE(check().asksUser());
        EXPECT_EQ(driver->changedFolderCount(), 1);
        check().keepSavedScan();
        expectAllStays(before);
        plugIn();
    }
    unplug(true);
    driver->refreshIndex(false);
    awaitEnd();
    check().replaceSavedScan();
    awaitEnd();
    EXPECT_EQ(driver->scanResult()->totalFiles, 0);
}

TEST_F(MissingFolderTest, aFolderOfItThatIsGone_leavesTheSavedScanAsBefore) {
    scan(drive());
    fs::remove_all(tree.path("drive/a"));
    change({tree.path("drive/a/file")});
    driver->refreshIndex(false);
    awaitEnd();
    EXPECT_FALSE(driver->error());
    EXPECT_EQ(driver->scanResult()->totalFiles, 1);
}

TEST_F(MissingFolderTest, whoCancelsWhileTheDiskIsAsked_keepsTheMap) {
    scan(drive());
    const std::string before = contentOf(index());
    driver->rescanCurrent();
    driver->cancelScan();
    awaitEnd();
    expectAllStays(before);
    EXPECT_EQ(driver->failure()->kind, Kind::cancelled);
}

TEST_F(MissingFolderTest, aQuestionGoesWithWhatItIsAbout) {
    scan(drive());
    unplug(true);
    driver->rescanCurrent();
    awaitEnd();
    ASSERT_TRUE(check().asksUser());
    QSignalSpy changed(&check(), &RescanCheck::changed);
    driver->scanFolder(tree.path("elsewhere"));
    EXPECT_FALSE(check().asksUser());
    EXPECT_GE(changed.count(), 1);
    awaitEnd();
    check().replaceSavedScan();
    EXPECT_FALSE(driver->isScanning()) << "a press that comes too late scans nothing";
}

TEST_F(MissingFolderTest, aFolderThatIsRefused_needsItsPermissionAgain) {
    test::asUnprivilegedUser([](const std::string& home) {
        test::TemporaryTree own;
        own.file("closed/file");
        ASSERT_EQ(::chmod(own.path("closed").c_str(), 0), 0);
        EventLoopQueue queue;
        UserDefaults settings(home + "/settings.json", queue.queue());
        DiskScannerViewModel model({queue.queue(), settings, nullptr, home + "/index.sqlite"});
        QSignalSpy ended(&model, &DiskScannerViewModel::isScanningChanged);
        model.rescan(own.path("closed"), "a bookmark");
        ASSERT_TRUE(QTest::qWaitFor([&] { return !model.isScanning(); }, 60'000));
        EXPECT_EQ(model.error(),
                  "Larkfold needs permission to reopen this saved folder. Please choose it again.");
        EXPECT_TRUE(model.isAccessProblem());
        EXPECT_FALSE(model.hasScanResult());
    });
}

// The scanner by itself: what it puts in the place of an index.
class EmptyScanTest : public testing::Test {
protected:
    std::string index() const { return store.path("Larkfold/latest-scan.sqlite"); }
    void scan(const std::string& path, bool mayEmptyIndex = false) {
        DiskScanner scanner(index());
        if (mayEmptyIndex) {
            scanner.letEmptyFolderReplaceIndex();
        }
        scanner.scan(path,
                     {.skipHiddenFiles = true,
                      .excludedPathPrefixes = {},
                      .skipSymbolicLinks = true,
                      .maximumRetainedFiles = 50'000},
                     {});
    }

    test::TemporaryTree tree;
    test::TemporaryTree store;
};

TEST_F(EmptyScanTest, doesNotReplaceASavedScanOfTheSameFolder) {
    tree.file("all/file");
    scan(tree.path("all"));
    const std::string before = contentOf(index());
    fs::remove(tree.path("all/file"));
    try {
        scan(tree.path("all"));
        ADD_FAILURE() << "it was replaced";
    } catch (const EmptyFolderFailure& failure) {
        EXPECT_EQ(failure.folder(), tree.path("all"));
        EXPECT_EQ(failure.savedFiles(), 1);
    }
    EXPECT_TRUE(contentOf(index()) == before);
    scan(tree.path("all"), true);
    EXPECT_EQ(test::rowsOf(index()).size(), 1u);
    scan(tree.path("all"));  // there is nothing left to lose
}

TEST_F(EmptyScanTest, replacesOneOfAnotherFolder) {
    tree.file("all/file");
    tree.folder("empty");
    scan(tree.path("all"));
    scan(tree.path("empty"));
    EXPECT_EQ(test::rowsOf(index()).size(), 1u);
}

TEST_F(EmptyScanTest, ofAFolderThatCannotBeRead_replacesNone) {
    tree.file("all/file");
    scan(tree.path("all"));
    const std::string before = contentOf(index());
    for (const bool mayEmptyIndex : {false, true}) {
        try {
            scan(tree.path("never"), mayEmptyIndex);
            ADD_FAILURE() << "it was replaced";
        } catch (const SystemError& failure) {
            EXPECT_EQ(failure.code(), ENOENT);
        }
        EXPECT_TRUE(contentOf(index()) == before);
    }
}

TEST_F(EmptyScanTest, overNoIndexAtAll_tellsWhatCouldNotBeRead) {
    scan(tree.path("never"));
    EXPECT_EQ(test::rowsOf(index()).size(), 1u);
}

}  // namespace
}  // namespace larkfold
