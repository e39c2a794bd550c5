// The real window with its flows: the first run, the tabs, the commands, access, dropped folders.

#include <QAccessible>
#include <QQmlComponent>
#include <QSignalSpy>
#include <QtQml/QQmlExtensionPlugin>

#include <algorithm>
#include <cmath>
#include <string>

#include "platform/Path.h"
#include "platform/qt/PathText.h"
#include "shell/app/WindowFixture.h"
#include "shell/app/WindowMemory.h"

Q_IMPORT_QML_PLUGIN(Larkfold_ShellPlugin)

namespace larkfold::test {
namespace {

using MainWindowTest = WindowFixture;

TEST_F(MainWindowTest, firstStart_showsTheFirstPageAndNoneOfTheTabs) {
    start();
    EXPECT_TRUE(isShown("Welcome to Larkfold"));
    EXPECT_TRUE(isShown("The smart way to free up disk space on your computer"));
    EXPECT_FALSE(isShown("Disk Space"));
    EXPECT_FALSE(isShown("Back"));
    EXPECT_EQ(app_->mainView(), nullptr);
}

TEST_F(MainWindowTest, firstRun_goesThroughItsPagesAndBack) {
    start();
    click("Next");
    EXPECT_TRUE(isShown("What Larkfold Can Do"));
    for (const char* row :
         {"Visualize Disk Space", "Find Duplicates", "AI Tool Health", "Vibe Projects", "Safe Cleanup"}) {
        EXPECT_TRUE(isShown(row)) << row;
    }
    click("Next");
    EXPECT_TRUE(isShown("Permissions"));
    EXPECT_TRUE(isShown("Enabled"));
    EXPECT_FALSE(isShown("Enable"));
    click("Next");
    EXPECT_TRUE(isShown("You're All Set!"));
    click("Back");
    EXPECT_TRUE(isShown("Permissions"));
}

TEST_F(MainWindowTest, theTipsOfTheLastPageHaveTheirIconsBesideThemAndInTheirCard) {
    start();
    for (int page = 0; page < 3; ++page) {
        click("Next");
    }
    ASSERT_TRUE(eventually([this] { return isShown("Quick tips:"); }));
    const auto place = [](const QQuickItem* item) {
        return item->mapRectToScene(QRectF(0, 0, item->width(), item->height()));
    };
    for (const int width : {1280, 900}) {
        window_->resize(width, 700);
        ASSERT_TRUE(eventually([&] { return window_->contentItem()->width() == width; }));
        for (const char* text :
             {"Start with a disk scan to see your storage", "Use System Cleanup to remove junk files",
              "Check for duplicates to find wasted space"}) {
            QQuickItem* const label = find(text);
            ASSERT_NE(label, nullptr) << text;
            QQuickItem* const icon = label->parentItem()->findChild<QQuickItem*>("tipIcon");
            ASSERT_NE(icon, nullptr) << text;
            EXPECT_TRUE(eventually([&] {
                return std::abs(place(icon).center().y() - place(label).center().y()) <= 3 &&
                       place(named("tips")).contains(place(icon));
            })) << text
                << ": icon at " << place(icon).center().y() << ", text at " << place(label).center().y();
            // It is drawn where it stands as well.
            const QImage picture = window_->grabWindow();
            const QColor inside = picture.pixelColor(place(named("tips")).topLeft().toPoint() + QPoint(8, 8));
            const QRect spot = place(icon).toAlignedRect();
            int drawn = 0;
            for (int x = spot.left(); x <= spot.right(); ++x) {
                drawn += picture.pixelColor(x, spot.center().y()) != inside ? 1 : 0;
            }
            EXPECT_GE(drawn, 4) << text;
        }
    }
}

TEST_F(MainWindowTest, getStarted_setsHasCompletedOnboardingAndShowsTheTabs) {
    start();
    for (int page = 0; page < 3; ++page) {
        click("Next");
    }
    EXPECT_FALSE(defaults_.boolForKey("hasCompletedOnboarding").value_or(false));
    click("Get Started");
    EXPECT_TRUE(eventually([this] { return isShown("Scan Entire Disk"); }));
    EXPECT_EQ(defaults_.boolForKey("hasCompletedOnboarding"), true);
    EXPECT_TRUE(isShown("Disk Space"));
}

TEST_F(MainWindowTest, permissionsPage_leadsToTheGuideAndChecksAgain) {
    hasAccess_ = false;
    start();
    click("Next");
    click("Next");
    EXPECT_FALSE(isShown("I've Enabled It — Check Again"));
    click("Enable");
    EXPECT_TRUE(app_->permissionManager()->showSettingsGuide());
    click("Done");
    ASSERT_TRUE(eventually([this] { return !isShown("Done"); }));
    click("I've Enabled It — Check Again");
    ASSERT_TRUE(eventually([this] { return !app_->permissionManager()->isChecking(); }));
    EXPECT_TRUE(
        isShown("Access not detected yet. Make sure you toggled Larkfold in Settings → Privacy & "
                "Security → Full Disk Access."));
    hasAccess_ = true;
    click("I've Enabled It — Check Again");
    EXPECT_TRUE(eventually([this] { return isShown("Enabled"); }));
}

TEST_F(MainWindowTest, aStoredTabThatIsNotThere_showsTheFirstAndStaysStored) {
    defaults_.setInteger("selectedTab", 6);
    startAfterFirstRun();
    EXPECT_EQ(view().selectedTab(), 0);
    EXPECT_TRUE(isShown("Scan Entire Disk"));
    app_->showTab(0);
    EXPECT_EQ(defaults_.integerForKey("selectedTab"), 6);
}

TEST_F(MainWindowTest, cancelScanWithoutAScan_doesNothing) {
    startAfterFirstRun();
    QTest::keyClick(window_, Qt::Key_Period, Qt::ControlModifier);
    EXPECT_FALSE(driver().isScanning());
    EXPECT_FALSE(driver().error().has_value());
    EXPECT_TRUE(isShown("Scan Entire Disk"));
}

TEST_F(MainWindowTest, aFinishedScanShowsTheResultAndItsSums) {
    tree_.file("home/a", "x");
    startAfterFirstRun();
    ASSERT_TRUE(scan(tree_.path("home")));
    EXPECT_EQ(view().diskSpace()->page(), DiskSpaceTab::Page::Result);
    EXPECT_TRUE(isShown("Refresh"));
    EXPECT_TRUE(isShown("Forget saved scan…"));
    EXPECT_TRUE(isShown("in 1 file, 1 folder"));
    EXPECT_EQ(window_->title(), "home — Larkfold");
}

TEST_F(MainWindowTest, whatTheFileSystemKeepsBackIsAPartOfItsOwnInTheDisksBar) {
    capacity_ = {.total = 500'000'000'000, .available = 150'000'000'000, .free = 175'000'000'000};
    startAfterFirstRun();
    ASSERT_TRUE(eventually([this] { return isShown("325 GB used"); }));
    EXPECT_TRUE(isShown("25 GB reserved"));
    EXPECT_TRUE(isShown("150 GB free"));
    EXPECT_TRUE(isShown("of 500 GB"));
    QQuickItem* const bar = named("volumeBar");
    ASSERT_NE(bar, nullptr);
    for (const int width : {1280, 900}) {
        window_->resize(width, 600);
        ASSERT_TRUE(eventually([&] { return window_->contentItem()->width() == width; }));
        ASSERT_TRUE(eventually([&] { return bar->width() >= 100; })) << bar->width();
        EXPECT_TRUE(eventually([&] {
            return std::abs(named("usedPart")->width() - bar->width() * 0.65) <= 1 &&
                   std::abs(named("reservedPart")->width() - bar->width() * 0.05) <= 1 &&
                   named("reservedPart")->x() > named("usedPart")->width() &&
                   std::abs(named("freePart")->x() + named("freePart")->width() - bar->width()) <= 1;
        })) << width;
    }
    EXPECT_EQ(QAccessible::queryAccessibleInterface(bar)->text(QAccessible::Name),
              "Startup Disk: 325 GB used, 25 GB reserved, 150 GB free, of 500 GB");
}

TEST_F(MainWindowTest, withoutReservedSpaceTheDisksBarHasNoPartForIt) {
    startAfterFirstRun();
    ASSERT_TRUE(eventually([this] { return isShown("60 bytes used"); }));
    EXPECT_EQ(named("reservedPart")->width(), 0);
    EXPECT_FALSE(named("reservedPart")->isVisible());
}

TEST_F(MainWindowTest, theColumnTypeIsThereAtTheFirstSize) {
    tree_.file("home/a", "x");
    startAfterFirstRun();
    ASSERT_EQ(window_->size(), QSize(1280, 800));
    ASSERT_TRUE(scan(tree_.path("home")));
    EXPECT_TRUE(eventually([this] { return named("headerType") && named("headerType")->isVisible(); }));
    EXPECT_FALSE(named("hiddenColumns")->isVisible());
}

TEST_F(MainWindowTest, atTheSmallestSizeTheHiddenColumnIsReached) {
    tree_.file("home/sub/a", "x");
    startAfterFirstRun();
    window_->resize(900, 600);
    ASSERT_TRUE(scan(tree_.path("home")));
    ASSERT_TRUE(eventually([this] { return named("hiddenColumns") && named("hiddenColumns")->isVisible(); }));
    EXPECT_TRUE(eventually([this] { return named("headerItems")->isVisible(); }));
    EXPECT_FALSE(named("headerType")->isVisible());
    QQuickItem* const button = named("hiddenColumns");
    QTest::mouseClick(window_, Qt::LeftButton, {}, button->mapToScene(QPointF(14, 14)).toPoint());
    click("Sort by Type");
    EXPECT_TRUE(eventually([this] { return !isShown("Sort by Type"); }));
    driver().setSelectedNode(driver().currentNode()->children().front());
    EXPECT_TRUE(eventually([this] { return isShown("Folder · 1 item · 100.0% of “home”"); }));
}

TEST_F(MainWindowTest, theEdgeBetweenMapAndListMovesByKeysUntilTheWindowHasAnotherSize) {
    tree_.file("home/a", "x");
    startAfterFirstRun();
    ASSERT_TRUE(scan(tree_.path("home")));
    QQuickItem* const list = named("fileList");
    ASSERT_NE(list, nullptr);
    ASSERT_TRUE(eventually([&] { return list->width() >= 500; }));
    const double before = list->width();
    QQuickItem* const handle = named("splitHandle");
    ASSERT_NE(handle, nullptr);
    handle->forceActiveFocus(Qt::TabFocusReason);
    ASSERT_TRUE(handle->hasActiveFocus());
    QTest::keyClick(window_, Qt::Key_Left);
    EXPECT_TRUE(eventually([&] { return list->width() == before + 16; })) << list->width();
    for (int step = 0; step < 40; ++step) {
        QTest::keyClick(window_, Qt::Key_Right);
        QCoreApplication::processEvents();
    }
    EXPECT_TRUE(eventually([&] { return list->width() == 360; })) << list->width();
    for (int step = 0; step < 60; ++step) {
        QTest::keyClick(window_, Qt::Key_Left);
        QCoreApplication::processEvents();
    }
    EXPECT_TRUE(eventually([&] { return handle->x() == 320; })) << handle->x();
    window_->resize(1290, 800);
    EXPECT_TRUE(eventually([&] { return std::abs(list->width() - before) <= 6; })) << list->width();
}

TEST_F(MainWindowTest, newScan_goesBackToTheStartPageAndTheMapIsOnePressAway) {
    tree_.file("home/a", "x");
    startAfterFirstRun();
    ASSERT_TRUE(scan(tree_.path("home")));
    QTest::keyClick(window_, Qt::Key_N, Qt::ControlModifier);
    EXPECT_EQ(view().diskSpace()->page(), DiskSpaceTab::Page::Start);
    EXPECT_TRUE(driver().hasScanResult());
    click("Back to Map");
    EXPECT_EQ(view().diskSpace()->page(), DiskSpaceTab::Page::Result);
}

TEST_F(MainWindowTest, backspaceAndAltLeftGoBack) {
    tree_.file("home/sub/deep/a", "x");
    startAfterFirstRun();
    ASSERT_TRUE(scan(tree_.path("home")));
    const auto sub = driver().currentNode()->children().front();
    driver().navigateInto(sub);
    driver().navigateInto(sub->children().front());
    QTest::keyClick(window_, Qt::Key_Left, Qt::AltModifier);
    EXPECT_EQ(driver().currentNode(), sub);
    QTest::keyClick(window_, Qt::Key_Backspace);
    EXPECT_EQ(driver().currentNode(), driver().scanResult()->rootNode);
}

TEST_F(MainWindowTest, scanEntireDisk_withAccessStartsWithoutAnAlert) {
    startAfterFirstRun();
    click("Scan Entire Disk");
    EXPECT_TRUE(driver().isScanning());
    EXPECT_TRUE(driver().scansStartupDisk());
    EXPECT_FALSE(view().showFullDiskAccessAlert());
    EXPECT_TRUE(eventually([this] { return isShown("Mapping Startup Disk"); }));
    click("Cancel");
    ASSERT_TRUE(eventually([this] { return !driver().isScanning(); }));
    EXPECT_TRUE(isShown("Scan was cancelled"));
    EXPECT_FALSE(view().diskSpace()->showDiskAccessIssue());
}

TEST_F(MainWindowTest, scanEntireDisk_withoutAccessAdvisesFirst) {
    hasAccess_ = false;
    startAfterFirstRun();
    click("Scan Entire Disk");
    EXPECT_TRUE(eventually([this] { return isShown("Full Disk Access Recommended"); }));
    EXPECT_FALSE(driver().isScanning());
    click("Cancel");
    ASSERT_TRUE(eventually([this] { return !isShown("Full Disk Access Recommended"); }));
    EXPECT_FALSE(driver().isScanning());
    EXPECT_FALSE(app_->permissionManager()->showSettingsGuide());
}

TEST_F(MainWindowTest, theAdvicesSettingsButtonShowsTheGuideAndDoesNotScan) {
    hasAccess_ = false;
    startAfterFirstRun();
    click("Scan Entire Disk");
    click("Open Settings");
    EXPECT_TRUE(app_->permissionManager()->showSettingsGuide());
    EXPECT_TRUE(eventually([this] { return isShown("Protected Folder Access"); }));
    EXPECT_FALSE(driver().isScanning());
}

TEST_F(MainWindowTest, theAdvicesScanButtonScansAllTheSame) {
    hasAccess_ = false;
    startAfterFirstRun();
    click("Scan Entire Disk");
    click("Scan Available Areas");
    EXPECT_TRUE(driver().isScanning());
    EXPECT_TRUE(driver().scansStartupDisk());
    driver().cancelScan();
    EXPECT_TRUE(eventually([this] { return !driver().isScanning(); }));
}

TEST_F(MainWindowTest, escapeTakesTheAdviceAwayWithoutAScan) {
    hasAccess_ = false;
    startAfterFirstRun();
    click("Scan Entire Disk");
    ASSERT_TRUE(eventually([this] { return isShown("Scan Available Areas"); }));
    QTest::keyClick(window_, Qt::Key_Escape);
    EXPECT_TRUE(eventually([this] { return !view().showFullDiskAccessAlert(); }));
    EXPECT_FALSE(driver().isScanning());
}

TEST_F(MainWindowTest, theLimitedAccessNoteStandsOnlyWhereAccessIsMissing) {
    hasAccess_ = false;
    startAfterFirstRun();
    window_->resize(1400, 800);
    EXPECT_TRUE(eventually([this] { return isShown("Limited Access"); }));
    EXPECT_TRUE(isShown("Protected folders may be skipped unless you grant additional access"));
    hasAccess_ = true;
    app_->permissionManager()->checkFullDiskAccess();
    EXPECT_TRUE(eventually([this] { return !isShown("Limited Access"); }));
}

TEST_F(MainWindowTest, aProblemOfAccessIsAnAlertAndOtherFailuresStandInThePage) {
    startAfterFirstRun();
    driver().setError("Access was refused.", true);
    EXPECT_TRUE(eventually([this] { return isShown("Disk Access Issue"); }));
    click("Open Settings");
    EXPECT_FALSE(driver().error().has_value());
    EXPECT_TRUE(app_->permissionManager()->showSettingsGuide());
    click("Done");
    ASSERT_TRUE(eventually([this] { return !isShown("Done"); }));
    driver().setError("The disk is full.", false);
    EXPECT_FALSE(isShown("Disk Access Issue"));
    EXPECT_TRUE(isShown("The disk is full."));
}

TEST_F(MainWindowTest, aDroppedFolderIsScannedWhateverTheBytesOfItsName) {
    const std::string path = tree_.folder("odd \xff name");
    tree_.file("odd \xff name/a", "x");
    startAfterFirstRun();
    view().diskSpace()->drop({QUrl::fromEncoded(fileURLFromPath(path))});
    ASSERT_TRUE(eventually([this] { return driver().hasScanResult(); }));
    EXPECT_EQ(driver().scanRootPath(), path);
    EXPECT_EQ(driver().scanResult()->totalFiles, 1);
}

TEST_F(MainWindowTest, aDroppedItemThatIsNoFolderLeavesThePageAsItWasWithTheMessage) {
    const std::string file = tree_.file("a", "x");
    startAfterFirstRun();
    for (const QUrl& url : {QUrl::fromEncoded(fileURLFromPath(file)), QUrl("file:///not/there"),
                            QUrl("https://example.org/a")}) {
        view().diskSpace()->drop({url});
        EXPECT_TRUE(eventually([this] { return isShown("Larkfold couldn’t access that location."); }))
            << url.toString().toStdString();
        EXPECT_FALSE(driver().isScanning());
        EXPECT_FALSE(driver().error().has_value());
        EXPECT_TRUE(isShown("Scan Entire Disk"));
        view().diskSpace()->dismissDropMessage();
    }
}

TEST_F(MainWindowTest, theFolderChooserAsksWithItsMessageAndItsAnswerIsScanned) {
    const std::string path = tree_.folder("caf\xc3\xa9 \xfe");
    startAfterFirstRun();
    QmlFolderChooser& chooser = *view().folderChooser();
    view().scannerViewModel()->chooseFolder();
    EXPECT_EQ(chooser.title(), "Select a folder to scan");
    EXPECT_EQ(chooser.message(), "");
    EXPECT_EQ(chooser.button(), "Open");
    ASSERT_TRUE(eventually([&] { return chooser.isOpen(); }));
    EXPECT_TRUE(eventually([this] { return isShown("Select a folder to scan"); }));
    chooser.reject();
    EXPECT_FALSE(driver().isScanning());
    EXPECT_TRUE(eventually([this] { return !isShown("Select a folder to scan"); }));

    view().scannerViewModel()->chooseFolder();
    ASSERT_TRUE(eventually([&] { return chooser.isOpen(); }));
    FolderChooserModel& model = *chooser.model();
    model.beginTypingPath();
    model.setTypedPath(displayString(tree_.root()));
    model.submitPath();
    ASSERT_TRUE(eventually([&] { return model.rowCount() == 1; }));
    model.setCurrentRow(0);
    model.accept();
    EXPECT_FALSE(chooser.isOpen());
    EXPECT_TRUE(driver().isScanning());
    EXPECT_EQ(driver().scanRootPath(), path);
    EXPECT_TRUE(eventually([this] { return !driver().isScanning(); }));
}

TEST_F(MainWindowTest, theFolderChooserIsUsedByKeysAndGivesTheKeyboardBack) {
    tree_.folder("one/two");
    startAfterFirstRun();
    QmlFolderChooser& chooser = *view().folderChooser();
    FolderChooserModel& model = *chooser.model();
    const auto press = [this](int key, Qt::KeyboardModifiers modifiers = {}) {
        QTest::keyClick(window_, static_cast<Qt::Key>(key), modifiers);
    };
    const auto isIn = [&](const std::string& folder) {
        return eventually([&] { return model.folder() == folder && !model.isListing(); });
    };
    // From "Scan Entire Disk", which has the keyboard at first, to "Scan Folder".
    ASSERT_TRUE(eventually([this] { return window_->activeFocusItem() != nullptr; }));
    press(Qt::Key_Tab);
    QQuickItem* before = window_->activeFocusItem();
    ASSERT_EQ(before->property("text").toString(), "Scan Folder");
    press(Qt::Key_Return);
    // The list, or the row in it that the keyboard is on.
    const auto listHasKeyboard = [this] {
        return eventually([this] {
            const QQuickItem* item = window_->activeFocusItem();
            while (item != nullptr && item->objectName() != "chooserList") {
                item = item->parentItem();
            }
            return item != nullptr;
        });
    };
    ASSERT_TRUE(listHasKeyboard());

    press(Qt::Key_L, Qt::ControlModifier);
    ASSERT_TRUE(model.isTypingPath());
    QTest::keySequence(window_, QKeySequence::SelectAll);
    for (const QChar character : displayString(tree_.root())) {
        QTest::sendKeyEvent(QTest::Click, window_, Qt::Key_unknown, QString(character), Qt::NoModifier);
    }
    press(Qt::Key_Return);
    ASSERT_TRUE(isIn(tree_.root()));
    ASSERT_TRUE(listHasKeyboard());
    press(Qt::Key_Down);
    press(Qt::Key_Return);
    ASSERT_TRUE(isIn(tree_.path("one")));
    press(Qt::Key_Backspace);
    ASSERT_TRUE(isIn(tree_.root()));
    EXPECT_EQ(model.currentRow(), 0);
    press(Qt::Key_Up, Qt::AltModifier);
    ASSERT_TRUE(isIn(std::string(parentPath(tree_.root()))));

    // The first Escape leaves the path, the second one the dialog.
    press(Qt::Key_Slash);
    press(Qt::Key_L, Qt::ControlModifier);
    ASSERT_TRUE(model.isTypingPath());
    press(Qt::Key_Escape);
    EXPECT_FALSE(model.isTypingPath());
    EXPECT_TRUE(chooser.isOpen());
    ASSERT_TRUE(listHasKeyboard());
    press(Qt::Key_Escape);
    EXPECT_FALSE(chooser.isOpen());
    EXPECT_TRUE(eventually([&] { return window_->activeFocusItem() == before; }));
    EXPECT_FALSE(driver().isScanning());
}

TEST_F(MainWindowTest, theNoticeOfTheSavedIndexIsReadWholeAtEveryWidth) {
    tree_.fileOfSize("home/a", 3'000'000);
    tree_.file("home/.hidden");
    startAfterFirstRun();
    ASSERT_TRUE(scan(tree_.path("home")));
    const QString notice = "Saved on this computer. Changes outside a rescan remain a snapshot.";
    QQmlComponent reference(engine_.get());
    reference.setData("import QtQml\nimport Larkfold.Shell\nQtObject { property QtObject theme: Theme }", {});
    const std::unique_ptr<QObject> holder(reference.create());
    ASSERT_NE(holder, nullptr) << reference.errorString().toStdString();
    auto* theme = holder->property("theme").value<QObject*>();
    ASSERT_NE(theme, nullptr);
    for (const double scale : {1.0, 1.5, 2.0}) {
        theme->setProperty("typeScale", scale);
        for (const int width : {900, 1280, 2560}) {
            window_->resize(width, 600);
            ASSERT_TRUE(eventually([this, width] { return window_->contentItem()->width() == width; }));
            QQuickItem* label = find(notice);
            ASSERT_NE(label, nullptr);
            const auto isWhole = [&] {
                const QRectF place = label->mapRectToScene(QRectF(0, 0, label->width(), label->height()));
                return !label->property("truncated").toBool() &&
                       label->property("contentWidth").toDouble() <= label->width() + 0.5 &&
                       label->property("contentHeight").toDouble() <= label->height() + 0.5 &&
                       QRectF(0, 0, window_->width(), window_->height()).contains(place);
            };
            EXPECT_TRUE(eventually(isWhole)) << "at " << width << ", " << scale;
        }
    }
}

TEST_F(MainWindowTest, theMapSaysNameAndSizeAtTheSmallestWindow) {
    tree_.fileOfSize("home/a", 3'000'000);
    startAfterFirstRun();
    ASSERT_TRUE(scan(tree_.path("home")));
    QQmlComponent reference(engine_.get());
    reference.setData("import QtQml\nimport Larkfold.Shell\nQtObject { property QtObject theme: Theme }", {});
    const std::unique_ptr<QObject> holder(reference.create());
    ASSERT_NE(holder, nullptr) << reference.errorString().toStdString();
    auto* theme = holder->property("theme").value<QObject*>();
    ASSERT_NE(theme, nullptr);
    window_->resize(900, 600);
    driver().setError("Something went wrong. Nothing was changed.");
    for (const double scale : {1.0, 1.6}) {
        theme->setProperty("typeScale", scale);
        const auto isRead = [this](const char* name, const QString& text) {
            const QQuickItem* label = named(name);
            return label != nullptr && label->isVisible() && label->property("text").toString() == text &&
                   !label->property("truncated").toBool();
        };
        EXPECT_TRUE(eventually([&] {
            return (isRead("centerName", "home") && isRead("centerSize", "3 MB")) ||
                   (isRead("centerCaption", "home") && isRead("centerFigures", "3 MB · 1 items"));
        })) << scale;
    }
}

// As a person sees them: what is not opaque is mixed with the surface below.
TEST_F(MainWindowTest, theTextInTheMapsCentreHasContrastInLightAndDark) {
    startAfterFirstRun();
    QQmlComponent reference(engine_.get());
    reference.setData("import QtQml\nimport Larkfold.Shell\nQtObject { property QtObject theme: Theme }", {});
    const std::unique_ptr<QObject> holder(reference.create());
    ASSERT_NE(holder, nullptr) << reference.errorString().toStdString();
    auto* theme = holder->property("theme").value<QObject*>();
    const auto color = [theme](const char* name) { return theme->property(name).value<QColor>(); };
    const auto luminance = [](double red, double green, double blue) {
        const auto linear = [](double part) {
            return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
        };
        return 0.2126 * linear(red) + 0.7152 * linear(green) + 0.0722 * linear(blue);
    };
    for (const bool dark : {false, true}) {
        theme->setProperty("dark", dark);
        const QColor disc = color("mapCentre");
        const QColor below = color("surface");
        EXPECT_NEAR(disc.alphaF(), 0.8, 0.01);
        EXPECT_EQ(disc.rgb(), color("accent").rgb());
        const auto mixed = [&](double over, double under) {
            return over * disc.alphaF() + under * (1 - disc.alphaF());
        };
        const double seen = luminance(mixed(disc.redF(), below.redF()), mixed(disc.greenF(), below.greenF()),
                                      mixed(disc.blueF(), below.blueF()));
        const QColor words = color("textOnAccent");
        const double written = luminance(words.redF(), words.greenF(), words.blueF());
        EXPECT_GE((std::max(seen, written) + 0.05) / (std::min(seen, written) + 0.05), 4.5) << dark;
    }
}

TEST_F(MainWindowTest, marksAreCountedInTheSidebarWideOrNarrow) {
    tree_.fileOfSize("home/a", 3'000'000);
    startAfterFirstRun();
    window_->resize(1400, 800);
    ASSERT_TRUE(scan(tree_.path("home")));
    driver().toggleSelection(driver().currentNode()->children().front());
    const QString marked = view().diskSpace()->presenter()->markedText();
    ASSERT_FALSE(marked.isEmpty());
    EXPECT_TRUE(eventually([&] { return isShown(marked); }));
    window_->resize(900, 600);
    EXPECT_TRUE(eventually([&] { return isShown(view().diskSpace()->presenter()->markedShortText()); }));
    driver().clearSelection();
    EXPECT_FALSE(isShown(marked));
}

TEST_F(MainWindowTest, everyControlOnEveryPageHasAnAccessibleName) {
    hasAccess_ = false;
    tree_.file("home/.hidden", "x");
    tree_.file("home/a", "x");
    startAfterFirstRun();
    const auto check = [this](const char* page) {
        int controls = 0;
        const std::function<void(QAccessibleInterface*)> visit = [&](QAccessibleInterface* item) {
            const auto role = item->role();
            if (!item->state().invisible &&
                (role == QAccessible::Button || role == QAccessible::CheckBox ||
                 role == QAccessible::ComboBox || role == QAccessible::EditableText ||
                 role == QAccessible::PageTab || role == QAccessible::MenuItem)) {
                ++controls;
                EXPECT_FALSE(item->text(QAccessible::Name).isEmpty()) << page << ", role " << role;
            }
            for (int child = 0; child < item->childCount(); ++child) {
                if (auto* below = item->child(child)) {
                    visit(below);
                }
            }
        };
        visit(QAccessible::queryAccessibleInterface(window_));
        EXPECT_GE(controls, 4) << page;
    };
    check("start");
    ASSERT_TRUE(scan(tree_.path("home")));
    check("result");
}

TEST_F(MainWindowTest, aScreenReadersPressIsOnePress) {
    startAfterFirstRun();
    QQuickItem* button = find("Scan Entire Disk");
    ASSERT_NE(button, nullptr);
    QSignalSpy clicked(button, SIGNAL(clicked()));
    hasAccess_ = false;
    auto* actions = QAccessible::queryAccessibleInterface(button)->actionInterface();
    ASSERT_NE(actions, nullptr);
    actions->doAction(QAccessibleActionInterface::pressAction());
    EXPECT_EQ(clicked.count(), 1);
    driver().cancelScan();
    EXPECT_TRUE(eventually([this] { return !driver().isScanning(); }));
}

TEST_F(MainWindowTest, tabReachesBothWaysInAndReturnPressesThem) {
    hasAccess_ = false;
    startAfterFirstRun();
    QQuickItem* wanted = find("Scan Entire Disk");
    ASSERT_NE(wanted, nullptr);
    bool reached = wanted->hasActiveFocus();
    for (int step = 0; step < 30 && !reached; ++step) {
        QTest::keyClick(window_, Qt::Key_Tab);
        reached = wanted->hasActiveFocus();
    }
    ASSERT_TRUE(reached);
    QTest::keyClick(window_, Qt::Key_Tab);
    EXPECT_TRUE(find("Scan Folder")->hasActiveFocus());
    QTest::keyClick(window_, Qt::Key_Backtab);
    QTest::keyClick(window_, Qt::Key_Return);
    EXPECT_TRUE(view().showFullDiskAccessAlert());
}

TEST_F(MainWindowTest, theWindowComesBackWhereItStood) {
    startAfterFirstRun();
    {
        WindowMemory memory(defaults_);
        memory.attach(*window_);
        EXPECT_FALSE(memory.storedGeometry().has_value());
        window_->setGeometry(20, 30, 950, 640);
        QCoreApplication::processEvents();
        memory.save();
        EXPECT_EQ(memory.storedGeometry(), QRect(20, 30, 950, 640));
    }
    QWindow other;
    other.setGeometry(0, 0, 300, 300);
    WindowMemory memory(defaults_);
    memory.attach(other);
    EXPECT_EQ(other.size(), window_->screen()->availableGeometry().size().boundedTo(QSize(950, 640)));
}

TEST_F(MainWindowTest, aPlaceOnNoScreenAndNonsenseInTheSettingsAreNotTakenOver) {
    defaults_.setInteger("windowX", 50'000);
    defaults_.setInteger("windowY", 50'000);
    defaults_.setInteger("windowWidth", 950);
    defaults_.setInteger("windowHeight", 640);
    QWindow window;
    window.setGeometry(0, 0, 300, 300);
    WindowMemory(defaults_).attach(window);
    EXPECT_EQ(window.geometry(), QRect(0, 0, 300, 300));
    defaults_.setInteger("windowWidth", std::int64_t{1} << 40);
    EXPECT_FALSE(WindowMemory(defaults_).storedGeometry().has_value());
}

TEST_F(MainWindowTest, darkAndLightFollowTheDesktopWhileTheProgramRuns) {
    startAfterFirstRun();
    const QColor light = window_->color();
    appearance_.setPrefersDark(true);
    const QColor dark = window_->color();
    EXPECT_GT(light.lightness(), 200);
    EXPECT_LT(dark.lightness(), 60);
    appearance_.setPrefersDark(false);
    EXPECT_EQ(window_->color(), light);
}

}  // namespace
}  // namespace larkfold::test
