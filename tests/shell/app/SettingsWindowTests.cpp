// The settings: what is stored and what is made of nonsense, and the settings, privacy and update windows as
// a person uses them.

#include "shell/app/Settings.h"

#include <QAccessible>
#include <QGuiApplication>
#include <QQmlProperty>
#include <QSignalSpy>
#include <QtQml/QQmlExtensionPlugin>

#include <filesystem>
#include <string>

#include "platform/qt/EventLoopQueue.h"
#include "shell/app/PrivacyTexts.h"
#include "shell/app/WindowFixture.h"

Q_IMPORT_QML_PLUGIN(Larkfold_ShellPlugin)

namespace larkfold::test {
namespace {

TEST(SettingsTest, aFreshUserSkipsHiddenFilesAndLooksForDuplicatesFromTenKilobytesOn) {
    const TemporaryTree tree;
    EventLoopQueue events;
    UserDefaults defaults(tree.path("settings.json"), events.queue());
    const Settings settings(defaults);
    EXPECT_TRUE(settings.skipHiddenFiles());
    EXPECT_EQ(settings.minimumDuplicateSize(), 10'240);
}

TEST(SettingsTest, whatIsChangedIsThereAtTheNextStart) {
    const TemporaryTree tree;
    EventLoopQueue events;
    {
        UserDefaults defaults(tree.path("settings.json"), events.queue());
        Settings settings(defaults);
        QSignalSpy hidden(&settings, &Settings::skipHiddenFilesChanged);
        QSignalSpy size(&settings, &Settings::minimumDuplicateSizeChanged);
        settings.setSkipHiddenFiles(false);
        settings.setSkipHiddenFiles(false);
        settings.setMinimumDuplicateSize(1'048'576);
        settings.setMinimumDuplicateSize(1'048'576);
        EXPECT_EQ(hidden.count(), 1);
        EXPECT_EQ(size.count(), 1);
        EXPECT_TRUE(defaults.flush());
        EXPECT_TRUE(settings.errorText().isEmpty());
    }
    UserDefaults defaults(tree.path("settings.json"), events.queue());
    const Settings settings(defaults);
    EXPECT_FALSE(settings.skipHiddenFiles());
    EXPECT_EQ(settings.minimumDuplicateSize(), 1'048'576);
}

TEST(SettingsTest, nonsenseFallsBackToTheDefaults) {
    for (const char* content :
         {R"({"skipHiddenFiles":"no","minimumDuplicateSize":"1 MB"})",
          R"({"skipHiddenFiles":0,"minimumDuplicateSize":0})",
          R"({"skipHiddenFiles":null,"minimumDuplicateSize":-5})",
          R"({"skipHiddenFiles":[],"minimumDuplicateSize":1.5})",
          R"({"skipHiddenFiles":{},"minimumDuplicateSize":99999999999999999999})", "[]", "{", ""}) {
        TemporaryTree tree;
        EventLoopQueue events;
        UserDefaults defaults(tree.file("settings.json", content), events.queue());
        const Settings settings(defaults);
        EXPECT_TRUE(settings.skipHiddenFiles()) << content;
        EXPECT_EQ(settings.minimumDuplicateSize(), 10'240) << content;
    }
}

TEST(SettingsTest, theChoicesAreThese) {
    QStringList titles;
    QList<qint64> sizes;
    for (const QVariant& choice : Settings::duplicateSizes()) {
        titles << choice.toMap()["title"].toString();
        sizes << choice.toMap()["bytes"].toLongLong();
    }
    EXPECT_EQ(titles, QStringList({"1 KB", "10 KB", "100 KB", "1 MB", "10 MB"}));
    EXPECT_EQ(sizes, QList<qint64>({1'024, 10'240, 102'400, 1'048'576, 10'485'760}));
}

TEST(SettingsTest, aChangeThatCannotBeSavedHoldsForThisRunAndIsTold) {
    TemporaryTree tree;
    tree.file("blocked");
    EventLoopQueue events;
    UserDefaults defaults(tree.path("blocked/settings.json"), events.queue());
    Settings settings(defaults);
    settings.setSkipHiddenFiles(false);
    EXPECT_FALSE(settings.skipHiddenFiles());
    EXPECT_FALSE(defaults.flush());
    EXPECT_TRUE(
        settings.errorText().startsWith("The setting could not be saved and holds until you quit Larkfold."));
    settings.dismissError();
    EXPECT_TRUE(settings.errorText().isEmpty());
}

TEST(SettingsTest, resettingTheOnboardingIsStored) {
    const TemporaryTree tree;
    EventLoopQueue events;
    UserDefaults defaults(tree.path("settings.json"), events.queue());
    defaults.setBool("hasCompletedOnboarding", true);
    Settings settings(defaults);
    settings.setShowResetOnboardingAlert(true);
    settings.resetOnboarding();
    EXPECT_FALSE(settings.showResetOnboardingAlert());
    EXPECT_EQ(defaults.boolForKey("hasCompletedOnboarding"), false);
}

TEST(SettingsTest, theFailureToSaveSomethingElseIsNotToldHereButASettingThatWaitsIs) {
    TemporaryTree tree;
    const std::string blocking = tree.file("blocked");
    EventLoopQueue events;
    UserDefaults defaults(tree.path("blocked/settings.json"), events.queue());
    Settings settings(defaults);
    defaults.setInteger("windowX", 7);
    EXPECT_FALSE(defaults.flush());
    EXPECT_TRUE(settings.errorText().isEmpty());
    settings.setMinimumDuplicateSize(1'024);
    EXPECT_FALSE(defaults.flush());
    EXPECT_FALSE(settings.errorText().isEmpty());
    std::filesystem::remove(blocking);
    EXPECT_TRUE(defaults.flush());
    EXPECT_TRUE(settings.errorText().isEmpty()) << "it was saved after all";
}

TEST(SettingsTest, whatAnotherWindowChangedIsShownHereToo) {
    TemporaryTree tree;
    EventLoopQueue events;
    UserDefaults defaults(tree.path("settings.json"), events.queue());
    Settings settings(defaults);
    QSignalSpy hidden(&settings, &Settings::skipHiddenFilesChanged);
    QSignalSpy size(&settings, &Settings::minimumDuplicateSizeChanged);
    {
        UserDefaults others(tree.path("settings.json"), events.queue());
        Settings other(others);
        other.setSkipHiddenFiles(false);
        other.setMinimumDuplicateSize(1'024);
    }
    EXPECT_TRUE(settings.skipHiddenFiles()) << "not read yet";
    defaults.setInteger("selectedTab", 2);
    EXPECT_TRUE(defaults.flush());
    EXPECT_FALSE(settings.skipHiddenFiles());
    EXPECT_EQ(settings.minimumDuplicateSize(), 1'024);
    EXPECT_EQ(hidden.count(), 1);
    EXPECT_EQ(size.count(), 1);
}

class SettingsWindowTest : public WindowFixture {
protected:
    // The open window of that title; null where there is none.
    static QQuickWindow* windowOf(const QString& title) {
        for (QWindow* window : QGuiApplication::allWindows()) {
            if (window->isVisible() && window->title() == title) {
                return qobject_cast<QQuickWindow*>(window);
            }
        }
        return nullptr;
    }

    // Goes on in that window, as a person who has it in front.
    void turnTo(const QString& title) {
        ASSERT_TRUE(eventually([&] { return windowOf(title) != nullptr; })) << title.toStdString();
        window_ = windowOf(title);
        window_->requestActivate();
        ASSERT_TRUE(QTest::qWaitForWindowActive(window_, 60'000));
    }

    void openSettings() {
        startAfterFirstRun();
        main_ = window_;
        QTest::keyClick(window_, Qt::Key_Comma, Qt::ControlModifier);
        turnTo("Settings");
    }

    // The control that is called so.
    QQuickItem* control(const char* type, const QString& property, const QString& name) {
        return below(window_->contentItem(), type, property, name);
    }

    QQuickWindow* main_ = nullptr;

private:
    static QQuickItem* below(QQuickItem* item, const char* type, const QString& property,
                             const QString& name) {
        if (item->isVisible() && item->inherits(type) &&
            item->property(property.toLatin1().constData()).toString() == name) {
            return item;
        }
        for (QQuickItem* child : item->childItems()) {
            if (QQuickItem* found = below(child, type, property, name)) {
                return found;
            }
        }
        return nullptr;
    }
};

TEST_F(SettingsWindowTest, theSectionsStandInTheirOrder) {
    openSettings();
    const QStringList expected{"General",
                               "Version",
                               "Show Onboarding Again",
                               "Permissions",
                               "Protected Folder Access",
                               "Optional for Mail, Safari data, and app containers",
                               "Enabled",
                               "Scanning",
                               "Skip hidden files",
                               "Duplicate Detection",
                               "Minimum file size",
                               "Updates",
                               "Larkfold updates",
                               "Automatically check for updates",
                               "Check Now"};
    double last = -1;
    for (const QString& text : expected) {
        const QQuickItem* item = find(text);
        ASSERT_NE(item, nullptr) << text.toStdString();
        const double top = item->mapToScene({0, item->height() / 2}).y();
        EXPECT_GE(top, last - (text == "Enabled" ? 40 : 0)) << text.toStdString();
        last = top;
    }
    EXPECT_TRUE(isShown(app_->version()));
}

TEST_F(SettingsWindowTest, itIsNotThereUntilItIsAskedForAndGoesByEscape) {
    startAfterFirstRun();
    EXPECT_EQ(windowOf("Settings"), nullptr);
    main_ = window_;
    QTest::keyClick(window_, Qt::Key_Comma, Qt::ControlModifier);
    turnTo("Settings");
    EXPECT_EQ(window_->transientParent(), main_);
    QTest::keyClick(window_, Qt::Key_Escape);
    EXPECT_TRUE(eventually([] { return windowOf("Settings") == nullptr; }));
    EXPECT_FALSE(app_->showSettings());
}

TEST_F(SettingsWindowTest, aWindowThatIsAskedForAgainComesForward) {
    openSettings();
    app_->setShowPrivacyPolicy(true);
    turnTo("Privacy Policy");
    QQuickWindow* settings = windowOf("Settings");
    app_->setShowSettings(true);
    EXPECT_TRUE(eventually([&] { return QGuiApplication::focusWindow() == settings; }));
    settings->showMinimized();
    turnTo("Privacy Policy");
    app_->setShowSettings(true);
    EXPECT_TRUE(eventually([&] { return QGuiApplication::focusWindow() == settings; }));
    EXPECT_EQ(settings->visibility(), QWindow::Windowed);
    EXPECT_EQ(windowOf("Settings"), settings) << "the same window";
}

TEST_F(SettingsWindowTest, aQuestionThatStoodWhenItWasClosedIsNotAskedByItselfAgain) {
    openSettings();
    click("Show Onboarding Again");
    ASSERT_TRUE(app_->settings()->showResetOnboardingAlert());
    window_->close();
    ASSERT_TRUE(eventually([] { return windowOf("Settings") == nullptr; }));
    EXPECT_FALSE(app_->settings()->showResetOnboardingAlert());
}

TEST_F(SettingsWindowTest, theGuideToAccessStandsWhereItWasAskedFor) {
    hasAccess_ = false;
    openSettings();
    QQuickWindow* settings = window_;
    app_->permissionManager()->openFullDiskAccessSettings();  // as the main window's button does
    window_ = main_;
    EXPECT_TRUE(eventually([this] { return isShown("Check Again"); }));
    window_ = settings;
    EXPECT_FALSE(isShown("Check Again"));
    app_->permissionManager()->setShowSettingsGuide(false);
    click("Enable");
    EXPECT_TRUE(eventually([this] { return isShown("Check Again"); }));
    window_ = main_;
    EXPECT_TRUE(eventually([this] { return !isShown("Check Again"); }));
    settings->close();
    ASSERT_TRUE(eventually([] { return windowOf("Settings") == nullptr; }));
    EXPECT_FALSE(app_->permissionManager()->showSettingsGuide());
}

TEST_F(SettingsWindowTest, theMenusCommandsOpenTheirWindows) {
    updates_.source = UpdateSource::make("https://localhost:9/feed.xml", std::string(43, 'A') + "=");
    startAfterFirstRun();
    // By the pointer.
    click("&Larkfold");
    click("Settings…");
    EXPECT_TRUE(app_->showSettings());
    app_->setShowSettings(false);
    click("&Help");
    click("Privacy Policy");
    EXPECT_TRUE(app_->showPrivacyPolicy());
    app_->setShowPrivacyPolicy(false);
    // By assistive technology.
    click("&Larkfold");
    ASSERT_TRUE(eventually([this] { return isShown("Check for Updates…"); }));
    QAccessible::queryAccessibleInterface(find("Check for Updates…"))
        ->actionInterface()
        ->doAction(QAccessibleActionInterface::pressAction());
    EXPECT_TRUE(app_->updateManager()->showsCheck());
    EXPECT_TRUE(eventually([this] { return !isShown("Check for Updates…"); })) << "the menu closes";
}

TEST_F(SettingsWindowTest, withoutAFeedTheMenuOffersNoCheck) {
    startAfterFirstRun();
    click("&Larkfold");
    ASSERT_TRUE(eventually([this] { return isShown("Check for Updates…"); }));
    EXPECT_FALSE(find("Check for Updates…")->isEnabled());
}

TEST_F(SettingsWindowTest, itComesDuringTheFirstRunToo) {
    start();
    QTest::keyClick(window_, Qt::Key_Comma, Qt::ControlModifier);
    turnTo("Settings");
    click("Skip hidden files");
    EXPECT_FALSE(app_->settings()->skipHiddenFiles());
}

TEST_F(SettingsWindowTest, skipHiddenFilesHoldsFromTheNextScanOnAndIsTheSameEverywhere) {
    tree_.file("home/.hidden", "x");
    tree_.file("home/seen", "x");
    openSettings();
    ASSERT_TRUE(scan(tree_.path("home")));
    EXPECT_EQ(driver().scanResult()->totalFiles, 1);
    QSignalSpy told(&driver(), &DiskScannerViewModel::skipHiddenFilesChanged);
    click("Skip hidden files");
    EXPECT_EQ(defaults_.boolForKey("skipHiddenFiles"), false);
    EXPECT_GE(told.count(), 1);
    EXPECT_EQ(driver().scanResult()->totalFiles, 1) << "the result on screen stays";
    ASSERT_TRUE(scan(tree_.path("home")));
    EXPECT_EQ(driver().scanResult()->totalFiles, 2);

    QQuickItem* shown = control("QQuickSwitch", "text", "Skip hidden files");
    ASSERT_NE(shown, nullptr);
    EXPECT_FALSE(shown->property("checked").toBool());
    driver().setSkipHiddenFiles(true);
    EXPECT_TRUE(shown->property("checked").toBool()) << "changed on the start page";
}

TEST_F(SettingsWindowTest, theSmallestDuplicateIsChosenByKeys) {
    openSettings();
    QQuickItem* picker = control("QQuickComboBox", "label", "Minimum file size");
    ASSERT_NE(picker, nullptr);
    EXPECT_EQ(picker->property("displayText"), "10 KB");
    picker->forceActiveFocus(Qt::TabFocusReason);
    QTest::keyClick(window_, Qt::Key_Return);
    EXPECT_EQ(QQmlProperty::read(picker, "popup.visible"), true);
    QTest::keyClick(window_, Qt::Key_Down);
    EXPECT_EQ(picker->property("displayText"), "10 KB") << "nothing is chosen before Return";
    QTest::keyClick(window_, Qt::Key_Return);
    EXPECT_EQ(QQmlProperty::read(picker, "popup.visible"), false);
    EXPECT_EQ(defaults_.integerForKey("minimumDuplicateSize"), 102'400);
    EXPECT_EQ(picker->property("displayText"), "100 KB");
    // Escape leaves the open list, and not the window with it.
    QTest::keyClick(window_, Qt::Key_Return);
    QTest::keyClick(window_, Qt::Key_Escape);
    EXPECT_EQ(QQmlProperty::read(picker, "popup.visible"), false);
    EXPECT_TRUE(app_->showSettings());
    EXPECT_EQ(defaults_.integerForKey("minimumDuplicateSize"), 102'400);
}

TEST_F(SettingsWindowTest, aSizeThatIsNoChoiceIsShownAsItIs) {
    defaults_.setInteger("minimumDuplicateSize", 5'000'000);
    openSettings();
    QQuickItem* picker = control("QQuickComboBox", "label", "Minimum file size");
    ASSERT_NE(picker, nullptr);
    EXPECT_EQ(picker->property("displayText"), "5 MB");
    EXPECT_EQ(defaults_.integerForKey("minimumDuplicateSize"), 5'000'000);
}

TEST_F(SettingsWindowTest, showOnboardingAgainAsksAndHasNoVisibleEffectUntilTheNextStart) {
    openSettings();
    click("Show Onboarding Again");
    EXPECT_TRUE(eventually([this] { return isShown("Reset Onboarding"); }));
    EXPECT_TRUE(isShown("The onboarding screens will be shown next time you open Larkfold."));
    click("Cancel");
    ASSERT_TRUE(eventually([this] { return !isShown("Reset Onboarding"); }));
    EXPECT_EQ(defaults_.boolForKey("hasCompletedOnboarding"), true);

    click("Show Onboarding Again");
    click("Reset");
    ASSERT_TRUE(eventually([this] { return !isShown("Reset Onboarding"); }));
    EXPECT_EQ(defaults_.boolForKey("hasCompletedOnboarding"), false);
    EXPECT_TRUE(app_->hasCompletedOnboarding());
    window_ = main_;
    EXPECT_TRUE(isShown("Scan Entire Disk"));
    EXPECT_FALSE(isShown("Welcome to Larkfold"));

    engine_.reset();
    app_.reset();
    start();
    EXPECT_TRUE(isShown("Welcome to Larkfold"));
}

TEST_F(SettingsWindowTest, enableShowsTheGuideOverTheSettings) {
    hasAccess_ = false;
    openSettings();
    click("Enable");
    EXPECT_TRUE(eventually([this] { return isShown(app_->permissionManager()->settingsGuide()); }));
    hasAccess_ = true;
    click("Check Again");
    EXPECT_TRUE(eventually([this] { return isShown("Enabled"); }));
}

TEST_F(SettingsWindowTest, withoutAFeedTheUpdatesAreOffAndSayWhy) {
    openSettings();
    EXPECT_FALSE(find("Check Now")->isEnabled());
    EXPECT_FALSE(find("Automatically check for updates")->isEnabled());
    EXPECT_TRUE(isShown(app_->updateManager()->summary()));
    EXPECT_TRUE(app_->updateManager()->summary().contains("without an address to ask for updates"));
}

TEST_F(SettingsWindowTest, checkNowAndTheSwitchDoWhatTheySay) {
    updates_.source = UpdateSource::make("https://localhost:9/feed.xml", std::string(43, 'A') + "=");
    openSettings();
    EXPECT_TRUE(isShown("Not checked yet."));
    click("Check Now");
    EXPECT_TRUE(app_->updateManager()->showsCheck());
    turnTo("Larkfold Updates");
    EXPECT_TRUE(eventually([this] { return isShown("The check for updates failed"); }));
    EXPECT_TRUE(isShown("Try Again"));
    click("Done");
    EXPECT_TRUE(eventually([] { return windowOf("Larkfold Updates") == nullptr; }));
    turnTo("Settings");
    click("Automatically check for updates");
    EXPECT_EQ(defaults_.boolForKey("automaticallyChecksForUpdates"), true);
    EXPECT_EQ(app_->updateManager()->state(), UpdateManager::State::Failed)
        << "the check a moment ago counts for today";
}

TEST_F(SettingsWindowTest, aChoiceAboutUpdatesThatCannotBeSavedIsTold) {
    updates_.source = UpdateSource::make("https://localhost:9/feed.xml", std::string(43, 'A') + "=");
    openSettings();
    // A folder in the place of the lock: nothing can be saved.
    ASSERT_TRUE(defaults_.flush());
    std::filesystem::remove(surroundings_.path("settings.json.lock"));
    surroundings_.folder("settings.json.lock");
    click("Automatically check for updates");
    EXPECT_TRUE(app_->updateManager()->automaticallyChecksForUpdates());
    EXPECT_TRUE(eventually([this] {
        return app_->settings()->errorText().startsWith(
            "The setting could not be saved and holds until you quit");
    }));
    EXPECT_TRUE(eventually([this] { return isShown(app_->settings()->errorText()); }));
    std::filesystem::remove(surroundings_.path("settings.json.lock"));
    click("Automatically check for updates");
    EXPECT_TRUE(eventually([this] { return app_->settings()->errorText().isEmpty(); }));
}

TEST_F(SettingsWindowTest, eachControlIsReachedByTabAndCalledSomething) {
    updates_.source = UpdateSource::make("https://localhost:9/feed.xml", std::string(43, 'A') + "=");
    hasAccess_ = false;
    openSettings();
    QStringList reached;
    for (int step = 0; step < 12; ++step) {
        QQuickItem* item = window_->activeFocusItem();
        ASSERT_NE(item, nullptr);
        auto* accessible = QAccessible::queryAccessibleInterface(item);
        ASSERT_NE(accessible, nullptr);
        const QString name = accessible->text(QAccessible::Name);
        EXPECT_FALSE(name.isEmpty()) << item->metaObject()->className();
        reached << name;
        QTest::keyClick(window_, Qt::Key_Tab);
    }
    for (const char* name : {"Show Onboarding Again", "Enable", "Skip hidden files", "Minimum file size",
                             "Automatically check for updates", "Check Now", "Privacy Policy"}) {
        EXPECT_TRUE(reached.contains(name)) << name << " not in " << reached.join(", ").toStdString();
    }
}

TEST_F(SettingsWindowTest, whatGetsTheKeyboardComesIntoSight) {
    openSettings();
    window_->resize(420, 300);
    ASSERT_TRUE(eventually([this] { return window_->contentItem()->height() == 300; }));
    QQuickItem* last = find("Privacy Policy");
    ASSERT_NE(last, nullptr);
    last->forceActiveFocus(Qt::TabFocusReason);
    const QRectF place = last->mapRectToScene(QRectF(0, 0, last->width(), last->height()));
    EXPECT_TRUE(QRectF(0, 0, 420, 300).contains(place)) << place.y();
}

TEST_F(SettingsWindowTest, theMainWindowTakesTheOthersWithItWhenItCloses) {
    openSettings();
    app_->setShowPrivacyPolicy(true);
    turnTo("Privacy Policy");
    main_->close();
    EXPECT_TRUE(
        eventually([] { return windowOf("Settings") == nullptr && windowOf("Privacy Policy") == nullptr; }));
}

TEST_F(SettingsWindowTest, thePrivacyPolicyIsShownWhole) {
    startAfterFirstRun();
    app_->setShowPrivacyPolicy(true);
    turnTo("Privacy Policy");
    for (const privacy::Section& section : privacy::sections()) {
        EXPECT_TRUE(isShown(QString::fromStdString(section.heading))) << section.heading;
        EXPECT_TRUE(isShown(QString::fromStdString(section.body))) << section.heading;
    }
    EXPECT_TRUE(
        isShown("Larkfold does NOT collect:\n• Personal information\n• File contents or names\n• Browsing "
                "history\n• Location data\n• Usage analytics\n• Crash reports (unless you explicitly share "
                "them)\n\nAll scanning and analysis happens locally on your computer."));
    EXPECT_TRUE(
        isShown("This privacy policy may be updated periodically. We will notify you of significant changes "
                "through the app."));
    ASSERT_TRUE(eventually([this] { return window_->activeFocusItem() != nullptr; }));
    EXPECT_EQ(window_->activeFocusItem()->property("title"), "Privacy Policy");
    QTest::keyClick(window_, Qt::Key_End);
    QQuickItem* closing = find(QString::fromUtf8(privacy::closingLine()));
    EXPECT_TRUE(eventually([&] {
        return QRectF(0, 0, window_->width(), window_->height())
            .contains(closing->mapRectToScene(QRectF(0, 0, closing->width(), closing->height())));
    })) << "the page scrolls by keys";
    QTest::keyClick(window_, Qt::Key_Escape);
    EXPECT_TRUE(eventually([this] { return !app_->showPrivacyPolicy(); }));
}

TEST_F(SettingsWindowTest, aChangeOfThePolicyIsToldToWhoKnewAnotherOne) {
    startAfterFirstRun();
    EXPECT_FALSE(app_->privacyPolicyHasChanged()) << "a new user is told of no change";
    EXPECT_EQ(defaults_.integerForKey("privacyPolicyRevision"), privacy::revision);
    engine_.reset();
    app_.reset();
    defaults_.setInteger("privacyPolicyRevision", privacy::revision - 1);
    startAfterFirstRun();
    window_->resize(1400, 800);
    EXPECT_TRUE(eventually([this] { return isShown("Privacy Policy Updated"); }));
    app_->setShowPrivacyPolicy(true);
    EXPECT_TRUE(eventually([this] { return !isShown("Privacy Policy Updated"); }));
    EXPECT_EQ(defaults_.integerForKey("privacyPolicyRevision"), privacy::revision);
}

}  // namespace
}  // namespace larkfold::test
