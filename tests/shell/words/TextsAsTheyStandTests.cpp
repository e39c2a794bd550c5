// The texts with the words of the system for which they were first written: a program of its own, that is
// given the other table in place of the build's, and shows the real window with it.

#include <gtest/gtest.h>

#include <QObject>
#include <QtQml/QQmlExtensionPlugin>

#include <algorithm>
#include <string>

#include "disk/ScanResult.h"
#include "platform/SystemWords.h"
#include "removal/CleanupTexts.h"
#include "shell/app/PrivacyTexts.h"
#include "shell/app/WindowFixture.h"

Q_IMPORT_QML_PLUGIN(Larkfold_ShellPlugin)

namespace larkfold {

// In place of the one in the library, which the linker then leaves out.
const SystemWords& systemWords() {
    return macSystemWords;
}

namespace test {
namespace {

std::string privacyUnder(const std::string& heading) {
    const auto sections = privacy::sections();
    const auto found = std::ranges::find(sections, heading, &privacy::Section::heading);
    return found == sections.end() ? "" : found->body + found->note;
}

TEST(TextsAsTheyStand, ofTheRemoval) {
    EXPECT_EQ(
        cleanup_texts::restoreHelp(),
        "In Finder's Trash, select the original item and choose File → Put Back when available. Otherwise "
        "move it to the recorded original folder; check for an existing file before replacing anything.");
}

TEST(TextsAsTheyStand, ofTheCapacity) {
    ScanResult result;
    result.rootPath = "/";
    result.volumeCapacity = 1'000;
    result.totalSize = std::int64_t{1} << 40;
    EXPECT_EQ(
        result.capacityNotice(),
        "The logical file map exceeds this volume's physical capacity. APFS clones or virtual paths may "
        "share storage, so mapped sizes are not all independently reclaimable.");
}

TEST(TextsAsTheyStand, ofThePrivacyPolicy) {
    EXPECT_EQ(
        privacyUnder("What Is Not Collected"),
        "Larkfold does NOT collect:\n• Personal information\n• File contents or names\n• Browsing history\n"
        "• Location data\n• Usage analytics\n• Crash reports (unless you explicitly share them)\n\nAll "
        "scanning and analysis happens locally on your Mac.");
    EXPECT_TRUE(privacyUnder("Optional Access").ends_with("can be revoked in System Settings."));
    EXPECT_TRUE(privacyUnder("What You Look At Yourself")
                    .ends_with("“Show in Finder” hands the place of an item to Finder."));
}

using TextsAsTheyStandInTheWindow = WindowFixture;

TEST_F(TextsAsTheyStandInTheWindow, ofTheFirstRun) {
    hasAccess_ = false;
    start();
    EXPECT_TRUE(isShown("The smart way to free up disk space on your Mac"));
    click("Next");
    click("Next");
    EXPECT_TRUE(isShown("You can skip this step and grant additional access later in System Settings"));
    click("Enable");
    click("Done");
    ASSERT_TRUE(eventually([this] { return !isShown("Done"); }));
    click("I've Enabled It — Check Again");
    ASSERT_TRUE(eventually([this] { return !app_->permissionManager()->isChecking(); }));
    EXPECT_TRUE(
        isShown("Access not detected yet. Make sure you toggled Larkfold in System Settings → Privacy & "
                "Security → Full Disk Access."));
}

TEST_F(TextsAsTheyStandInTheWindow, ofTheAdviceAboutAccess) {
    hasAccess_ = false;
    startAfterFirstRun();
    click("Scan Entire Disk");
    EXPECT_TRUE(eventually([this] {
        return isShown(
            "Larkfold can scan the startup disk now, but macOS will skip protected Mail, Safari, Messages, "
            "and app-container data until Full Disk Access is enabled.");
    }));
    EXPECT_TRUE(isShown("Open System Settings"));
    click("Cancel");
    ASSERT_TRUE(eventually([this] { return !isShown("Open System Settings"); }));
    driver().setError("Access was refused.", true);
    EXPECT_TRUE(eventually([this] { return isShown("Open System Settings"); }));
}

TEST_F(TextsAsTheyStandInTheWindow, ofTheMenusKeys) {
    startAfterFirstRun();
    const auto keysBelow = [](const auto& self, const QQuickItem* item, QStringList& keys) -> void {
        if (item->isVisible() && item->property("text").toString().contains('+')) {
            keys << item->property("text").toString();
        }
        for (const QQuickItem* child : item->childItems()) {
            self(self, child, keys);
        }
    };
    click("&File");
    ASSERT_TRUE(eventually([this] { return isShown("Cmd+N"); }));
    QStringList keys;
    keysBelow(keysBelow,
              window_->contentItem()->parentItem() != nullptr ? window_->contentItem()->parentItem()
                                                              : window_->contentItem(),
              keys);
    EXPECT_TRUE(keys.contains("Cmd+."));
    EXPECT_TRUE(keys.filter("Ctrl").isEmpty()) << keys.join(' ').toStdString();
}

TEST_F(TextsAsTheyStandInTheWindow, ofTheMapAndTheSavedScan) {
    tree_.file("home/a", "x");
    startAfterFirstRun();
    window_->resize(1280, 800);
    ASSERT_TRUE(scan(tree_.path("home")));
    EXPECT_TRUE(isShown("Saved on this Mac. Changes outside a rescan remain a snapshot."));
    click("Show color legend");
    EXPECT_TRUE(eventually([this] { return isShown("Click to navigate, Cmd+click to select"); }));
    // The menu is one of the list's objects, and no item of the window before it opens.
    const QObject* reveal = nullptr;
    for (const QObject* at = named("fileList"); at != nullptr && reveal == nullptr; at = at->parent()) {
        reveal = at->findChild<QObject*>("menuReveal");
    }
    ASSERT_NE(reveal, nullptr);
    EXPECT_EQ(reveal->property("text"), "Show in Finder");
    click("Forget saved scan…");
    EXPECT_TRUE(eventually([this] {
        return isShown(
            "This removes the saved file index from this Mac. Your files and the current on-screen scan are "
            "preserved.");
    }));
}

TEST_F(TextsAsTheyStandInTheWindow, ofTheHistory) {
    startAfterFirstRun();
    click("Cleanup History");
    EXPECT_TRUE(eventually([this] { return isShown("No cleanup operations yet"); }));
    EXPECT_TRUE(
        isShown("The latest 100 operations are stored on this Mac. Clearing history does not delete or "
                "restore files."));
    EXPECT_TRUE(
        isShown("Free-space change is measured per volume before and after cleanup. Other apps, APFS "
                "snapshots and delayed reclamation can affect it; it is not a guaranteed saving "
                "attributable to these files."));
}

}  // namespace
}  // namespace test
}  // namespace larkfold
