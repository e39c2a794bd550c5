// The way from the saved index back to the screen: the restore at the start, the filling in of a
// folder, and forgetting.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QSignalSpy>
#include <array>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "disk/DiskDriverFixture.h"
#include "disk/DiskScanner.h"
#include "disk/IndexRows.h"
#include "disk/SavedScanLoader.h"
#include "disk/ScanIndexDatabase.h"
#include "platform/Collation.h"
#include "platform/FileLock.h"
#include "platform/Path.h"

namespace larkfold {
namespace {

using testing::StartsWith;

class SavedScanTest : public test::DiskDriverFixture {
protected:
    SavedScanTest() { makeDriver(dependencies()); }

    // An index as an earlier run of the program left it.
    void leaveIndex(const std::string& folder, bool skipHiddenFiles = false) {
        DiskScanner(index()).scan(folder,
                                  {.skipHiddenFiles = skipHiddenFiles,
                                   .excludedPathPrefixes = {},
                                   .skipSymbolicLinks = true,
                                   .maximumRetainedFiles = 50'000},
                                  {});
    }
    void restore() {
        driver->restoreSavedScanIfNeeded();
        ASSERT_TRUE(driver->isScanning());
        EXPECT_TRUE(driver->isRestoring());
        awaitEnd();
        EXPECT_FALSE(driver->isRestoring());
    }
    // Puts rows into the index beside those of the scan.
    void addFiles(const std::string& folder, int count) {
        ScanIndexDatabase incoming(store.path("incoming.sqlite"), true);
        for (int file = 0; file < count; ++file) {
            const std::string name = "f" + std::to_string(file);
            incoming.insertRow(folder + "/" + name, folder, name, false, 10 + file, 1, 1.0);
        }
        incoming.insertRow(folder, std::string(parentPath(folder)), std::string(lastPathComponent(folder)),
                           true, count * 10, 0, std::nullopt);
        incoming.finish(folder, false, 0);
        ScanIndexDatabase(index(), false).merge(store.path("incoming.sqlite"));
        std::filesystem::remove(store.path("incoming.sqlite"));
    }
    static FileNode::Pointer summaryOf(const FileNode::Pointer& folder) {
        for (const auto& child : folder->children()) {
            if (child->isAggregate()) {
                return child;
            }
        }
        return nullptr;
    }
};

TEST_F(SavedScanTest, withoutAnIndexNothingHappens) {
    driver->restoreSavedScanIfNeeded();
    EXPECT_FALSE(driver->isScanning());
    EXPECT_FALSE(driver->hasSavedIndex());
    EXPECT_FALSE(driver->error());
}

TEST_F(SavedScanTest, theTreeComesBackAsItWasSaved) {
    tree.fileOfSize("a/one", 9'000);
    tree.fileOfSize("two", 5'000);
    leaveIndex(tree.root());
    restore();
    ASSERT_TRUE(driver->hasScanResult()) << driver->error().value_or("");
    const ScanResult& result = *driver->scanResult();
    EXPECT_EQ(result.rootPath, tree.root());
    EXPECT_EQ(result.totalFiles, 2);
    EXPECT_EQ(result.totalDirectories, 2);
    EXPECT_EQ(result.totalSize, DiskScanner().scan(tree.root(), driver->scanOptions(), {}).totalSize);
    EXPECT_EQ(result.scanDuration, 0);
    EXPECT_EQ(driver->scanScope(), ScanScope::selectedFolder);
    EXPECT_EQ(driver->scanRootPath(), tree.root());
    EXPECT_TRUE(driver->hasSavedIndex());
    EXPECT_TRUE(driver->isFromIndex());
    EXPECT_FALSE(driver->scanRootBookmarkData());
    EXPECT_FALSE(driver->error());
    const std::string date = shortDateText(secondsSince1970(result.scanDate));
    ASSERT_FALSE(date.empty());
    EXPECT_EQ(driver->savedScanNotice(),
              "Saved snapshot from " + date + ". Refresh to include changes made while Larkfold was closed.");
}

TEST_F(SavedScanTest, theRootCountsAsChangedFromTheFirstMoment) {
    tree.file("file");
    leaveIndex(tree.root());
    QSignalSpy counted(driver.get(), &DiskScannerViewModel::changedFolderCountChanged);
    restore();
    EXPECT_EQ(driver->changedFolderCount(), 1);
    EXPECT_EQ(counted.count(), 1);
}

TEST_F(SavedScanTest, whereAResultIsThere_theIndexIsLeftAlone) {
    tree.file("first/file");
    tree.file("second/a");
    tree.file("second/b");
    scan(tree.path("first"));
    leaveIndex(tree.path("second"));  // newer
    driver->restoreSavedScanIfNeeded();
    EXPECT_FALSE(driver->isScanning());
    EXPECT_EQ(driver->scanResult()->rootPath, tree.path("first"));
}

TEST_F(SavedScanTest, aRestoreUnderWay_letsNoScanBegin) {
    tree.file("file");
    test::TemporaryTree other;
    leaveIndex(tree.root());
    driver->restoreSavedScanIfNeeded();
    driver->scanFolder(other.root());
    driver->restoreSavedScanIfNeeded();
    awaitEnd();
    EXPECT_EQ(driver->scanResult()->rootPath, tree.root());
}

TEST_F(SavedScanTest, anIndexWithoutMetadata_saysSo) {
    {
        const ScanIndexDatabase database(index(), true);
    }
    restore();
    EXPECT_EQ(driver->error(), "Could not restore the saved scan: Scan index: not an error");
    EXPECT_FALSE(driver->hasScanResult());
    EXPECT_FALSE(driver->hasSavedIndex());
    EXPECT_FALSE(driver->savedScanNotice());
}

TEST_F(SavedScanTest, aFileThatIsNoIndex_saysSo) {
    store.file("Larkfold/latest-scan.sqlite", "This is no database, but long enough to be asked for one.");
    restore();
    EXPECT_EQ(driver->error(), "Could not restore the saved scan: Scan index: file is not a database");
    EXPECT_FALSE(driver->hasScanResult());
    // A new scan may replace it.
    tree.file("file");
    scan(tree.root());
    EXPECT_TRUE(test::isConsistent(index()));
}

TEST_F(SavedScanTest, aRestoreCanBeCancelled) {
    tree.file("file");
    leaveIndex(tree.root());
    driver->restoreSavedScanIfNeeded();
    driver->cancelScan();
    awaitEnd();
    if (!driver->hasScanResult()) {
        EXPECT_EQ(driver->error(), "Could not restore the saved scan: The operation was cancelled.");
    }
}

TEST_F(SavedScanTest, ofTheWholeDisk_theScopeIsTheStartupDisk) {
    {
        ScanIndexDatabase database(index(), true);
        database.insertRow("/file", "/", "file", false, 4096, 1, 1.0);
        database.insertRow("/", "/", "/", true, 4096, 0, std::nullopt);
        database.finish("/", false, 0);
    }
    // Not the real disk: what follows it is of no account here.
    auto with = dependencies();
    std::vector<FolderWatcherOptions> watched;
    with.makeStream = [&](const std::string&, const FolderWatcherOptions& options,
                          const FolderWatcher::Handlers&) {
        watched.push_back(options);
        return std::make_shared<int>(0);
    };
    makeDriver(std::move(with));
    restore();
    EXPECT_EQ(driver->scanScope(), ScanScope::startupDisk);
    EXPECT_EQ(root()->name(), "Startup Disk");
    EXPECT_FALSE(driver->scanOptions().skipHiddenFiles);
    ASSERT_EQ(watched.size(), 1u);
    EXPECT_FALSE(watched[0].since);  // nothing is known of the time before, so all of it counts
    for (const char* prefix : {"/dev", "/net", "/Volumes"}) {
        EXPECT_THAT(watched[0].excludedPathPrefixes, testing::Contains(prefix));
    }
    EXPECT_THAT(watched[0].excludedPathPrefixes, testing::Contains(store.path("Larkfold")));
    driver.reset();
}

TEST_F(SavedScanTest, aFolderThatDoesNotExistAnyMore_isStillShown) {
    tree.file("gone/file");
    leaveIndex(tree.path("gone"));
    std::filesystem::remove_all(tree.path("gone"));
    restore();
    EXPECT_TRUE(driver->hasScanResult());
    EXPECT_EQ(driver->scanResult()->totalFiles, 1);
    // A refresh has nothing to scan, and the root cannot be taken out of its index.
    driver->refreshIndex(false);
    ASSERT_TRUE(driver->isScanning());
    awaitEnd();
    EXPECT_THAT(driver->error().value_or(""), StartsWith("Refresh did not finish: Scan index: "));
    EXPECT_TRUE(driver->hasScanResult());
    EXPECT_EQ(driver->changedFolderCount(), 1);
    EXPECT_EQ(driver->scanResult()->totalFiles, 1);
}

TEST_F(SavedScanTest, walkingIntoASummarisedFolder_fillsItIn) {
    tree.fileOfSize("many/big", 4'000'000);
    tree.fileOfSize("other/file", 5'000);
    leaveIndex(tree.root());
    addFiles(tree.path("many"), 60'000);
    restore();
    const auto many = node("many");
    ASSERT_NE(summaryOf(many), nullptr);
    const auto before = many->children().size();
    EXPECT_LT(before, 60'000u);
    QSignalSpy changed(driver.get(), &DiskScannerViewModel::navigationStackChanged);
    driver->navigateInto(many);
    EXPECT_EQ(changed.count(), 1);
    EXPECT_FALSE(driver->isScanning());  // the user can go on meanwhile
    ASSERT_TRUE(waitFor([&] { return changed.count() == 2; }));
    EXPECT_EQ(many->children().size(), 50'001u);
    const auto summary = summaryOf(many);
    ASSERT_NE(summary, nullptr);
    EXPECT_EQ(summary->representedFileCount(), 10'000);
    EXPECT_EQ(summary->name(), "Other indexed files (10,000)");
    for (const auto& child : many->children()) {
        EXPECT_EQ(child->parent(), many);
    }
    std::int64_t sum = 0;
    for (const auto& child : many->children()) {
        sum += child->size();
    }
    EXPECT_EQ(sum, std::int64_t{60'000} * 10 + std::int64_t{60'000} * 59'999 / 2);
}

TEST_F(SavedScanTest, walkingIntoASummarisedFolder_tellsOfTheMarksThatItTookBack) {
    tree.file("many/f59999");
    tree.fileOfSize("other/file", 100'000);
    leaveIndex(tree.root());
    addFiles(tree.path("many"), 60'000);
    restore();
    const auto many = node("many");
    ASSERT_NE(childOf(many, "f59999"), nullptr);
    driver->toggleSelection(childOf(many, "f59999"));
    driver->toggleSelection(childOf(node("other"), "file"));
    ASSERT_EQ(driver->selectedForDeletion().size(), 2U);
    QSignalSpy changed(driver.get(), &DiskScannerViewModel::navigationStackChanged);
    driver->navigateInto(many);
    ASSERT_TRUE(waitFor([&] { return changed.count() == 2; }));
    EXPECT_EQ(driver->selectedForDeletion(), (std::set<UUID>{childOf(node("other"), "file")->id()}));
    EXPECT_EQ(driver->droppedMarks()->text(), "Loading the folder took back 1 mark.");
    ASSERT_EQ(driver->droppedMarks()->markableAgain(), 1U);
    driver->droppedMarks()->markAgain();
    EXPECT_TRUE(driver->selectedForDeletion().contains(childOf(many, "f59999")->id()));
    EXPECT_EQ(driver->markedTotals().items, 2);
}

TEST_F(SavedScanTest, whoHasGoneOnMeanwhile_keepsTheSummary) {
    tree.fileOfSize("other/file", 5'000);
    tree.folder("many");
    leaveIndex(tree.root());
    addFiles(tree.path("many"), 60'000);
    restore();
    const auto many = node("many");
    const auto before = many->children().size();
    driver->navigateInto(many);
    driver->navigateBack();
    // The loader does one thing after the other: what is asked for later comes later.
    const auto other = node("other");
    driver->navigateInto(other);
    driver->navigateBack();
    driver->forgetSavedScan();
    ASSERT_TRUE(waitFor([this] { return !driver->hasSavedIndex(); }));
    EXPECT_EQ(many->children().size(), before);
}

TEST_F(SavedScanTest, aFolderWithoutASummaryOfItsOwn_asksForNothing) {
    tree.folder("plain/many");
    leaveIndex(tree.root());
    addFiles(tree.path("plain/many"), 60'000);
    restore();
    const auto plain = node("plain");
    QSignalSpy changed(driver.get(), &DiskScannerViewModel::navigationStackChanged);
    driver->navigateInto(plain);
    driver->forgetSavedScan();
    ASSERT_TRUE(waitFor([this] { return !driver->hasSavedIndex(); }));
    EXPECT_EQ(changed.count(), 1);
}

TEST_F(SavedScanTest, aLoadThatFails_leavesTheSummaryWithoutAWord) {
    tree.folder("many");
    leaveIndex(tree.root());
    addFiles(tree.path("many"), 60'000);
    restore();
    std::filesystem::remove(index());
    const auto many = node("many");
    driver->navigateInto(many);
    driver->forgetSavedScan();
    ASSERT_TRUE(waitFor([this] { return !driver->hasSavedIndex(); }));
    EXPECT_NE(summaryOf(many), nullptr);
    EXPECT_FALSE(driver->error());
}

TEST_F(SavedScanTest, theSummaryOfTheFolderOnScreen_canBeOpened) {
    leaveIndex(tree.root());
    addFiles(tree.root(), 60'000);
    restore();
    driver->openSummary(nullptr);
    driver->openSummary(root());  // no summary
    const auto summary = summaryOf(root());
    ASSERT_NE(summary, nullptr);
    QSignalSpy changed(driver.get(), &DiskScannerViewModel::navigationStackChanged);
    driver->openSummary(summary);
    ASSERT_TRUE(waitFor([&] { return changed.count() == 1; }));
    EXPECT_NE(summaryOf(root()), summary);
}

// Whoever still holds what was there: nothing of it is selected, hovered or marked any more, and that marks
// went is told.
TEST_F(SavedScanTest, aSummaryThatIsOpened_leavesNothingOfWhatIsGone) {
    leaveIndex(tree.root());
    addFiles(tree.root(), 60'000);
    tree.file("f59999");  // the largest, so that it stands beside the summary
    restore();
    const auto summary = summaryOf(root());
    FileNode::Pointer beside;
    for (const FileNode::Pointer& child : root()->children()) {
        if (child->name() == "f59999") {
            beside = child;
        }
    }
    ASSERT_NE(beside, nullptr);
    ASSERT_NE(summary, nullptr);
    driver->setSelectedNode(summary);
    driver->setHoveredNode(beside);
    driver->toggleSelection(beside);
    ASSERT_EQ(driver->selectedForDeletion().size(), 1u);
    driver->openSummary(summary);
    ASSERT_TRUE(waitFor([&] { return summaryOf(root()) != summary; }));
    EXPECT_EQ(driver->selectedNode(), nullptr);
    EXPECT_EQ(driver->hoveredNode(), nullptr);
    EXPECT_TRUE(driver->selectedForDeletion().empty());
    EXPECT_EQ(driver->markedTotals(), RemovalMarks::Totals{});
    EXPECT_EQ(driver->droppedMarks()->text(), "Loading the folder took back 1 mark.");
}

// Whether something was made in a folder since the watch began.
class MadeIn {
public:
    explicit MadeIn(const std::string& folder) : instance_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
        EXPECT_GE(::inotify_add_watch(instance_, folder.c_str(), IN_CREATE), 0);
    }
    ~MadeIn() { ::close(instance_); }
    MadeIn(const MadeIn&) = delete;
    MadeIn& operator=(const MadeIn&) = delete;

    bool something() const {
        std::array<char, 4096> events;
        return ::read(instance_, events.data(), events.size()) > 0;
    }

private:
    int instance_;
};

TEST_F(SavedScanTest, whatDoesNotFitIntoMemory_liesBesideTheIndexAlone) {
    tree.folder("many");
    leaveIndex(tree.root());
    addFiles(tree.path("many"), 60'000);
    std::string elsewhere = tree.folder("temporaries");
    const MadeIn there(elsewhere);
    sqlite3_temp_directory = elsewhere.data();
    const std::string incoming = store.path("Larkfold/incoming.sqlite");
    std::filesystem::copy_file(index(), incoming);
    SavedScanLoader::merge(index(), incoming, {});
    EXPECT_FALSE(there.something());
    // Negative control: the same change, led elsewhere again when the index was open.
    const auto run = [](sqlite3* db, const std::string& sql) {
        EXPECT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(db);
    };
    sqlite3* open = nullptr;
    ASSERT_EQ(sqlite3_open(index().c_str(), &open), SQLITE_OK);
    char* const beside = std::exchange(sqlite3_temp_directory, elsewhere.data());
    run(open, "ATTACH " + larkfold::quoted(incoming) + " AS incoming; BEGIN; DELETE FROM nodes");
    run(open, "INSERT INTO nodes SELECT * FROM incoming.nodes");
    run(open, "ROLLBACK");
    sqlite3_temp_directory = beside;
    sqlite3_close(open);
    EXPECT_TRUE(there.something()) << "nothing has to be put aside, so the above tells nothing";
}

TEST_F(SavedScanTest, forgetting_deletesTheIndexAndNothingElse) {
    tree.file("file");
    scan(tree.root());
    const std::string journal = store.file("Larkfold/latest-scan.sqlite-journal", "");
    const std::string beside = store.file("Larkfold/other");
    driver->forgetSavedScan();
    ASSERT_TRUE(waitFor([this] { return !driver->hasSavedIndex(); }));
    EXPECT_FALSE(std::filesystem::exists(index()));
    EXPECT_TRUE(std::filesystem::exists(journal));
    EXPECT_TRUE(std::filesystem::exists(beside));
    EXPECT_TRUE(std::filesystem::exists(tree.path("file")));
    EXPECT_EQ(driver->savedScanNotice(),
              "Saved index removed. The current in-memory scan and your files were preserved.");
    EXPECT_TRUE(driver->hasScanResult());
    EXPECT_EQ(driver->changedFolderCount(), 0);
    // Forgetting twice does no harm, and what is asked for meanwhile begins after it: the new index would go
    // with it.
    driver->forgetSavedScan();
    EXPECT_TRUE(driver->isForgetting());
    driver->scanFolder(tree.root());
    EXPECT_FALSE(driver->isScanning());
    ASSERT_TRUE(waitFor([this] { return driver->isScanning(); }));
    EXPECT_FALSE(driver->isForgetting());
    awaitEnd();
    EXPECT_TRUE(driver->hasSavedIndex());
    EXPECT_TRUE(std::filesystem::exists(index()));
}

TEST_F(SavedScanTest, forgettingThatFails_saysWhyAndKeepsTheNotice) {
    tree.file("file");
    scan(tree.root());
    const auto notice = driver->savedScanNotice();
    std::filesystem::remove(index());
    std::filesystem::create_directory(index());  // cannot be deleted as a file
    driver->forgetSavedScan();
    ASSERT_TRUE(waitFor([this] { return driver->error().has_value(); }));
    EXPECT_EQ(driver->savedScanNotice(), notice);
    EXPECT_TRUE(driver->hasSavedIndex());
}

TEST_F(SavedScanTest, whatIsChosenWhileForgettingWaits_isDoneAfterIt) {
    tree.file("first/file");
    tree.file("other/file");
    scan(tree.path("first"));
    std::optional<own_files::FolderLock> otherWindow(std::in_place, store.path("Larkfold"));
    QSignalSpy told(driver.get(), &DiskScannerViewModel::isForgettingChanged);
    driver->forgetSavedScan();
    EXPECT_TRUE(driver->isForgetting());
    EXPECT_EQ(told.count(), 1);
    driver->refreshIndex(true);
    driver->scanFolder(tree.path("other"));  // the last one counts
    EXPECT_FALSE(driver->isScanning());
    EXPECT_TRUE(std::filesystem::exists(index()));
    otherWindow.reset();
    ASSERT_TRUE(waitFor([&] {
        return !driver->isScanning() && driver->scanResult() &&
               driver->scanResult()->rootPath == tree.path("other");
    }));
    EXPECT_FALSE(driver->isForgetting());
    EXPECT_EQ(told.count(), 2);
    EXPECT_TRUE(std::filesystem::exists(index()));
    EXPECT_FALSE(driver->error());
}

TEST_F(SavedScanTest, forgettingThatWaits_canBeCancelled) {
    tree.file("file");
    scan(tree.root());
    const auto notice = driver->savedScanNotice();
    const own_files::FolderLock otherWindow(store.path("Larkfold"));
    driver->forgetSavedScan();
    driver->cancelScan();
    ASSERT_TRUE(waitFor([this] { return !driver->isForgetting(); }));
    EXPECT_FALSE(driver->error());
    EXPECT_TRUE(driver->hasSavedIndex());
    EXPECT_EQ(driver->savedScanNotice(), notice);
    EXPECT_TRUE(std::filesystem::exists(index()));
}

// Runs into the lock's ten seconds, and into the last line, where the end of the driver waits for it.
TEST_F(SavedScanTest, forgettingThatWaits_doesNotHoldUpTheClosingOfTheWindow) {
    tree.file("file");
    scan(tree.root());
    const own_files::FolderLock otherWindow(store.path("Larkfold"));
    driver->forgetSavedScan();
    driver->scanFolder(tree.root());
    driver.reset();
    EXPECT_TRUE(std::filesystem::exists(index()));
}

TEST_F(SavedScanTest, duringAScanThereIsNoForgetting) {
    tree.file("file");
    scan(tree.root());
    driver->scanFolder(tree.root());
    driver->forgetSavedScan();
    awaitEnd();
    EXPECT_TRUE(std::filesystem::exists(index()));
    EXPECT_TRUE(driver->hasSavedIndex());
}

}  // namespace
}  // namespace larkfold
