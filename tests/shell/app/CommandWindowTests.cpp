// What the window's controls offer: a button or a menu item is enabled exactly when it acts, also for whoever
// presses it by assistive technology, and says why where it does not.
#include <QAccessible>
#include <QQuickItem>
#include <QSignalSpy>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/FileLock.h"
#include "shell/app/WindowFixture.h"
#include "support/GateThatTells.h"

namespace larkfold {
namespace {

class CommandWindowTest : public test::WindowFixture {
protected:
    void startWithAMap() {
        tree_.file("all/a/file", "content");
        tree_.file("all/b/file", "content");
        startAfterFirstRun();
        ASSERT_TRUE(scan(tree_.path("all")));
    }
    void mark() { driver().toggleSelection(driver().scanResult()->rootNode->children().front()); }
    void holdIndex() { otherWindow_.emplace(surroundings_.path("index")); }

    // The item of the menu bar, whether its menu is open or not.
    QObject* menuItem(const QString& text) const {
        for (QObject* menu : window_->findChildren<QObject*>()) {
            if (!menu->inherits("QQuickMenu")) {
                continue;
            }
            for (int index = 0; index < menu->property("count").toInt(); ++index) {
                QQuickItem* item = nullptr;
                QMetaObject::invokeMethod(menu, "itemAt", Q_RETURN_ARG(QQuickItem*, item), Q_ARG(int, index));
                if (item != nullptr && item->property("text").toString() == text) {
                    return item;
                }
            }
        }
        return nullptr;
    }
    struct Control {
        bool isEnabled = false;
        QString description = {};  // as assistive technology is told
    };
    static Control controlOf(QObject* item) {
        QAccessibleInterface* const interface = QAccessible::queryAccessibleInterface(item);
        if (interface == nullptr) {
            ADD_FAILURE() << "no control";
            return {};
        }
        return {.isEnabled = item->property("enabled").toBool(),
                .description = interface->text(QAccessible::Description)};
    }
    static void press(QObject* item) {
        QAccessibleInterface* const interface = QAccessible::queryAccessibleInterface(item);
        ASSERT_NE(interface, nullptr);
        ASSERT_NE(interface->actionInterface(), nullptr);
        interface->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    }

    // It is disabled, says why, and a press changes nothing.
    void expectRefused(QObject* item, const QString& reason) {
        ASSERT_NE(item, nullptr);
        SCOPED_TRACE(item->property("text").toString().toStdString());
        const Control control = controlOf(item);
        EXPECT_FALSE(control.isEnabled);
        EXPECT_EQ(control.description.toStdString(), "Not available. " + reason.toStdString());
        QSignalSpy scanning(&driver(), &DiskScannerViewModel::isScanningChanged);
        QSignalSpy marking(&driver(), &DiskScannerViewModel::selectedForDeletionChanged);
        QSignalSpy reviewing(&driver(), &DiskScannerViewModel::showDeleteConfirmationChanged);
        QSignalSpy paging(view().diskSpace(), &DiskSpaceTab::pageChanged);
        QSignalSpy asking(&view(), &MainView::forgetIndexConfirmationChanged);
        press(item);
        EXPECT_EQ(scanning.count() + marking.count() + reviewing.count() + paging.count() + asking.count(),
                  0);
    }

