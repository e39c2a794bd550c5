#include <gtest/gtest.h>

#include <QSignalSpy>
#include <QTest>
#include <filesystem>
#include <map>
#include <string>

#include "disk/DiskScannerViewModel.h"
#include "disk/ScanIndexDatabase.h"
#include "platform/ByteCountFormatter.h"
#include "platform/UserDefaults.h"
#include "platform/qt/EventLoopQueue.h"
#include "shell/disk/DiskSpacePresenter.h"
#include "shell/disk/DiskSpaceTexts.h"
#include "support/TemporaryTree.h"

namespace larkfold {
namespace {

using test::TemporaryTree;

class PresenterTest : public testing::Test {
protected:
    bool scan(const std::string& path) {
        driver_.scanFolder(path);
        return QTest::qWaitFor([this] { return !driver_.isScanning(); }, 60'000) && driver_.hasScanResult();
    }

    FileNode::Pointer child(const FileNode::Pointer& parent, std::string_view name) {
        for (const auto& node : parent->children()) {
            if (node->name() == name) {
                return node;
            }
        }
        return nullptr;
    }

    QStringList crumbs() {
        QStringList names;
        for (int row = 0; row < presenter_.breadcrumb()->count(); ++row) {
            names.append(presenter_.breadcrumb()
                             ->data(presenter_.breadcrumb()->index(row), BreadcrumbModel::NameRole)
                             .toString());
        }
        return names;
    }

    TemporaryTree surroundings_;
    TemporaryTree tree_;
    EventLoopQueue events_;
    UserDefaults defaults_{surroundings_.path("settings.json"), events_.queue()};
    DiskScannerViewModel driver_{{.mainQueue = events_.queue(),
                                  .defaults = defaults_,
                                  .indexFileURL = surroundings_.path("index/latest-scan.sqlite")}};
    VolumeCapacity capacity_{.total = 500'000'000'000, .available = 150'000'000'000};
    DiskSpacePresenter presenter_{driver_, events_.queue(), [this](const std::string&) { return capacity_; }};
};

TEST_F(PresenterTest, theStatusLineGivesTotalFilesAndFolders) {
    tree_.fileOfSize("home/a", 5'000'000);
    tree_.fileOfSize("home/b/c", 5'000'000);
    ASSERT_TRUE(scan(tree_.path("home")));
    const auto total = QString::fromStdString(formattedByteCount(driver_.scanResult()->totalSize));
    EXPECT_EQ(presenter_.statusLine(), total + " in 2 files, 2 folders");
    EXPECT_EQ(presenter_.title(), "home");
    EXPECT_EQ(presenter_.path(), QString::fromStdString(tree_.path("home")));
}

TEST(DiskSpaceTexts, groupsAndCountsInWholePhrases) {
    EXPECT_EQ(texts::counts(1, 1), "in 1 file, 1 folder");
    EXPECT_EQ(texts::unreadable(1), "1 place could not be read");
    EXPECT_EQ(texts::unreadable(12), "12 places could not be read");
    EXPECT_EQ(texts::hiddenLeftOut(1), "1 hidden item left out");
    EXPECT_EQ(texts::marked(3, 4'200'000'000), "3 items, 4.2 GB marked");
    EXPECT_EQ(texts::mappingTitle(true), "Mapping Startup Disk");
    EXPECT_EQ(texts::mappingTitle(false), "Building Disk Map");
}

TEST_F(PresenterTest, afterAScanTheSavedIndexIsTold) {
    tree_.fileOfSize("home/a", 5'000);
    EXPECT_TRUE(presenter_.savedScanNotice().isEmpty());
    ASSERT_TRUE(scan(tree_.path("home")));
    EXPECT_EQ(presenter_.savedScanNotice(),
              "Saved on this computer. Changes outside a rescan remain a snapshot.");
}

TEST_F(PresenterTest, aSavedScanThatCannotBeForgottenIsToldWithWhatHelps) {
    tree_.fileOfSize("home/a", 5'000);
    ASSERT_TRUE(scan(tree_.path("home")));
    const std::string index = surroundings_.path("index/latest-scan.sqlite");
    std::filesystem::remove(index);
    std::filesystem::create_directory(index);  // cannot be deleted as a file
    driver_.forgetSavedScan();
    ASSERT_TRUE(QTest::qWaitFor(
        [this] { return driver_.failure() && driver_.failure()->kind == DiskFailure::Kind::forgetting; },
        60'000));
    EXPECT_TRUE(presenter_.errorHint().startsWith("The saved scan is still there."))
        << presenter_.errorHint().toStdString();
    std::filesystem::remove(index);
    ASSERT_TRUE(scan(tree_.path("home")));
    EXPECT_TRUE(presenter_.errorHint().isEmpty());
}

TEST_F(PresenterTest, ofASavedScanThePlacesThatCouldNotBeReadAreCountedAndNotTheirOneError) {
    const std::string index = surroundings_.path("index/latest-scan.sqlite");
    tree_.file("home/a");
    {
        ScanIndexDatabase database(index, true);
        database.insertRow(tree_.path("home"), tree_.root(), "home", true, 0, 0, std::nullopt);
        database.finish(tree_.path("home"), false, 312);
    }
    driver_.restoreSavedScanIfNeeded();
    ASSERT_TRUE(QTest::qWaitFor([this] { return !driver_.isScanning(); }, 60'000));
    EXPECT_EQ(presenter_.scanErrors()->rowCount(), 1);
    EXPECT_EQ(presenter_.unreadableText(), "312 places could not be read");
}

TEST_F(PresenterTest, withoutAResultThereIsNothingToSay) {
    EXPECT_TRUE(presenter_.title().isEmpty());
    EXPECT_TRUE(presenter_.statusLine().isEmpty());
    EXPECT_TRUE(presenter_.unreadableText().isEmpty());
    EXPECT_TRUE(presenter_.hiddenItemsText().isEmpty());
    EXPECT_TRUE(presenter_.markedText().isEmpty());
    EXPECT_FALSE(presenter_.canRescan());
    EXPECT_FALSE(presenter_.canGoBack());
    EXPECT_EQ(presenter_.breadcrumb()->count(), 0);
}

TEST_F(PresenterTest, theBreadcrumbIsTheChainOfParentsAndNotTheStack) {
    tree_.file("home/anna/Projects/x", "x");
    ASSERT_TRUE(scan(tree_.path("home")));
    const auto root = driver_.scanResult()->rootNode;
    const auto anna = child(root, "anna");
    const auto projects = child(anna, "Projects");
    driver_.navigateInto(projects);  // two levels at once, as an arc of the map allows
    driver_.navigateInto(projects);  // and the centre of the map once more
    EXPECT_EQ(crumbs(), QStringList({"home", "anna", "Projects"}));
    EXPECT_TRUE(presenter_.canGoBack());

    presenter_.navigateToCrumb(1);
    EXPECT_EQ(driver_.currentNode(), anna);
    EXPECT_EQ(crumbs(), QStringList({"home", "anna"}));
    presenter_.navigateToCrumb(7);
    EXPECT_EQ(driver_.currentNode(), anna);
    presenter_.navigateToCrumb(0);
    EXPECT_EQ(driver_.currentNode(), root);
    EXPECT_FALSE(presenter_.canGoBack());
}

TEST_F(PresenterTest, aNameThatIsNoTextStandsInTheBreadcrumbWithReplacement) {
    tree_.file(
        "home/a\xff"
        "b/x",
        "x");
    ASSERT_TRUE(scan(tree_.path("home")));
    driver_.navigateInto(driver_.scanResult()->rootNode->children().front());
    EXPECT_EQ(crumbs().last(), QString("a") + QChar(0xFFFD) + "b");
}

TEST_F(PresenterTest, hiddenItemsAreSaidToBeLeftOutAndTheSwitchIsSeenToDiffer) {
    tree_.file("home/.one", "x");
    tree_.file("home/.two/x", "x");
    tree_.file("home/three", "x");
    ASSERT_TRUE(scan(tree_.path("home")));
    EXPECT_EQ(presenter_.hiddenItemsText(), "2 hidden items left out");
    EXPECT_FALSE(presenter_.hiddenSettingDiffers());
    QSignalSpy changed(&presenter_, &DiskSpacePresenter::hiddenSettingDiffersChanged);
    driver_.setSkipHiddenFiles(false);
    EXPECT_TRUE(presenter_.hiddenSettingDiffers());
    EXPECT_GE(changed.count(), 1);
    ASSERT_TRUE(scan(tree_.path("home")));
    EXPECT_TRUE(presenter_.hiddenItemsText().isEmpty());
    EXPECT_FALSE(presenter_.hiddenSettingDiffers());
}

TEST_F(PresenterTest, marksAreCountedWithWhatLiesInsideCountedOnce) {
    tree_.fileOfSize("home/big/a", 3'000'000);
    tree_.fileOfSize("home/b", 1'000'000);
    ASSERT_TRUE(scan(tree_.path("home")));
    const auto root = driver_.scanResult()->rootNode;
    const auto big = child(root, "big");
    driver_.toggleSelection(big);
    driver_.toggleSelection(big->children().front());
    ASSERT_EQ(presenter_.markedItems(), 1);
    EXPECT_EQ(presenter_.markedText(),
              "1 item, " + QString::fromStdString(formattedByteCount(big->size())) + " marked");
    QSignalSpy changed(&presenter_, &DiskSpacePresenter::markedChanged);
    driver_.clearSelection();
    EXPECT_TRUE(presenter_.markedText().isEmpty());
    EXPECT_TRUE(QTest::qWaitFor([&] { return changed.count() > 0; }));
    EXPECT_EQ(changed.count(), 1) << "told once for the three changes";
}

TEST_F(PresenterTest, aFailureStandsInThePageWithWhatToDo) {
    driver_.setError("Scan index: disk I/O error");
    EXPECT_EQ(presenter_.errorText(), "Scan index: disk I/O error");
    EXPECT_EQ(presenter_.errorHint(), texts::scanFailedHint());
    driver_.dismissError();
    EXPECT_TRUE(presenter_.errorText().isEmpty());
    EXPECT_TRUE(presenter_.errorHint().isEmpty());
}

TEST_F(PresenterTest, whatToDoFollowsFromTheKindOfAFailureAndNotFromItsText) {
    using Kind = DiskFailure::Kind;
    const std::map<Kind, QString> hints{{Kind::access, QString()},
                                        {Kind::scan, texts::scanFailedHint()},
                                        {Kind::folderMissing, texts::folderMissingHint()},
                                        {Kind::cancelled, texts::scanCancelledHint()},
                                        {Kind::restoring, texts::restoreFailedHint()},
                                        {Kind::refreshing, texts::refreshFailedHint()},
                                        {Kind::forgetting, texts::forgettingFailedHint()},
                                        {Kind::removal, texts::removalFailedHint()},
                                        {Kind::record, texts::recordMissingHint()}};
    for (const auto& [kind, hint] : hints) {
        driver_.setFailure(DiskFailure{.kind = kind, .text = "Scan was cancelled"});
        EXPECT_EQ(presenter_.errorHint(), hint);
    }
}

TEST_F(PresenterTest, aFailureOfPermissionIsLeftToTheAlert) {
    driver_.setError("No.", true);
    EXPECT_TRUE(presenter_.errorText().isEmpty());
    driver_.setFailure(DiskFailure{.kind = DiskFailure::Kind::cancelled, .text = "Scan was cancelled"});
    EXPECT_EQ(presenter_.errorText(), "Scan was cancelled");
    EXPECT_EQ(presenter_.errorHint(), texts::scanCancelledHint());
}

TEST_F(PresenterTest, theListOfPlacesHasPathAndReasonAndCanBeCopied) {
    ScanErrorListModel model;
    model.setErrors(
        {ScanError{.path = "/a/b\xff",
                   .error = std::make_shared<SystemError>(SystemError::Operation::list, 13, "/a/b\xff")}});
    ASSERT_EQ(model.rowCount(), 1);
    const auto path = model.data(model.index(0), ScanErrorListModel::PathRole).toString();
    const auto reason = model.data(model.index(0), ScanErrorListModel::ReasonRole).toString();
    EXPECT_EQ(path, QString("/a/b") + QChar(0xFFFD));
    EXPECT_FALSE(reason.isEmpty());
    EXPECT_EQ(model.text(), path + "\t" + reason + "\n");
}

TEST_F(PresenterTest, theVolumeIsReadOffTheMainThreadAndItsShareIsBounded) {
    EXPECT_FALSE(presenter_.hasVolume());
    presenter_.refreshVolume();
    EXPECT_FALSE(presenter_.hasVolume());
    ASSERT_TRUE(QTest::qWaitFor([this] { return presenter_.hasVolume(); }, 60'000));
    EXPECT_EQ(presenter_.volumeUsedText(), "350 GB");
    EXPECT_EQ(presenter_.volumeFreeText(), "150 GB");
    EXPECT_EQ(presenter_.volumeTotalText(), "500 GB");
    EXPECT_NEAR(presenter_.volumeUsedShare(), 0.7, 1e-9);
    EXPECT_EQ(presenter_.volumeReservedText(), "");
    EXPECT_EQ(presenter_.volumeReservedShare(), 0);
    EXPECT_EQ(presenter_.volumeSpokenText(), "Startup Disk: 350 GB used, 150 GB free, of 500 GB");

    capacity_ = {.total = 10, .available = 20};  // what a confused system may say
    QSignalSpy changed(&presenter_, &DiskSpacePresenter::volumeChanged);
    presenter_.refreshVolume();
    ASSERT_TRUE(changed.wait(60'000));
    EXPECT_EQ(presenter_.volumeUsedShare(), 0);

    capacity_ = {};
    presenter_.refreshVolume();
    ASSERT_TRUE(changed.wait(60'000));
    EXPECT_FALSE(presenter_.hasVolume());
}

TEST_F(PresenterTest, whatTheFileSystemKeepsBackIsNeitherUsedNorFree) {
    QSignalSpy changed(&presenter_, &DiskSpacePresenter::volumeChanged);
    const auto read = [&](const VolumeCapacity& capacity) {
        capacity_ = capacity;
        presenter_.refreshVolume();
        return changed.wait(60'000);
    };
    ASSERT_TRUE(read({.total = 500'000'000'000, .available = 150'000'000'000, .free = 175'000'000'000}));
    EXPECT_EQ(presenter_.volumeUsedText(), "325 GB");
    EXPECT_EQ(presenter_.volumeReservedText(), "25 GB");
    EXPECT_EQ(presenter_.volumeFreeText(), "150 GB");
    EXPECT_NEAR(presenter_.volumeUsedShare(), 0.65, 1e-9);
    EXPECT_NEAR(presenter_.volumeReservedShare(), 0.05, 1e-9);
    EXPECT_EQ(presenter_.volumeSpokenText(),
              "Startup Disk: 325 GB used, 25 GB reserved, 150 GB free, of 500 GB");

    // What a confused system may say.
    ASSERT_TRUE(read({.total = 100, .available = 40, .free = 30}));
    EXPECT_NEAR(presenter_.volumeUsedShare(), 0.6, 1e-9);
    EXPECT_EQ(presenter_.volumeReservedShare(), 0);
    ASSERT_TRUE(read({.total = 100, .available = 40, .free = 300}));
    EXPECT_EQ(presenter_.volumeUsedShare(), 0);
    EXPECT_NEAR(presenter_.volumeReservedShare(), 0.6, 1e-9);
    ASSERT_TRUE(read({.total = 100, .available = -40, .free = -30}));
    EXPECT_EQ(presenter_.volumeUsedShare(), 1);
    EXPECT_EQ(presenter_.volumeReservedShare(), 0);
    ASSERT_TRUE(read({.total = 0, .available = 0, .free = 0}));
    EXPECT_EQ(presenter_.volumeUsedShare(), 0);
    EXPECT_EQ(presenter_.volumeReservedShare(), 0);
}

TEST(ActivityLevel, risesByPowersOfTenFromRestToFull) {
    EXPECT_EQ(DiskSpacePresenter::activityLevel(0), 0);
    EXPECT_EQ(DiskSpacePresenter::activityLevel(-5), 0);
    EXPECT_NEAR(DiskSpacePresenter::activityLevel(999), 0.6, 1e-9);
    EXPECT_EQ(DiskSpacePresenter::activityLevel(1e9), 1);
}

TEST_F(PresenterTest, figuresOnTheirWayUpAreRoundedAndGrouped) {
    EXPECT_EQ(presenter_.byteCountText(4'199'999'999.7), "4.2 GB");
    EXPECT_EQ(presenter_.countText(0.4), "0");
}

}  // namespace
}  // namespace larkfold
