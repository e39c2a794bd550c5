// The recent scans in the real window: by keys wherever a person could, and with the real scan behind it.

#include <QAccessible>
#include <QtQml/QQmlExtensionPlugin>

#include <filesystem>
#include <string>
#include <vector>

#include "platform/Bookmark.h"
#include "shell/app/WindowFixture.h"

Q_IMPORT_QML_PLUGIN(Larkfold_ShellPlugin)

namespace larkfold::test {
namespace {

class RecentScansWindowTest : public WindowFixture {
protected:
    RecentScansWindowTest() { appearance_.setReducesMotion(true); }

    // The start page with these folders of the tree in the list, the first the newest.
    void startWith(const std::vector<std::string>& names) {
        std::vector<ScanHistoryEntry> entries;
        for (const std::string& name : names) {
            tree_.file(name + "/file");
            entries.push_back({.id = UUID::make(),
                               .rootPath = tree_.path(name),
                               .rootName = name,
                               .scanDate = now(),
                               .totalSize = 4'096,
                               .totalFiles = 1,
                               .totalDirectories = 1,
                               .scanDuration = 1,
                               .bookmarkData = makeBookmark(tree_.path(name))});
        }
        defaults_.setData(ScanHistoryManager::historyKey, encodedScanHistory(entries));
        startAfterFirstRun();
        window_->resize(1280, 800);
    }
    QQuickItem* list() { return named("recentScans"); }
    void focusList() {
        ASSERT_NE(list(), nullptr);
        list()->forceActiveFocus();
    }
    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) { QTest::keyClick(window_, key, modifiers); }
    std::vector<std::string> roots() {
        std::vector<std::string> found;
        for (const ScanHistoryEntry& entry : view().historyManager().history()) {
            found.push_back(std::filesystem::path(entry.rootPath).filename());
        }
        return found;
    }
    bool isMapped(const std::string& name) {
        return eventually([&] {
            return !driver().isScanning() && driver().scanResult() &&
                   driver().scanResult()->rootPath == tree_.path(name);
        });
    }
    void showStartPage() {
        view().startNewScan();
        ASSERT_TRUE(eventually([this] { return isShown("Scan Folder"); }));
    }
    QString focusText() {
        QQuickItem* const focus = window_->activeFocusItem();
        return focus != nullptr ? focus->property("text").toString() : QString();
    }
};

using Names = std::vector<std::string>;

TEST_F(RecentScansWindowTest, withoutAScanTheStartPageStaysAsItIs) {
    startAfterFirstRun();
    EXPECT_TRUE(isShown("Scan Folder"));
    EXPECT_FALSE(isShown("Recent Scans"));
    EXPECT_FALSE(isShown("Clear"));
    EXPECT_FALSE(isShown("Undo"));
}

TEST_F(RecentScansWindowTest, aFinishedScanIsListedWithItsFiguresAndIsTheCurrentOne) {
    tree_.fileOfSize("films/one", 3'000'000);
    startAfterFirstRun();
    ASSERT_TRUE(scan(tree_.path("films")));
    ASSERT_EQ(roots(), Names({"films"}));
    const ScanHistoryEntry& entry = view().historyManager().history()[0];
    EXPECT_EQ(entry.id, driver().scanResult()->id);
    EXPECT_EQ(entry.totalSize, driver().scanResult()->totalSize);
    EXPECT_EQ(entry.bookmarkData, makeBookmark(tree_.path("films")));
    showStartPage();
    EXPECT_TRUE(isShown("Recent Scans"));
    EXPECT_TRUE(isShown("films"));
    EXPECT_TRUE(isShown(QString::fromStdString(tree_.path("films"))));
    EXPECT_TRUE(isShown("1 file"));
    EXPECT_TRUE(isShown("Current"));
}

TEST_F(RecentScansWindowTest, aCancelledScanIsNotListed) {
    startWith({"a"});
    driver().scanFolder(tree_.folder("b"));
    driver().cancelScan();
    ASSERT_TRUE(eventually([this] { return !driver().isScanning(); }));
    ASSERT_EQ(driver().error(), "Scan was cancelled");
    EXPECT_EQ(roots(), Names({"a"}));
}

TEST_F(RecentScansWindowTest, aCancelledScanOffersTheSavedMapAgain) {
    tree_.file("a/file");
    for (int file = 0; file < 2'000; ++file) {  // enough that the scan has not ended when it is cancelled
        tree_.file("b/" + std::to_string(file / 20) + "/" + std::to_string(file));
    }
    startAfterFirstRun();
    ASSERT_TRUE(scan(tree_.path("a")));
    driver().scanFolder(tree_.path("b"));
    driver().cancelScan();
    ASSERT_TRUE(eventually([this] { return isShown("Scan was cancelled"); }));
    EXPECT_TRUE(view().diskSpace()->canReturnToMap());
    EXPECT_TRUE(isShown("Back to Map"));
    find("Show Saved Map")->forceActiveFocus(Qt::TabFocusReason);
    key(Qt::Key_Return);
    ASSERT_TRUE(isMapped("a"));
    EXPECT_EQ(view().diskSpace()->page(), DiskSpaceTab::Page::Result);
    EXPECT_EQ(window_->title(), "a — Larkfold");
    EXPECT_FALSE(isShown("Scan was cancelled"));
    EXPECT_NE(window_->activeFocusItem(), nullptr);
}

TEST_F(RecentScansWindowTest, aScanThatFailedWithoutASavedMapOffersNone) {
    for (int file = 0; file < 2'000; ++file) {
        tree_.file("a/" + std::to_string(file / 20) + "/" + std::to_string(file));
    }
    startWith({"a"});
    driver().scanFolder(tree_.path("a"));
    driver().cancelScan();
    ASSERT_TRUE(eventually([this] { return isShown("Scan was cancelled"); }));
    EXPECT_FALSE(isShown("Show Saved Map"));
    EXPECT_FALSE(view().diskSpace()->canReturnToMap());
}

TEST_F(RecentScansWindowTest, aRemovalTakesItsFiguresToTheListAndKeepsTheRest) {
    tree_.fileOfSize("films/one", 3'000'000);
    tree_.fileOfSize("films/two", 3'000'000);
    startAfterFirstRun();
    ASSERT_TRUE(scan(tree_.path("films")));
    const ScanHistoryEntry before = view().historyManager().history()[0];
    driver().toggleSelection(driver().scanResult()->rootNode->children()[0]);
    driver().deleteSelected(true);
    ASSERT_TRUE(eventually([this] { return !driver().isDeleting(); }));
    ASSERT_EQ(driver().scanResult()->totalFiles, 1);
    ScanHistoryEntry expected = before;
    expected.totalFiles = 1;
    expected.totalSize = driver().scanResult()->totalSize;
    EXPECT_LT(expected.totalSize, before.totalSize);
    EXPECT_EQ(view().historyManager().history(), std::vector<ScanHistoryEntry>({expected}));
    showStartPage();
    EXPECT_TRUE(isShown("1 file"));
}

TEST_F(RecentScansWindowTest, aRefreshTakesItsFiguresToTheListAlsoAfterARestart) {
    startWith({"a", "b"});
    focusList();
    key(Qt::Key_End);
    key(Qt::Key_Return);
    ASSERT_TRUE(isMapped("b"));
    ASSERT_EQ(roots(), Names({"b", "a"}));
    const auto refresh = [this] {
        driver().refreshIndex(true);
        return eventually([this] { return !driver().isScanning(); }) && !driver().error();
    };
    const ScanHistoryEntry before = view().historyManager().history()[0];
    tree_.file("b/more");
    ASSERT_TRUE(refresh());
    EXPECT_EQ(view().historyManager().history()[0].totalFiles, 2);
    EXPECT_EQ(view().historyManager().history()[0].bookmarkData, before.bookmarkData);
    EXPECT_EQ(view().historyManager().history()[0].scanDuration, before.scanDuration);
    EXPECT_GE(view().historyManager().history()[0].scanDate, before.scanDate);

    engine_.reset();
    app_.reset();
    start();
    ASSERT_TRUE(isMapped("b"));
    EXPECT_EQ(view().historyManager().history()[0].totalFiles, 2);
    tree_.file("b/still more");
    ASSERT_TRUE(refresh());
    EXPECT_EQ(view().historyManager().history()[0].totalFiles, 3);
    EXPECT_EQ(view().historyManager().history()[0].bookmarkData, before.bookmarkData);
    EXPECT_EQ(view().historyManager().history()[0].scanDuration, before.scanDuration);
    EXPECT_EQ(roots(), Names({"b", "a"}));
}

TEST_F(RecentScansWindowTest, returnScansTheChosenRowAgainAndItComesToTheFront) {
    startWith({"a", "b", "c"});
    focusList();
    key(Qt::Key_Down);
    key(Qt::Key_Down);
    key(Qt::Key_Down);  // there is no fourth
    key(Qt::Key_Up);
    key(Qt::Key_Return);
    ASSERT_TRUE(isMapped("b"));
    EXPECT_EQ(roots(), Names({"b", "a", "c"}));
}

TEST_F(RecentScansWindowTest, homeAndEndGoToTheEnds) {
    startWith({"a", "b", "c"});
    focusList();
    key(Qt::Key_End);
    EXPECT_EQ(list()->property("currentIndex"), 2);
    key(Qt::Key_Home);
    EXPECT_EQ(list()->property("currentIndex"), 0);
}

TEST_F(RecentScansWindowTest, theButtonsOfARowScanItAgainOrTakeItOff) {
    startWith({"a", "b"});
    const auto press = [this](const char* name, int row) {
        QQuickItem* item = nullptr;
        ASSERT_TRUE(QMetaObject::invokeMethod(list(), "itemAtIndex", Q_RETURN_ARG(QQuickItem*, item),
                                              Q_ARG(int, row)));
        ASSERT_NE(item, nullptr);
        QTest::mouseMove(window_, item->mapToScene(QPointF(100, 20)).toPoint());
        for (QQuickItem* each : item->findChildren<QQuickItem*>()) {
            if (each->property("text") == name) {
                QTest::mouseClick(window_, Qt::LeftButton, {},
                                  each->mapToScene(QPointF(each->width() / 2, each->height() / 2)).toPoint());
                return;
            }
        }
        FAIL() << name;
    };
    press("Remove from history", 0);
    EXPECT_EQ(roots(), Names({"b"}));
    press("Rescan this folder", 0);
    EXPECT_TRUE(isMapped("b"));
}

TEST_F(RecentScansWindowTest, deleteTakesARowOffAndTheKeyboardStaysInTheList) {
    startWith({"a", "b", "c"});
    focusList();
    key(Qt::Key_Down);
    key(Qt::Key_Delete);
    EXPECT_EQ(roots(), Names({"a", "c"}));
    EXPECT_EQ(list()->property("currentIndex"), 1);
    EXPECT_TRUE(list()->hasActiveFocus());
    EXPECT_TRUE(isShown("“b” was removed from the list. The folder itself is untouched."));
    key(Qt::Key_Delete);
    EXPECT_EQ(roots(), Names({"a"}));
    EXPECT_EQ(list()->property("currentIndex"), 0);
    key(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(roots(), Names({"a", "c"}));
    EXPECT_FALSE(isShown("Undo"));
}

TEST_F(RecentScansWindowTest, theLastRowThatGoesGivesTheKeyboardToUndo) {
    startWith({"a"});
    focusList();
    key(Qt::Key_Delete);
    EXPECT_TRUE(roots().empty());
    EXPECT_FALSE(isShown("Recent Scans"));
    EXPECT_EQ(focusText(), "Undo");
    key(Qt::Key_Return);
    EXPECT_EQ(roots(), Names({"a"}));
    EXPECT_TRUE(isShown("Recent Scans"));
    EXPECT_TRUE(list()->hasActiveFocus());
}

TEST_F(RecentScansWindowTest, clearEmptiesTheListAndUndoBringsItBack) {
    startWith({"a", "b"});
    click("Clear");
    EXPECT_TRUE(roots().empty());
    EXPECT_TRUE(isShown("The list was cleared. Your folders are untouched."));
    EXPECT_TRUE(defaults_.flush());
    EXPECT_EQ(UserDefaults(surroundings_.path("settings.json"), events_.queue()).dataForKey("ScanHistory"),
              "[]");
    click("Undo");
    EXPECT_EQ(roots(), Names({"a", "b"}));
    EXPECT_FALSE(isShown("Undo"));
    EXPECT_TRUE(std::filesystem::exists(tree_.path("a/file")));
}

TEST_F(RecentScansWindowTest, leavingThePageEndsTheWayBack) {
    startWith({"a", "b"});
    click("Clear");
    ASSERT_TRUE(isShown("Undo"));
    ASSERT_TRUE(scan(tree_.path("a")));
    showStartPage();
    EXPECT_FALSE(isShown("Undo"));
    EXPECT_EQ(roots(), Names({"a"}));
}

TEST_F(RecentScansWindowTest, theMenuOffersTheSameTwo) {
    startWith({"a", "b"});
    focusList();
    key(Qt::Key_Down);
    key(Qt::Key_Menu);
    ASSERT_TRUE(eventually([this] { return isShown("Remove from history"); }));
    key(Qt::Key_Down);
    key(Qt::Key_Down);
    key(Qt::Key_Return);
    ASSERT_TRUE(eventually([this] { return roots() == Names({"a"}); }));
}

TEST_F(RecentScansWindowTest, aFolderWhosePermissionHasGoneIsToldOnThePage) {
    startWith({"a", "gone"});
    std::filesystem::remove_all(tree_.path("gone"));
    focusList();
    key(Qt::Key_End);
    key(Qt::Key_Return);
    EXPECT_TRUE(eventually(
        [this] { return isShown("This saved folder needs permission again. Please select it manually."); }));
    EXPECT_FALSE(view().diskSpace()->showDiskAccessIssue());
    EXPECT_EQ(roots(), Names({"a", "gone"}));
}

TEST_F(RecentScansWindowTest, aListLongerThanThePageScrollsWithTheKeyboard) {
    Names names;
    for (int number = 0; number < 20; ++number) {
        names.push_back("folder" + std::to_string(number));
    }
    startWith(names);
    window_->resize(900, 600);
    ASSERT_TRUE(eventually(
        [this] { return window_->contentItem()->size() == QSizeF(900, 600) && list()->width() < 800; }));
    focusList();
    key(Qt::Key_End);
    ASSERT_TRUE(eventually([this] { return list()->property("currentIndex") == 19; }));
    const auto* row = list()->property("currentItem").value<QQuickItem*>();
    ASSERT_NE(row, nullptr);
    ASSERT_TRUE(eventually([&] { return row->mapToScene(QPointF(0, row->height())).y() <= 600; }))
        << row->mapToScene(QPointF(0, row->height())).y();
    EXPECT_GE(row->mapToScene(QPointF()).y(), 86) << "below the toolbar";
    key(Qt::Key_Delete);  // what tells of it does not lie over the row that has the keyboard
    const auto* last = list()->property("currentItem").value<QQuickItem*>();
    ASSERT_TRUE(eventually([this] { return isShown("Undo"); }));
    QQuickItem* undo = find("Undo");
    EXPECT_LE(last->mapToScene(QPointF(0, last->height())).y(), undo->mapToScene(QPointF()).y());
    key(Qt::Key_Home);
    EXPECT_GE(list()->property("currentItem").value<QQuickItem*>()->mapToScene(QPointF()).y(), 86);
}

TEST_F(RecentScansWindowTest, assistiveTechnologyReadsTheRowsAndTheirActions) {
    startWith({"a"});
    QQuickItem* item = nullptr;
    ASSERT_TRUE(
        QMetaObject::invokeMethod(list(), "itemAtIndex", Q_RETURN_ARG(QQuickItem*, item), Q_ARG(int, 0)));
    auto* rows = QAccessible::queryAccessibleInterface(list());
    ASSERT_NE(rows, nullptr);
    EXPECT_EQ(rows->role(), QAccessible::List);
    EXPECT_EQ(rows->text(QAccessible::Name), "Recent Scans");
    auto* row = QAccessible::queryAccessibleInterface(item);
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(row->role(), QAccessible::ListItem);
    EXPECT_TRUE(
        row->text(QAccessible::Name).startsWith("a, " + QString::fromStdString(tree_.path("a")) + ", "))
        << row->text(QAccessible::Name).toStdString();
    QStringList actions;
    for (int child = 0; child < row->childCount(); ++child) {
        if (row->child(child)->role() == QAccessible::Button) {
            actions << row->child(child)->text(QAccessible::Name);
        }
    }
    actions.sort();
    EXPECT_EQ(actions, QStringList({"Remove from history", "Rescan this folder"}))
        << actions.join(", ").toStdString();
    row->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    EXPECT_TRUE(isMapped("a"));
}

}  // namespace
}  // namespace larkfold::test
