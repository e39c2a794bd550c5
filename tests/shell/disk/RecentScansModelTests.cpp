#include "shell/disk/RecentScansModel.h"

#include <gtest/gtest.h>

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QTest>
#include <filesystem>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "disk/DiskScannerViewModel.h"
#include "disk/ScanHistoryManager.h"
#include "platform/Bookmark.h"
#include "platform/qt/EventLoopQueue.h"
#include "support/TemporaryTree.h"

namespace larkfold {
namespace {

using test::TemporaryTree;
using Model = RecentScansModel;

constexpr double kMoment = 1'795'000'000;  // 18 November 2026, 11:06:40 in the time of the tests
constexpr double kDay = 86'400;

ScanHistoryEntry entry(const std::string& path, const std::string& name, double date = kMoment) {
    return {.id = UUID::make(),
            .rootPath = path,
            .rootName = name,
            .scanDate = dateFromSecondsSince1970(date),
            .totalSize = 1'840'000'000'000,
            .totalFiles = 640'221,
            .totalDirectories = 12,
            .scanDuration = 3,
            .bookmarkData = std::nullopt};
}

class RecentScansModelTest : public testing::Test {
protected:
    QString text(int row, Model::Role role) const { return model.data(model.index(row), role).toString(); }
    bool isCurrent(int row) const { return model.data(model.index(row), Model::IsCurrentRole).toBool(); }
    QStringList names() const {
        QStringList list;
        for (int row = 0; row < model.count(); ++row) {
            list << text(row, Model::NameRole);
        }
        return list;
    }
    static bool eventually(const std::function<bool()>& condition) {
        return QTest::qWaitFor(condition, 60'000);
    }
    bool scans(const std::string& path) {
        return eventually([&] { return driver.scanResult() && driver.scanResult()->rootPath == path; });
    }
    void fill() { history.restore({entry("/home/a", "a"), entry("/home/b", "b"), entry("/home/c", "c")}); }

    TemporaryTree place;
    TemporaryTree tree;
    EventLoopQueue events;
    UserDefaults defaults{place.path("settings.json"), events.queue()};
    DiskScannerViewModel driver{{.mainQueue = events.queue(),
                                 .defaults = defaults,
                                 .indexFileURL = place.path("index/latest-scan.sqlite")}};
    ScanHistoryManager history{defaults, events.queue()};
    Date present = dateFromSecondsSince1970(kMoment);
    Model model{history, driver, [this] { return present; }};
    QAbstractItemModelTester tester{&model, QAbstractItemModelTester::FailureReportingMode::Fatal};
};

TEST_F(RecentScansModelTest, anEmptyListHasNoRowsAndNothingToBringBack) {
    EXPECT_EQ(model.count(), 0);
    model.clear();
    model.undo();
    model.remove(0);
    model.rescan(0);
    EXPECT_TRUE(model.undoText().isEmpty());
    EXPECT_FALSE(driver.isScanning());
}

TEST_F(RecentScansModelTest, aRowTellsTheRootItsFiguresAndItsAge) {
    ScanHistoryEntry one = entry("/srv/one", "one", kMoment - 2 * kDay);
    one.totalFiles = 1;
    history.restore({entry("/mnt/archive", "archive"), one, entry("/", "/", kMoment - kDay)});
    ASSERT_EQ(model.count(), 3);
    EXPECT_EQ(text(0, Model::NameRole), "archive");
    EXPECT_EQ(text(0, Model::PathRole), "/mnt/archive");
    EXPECT_EQ(text(0, Model::SizeTextRole), "1.84 TB");
    EXPECT_EQ(text(0, Model::FilesTextRole), "640,221 files");
    EXPECT_EQ(text(0, Model::AgeTextRole), "Today, 11:06");
    EXPECT_EQ(text(0, Model::IconNameRole), "folder");
    EXPECT_EQ(text(0, Model::SpokenTextRole), "archive, /mnt/archive, 1.84 TB, 640,221 files, Today, 11:06");
    EXPECT_EQ(text(1, Model::FilesTextRole), "1 file");
    EXPECT_EQ(text(1, Model::AgeTextRole), "16 Nov 2026");
    EXPECT_EQ(text(2, Model::NameRole), "Startup Disk");
    EXPECT_EQ(text(2, Model::IconNameRole), "disk");
    EXPECT_EQ(text(2, Model::AgeTextRole), "Yesterday");
}

TEST_F(RecentScansModelTest, namesThatAreNoTextAndFiguresThatCannotBeAreShownAllTheSame) {
    ScanHistoryEntry odd = entry("/\xFF\n/x", "\xFF\n");
    odd.scanDate = dateFromSecondsSince1970(1e300);
    odd.totalSize = std::numeric_limits<std::int64_t>::min();
    odd.totalFiles = std::numeric_limits<std::int64_t>::min();
    history.restore({odd});
    EXPECT_EQ(text(0, Model::NameRole), "\uFFFD\u240A");
    EXPECT_EQ(text(0, Model::PathRole), "/\uFFFD\u240A/x");
    EXPECT_EQ(text(0, Model::AgeTextRole), "Unknown date");
    EXPECT_FALSE(text(0, Model::SizeTextRole).isEmpty());
    EXPECT_FALSE(text(0, Model::FilesTextRole).isEmpty());
}

TEST_F(RecentScansModelTest, agesAreWordedAnewWhenTheDayHasChanged) {
    fill();
    QSignalSpy changed(&model, &Model::dataChanged);
    present = dateFromSecondsSince1970(kMoment + 60);
    model.refreshAges();
    EXPECT_EQ(changed.count(), 0);
    present = dateFromSecondsSince1970(kMoment + kDay);
    model.refreshAges();
    ASSERT_EQ(changed.count(), 1);
    EXPECT_EQ(changed[0][1].toModelIndex().row(), 2);
    EXPECT_EQ(text(0, Model::AgeTextRole), "Yesterday");
    model.refreshAges();
    EXPECT_EQ(changed.count(), 1);
}

TEST_F(RecentScansModelTest, theRootOnScreenIsTheCurrentOne) {
    const std::string folder = tree.folder("films");
    history.restore({entry("/home/a", "a"), entry(folder, "films")});
    EXPECT_FALSE(isCurrent(1));
    driver.scanFolder(folder);
    ASSERT_TRUE(scans(folder));
    EXPECT_FALSE(isCurrent(0));
    EXPECT_TRUE(isCurrent(1));
    EXPECT_TRUE(text(1, Model::SpokenTextRole).endsWith(", Current"));
    driver.scanFolder(tree.root());
    EXPECT_FALSE(isCurrent(1)) << "the map is gone as soon as another scan begins";
    ASSERT_TRUE(scans(tree.root()));
}

// MARK: Scanning again

TEST_F(RecentScansModelTest, rescanScansTheFolderWithItsBookmark) {
    const std::string folder = tree.folder("films");
    ScanHistoryEntry films = entry(folder, "films");
    films.bookmarkData = makeBookmark(folder);
    history.restore({entry("/home/a", "a"), films});
    model.rescan(1);
    EXPECT_FALSE(driver.isScanning()) << "the disk is asked first";
    ASSERT_TRUE(scans(folder));
    EXPECT_EQ(driver.scanRootBookmarkData(), films.bookmarkData);
    EXPECT_EQ(driver.scanScope(), ScanScope::selectedFolder);
}

TEST_F(RecentScansModelTest, aStaleBookmarkIsReplacedInTheStoreBeforeTheScanBegins) {
    const std::string folder = tree.folder("films");
    ScanHistoryEntry films = entry(folder, "films");
    films.bookmarkData = makeBookmark(folder);
    std::filesystem::rename(folder, tree.path("the one before"));
    std::filesystem::create_directory(folder);
    history.restore({films});
    std::optional<std::string> storedAtBegin;
    QObject::connect(&driver, &DiskScannerViewModel::isScanningChanged, [&] {
        if (driver.isScanning()) {
            storedAtBegin = ScanHistoryManager(defaults, events.queue()).history().at(0).bookmarkData;
        }
    });
    model.rescan(0);
    ASSERT_TRUE(scans(folder));
    EXPECT_EQ(storedAtBegin, makeBookmark(folder));
    EXPECT_NE(storedAtBegin, films.bookmarkData);
    EXPECT_EQ(driver.scanRootBookmarkData(), storedAtBegin);
}

TEST_F(RecentScansModelTest, aFolderThatIsGoneIsToldAndTheMapStays) {
    driver.scanFolder(tree.folder("on screen"));
    ASSERT_TRUE(scans(tree.path("on screen")));
    ScanHistoryEntry gone = entry(tree.folder("gone"), "gone");
    gone.bookmarkData = makeBookmark(gone.rootPath);
    std::filesystem::remove(gone.rootPath);
    history.restore({gone});
    model.rescan(0);
    ASSERT_TRUE(eventually([this] { return driver.error().has_value(); }));
    EXPECT_EQ(driver.error(), "This saved folder needs permission again. Please select it manually.");
    EXPECT_FALSE(driver.isAccessProblem());
    EXPECT_FALSE(driver.isScanning());
    EXPECT_TRUE(driver.hasScanResult());
    EXPECT_EQ(model.count(), 1) << "the user may take it off";

    // Said anew, and in between not.
    model.rescan(0);
    EXPECT_FALSE(driver.error());
    EXPECT_TRUE(eventually([this] { return driver.error().has_value(); }));
}

TEST_F(RecentScansModelTest, duringAScanNothingIsScannedAgain) {
    tree.file("here/file");
    history.restore({entry(tree.folder("other"), "other")});
    driver.scanFolder(tree.path("here"));
    model.rescan(0);
    EXPECT_FALSE(driver.error());
    ASSERT_TRUE(scans(tree.path("here")));
    EXPECT_FALSE(driver.isScanning());
}

// MARK: Taking off, and back

TEST_F(RecentScansModelTest, aRowThatGoesLeavesTheOthersWhereTheyAre) {
    fill();
    QSignalSpy removed(&model, &Model::rowsRemoved);
    QSignalSpy reset(&model, &Model::modelReset);
    model.remove(1);
    EXPECT_EQ(names(), QStringList({"a", "c"}));
    ASSERT_EQ(removed.count(), 1);
    EXPECT_EQ(removed[0][1].toInt(), 1);
    EXPECT_EQ(reset.count(), 0);
    EXPECT_EQ(model.undoText(), "“b” was removed from the list. The folder itself is untouched.");
    EXPECT_EQ(history.history().size(), 2u);
}

TEST_F(RecentScansModelTest, theFirstAndTheLastRowCanGoToo) {
    fill();
    QSignalSpy removed(&model, &Model::rowsRemoved);
    model.remove(2);
    model.remove(0);
    EXPECT_EQ(names(), QStringList({"b"}));
    model.remove(0);
    EXPECT_EQ(model.count(), 0);
    EXPECT_EQ(removed.count(), 3);
}

TEST_F(RecentScansModelTest, undoBringsBackTheLatestOfWhatWentAndItsPlace) {
    fill();
    model.remove(0);
    model.remove(0);
    model.undo();
    EXPECT_EQ(names(), QStringList({"b", "c"}));
    EXPECT_TRUE(model.undoText().isEmpty());
    model.undo();
    EXPECT_EQ(model.count(), 2);
}

TEST_F(RecentScansModelTest, clearEmptiesTheListAndUndoFillsItAgain) {
    fill();
    const std::vector<ScanHistoryEntry> before = history.history();
    model.clear();
    EXPECT_EQ(model.count(), 0);
    EXPECT_EQ(model.undoText(), "The list was cleared. Your folders are untouched.");
    EXPECT_TRUE(history.history().empty());
    model.undo();
    EXPECT_EQ(history.history(), before);
    EXPECT_EQ(names(), QStringList({"a", "b", "c"}));
}

TEST_F(RecentScansModelTest, whatHappensToTheListOtherwiseEndsTheWayBack) {
    fill();
    model.clear();
    history.restore({entry("/new", "new")});
    EXPECT_TRUE(model.undoText().isEmpty());
    model.undo();
    EXPECT_EQ(names(), QStringList({"new"}));
    model.clear();
    model.forgetUndo();
    model.undo();
    EXPECT_EQ(model.count(), 0);
}

}  // namespace
}  // namespace larkfold