    std::optional<own_files::FolderLock> otherWindow_;
};

TEST_F(CommandWindowTest, duringARefresh_nothingElseCanBePressed) {
    startWithAMap();
    mark();
    ASSERT_TRUE(eventually([this] { return isShown("Review…"); }));
    EXPECT_TRUE(controlOf(find("Review…")).isEnabled);
    EXPECT_TRUE(controlOf(menuItem("Delete Selected")).isEnabled);
    EXPECT_TRUE(controlOf(menuItem("New Scan")).isEnabled);
    expectRefused(menuItem("Cancel Scan"), "No scan is under way.");
    holdIndex();
    driver().refreshIndex(true);
    ASSERT_TRUE(driver().isRefreshingIndex());
    const QString reason = "A refresh is under way.";
    for (const char* title :
         {"Review…", "Clear Marks", "Delete Selected", "Current folder", "Forget saved scan…"}) {
        expectRefused(find(title), reason);
    }
    for (const char* title : {"New Scan", "Delete Selected", "Scan Folder…", "Current folder",
                              "Scan Everything Again", "Forget saved scan…"}) {
        expectRefused(menuItem(title), reason);
    }
    EXPECT_TRUE(controlOf(menuItem("Cancel Scan")).isEnabled);
    press(find("Cancel"));
    otherWindow_.reset();
    ASSERT_TRUE(eventually([this] { return !driver().isScanning(); }));
    EXPECT_EQ(driver().error(), "Refresh did not finish: The operation was cancelled.");
    EXPECT_TRUE(controlOf(find("Review…")).isEnabled);
}

TEST_F(CommandWindowTest, aForgettingThatWaits_saysSoAndCanBeCancelled) {
    startWithAMap();
    holdIndex();
    driver().forgetSavedScan();
    ASSERT_TRUE(eventually([this] {
        return isShown("Forgetting the saved scan. Another window of Larkfold is busy with it.");
    }));
    expectRefused(menuItem("New Scan"), "The saved scan is being forgotten.");
    expectRefused(find("Forget saved scan…"), "The saved scan is being forgotten.");
    click("Cancel");
    otherWindow_.reset();
    ASSERT_TRUE(eventually([this] { return !driver().isForgetting(); }));
    EXPECT_TRUE(driver().hasSavedIndex());
    EXPECT_FALSE(isShown("Forgetting the saved scan. Another window of Larkfold is busy with it."));
}

TEST_F(CommandWindowTest, whatIsPickedWhileForgettingWaits_isScannedAfterIt) {
    startWithAMap();
    tree_.file("other/file");
    holdIndex();
    driver().forgetSavedScan();
    view().diskSpace()->drop({QUrl::fromLocalFile(QString::fromStdString(tree_.path("other")))});
    otherWindow_.reset();
    ASSERT_TRUE(eventually([this] {
        return !driver().isScanning() && driver().scanResult() &&
               driver().scanResult()->rootPath == tree_.path("other");
    }));
    EXPECT_TRUE(driver().hasSavedIndex());
}

TEST_F(CommandWindowTest, theRootDropped_isTheWholeDisk) {
    startAfterFirstRun();
    view().diskSpace()->drop({QUrl("file:///")});
    ASSERT_TRUE(eventually([this] { return driver().isScanning(); }));
    EXPECT_TRUE(driver().scansStartupDisk());
    driver().cancelScan();
    ASSERT_TRUE(eventually([this] { return !driver().isScanning(); }));
}

TEST_F(CommandWindowTest, aFolderThatIsEmptyNow_isAskedAboutAndTheMapStays) {
    startWithAMap();
    std::filesystem::rename(tree_.path("all"), tree_.path("elsewhere"));
    tree_.folder("all");
    press(menuItem("Scan Everything Again"));
    ASSERT_TRUE(eventually([this] { return isShown("This folder is empty now"); }));
    EXPECT_EQ(view().diskSpace()->page(), DiskSpaceTab::Page::Result);
    EXPECT_TRUE(
        isShown("“all” holds nothing any more, and its saved scan has 2 files. If it lies on a drive that "
                "is not connected, connect the drive and try again."));
    QTest::keyClick(window_, Qt::Key_Escape);
    ASSERT_TRUE(eventually([this] { return !isShown("This folder is empty now"); }));
    EXPECT_EQ(driver().scanResult()->totalFiles, 2);

    press(menuItem("Scan Everything Again"));
    ASSERT_TRUE(eventually([this] { return isShown("Replace Saved Scan"); }));
    click("Replace Saved Scan");
    ASSERT_TRUE(eventually([this] {
        return !driver().isScanning() && driver().scanResult() && driver().scanResult()->totalFiles == 0;
    }));
}

TEST_F(CommandWindowTest, aFolderThatIsNotThere_saysWhatToDo) {
    startWithAMap();
    std::filesystem::rename(tree_.path("all"), tree_.path("elsewhere"));
    QTest::keyClick(window_, Qt::Key_F5, Qt::ControlModifier | Qt::ShiftModifier);
    const QString text = QString::fromStdString("“" + tree_.path("all") + "” is not there.");
    ASSERT_TRUE(eventually([&] { return isShown(text); }));
    EXPECT_TRUE(
        isShown("The folder is not there. If it lies on a drive that is not connected, connect the drive and "
                "try again. The map and the saved scan were kept."));
    EXPECT_EQ(view().diskSpace()->page(), DiskSpaceTab::Page::Result);
    EXPECT_EQ(driver().scanResult()->totalFiles, 2);
}

}  // namespace
}  // namespace larkfold
