// The removal half of the driver, over a gate that only tells what it was asked for: each step, and how the
// tree on screen follows.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QSignalSpy>
#include <QTest>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "disk/DiskDriverFixture.h"
#include "disk/DiskScannerViewModel.h"
#include "disk/MarkTexts.h"
#include "platform/StandardFolders.h"
#include "support/GateThatTells.h"

namespace larkfold {
namespace {

using test::GateThatTells;

class RemovalFromTheMapTest : public test::DiskDriverFixture {
protected:
    RemovalFromTheMapTest() {
        auto with = dependencies();
        with.gate = gate.gate();
        makeDriver(std::move(with));
        QObject::connect(driver->removalRun(), &RemovalRun::finished, driver.get(),
                         [this](const CleanupOperation& operation) { finished.push_back(operation); });
    }
    ~RemovalFromTheMapTest() override { driver.reset(); }  // before the gate that it asks

    void remove(bool permanently = false) {
        driver->deleteSelected(permanently);
        ASSERT_TRUE(driver->isDeleting());
        ASSERT_TRUE(waitFor([this] { return !driver->isDeleting(); }));
    }
    void prepareReview() {
        driver->setShowDeleteConfirmation(true);
        ASSERT_TRUE(waitFor([this] { return driver->review() != nullptr; }));
        ASSERT_FALSE(driver->isPreparingReview());
    }
    void mark(const FileNode::Pointer& marked) {
        ASSERT_NE(marked, nullptr);
        driver->toggleSelection(marked);
        ASSERT_TRUE(driver->selectedForDeletion().contains(marked->id()));
    }

