#include "disk/DiskScannerViewModel.h"
#include "disk/MarkTexts.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <QSignalSpy>
#include <QTest>
#include <memory>
#include <string>
#include <vector>

#include "platform/Bookmark.h"
#include "platform/qt/EventLoopQueue.h"
#include "support/TemporaryTree.h"
#include "support/UnprivilegedUser.h"

namespace larkfold {
namespace {

using test::TemporaryTree;

// The application of this process; made with the first driver.
void makeApplication() {
    if (QCoreApplication::instance() == nullptr) {
        static int count = 1;
        static char name[] = "disk_tests";
        static char* arguments[] = {name, nullptr};
        static QCoreApplication application(count, arguments);
    }
}

class ChooserThatAnswers final : public OpenPanel {
public:
    std::vector<std::string> answer;
    Question question;
    void ask(const Question& asked, Chosen chosen) override {
        question = asked;
        chosen(answer);
    }
};

class DiskScannerViewModelTest : public testing::Test {
protected:
    DiskScannerViewModelTest() {
        makeApplication();
        events = std::make_unique<EventLoopQueue>();
        defaults = std::make_unique<UserDefaults>(store.path("settings.json"), events->queue());
        driver = std::make_unique<DiskScannerViewModel>(
            DiskScannerViewModel::Dependencies{events->queue(), *defaults, &chooser, index()});
    }
    std::string index() const { return store.path("Larkfold/latest-scan.sqlite"); }

