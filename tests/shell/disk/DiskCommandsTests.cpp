// What can be done in the disk tab in each of its states: a command is enabled exactly when it acts, and says
// why where it does not.
#include "shell/disk/DiskCommands.h"

#include <gtest/gtest.h>

#include <QSignalSpy>
#include <QTest>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "platform/FileLock.h"
#include "platform/qt/EventLoopQueue.h"
#include "shell/disk/DiskSpaceTab.h"
#include "support/GateThatTells.h"
#include "support/TemporaryTree.h"

namespace larkfold {
namespace {

class DiskCommandsTest : public testing::Test {
protected:
    DiskCommandsTest() {
        tree_.file("all/a/file", "content");
        tree_.file("all/b/file", "content");
        QObject::connect(can().newScan(), &Command::triggered, [this] { ++startPages_; });
        QObject::connect(can().scanDisk(), &Command::triggered, [this] { ++diskScans_; });
        QObject::connect(can().forget(), &Command::triggered, [this] { ++questions_; });
    }

    DiskCommands& can() { return *tab_.can(); }
    static bool eventually(const std::function<bool()>& condition) {
        return QTest::qWaitFor(condition, 60'000);
    }
    void scan() {
        driver_.scanFolder(tree_.path("all"));
        ASSERT_TRUE(eventually([this] { return !driver_.isScanning(); }));
        ASSERT_TRUE(driver_.hasScanResult());
    }
    // Another window that uses the index: whoever needs it waits.
    void holdIndex() { otherWindow_.emplace(surroundings_.path("index")); }
    void letGo() {
        otherWindow_.reset();
        ASSERT_TRUE(eventually([this] { return can().busyReason().isEmpty(); }));
    }

    std::map<std::string, Command*> all() {
        return {{"scanFolder", can().scanFolder()},
                {"scanDisk", can().scanDisk()},
                {"newScan", can().newScan()},
                {"cancelScan", can().cancelScan()},
                {"refreshChanged", can().refreshChanged()},
                {"refreshCurrent", can().refreshCurrent()},
                {"scanAgain", can().scanAgain()},
                {"forget", can().forget()},
                {"review", can().review()},
                {"clearMarks", can().clearMarks()}};
    }
    // Enabled are these and no others, each of the others says why, and does nothing when it is asked to.
    void expectEnabled(const std::set<std::string>& names) {
        QSignalSpy scanning(&driver_, &DiskScannerViewModel::isScanningChanged);
        QSignalSpy forgetting(&driver_, &DiskScannerViewModel::isForgettingChanged);
        QSignalSpy reviewing(&driver_, &DiskScannerViewModel::showDeleteConfirmationChanged);
        QSignalSpy marking(&driver_, &DiskScannerViewModel::selectedForDeletionChanged);
        const int asked = startPages_ + diskScans_ + questions_ + chooser_.questions;
        for (const auto& [name, command] : all()) {
            SCOPED_TRACE(name);
            EXPECT_EQ(command->isEnabled(), names.contains(name)) << command->reason().toStdString();
            EXPECT_EQ(command->reason().isEmpty(), command->isEnabled());
            EXPECT_TRUE(command->isEnabled() || command->reason().endsWith('.'));
            if (!command->isEnabled()) {
                QSignalSpy triggered(command, &Command::triggered);
                command->trigger();
                EXPECT_EQ(triggered.count(), 0);
            }
        }
        EXPECT_EQ(scanning.count() + forgetting.count() + reviewing.count() + marking.count(), 0);
        EXPECT_EQ(startPages_ + diskScans_ + questions_ + chooser_.questions, asked);
    }

    struct Chooser final : OpenPanel {
        int questions = 0;
        void ask(const Question&, Chosen) override { ++questions; }
    };

    test::TemporaryTree surroundings_;
    test::TemporaryTree tree_;
    EventLoopQueue events_;
    UserDefaults defaults_{surroundings_.path("settings.json"), events_.queue()};
    Chooser chooser_;
    test::GateThatTells gate_;
    std::function<void(std::vector<std::string>)> tellChanged_;
    DiskScannerViewModel driver_{{.mainQueue = events_.queue(),
                                  .defaults = defaults_,
                                  .folderChooser = &chooser_,
                                  .indexFileURL = surroundings_.path("index/latest-scan.sqlite"),
                                  .gate = gate_.gate(),
                                  .makeStream = [this](const std::string&, const FolderWatcherOptions&,
                                                       FolderWatcher::Handlers handlers) {
                                      tellChanged_ = [handlers](std::vector<std::string> paths) {
                                          handlers.covered(WatchCoverage{});
                                          handlers.changed(
                                              {.eventsAreLost = false, .paths = std::move(paths)});
                                      };
                                      return std::make_shared<int>(0);
                                  }}};
    ScanHistoryManager history_{defaults_, events_.queue()};
    DiskSpaceTab tab_{{.mainQueue = events_.queue(), .driver = driver_, .history = history_}};
    std::optional<own_files::FolderLock> otherWindow_;
    int startPages_ = 0;
    int diskScans_ = 0;
    int questions_ = 0;
};

const std::set<std::string> starts{"scanFolder", "scanDisk", "newScan"};

std::set<std::string> with(std::set<std::string> names, const std::set<std::string>& more) {
    names.insert(more.begin(), more.end());
    return names;
}

TEST_F(DiskCommandsTest, withoutAMap_somethingCanBeScanned) {
    expectEnabled(starts);
}

TEST_F(DiskCommandsTest, withAMap_itCanBeScannedAgainAndForgotten) {
    scan();
    const auto onTheMap = with(starts, {"refreshCurrent", "scanAgain", "forget"});
    expectEnabled(onTheMap);
    tellChanged_({tree_.path("all/a/file")});
    expectEnabled(with(onTheMap, {"refreshChanged"}));
    EXPECT_EQ(can().refreshChanged()->text(), "Changed folders (1)");
    driver_.toggleSelection(driver_.scanResult()->rootNode->children().front());
    const auto withMarks = with(onTheMap, {"refreshChanged", "review", "clearMarks"});
    expectEnabled(withMarks);
    // On the start page over the map nothing is done to what is not seen.
    tab_.showStartPage(true);
    expectEnabled(with(starts, {"forget", "review", "clearMarks"}));
    tab_.showStartPage(false);
    expectEnabled(withMarks);
}

TEST_F(DiskCommandsTest, duringAScan_itCanBeCancelled) {
    scan();
    holdIndex();
    driver_.scanFolder(tree_.path("all"));
    EXPECT_EQ(can().busyReason(), "A scan is under way.");
    expectEnabled({"cancelScan"});
    can().cancelScan()->trigger();
    letGo();
    EXPECT_EQ(driver_.error(), "Scan was cancelled");
    expectEnabled(with(starts, {"forget"}));
}

TEST_F(DiskCommandsTest, duringARefresh_itCanBeCancelled) {
    scan();
    driver_.toggleSelection(driver_.scanResult()->rootNode->children().front());
    holdIndex();
    can().refreshCurrent()->trigger();
    EXPECT_TRUE(driver_.isRefreshingIndex());
    EXPECT_EQ(can().busyReason(), "A refresh is under way.");
    expectEnabled({"cancelScan"});
    EXPECT_FALSE(tab_.canReview());
    EXPECT_EQ(tab_.whyNoReview(), "A refresh is under way.");
    // The key that reviews says why it does not.
    tab_.review();
    EXPECT_FALSE(driver_.showDeleteConfirmation());
    EXPECT_EQ(driver_.markNotice(), "A refresh is under way. Review what is marked when it has ended.");
    can().cancelScan()->trigger();
    letGo();
}

TEST_F(DiskCommandsTest, duringAForgetting_itCanBeCancelled) {
    scan();
    holdIndex();
    driver_.forgetSavedScan();
    EXPECT_EQ(can().busyReason(), "The saved scan is being forgotten.");
    expectEnabled({"cancelScan"});
    can().cancelScan()->trigger();
    letGo();
    expectEnabled(with(starts, {"refreshCurrent", "scanAgain", "forget"}));
    can().forget()->trigger();
    EXPECT_EQ(questions_, 1);
    driver_.forgetSavedScan();
    ASSERT_TRUE(eventually([this] { return !driver_.isForgetting(); }));
    expectEnabled(with(starts, {"scanAgain"}));
}

TEST_F(DiskCommandsTest, duringARemoval_nothingBegins) {
    gate_.waitsForTheStop = true;
    scan();
    for (const auto& node : driver_.scanResult()->rootNode->children()) {
        driver_.toggleSelection(node);
    }
    ASSERT_TRUE(eventually([this] { return driver_.areMarksChecked(); }));
    can().review()->trigger();
    EXPECT_TRUE(driver_.showDeleteConfirmation());
    ASSERT_TRUE(eventually([this] { return driver_.review() != nullptr; }));
    driver_.deleteSelected(false);
    ASSERT_TRUE(driver_.isDeleting());
    EXPECT_EQ(can().busyReason(), "A removal is under way.");
    expectEnabled({});
    driver_.cancelDeletion();
    letGo();
}

// What is enabled acts: each of them, from a state in which it is.
TEST_F(DiskCommandsTest, whatIsEnabledActs) {
    can().scanFolder()->trigger();
    EXPECT_EQ(chooser_.questions, 1);
    can().scanDisk()->trigger();
    EXPECT_EQ(diskScans_, 1);
    can().newScan()->trigger();
    EXPECT_EQ(startPages_, 1);
    scan();
    can().scanAgain()->trigger();
    EXPECT_TRUE(driver_.isScanning());
    letGo();
    can().refreshCurrent()->trigger();
    EXPECT_TRUE(driver_.isRefreshingIndex());
    letGo();
    tellChanged_({tree_.path("all/a/file")});
    can().refreshChanged()->trigger();
    EXPECT_TRUE(driver_.isRefreshingIndex());
    letGo();
    driver_.toggleSelection(driver_.scanResult()->rootNode->children().front());
    can().clearMarks()->trigger();
    EXPECT_TRUE(driver_.selectedForDeletion().empty());
}

TEST_F(DiskCommandsTest, theMenusHoldWhatHasAPlaceThere) {
    QStringList texts;
    for (const QVariant& command : tab_.commands()) {
        texts << command.value<Command*>()->text();
    }
    EXPECT_EQ(texts, (QStringList{"Scan Folder…", "Changed folders (0)", "Current folder",
                                  "Scan Everything Again", "Forget saved scan…"}));
}

// A command whose state changes without a signal is asked anew when it is pressed.
TEST(Command, asksAnewBeforeItActs) {
    bool can = true;
    int acted = 0;
    Command command(
        {.text = QStringLiteral("Do it"),
         .state = [&] { return Command::State{.whyNot = can ? QString() : QStringLiteral("No.")}; },
         .act = [&] { ++acted; }});
    QSignalSpy changed(&command, &Command::changed);
    command.trigger();
    EXPECT_EQ(acted, 1);
    EXPECT_EQ(changed.count(), 0);
    can = false;
    EXPECT_TRUE(command.isEnabled());
    command.trigger();
    EXPECT_EQ(acted, 1);
    EXPECT_FALSE(command.isEnabled());
    EXPECT_EQ(command.reason(), "No.");
    EXPECT_EQ(changed.count(), 1);
}

}  // namespace
}  // namespace larkfold