    GateThatTells gate;
    std::vector<CleanupOperation> finished;
};

TEST_F(RemovalFromTheMapTest, withoutAResultThereIsNothingToReviewAndNothingToRemove) {
    EXPECT_TRUE(driver->reviewItems().empty());
    driver->deleteSelected(false);
    EXPECT_FALSE(driver->isDeleting());
    EXPECT_TRUE(gate.requests.empty());
}

TEST_F(RemovalFromTheMapTest, theReviewHoldsWhatIsMarkedWithItsReason) {
    tree.fileOfSize("folder/file", 5'000);
    tree.fileOfSize("other", 9'000);
    scan(tree.root());
    mark(node("folder"));
    mark(node("other"));
    const auto items = driver->reviewItems();
    ASSERT_EQ(items.size(), 2u);
    for (const CleanupPreviewItem& item : items) {
        const auto named = node(item.url.substr(tree.root().size() + 1));
        ASSERT_NE(named, nullptr);
        EXPECT_EQ(item.estimatedBytes, named->size());
        EXPECT_EQ(item.reason, "Manually selected in disk analysis");
        EXPECT_EQ(item.risk, "Review");
        EXPECT_FALSE(item.keeper.has_value());
        EXPECT_EQ(item.isFolder, named->isDirectory());
    }
}

TEST_F(RemovalFromTheMapTest, whatTheUserTakesOutOfTheReviewStays_withAllThatWasMarkedBelowIt) {
    tree.fileOfSize("folder/file", 5'000);
    tree.fileOfSize("other", 9'000);
    tree.fileOfSize("third", 1'000);
    scan(tree.root());
    mark(node("folder"));
    mark(childOf(node("folder"), "file"));
    mark(node("other"));
    mark(node("third"));
    std::optional<ReviewRequest::Proposal> proposal;
    QObject::connect(&driver->reviewRequest(), &ReviewRequest::proposed, driver.get(),
                     [&](const ReviewRequest::Proposal& proposed) { proposal = proposed; });
    prepareReview();
    ASSERT_TRUE(proposal && proposal->drop);
    ASSERT_EQ(proposal->shown->items.size(), 3u);
    QSignalSpy changed(driver.get(), &DiskScannerViewModel::selectedForDeletionChanged);
    const auto rest = proposal->drop(tree.path("folder"));
    EXPECT_EQ(changed.count(), 1);
    ASSERT_EQ(rest->items.size(), 2u);
    EXPECT_EQ(rest->items[0].url, tree.path("other"));
    EXPECT_EQ(rest->items[1].url, tree.path("third"));
    EXPECT_EQ(rest->estimatedBytes, rest->items[0].estimatedBytes + rest->items[1].estimatedBytes);
    EXPECT_EQ(driver->review()->shown, rest) << "what is confirmed is what is shown";
    EXPECT_EQ(driver->selectedForDeletion(), (std::set<UUID>{node("other")->id(), node("third")->id()}))
        << "nor does the file below come to light, which was not shown";
    EXPECT_EQ(proposal->drop(tree.path("folder")), rest) << "it is not there any more";
    // As the sheet does: it closes, then decides.
    driver->setShowDeleteConfirmation(false);
    proposal->onConfirm(false);
    ASSERT_TRUE(waitFor([this] { return finished.size() == 1 && !driver->isDeleting(); }));
    ASSERT_EQ(gate.requests.size(), 1u);
    EXPECT_EQ(gate.requests[0].urls, (std::vector<std::string>{tree.path("other"), tree.path("third")}));
    EXPECT_NE(node("folder"), nullptr);
    EXPECT_EQ(node("other"), nullptr);
}

TEST_F(RemovalFromTheMapTest, aMarkOnANodeThatWasReplacedIsLeftOut) {
    tree.fileOfSize("folder/file", 5'000);
    tree.fileOfSize("other", 9'000);
    scan(tree.root());
    mark(childOf(node("folder"), "file"));
    mark(node("other"));
    node("folder")->replaceChildren({FileNode::makeFile("file", 5'000, 5'000, std::nullopt)});
    const auto items = driver->reviewItems();
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items.front().url, tree.path("other"));
}

TEST_F(RemovalFromTheMapTest, aFolderThatNowLeadsOutOfTheRootIsLeftOutOfTheReviewAndOfTheRemoval) {
    tree.file("root/a/file");
    tree.file("root/b");
    tree.file("outside/precious");
    scan(tree.path("root"));
    mark(node("a"));
    mark(node("b"));
    ASSERT_TRUE(waitFor([this] { return driver->areMarksChecked(); }));
    ASSERT_EQ(::rename(tree.path("root/a").c_str(), tree.path("moved").c_str()), 0);
    tree.link("root/a", tree.path("outside"));
    ASSERT_EQ(driver->selectedForDeletion().size(), 2u);
    prepareReview();
    ASSERT_EQ(driver->reviewItems().size(), 1u);
    EXPECT_EQ(driver->reviewItems().front().url, tree.path("root/b"));
    EXPECT_EQ(driver->selectedForDeletion(), std::set<UUID>{node("b")->id()});
    EXPECT_TRUE(driver->markNotice().startsWith("The mark on “a” was taken back: "));
    remove();
    ASSERT_EQ(gate.requests.size(), 1u);
    EXPECT_EQ(gate.requests.front().urls, std::vector<std::string>{tree.path("root/b")});
}

TEST_F(RemovalFromTheMapTest, exactlyWhatTheConfirmedReviewShowsGoes_whateverIsMarkedMeanwhile) {
    for (const char* name : {"root/a", "root/b", "root/c", "root/d"}) {
        tree.file(name);
    }
    scan(tree.path("root"));
    mark(node("a"));
    mark(node("b"));
    prepareReview();
    const auto confirmed = driver->review();
    ASSERT_EQ(confirmed->shown->items.size(), 2u);
    // Other marks, another state of the disk, another review, and the sheet is closed: what was confirmed
    // stands.
    driver->setShowDeleteConfirmation(false);
    driver->toggleSelection(node("a"));
    mark(node("c"));
    ASSERT_EQ(::rename(tree.path("root/b").c_str(), tree.path("moved").c_str()), 0);
    tree.link("root/b", tree.path("moved"));
    prepareReview();
    driver->setShowDeleteConfirmation(false);
    driver->deleteSelected(false, confirmed);
    ASSERT_TRUE(waitFor([this] { return !driver->isDeleting(); }));
    ASSERT_EQ(gate.requests.size(), 1u);
    EXPECT_EQ(gate.requests.front().urls,
              (std::vector<std::string>{tree.path("root/a"), tree.path("root/b")}));
    EXPECT_EQ(node("a"), nullptr);
    EXPECT_EQ(node("b"), nullptr);
    EXPECT_NE(node("c"), nullptr);
    EXPECT_TRUE(driver->selectedForDeletion().empty());
}

TEST_F(RemovalFromTheMapTest, theReviewThatIsOpenIsWhatGoes) {
    tree.file("root/a");
    tree.file("root/b");
    scan(tree.path("root"));
    mark(node("a"));
    prepareReview();
    mark(node("b"));
    remove();
    EXPECT_EQ(gate.requests.front().urls, std::vector<std::string>{tree.path("root/a")});
}

TEST_F(RemovalFromTheMapTest, nothingGoesWhileTheReviewIsBeingPrepared) {
    tree.file("root/a");
    scan(tree.path("root"));
    mark(node("a"));
    driver->setShowDeleteConfirmation(true);
    ASSERT_TRUE(driver->isPreparingReview());
    driver->deleteSelected(false);
    EXPECT_FALSE(driver->isDeleting());
    ASSERT_TRUE(waitFor([this] { return !driver->isPreparingReview(); }));
    EXPECT_TRUE(gate.requests.empty());
}

TEST_F(RemovalFromTheMapTest, aPreparationThatIsCancelledLeavesTheMarksAndTellsNothing) {
    tree.file("root/a");
    scan(tree.path("root"));
    mark(node("a"));
    QSignalSpy prepared(driver.get(), &DiskScannerViewModel::reviewPrepared);
    driver->setShowDeleteConfirmation(true);
    driver->setShowDeleteConfirmation(false);
    EXPECT_FALSE(driver->isPreparingReview());
    // The next one comes to its end, and it is the only one.
    prepareReview();
    EXPECT_EQ(prepared.count(), 1);
    EXPECT_EQ(driver->review()->shown->items.size(), 1u);
    EXPECT_FALSE(driver->error().has_value());
    EXPECT_TRUE(driver->markNotice().isEmpty());
}

TEST_F(RemovalFromTheMapTest, whatCannotBeCheckedIsShownWithItsReason) {
    tree.file("root/a");
    tree.file("root/b");
    scan(tree.path("root"));
    mark(node("a"));
    mark(node("b"));
    ASSERT_EQ(::unlink(tree.path("root/a").c_str()), 0);
    tree.link("root/a", "a");
    prepareReview();
    const auto items = driver->reviewItems();
    ASSERT_EQ(items.size(), 2u);
    for (const CleanupPreviewItem& item : items) {
        if (item.url == tree.path("root/a")) {
            EXPECT_NE(item.uncheckedReason.find("lead in a circle"), std::string::npos)
                << item.uncheckedReason;
        } else {
            EXPECT_EQ(item.uncheckedReason, "");
        }
    }
    EXPECT_EQ(driver->selectedForDeletion().size(), 2u);
}

TEST_F(RemovalFromTheMapTest, anotherFolderInTheScannedOnesPlaceTakesAllMarksBack) {
    tree.file("root/a");
    tree.file("root/b");
    scan(tree.path("root"));
    mark(node("a"));
    mark(node("b"));
    ASSERT_TRUE(waitFor([this] { return driver->areMarksChecked(); }));
    ASSERT_EQ(::rename(tree.path("root").c_str(), tree.path("moved").c_str()), 0);
    tree.file("root/a");
    tree.file("root/b");
    prepareReview();
    EXPECT_TRUE(driver->reviewItems().empty());
    EXPECT_TRUE(driver->selectedForDeletion().empty());
    EXPECT_EQ(driver->markNotice().toStdString(), mark_texts::takenBackWithTheFolder());
}

TEST_F(RemovalFromTheMapTest, theGateHearsWhichFolderTheMapWasMadeOf) {
    tree.file("root/a");
    const auto scanned = FileDeleter::AllowedRoot::at(tree.folder("root"));
    scan(tree.path("root"));
    mark(node("a"));
    prepareReview();
    ASSERT_EQ(::rename(tree.path("root").c_str(), tree.path("moved").c_str()), 0);
    tree.file("root/a");
    remove();
    EXPECT_EQ(gate.requests.front().allowedRoots, std::vector{scanned});
    EXPECT_NE(gate.requests.front().allowedRoots,
              std::vector{FileDeleter::AllowedRoot::at(tree.path("root"))});
}

TEST_F(RemovalFromTheMapTest, aMapThatIsReadBackOpensItsFolderAsItStandsThen) {
    tree.file("root/a");
    scan(tree.path("root"));
    auto with = dependencies();
    with.gate = gate.gate();
    makeDriver(std::move(with));
    driver->restoreSavedScanIfNeeded();
    awaitEnd();
    mark(node("a"));
    remove();
    EXPECT_EQ(gate.requests.front().allowedRoots,
              std::vector{FileDeleter::AllowedRoot::at(tree.path("root"))});
}

TEST_F(RemovalFromTheMapTest, theGateIsAskedAsThisTabMay) {
    tree.fileOfSize("file", 5'000);
    scan(tree.root());
    mark(node("file"));
    remove(true);
    ASSERT_EQ(gate.requests.size(), 1u);
    const FileDeleter::Request& request = gate.requests.front();
    EXPECT_EQ(request.urls, std::vector<std::string>{tree.path("file")});
    EXPECT_TRUE(request.permanently);
    EXPECT_EQ(request.allowedRoots, std::vector{FileDeleter::AllowedRoot::at(tree.root())});
    EXPECT_TRUE(request.duplicateVerifications.empty());
    EXPECT_EQ(request.source, "Disk analysis");
    EXPECT_FALSE(request.protectRunningApplications);
}

TEST_F(RemovalFromTheMapTest, theTreeFollowsAndTheTotalsAreFresh) {
    tree.fileOfSize("folder/gone", 50'000);
    tree.fileOfSize("folder/stays", 20'000);
    tree.fileOfSize("other", 30'000);
    scan(tree.root());
    const UUID id = driver->scanResult()->id;
    const Date date = driver->scanResult()->scanDate;
    ASSERT_EQ(root()->children().front()->name(), "folder");
    mark(childOf(node("folder"), "gone"));
    prepareReview();
    QSignalSpy changed(driver.get(), &DiskScannerViewModel::scanResultChanged);
    remove();

    EXPECT_FALSE(changed.isEmpty());
    EXPECT_EQ(childOf(node("folder"), "gone"), nullptr);
    EXPECT_NE(childOf(node("folder"), "stays"), nullptr);
    EXPECT_EQ(root()->children().front()->name(), "other") << "the order follows the sizes";
    EXPECT_EQ(node("folder")->size(), node("folder")->children().front()->size());
    EXPECT_EQ(driver->scanResult()->totalSize, root()->size());
    EXPECT_EQ(driver->scanResult()->totalFiles, 2);
    EXPECT_EQ(driver->scanResult()->totalDirectories, 2);
    EXPECT_EQ(driver->scanResult()->id, id);
    EXPECT_EQ(driver->scanResult()->scanDate, date);
    EXPECT_TRUE(driver->scanResult()->volumeCapacity.has_value());
    EXPECT_TRUE(driver->selectedForDeletion().empty());
    EXPECT_FALSE(driver->showDeleteConfirmation());
    EXPECT_FALSE(driver->error().has_value());
    ASSERT_EQ(finished.size(), 1u);
    EXPECT_EQ(finished.front().items.size(), 1u);
}

TEST_F(RemovalFromTheMapTest, aMarkedFolderGoesWholeAndWhatWasMarkedInItIsMarkedNoMore) {
    tree.fileOfSize("folder/deep/file", 5'000);
    tree.fileOfSize("other", 9'000);
    scan(tree.root());
    mark(node("folder"));
    mark(childOf(childOf(node("folder"), "deep"), "file"));
    remove();
    EXPECT_EQ(node("folder"), nullptr);
    EXPECT_EQ(driver->scanResult()->totalFiles, 1);
    EXPECT_EQ(driver->scanResult()->totalDirectories, 1);
    EXPECT_TRUE(driver->selectedForDeletion().empty());
}

TEST_F(RemovalFromTheMapTest, onlyWhatFailedStaysMarkedAndTheViewIsAtTheRoot) {
    tree.fileOfSize("folder/kept", 5'000);
    tree.fileOfSize("folder/gone", 6'000);
    scan(tree.root());
    const auto folder = node("folder");
    const auto kept = childOf(folder, "kept");
    driver->navigateInto(folder);
    mark(kept);
    mark(childOf(folder, "gone"));
    driver->setSelectedNode(kept);
    driver->setHoveredNode(kept);
    gate.failures[tree.path("folder/kept")] = GateThatTells::unsafePath();
    remove();

    EXPECT_EQ(driver->selectedForDeletion(), std::set<UUID>{kept->id()});
    EXPECT_TRUE(driver->navigationStack().empty());
    EXPECT_EQ(driver->currentNode(), root());
    EXPECT_EQ(driver->selectedNode(), nullptr);
    EXPECT_EQ(driver->hoveredNode(), nullptr);
    EXPECT_EQ(childOf(folder, "gone"), nullptr);
    EXPECT_EQ(driver->error(),
              "kept: This path is protected or outside the selected folder. Scan again before deleting.");
    EXPECT_TRUE(driver->failure().value().isOfRemoval());
    EXPECT_FALSE(driver->isAccessProblem());
    EXPECT_EQ(driver->markedTotals().items, 1);
}

TEST_F(RemovalFromTheMapTest, failuresAreToldInTheirOrderAndReplaceTheHistorysError) {
    tree.fileOfSize("a", 1);
    tree.fileOfSize("bb", 1);
    scan(tree.root());
    mark(node("a"));
    mark(node("bb"));
    gate.historyError = "Cleanup finished, but its history could not be saved: The disk is full.";
    gate.failures[tree.path("a")] = GateThatTells::unsafePath();
    gate.failures[tree.path("bb")] = GateThatTells::unsafePath();
    remove();
    const std::string reason =
        "This path is protected or outside the selected folder. Scan again before deleting.";
    EXPECT_EQ(driver->error(), "a: " + reason + "\nbb: " + reason);
    EXPECT_EQ(driver->failure().value().kind, DiskFailure::Kind::removal);
    EXPECT_EQ(driver->selectedForDeletion().size(), 2u);
}

TEST_F(RemovalFromTheMapTest, aRecordThatCouldNotBeSavedIsToldAndTheRemovalStands) {
    tree.fileOfSize("a", 1);
    scan(tree.root());
    mark(node("a"));
    gate.historyError = "Cleanup finished, but its history could not be saved: The disk is full.";
    remove();
    EXPECT_EQ(driver->error(), gate.historyError);
    EXPECT_EQ(driver->failure().value().kind, DiskFailure::Kind::record);
    EXPECT_EQ(node("a"), nullptr);
    EXPECT_TRUE(driver->selectedForDeletion().empty());
}

TEST_F(RemovalFromTheMapTest, aNewRemovalTakesTheOldErrorAway) {
    tree.fileOfSize("a", 1);
    scan(tree.root());
    mark(node("a"));
    gate.failures[tree.path("a")] = GateThatTells::unsafePath();
    remove();
    ASSERT_TRUE(driver->error().has_value());
    gate.failures.clear();
    remove();
    EXPECT_FALSE(driver->error().has_value());
    EXPECT_FALSE(driver->failure() && driver->failure()->isOfRemoval());
}

TEST_F(RemovalFromTheMapTest, whileItRunsNothingElseBegins) {
    tree.fileOfSize("a", 1);
    tree.fileOfSize("bb", 1);
    scan(tree.root());
    mark(node("a"));
    mark(node("bb"));
    gate.waitsForTheStop = true;
    driver->deleteSelected(false);
    EXPECT_TRUE(driver->isDeleting());
    driver->scanFolder(tree.root());
    EXPECT_FALSE(driver->isScanning());
    driver->deleteSelected(true);
    driver->cancelDeletion();
    ASSERT_TRUE(QTest::qWaitFor([this] { return !driver->isDeleting(); }, 60'000));
    EXPECT_EQ(gate.requests.size(), 1u);
}

TEST_F(RemovalFromTheMapTest, aCancelledRemovalTellsHowFarItCameAndNamesEveryItem) {
    tree.fileOfSize("a", 1);
    tree.fileOfSize("bb", 1);
    tree.fileOfSize("ccc", 1);
    scan(tree.root());
    for (const char* name : {"a", "bb", "ccc"}) {
        mark(node(name));
    }
    gate.waitsForTheStop = true;
    driver->deleteSelected(false);
    const RemovalRun::Progress first{.completed = 1, .total = 3, .isPermanent = false};
    ASSERT_TRUE(QTest::qWaitFor([&] { return driver->removalRun()->progress() == first; }, 60'000));
    EXPECT_FALSE(driver->removalRun()->isStopping());
    driver->cancelDeletion();
    EXPECT_TRUE(driver->isDeleting()) << "the item under way is finished first";
    EXPECT_TRUE(driver->removalRun()->isStopping());
    ASSERT_TRUE(QTest::qWaitFor([this] { return !driver->isDeleting(); }, 60'000));
    EXPECT_FALSE(driver->removalRun()->isStopping());

    ASSERT_EQ(finished.size(), 1u);
    EXPECT_EQ(finished.front().items.size(), 3u);
    EXPECT_EQ(finished.front().succeededCount(), 1);
    EXPECT_EQ(node("a"), nullptr);
    EXPECT_EQ(driver->selectedForDeletion(), (std::set<UUID>{node("bb")->id(), node("ccc")->id()}));
}

TEST_F(RemovalFromTheMapTest, cancellingWithoutARemovalDoesNothing) {
    driver->cancelDeletion();
    EXPECT_FALSE(driver->removalRun()->isStopping());
}

TEST_F(RemovalFromTheMapTest, theEndOfTheDriverStopsTheRemovalAndWaitsForTheItemUnderWay) {
    tree.fileOfSize("a", 1);
    tree.fileOfSize("bb", 1);
    scan(tree.root());
    mark(node("a"));
    mark(node("bb"));
    gate.waitsForTheStop = true;
    driver->deleteSelected(false);
    ASSERT_TRUE(QTest::qWaitFor([this] { return driver->removalRun()->progress().completed == 1; }, 60'000));
    driver.reset();
    EXPECT_EQ(gate.requests.size(), 1u);
    EXPECT_TRUE(finished.empty());
}

TEST_F(RemovalFromTheMapTest, whatWasMarkedAndIsGoneMeanwhileIsAnEmptyRemoval) {
    tree.fileOfSize("a", 1);
    scan(tree.root());
    remove();
    ASSERT_EQ(gate.requests.size(), 1u);
    EXPECT_TRUE(gate.requests.front().urls.empty());
    EXPECT_FALSE(driver->error().has_value());
}

TEST_F(RemovalFromTheMapTest, aScanOfTheWholeDiskOpensTheRealHomeAlone) {
    driver->scanStartupDisk();
    EXPECT_EQ(driver->allowedRemovalRoots(), std::vector<std::string>{realHomeDirectory()});
    driver->cancelScan();
    ASSERT_TRUE(QTest::qWaitFor([this] { return !driver->isScanning(); }, 60'000));
}

TEST_F(RemovalFromTheMapTest, manyItemsOfOneFolderLeaveTheTreeTogether) {
    constexpr int count = 3'000;
    for (int i = 0; i < count; ++i) {
        tree.file("folder/" + std::to_string(i), "x");
    }
    tree.file("folder/stays", "x");
    scan(tree.root());
    const auto folder = node("folder");
    const std::vector<FileNode::Pointer> children = folder->children();
    for (const FileNode::Pointer& each : children) {
        if (each->name() != "stays") {
            driver->toggleSelection(each);
        }
    }
    ASSERT_EQ(driver->selectedForDeletion().size(), static_cast<std::size_t>(count));
    remove();
    ASSERT_EQ(folder->children().size(), 1u);
    EXPECT_EQ(folder->children().front()->name(), "stays");
    EXPECT_EQ(driver->scanResult()->totalFiles, 1);
    EXPECT_EQ(children.front()->url().substr(0, tree.path("folder").size()), tree.path("folder"))
        << "what somebody still holds keeps its path";
}

}  // namespace
}  // namespace larkfold