    // Until the scan under way has ended.
    void awaitEnd() {
        ASSERT_TRUE(driver->isScanning());
        QSignalSpy ended(driver.get(), &DiskScannerViewModel::isScanningChanged);
        ASSERT_TRUE(ended.wait(60'000));
        ASSERT_FALSE(driver->isScanning());
    }
    void scan(const std::string& path) {
        driver->scanFolder(path);
        awaitEnd();
        ASSERT_TRUE(driver->hasScanResult()) << driver->error().value_or("no error");
    }
    FileNode::Pointer child(std::string_view name) const {
        for (const auto& node : driver->currentNode()->children()) {
            if (node->name() == name) {
                return node;
            }
        }
        return nullptr;
    }

    TemporaryTree tree;
    TemporaryTree store;
    ChooserThatAnswers chooser;
    std::unique_ptr<EventLoopQueue> events;
    std::unique_ptr<UserDefaults> defaults;
    std::unique_ptr<DiskScannerViewModel> driver;
};

TEST_F(DiskScannerViewModelTest, beginsWithNothing) {
    EXPECT_FALSE(driver->hasScanResult());
    EXPECT_FALSE(driver->isScanning());
    EXPECT_FALSE(driver->error());
    EXPECT_FALSE(driver->hasSavedIndex());
    EXPECT_EQ(driver->progress(), ScanProgress{});
    EXPECT_EQ(driver->currentNode(), nullptr);
    EXPECT_EQ(driver->scanScope(), ScanScope::selectedFolder);
}

TEST_F(DiskScannerViewModelTest, aScanPublishesItsResultAndTheNotice) {
    tree.fileOfSize("a/file", 5000);
    driver->scanFolder(tree.root());
    EXPECT_TRUE(driver->isScanning());
    EXPECT_TRUE(driver->scanRootBookmarkData().has_value());
    awaitEnd();
    ASSERT_TRUE(driver->hasScanResult());
    EXPECT_EQ(driver->scanResult()->totalFiles, 1);
    EXPECT_TRUE(driver->hasSavedIndex());
    EXPECT_EQ(driver->savedScanNotice(),
              "Saved on this computer. Changes outside a rescan remain a snapshot.");
    EXPECT_FALSE(driver->error());
    EXPECT_EQ(driver->currentNode(), driver->scanResult()->rootNode);
    EXPECT_TRUE(driver->progress().isComplete);
    EXPECT_EQ(driver->progress().filesScanned, 1);
}

TEST_F(DiskScannerViewModelTest, theChosenFolderIsScanned) {
    tree.file("file");
    chooser.answer = {tree.root()};
    driver->chooseFolder();
    EXPECT_EQ(chooser.question.message, "Select a folder to scan");
    EXPECT_EQ(chooser.question.kind, OpenPanel::Kind::folder);
    awaitEnd();
    EXPECT_EQ(driver->scanResult()->rootPath, tree.root());
    chooser.answer.clear();
    driver->chooseFolder();
    EXPECT_FALSE(driver->isScanning());
    EXPECT_TRUE(driver->hasScanResult());
}

TEST_F(DiskScannerViewModelTest, aSecondStartDuringAScanIsIgnored) {
    tree.file("first/file");
    tree.file("second/a");
    tree.file("second/b");
    driver->scanFolder(tree.path("first"));
    driver->scanFolder(tree.path("second"));
    driver->scanStartupDisk();
    driver->rescan(tree.path("second"), std::nullopt);
    EXPECT_EQ(driver->scanRootPath(), tree.path("first"));
    awaitEnd();
    EXPECT_EQ(driver->scanResult()->rootPath, tree.path("first"));
    EXPECT_EQ(driver->scanScope(), ScanScope::selectedFolder);
}

TEST_F(DiskScannerViewModelTest, aCancelledScanSaysSoAndLeavesTheScreenEmpty) {
    for (int i = 0; i < 2000; ++i) {
        tree.file(std::to_string(i / 20) + "/" + std::to_string(i));
    }
    scan(tree.path("0"));
    driver->scanFolder(tree.root());
    driver->cancelScan();
    awaitEnd();
    EXPECT_EQ(driver->error(), "Scan was cancelled");
    EXPECT_FALSE(driver->isAccessProblem());
    EXPECT_FALSE(driver->hasScanResult());
    scan(tree.root());  // and the next one is as good as any
    EXPECT_FALSE(driver->error());
    EXPECT_EQ(driver->scanResult()->totalFiles, 2000);
}

TEST_F(DiskScannerViewModelTest, afterACancelledScanTheSavedMapComesBack) {
    tree.file("a/file");
    for (int i = 0; i < 2000; ++i) {
        tree.file("b/" + std::to_string(i / 20) + "/" + std::to_string(i));
    }
    scan(tree.path("a"));
    driver->scanFolder(tree.path("b"));
    driver->cancelScan();
    awaitEnd();
    ASSERT_EQ(driver->error(), "Scan was cancelled");
    ASSERT_FALSE(driver->hasScanResult());
    ASSERT_TRUE(driver->hasSavedIndex());
    driver->restoreSavedScanIfNeeded();
    EXPECT_FALSE(driver->error()) << "it would stand above the map";
    awaitEnd();
    ASSERT_TRUE(driver->hasScanResult());
    EXPECT_EQ(driver->scanResult()->rootPath, tree.path("a"));
    EXPECT_EQ(driver->scanRootPath(), tree.path("a"));
    EXPECT_TRUE(driver->isFromIndex());
    EXPECT_FALSE(driver->error());
}

TEST_F(DiskScannerViewModelTest, cancellingWithoutAScanDoesNothing) {
    driver->cancelScan();
    EXPECT_FALSE(driver->error());
    EXPECT_FALSE(driver->isScanning());
}

TEST_F(DiskScannerViewModelTest, theEndOfTheDriverEndsItsScan) {
    for (int i = 0; i < 2000; ++i) {
        tree.file(std::to_string(i / 20) + "/" + std::to_string(i));
    }
    driver->scanFolder(tree.root());
    driver.reset();
    QCoreApplication::processEvents();  // nothing of the run arrives any more
    SUCCEED();
}

TEST_F(DiskScannerViewModelTest, theHiddenFilesSettingHoldsForFoldersAndDefaultsToTrue) {
    tree.file(".hidden");
    tree.file("seen");
    EXPECT_TRUE(driver->skipHiddenFiles());
    scan(tree.root());
    EXPECT_EQ(driver->scanResult()->totalFiles, 1);
    EXPECT_EQ(driver->scanResult()->hiddenItemsLeftOut, 1);
    QSignalSpy changed(driver.get(), &DiskScannerViewModel::skipHiddenFilesChanged);
    driver->setSkipHiddenFiles(false);
    EXPECT_EQ(changed.count(), 1);
    driver->rescanCurrent();
    awaitEnd();
    EXPECT_EQ(driver->scanResult()->totalFiles, 2);
    EXPECT_FALSE(driver->scanOptions().skipHiddenFiles);
    defaults->setString("skipHiddenFiles", "no");
    EXPECT_TRUE(driver->skipHiddenFiles()) << "a value of another type counts as true";
}

TEST_F(DiskScannerViewModelTest, theStartupDiskIgnoresTheHiddenFilesSettingAndHasItsExclusions) {
    driver->scanStartupDisk();
    EXPECT_EQ(driver->scanScope(), ScanScope::startupDisk);
    EXPECT_FALSE(driver->scanOptions().skipHiddenFiles);
    EXPECT_TRUE(driver->scanOptions().skipSymbolicLinks);
    EXPECT_EQ(driver->scanOptions().maximumRetainedFiles, 50'000u);
    const auto& prefixes = driver->scanOptions().excludedPathPrefixes;
    const std::vector<std::string> fixed(prefixes.begin(), prefixes.begin() + 7);
    EXPECT_EQ(fixed, (std::vector<std::string>{"/System/Volumes", "/Volumes", "/dev", "/.vol", "/.nofollow",
                                               "/Network", "/net"}));
    EXPECT_NE(std::find(prefixes.begin(), prefixes.end(), "/proc"), prefixes.end());
    EXPECT_FALSE(driver->scanRootBookmarkData());
    driver->cancelScan();
    awaitEnd();
}

TEST_F(DiskScannerViewModelTest, aSavedFolderIsScannedWithTheBookmarkThatWasKept) {
    tree.file("a/file");
    scan(tree.path("a"));
    const std::string bookmark = makeBookmark(tree.path("a"));
    driver->rescan(tree.path("missing"), bookmark);
    awaitEnd();
    EXPECT_TRUE(driver->error());
    EXPECT_TRUE(driver->hasScanResult());
    driver->rescan(tree.path("a"), bookmark);
    awaitEnd();
    EXPECT_EQ(driver->scanRootBookmarkData(), bookmark);
    EXPECT_FALSE(driver->error());
}

TEST_F(DiskScannerViewModelTest, theRootByAnyWay_isTheStartupDisk) {
    chooser.answer = {"/"};
    const std::vector<std::function<void()>> ways{
        [this] { driver->scanFolder("/"); }, [this] { driver->scanFolder("//"); },
        [this] { driver->scanFolder("/."); }, [this] { driver->scanFolder("/usr/.."); },
        [this] { driver->chooseFolder(); }};
    for (const auto& way : ways) {
        way();
        EXPECT_EQ(driver->scanScope(), ScanScope::startupDisk);
        EXPECT_EQ(driver->scanRootPath(), "/");
        EXPECT_FALSE(driver->scanOptions().skipHiddenFiles);
        const auto& prefixes = driver->scanOptions().excludedPathPrefixes;
        EXPECT_NE(std::find(prefixes.begin(), prefixes.end(), "/proc"), prefixes.end());
        EXPECT_FALSE(driver->scanRootBookmarkData());
        driver->cancelScan();
        awaitEnd();
    }
}

TEST_F(DiskScannerViewModelTest, rescanningTheRootIsAScanOfTheStartupDisk) {
    driver->rescan("/", "not even a bookmark");
    EXPECT_EQ(driver->scanScope(), ScanScope::startupDisk);
    EXPECT_FALSE(driver->scanRootBookmarkData());
    driver->cancelScan();
    awaitEnd();
}

TEST_F(DiskScannerViewModelTest, anIndexThatCannotBeWrittenBecomesText) {
    tree.file("file");
    store.file("Larkfold", "a file stands where the folder should be");
    driver->scanFolder(tree.root());
    awaitEnd();
    ASSERT_TRUE(driver->error());
    EXPECT_FALSE(driver->hasScanResult());
    EXPECT_FALSE(driver->hasSavedIndex());
}

TEST_F(DiskScannerViewModelTest, goingInAndBack) {
    tree.file("a/b/file");
    tree.file("top");
    scan(tree.root());
    QSignalSpy moved(driver.get(), &DiskScannerViewModel::navigationStackChanged);
    driver->setSelectedNode(child("top"));
    driver->navigateBack();
    EXPECT_EQ(moved.count(), 0);
    EXPECT_TRUE(driver->selectedNode()) << "at the root nothing changes";
    driver->navigateInto(child("top"));
    EXPECT_EQ(moved.count(), 0) << "a file is nothing to go into";
    const auto a = child("a");
    driver->navigateInto(a);
    EXPECT_FALSE(driver->selectedNode());
    driver->navigateInto(child("b"));
    EXPECT_EQ(driver->currentNode()->name(), "b");
    driver->navigateInto(driver->currentNode());
    EXPECT_EQ(driver->navigationStack().size(), 3u) << "the same folder may stand there twice";
    driver->navigateTo(a);
    EXPECT_EQ(driver->navigationStack(), std::vector<FileNode::Pointer>{a});
    driver->navigateBack();
    EXPECT_EQ(driver->currentNode(), driver->scanResult()->rootNode);
}

TEST_F(DiskScannerViewModelTest, marksFollowTheRules) {
    tree.fileOfSize("a/file", 5000);
    tree.fileOfSize("b", 9000);
    scan(tree.root());
    const auto a = child("a");
    const auto b = child("b");
    const auto root = driver->scanResult()->rootNode;
    EXPECT_TRUE(driver->canSelect(*a));
    EXPECT_FALSE(driver->canSelect(*root));
    EXPECT_FALSE(driver->canSelect(*FileNode::makeAggregate(FileNode::SummaryOrigin::scan, 1, 1)));
    driver->toggleSelection(root);
    EXPECT_TRUE(driver->selectedForDeletion().empty());
    driver->toggleSelection(a);
    driver->toggleSelection(b);
    driver->toggleSelection(a->children().front());
    EXPECT_EQ(driver->selectedForDeletion().size(), 3u);
    EXPECT_EQ(driver->markedTotals().items, 2) << "what lies in a marked folder goes with it";
    EXPECT_EQ(driver->markedTotals().bytes, a->size() + b->size());
    driver->toggleSelection(a);
    EXPECT_FALSE(driver->selectedForDeletion().contains(a->id()));
    driver->clearSelection();
    EXPECT_EQ(driver->markedTotals().items, 0);
}

TEST_F(DiskScannerViewModelTest, theMarkOnAFolderThatIsALinkOutOfTheRootByNowIsTakenBackAndThatIsTold) {
    tree.file("root/a/file");
    tree.file("root/b");
    tree.file("outside/precious");
    scan(tree.path("root"));
    ASSERT_EQ(::rename(tree.path("root/a").c_str(), tree.path("moved").c_str()), 0);
    tree.link("root/a", tree.path("outside"));
    const auto b = child("b");
    driver->toggleSelection(child("a"));
    driver->toggleSelection(b);
    EXPECT_EQ(driver->selectedForDeletion().size(), 2u) << "the text alone says nothing against it";
    ASSERT_TRUE(QTest::qWaitFor([this] { return driver->areMarksChecked(); }, 60'000));
    EXPECT_EQ(driver->selectedForDeletion(), std::set<UUID>{b->id()});
    EXPECT_TRUE(driver->markNotice().startsWith("The mark on “a” was taken back: "))
        << driver->markNotice().toStdString();
    driver->dismissMarkNotice();
    EXPECT_TRUE(driver->markNotice().isEmpty());
}

TEST_F(DiskScannerViewModelTest, whatCannotBeMarkedSaysWhy) {
    tree.file("root/a");
    scan(tree.path("root"));
    const auto root = driver->scanResult()->rootNode;
    driver->toggleSelection(root);
    EXPECT_EQ(driver->markNotice().toStdString(), mark_texts::rootCannotBeMarked);
    const auto summary = FileNode::makeAggregate(FileNode::SummaryOrigin::scan, 1, 1);
    EXPECT_EQ(driver->whyNotMarked(*summary), mark_texts::aggregateCannotBeMarked);
    const auto elsewhere =
        FileNode::makeDetachedFile(tree.path("elsewhere"), "elsewhere", 1, 1, std::nullopt);
    EXPECT_EQ(driver->whyNotMarked(*elsewhere), mark_texts::protectedCannotBeMarked);
    driver->toggleSelection(child("a"));
    EXPECT_TRUE(driver->markNotice().isEmpty()) << "the next mark takes the old sentence away";
}

TEST_F(DiskScannerViewModelTest, onlyTheHomeFolderIsOpenToRemovalInAScanOfTheDisk) {
    driver->scanStartupDisk();
    EXPECT_EQ(driver->allowedRemovalRoots().size(), 1u);
    EXPECT_NE(driver->allowedRemovalRoots().front(), "/");
    driver->cancelScan();
    awaitEnd();
    EXPECT_EQ(driver->allowedRemovalRoots().size(), 1u);
}

TEST_F(DiskScannerViewModelTest, aFolderChosenByAnOrdinaryUserThatCannotBeReadIsToldInTheResult) {
    test::asUnprivilegedUser([](const std::string& home) {
        TemporaryTree own;
        own.file("closed/file");
        ASSERT_EQ(::chmod(own.path("closed").c_str(), 0), 0);
        EventLoopQueue queue;
        UserDefaults settings(home + "/settings.json", queue.queue());
        DiskScannerViewModel model({queue.queue(), settings, nullptr, home + "/index.sqlite"});
        QSignalSpy ended(&model, &DiskScannerViewModel::isScanningChanged);
        model.scanFolder(own.path("closed"));
        ASSERT_TRUE(ended.wait(60'000));
        ASSERT_TRUE(model.hasScanResult());
        ASSERT_EQ(model.scanResult()->errors.size(), 1u);
        EXPECT_NE(model.scanResult()->errors.front().error->description().find("permission"),
                  std::string::npos);
    });
}

}  // namespace
}  // namespace larkfold
