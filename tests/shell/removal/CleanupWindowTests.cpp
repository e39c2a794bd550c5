// The way of a removal in the real window: marks, review, decisions, banner, history. By keys wherever a
// person could.

#include <sys/stat.h>
#include <QAccessible>
#include <QtQml/QQmlExtensionPlugin>

#include <cstdio>
#include <set>
#include <string>
#include <vector>

#include "disk/MarkTexts.h"
#include "platform/FileIdentity.h"
#include "platform/ItemIdentities.h"
#include "platform/StandardFolders.h"
#include "removal/CleanupHistoryStore.h"
#include "removal/RemovalJournalContent.h"
#include "shell/app/AnnouncementLog.h"
#include "shell/app/WindowFixture.h"
#include "shell/disk/DiskSpaceTexts.h"
#include "support/GateThatTells.h"

Q_IMPORT_QML_PLUGIN(Larkfold_ShellPlugin)

namespace larkfold::test {
namespace {

class CleanupWindowTest : public WindowFixture {
protected:
    // What slides is where it is going to be at once.
    CleanupWindowTest() { appearance_.setReducesMotion(true); }

    void scanned() {
        tree_.fileOfSize("home/large", 3'000'000);
        tree_.fileOfSize("home/middle", 2'000'000);
        tree_.fileOfSize("home/small", 1'000'000);
        startAfterFirstRun();
        window_->resize(1400, 800);
        ASSERT_TRUE(scan(tree_.path("home")));
        auto* list = named("fileList");
        ASSERT_NE(list, nullptr);
        list->forceActiveFocus();
    }
    void scannedWithAGateThatTells() {
        gate_ = gate.gate();
        scanned();
    }
    FileNode::Pointer node(std::string_view name) {
        for (const auto& each : driver().scanResult()->rootNode->children()) {
            if (each->name() == name) {
                return each;
            }
        }
        return nullptr;
    }
    void markTheFirstTwoByKeys() {
        key(Qt::Key_Home);
        key(Qt::Key_Space);
        key(Qt::Key_Down);
        key(Qt::Key_Space);
        ASSERT_EQ(driver().selectedForDeletion().size(), 2u);
    }
    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) { QTest::keyClick(window_, key, modifiers); }
    // What has the keyboard: a named list that it is in, otherwise the text of a button.
    QString focusName() {
        QQuickItem* const focus = window_->activeFocusItem();
        for (QQuickItem* item = focus; item != nullptr; item = item->parentItem()) {
            if (!item->objectName().isEmpty()) {
                return item->objectName();
            }
        }
        return focus != nullptr ? focus->property("text").toString() : QString();
    }
    bool hasFocus(const QString& name) {
        return eventually([&] { return focusName() == name; });
    }
    void openReview() {
        key(Qt::Key_Delete);
        ASSERT_TRUE(eventually([this] { return isShown("Review cleanup"); }));
        ASSERT_TRUE(hasFocus("Cancel")) << focusName().toStdString();
    }
    // With the sheets above the page.
    QQuickItem* surface() {
        QQuickItem* const content = window_->contentItem();
        return content->parentItem() != nullptr ? content->parentItem() : content;
    }
    bool isClosed(const QString& text) {
        return eventually([&] { return !isShown(text); });
    }
    bool finishes() {
        return eventually([this] { return !driver().isDeleting(); });
    }

    GateThatTells gate;
};

TEST_F(CleanupWindowTest, deleteOpensTheReviewOfWhatIsMarked) {
    scannedWithAGateThatTells();
    markTheFirstTwoByKeys();
    openReview();
    EXPECT_TRUE(driver().showDeleteConfirmation());
    EXPECT_TRUE(isShown("2 items · 5 MB estimated data"));
    EXPECT_TRUE(
        isShown("Review the paths and reasons below. Folder contents are included; nested selections are "
                "counted once."));
    EXPECT_TRUE(isShown(QString::fromStdString(tree_.path("home/large"))));
    EXPECT_TRUE(isShown("Manually selected in disk analysis"));
    EXPECT_TRUE(isShown("Permanently delete instead of moving to Trash"));
}

TEST_F(CleanupWindowTest, returnAndEscapeRemoveNothingAndGiveTheKeyboardBack) {
    scannedWithAGateThatTells();
    markTheFirstTwoByKeys();
    for (const Qt::Key leaving : {Qt::Key_Return, Qt::Key_Escape}) {
        openReview();
        key(leaving);
        ASSERT_TRUE(isClosed("Review cleanup"));
        EXPECT_FALSE(driver().showDeleteConfirmation());
        EXPECT_FALSE(driver().isDeleting());
        EXPECT_EQ(driver().selectedForDeletion().size(), 2u);
        EXPECT_TRUE(hasFocus("fileList")) << focusName().toStdString();
    }
    EXPECT_TRUE(gate.requests.empty());
}

TEST_F(CleanupWindowTest, tabGoesThroughTheWholeSheet) {
    scannedWithAGateThatTells();
    markTheFirstTwoByKeys();
    openReview();
    QStringList way;
    for (int step = 0; step < 4; ++step) {
        key(Qt::Key_Tab);
        way << focusName();
    }
    EXPECT_EQ(way, QStringList({"Move to Trash", "reviewList",
                                "Permanently delete instead of moving to Trash", "Cancel"}))
        << way.join(", ").toStdString();
}

TEST_F(CleanupWindowTest, byKeysAloneWhatIsMarkedGoesToTrash) {
    scanned();  // through the real gate
    markTheFirstTwoByKeys();
    openReview();
    key(Qt::Key_Tab);
    ASSERT_EQ(focusName(), "Move to Trash");
    key(Qt::Key_Return);
    ASSERT_TRUE(eventually([this] { return isShown("2 items moved to Trash · 0 skipped or failed"); }));
    const std::string trash = applicationSupportDirectory() + "/Trash/files/";
    EXPECT_FALSE(FileIdentity::of(tree_.path("home/large")).has_value());
    EXPECT_FALSE(FileIdentity::of(tree_.path("home/middle")).has_value());
    EXPECT_TRUE(FileIdentity::of(tree_.path("home/small")).has_value());
    EXPECT_TRUE(FileIdentity::of(trash + "large").has_value());
    EXPECT_TRUE(FileIdentity::of(trash + "middle").has_value());
    EXPECT_TRUE(driver().selectedForDeletion().empty());
    EXPECT_EQ(driver().scanResult()->totalFiles, 1);
    EXPECT_TRUE(eventually([this] { return isShown("in 1 file, 1 folder"); }));
    EXPECT_TRUE(hasFocus("fileList")) << focusName().toStdString();

    // The history tells of it, at once and in full.
    click("View history");
    EXPECT_EQ(view().selectedTab(), 5);
    EXPECT_EQ(window_->title(), "Cleanup History — Larkfold");
    EXPECT_TRUE(
        eventually([&] { return isShown(QString::fromStdString("Trash location: " + trash + "large")); }));
    EXPECT_TRUE(isShown("Locate in Trash"));
}

TEST_F(CleanupWindowTest, permanentDeletionTakesTwoDecisionsAfterTheSwitch) {
    scanned();
    markTheFirstTwoByKeys();
    openReview();
    click("Permanently delete instead of moving to Trash");
    ASSERT_TRUE(eventually([this] { return isShown("Permanent deletion cannot be undone."); }));
    click("Review permanent deletion…");
    ASSERT_TRUE(eventually([this] { return isShown("Permanently delete 2 items?"); }));
    EXPECT_TRUE(isShown("These files will bypass Trash and cannot be restored from cleanup history."));
    EXPECT_TRUE(hasFocus("Cancel"));
    EXPECT_TRUE(FileIdentity::of(tree_.path("home/large")).has_value());
    click("Delete Permanently");
    ASSERT_TRUE(eventually([this] { return isShown("2 items deleted · 0 skipped or failed"); }));
    EXPECT_FALSE(FileIdentity::of(tree_.path("home/large")).has_value());
    EXPECT_FALSE(FileIdentity::of(tree_.path("home/middle")).has_value());
    EXPECT_TRUE(FileIdentity::of(tree_.path("home/small")).has_value());
    EXPECT_FALSE(isShown("Review cleanup"));
}

TEST_F(CleanupWindowTest, returnAndEscapeInTheSecondDecisionLeadBackToTheReview) {
    scannedWithAGateThatTells();
    markTheFirstTwoByKeys();
    openReview();
    click("Permanently delete instead of moving to Trash");
    for (const Qt::Key leaving : {Qt::Key_Return, Qt::Key_Escape}) {
        click("Review permanent deletion…");
        ASSERT_TRUE(eventually([this] { return isShown("Permanently delete 2 items?"); }));
        ASSERT_TRUE(hasFocus("Cancel"));
        key(leaving);
        ASSERT_TRUE(isClosed("Permanently delete 2 items?"));
        EXPECT_TRUE(isShown("Review cleanup"));
        EXPECT_TRUE(isShown("Review permanent deletion…")) << "the switch stands";
        EXPECT_TRUE(hasFocus("Review permanent deletion…")) << focusName().toStdString();
    }
    key(Qt::Key_Escape);
    ASSERT_TRUE(isClosed("Review cleanup"));
    EXPECT_TRUE(gate.requests.empty());
}

TEST_F(CleanupWindowTest, pressingReturnAgainAndAgainNeverDeletesPermanently) {
    scannedWithAGateThatTells();
    markTheFirstTwoByKeys();
    openReview();
    click("Permanently delete instead of moving to Trash");
    key(Qt::Key_Tab);
    key(Qt::Key_Tab);
    ASSERT_EQ(focusName(), "Review permanent deletion…");
    for (int press = 0; press < 9; ++press) {
        key(Qt::Key_Return);
        QCoreApplication::processEvents();
    }
    EXPECT_FALSE(driver().isDeleting());
    EXPECT_TRUE(gate.requests.empty());
}

TEST_F(CleanupWindowTest, withNothingMarkedTheReviewSaysHowToMark) {
    scannedWithAGateThatTells();
    openReview();
    EXPECT_TRUE(isShown("Nothing is marked"));
    EXPECT_FALSE(isShown("Permanently delete instead of moving to Trash"));
    click("Move to Trash");
    EXPECT_TRUE(isShown("Review cleanup")) << "there is nothing to decide";
    key(Qt::Key_Escape);
    EXPECT_TRUE(isClosed("Review cleanup"));
    EXPECT_TRUE(gate.requests.empty());
}

TEST_F(CleanupWindowTest, theToolbarsButtonTheSidebarAndTheMapLeadToTheReview) {
    scannedWithAGateThatTells();
    EXPECT_FALSE(find("Delete Selected")->isEnabled());
    markTheFirstTwoByKeys();
    EXPECT_TRUE(isShown("2 items, 5 MB marked"));
    for (const char* button : {"Delete Selected", "Review…"}) {
        click(button);
        ASSERT_TRUE(eventually([this] { return isShown("Review cleanup"); })) << button;
        key(Qt::Key_Escape);
        ASSERT_TRUE(isClosed("Review cleanup"));
    }
    auto* layer = named("sunburstLayer");
    ASSERT_NE(layer, nullptr);
    layer->forceActiveFocus();
    key(Qt::Key_Delete);
    EXPECT_TRUE(eventually([this] { return isShown("Review cleanup"); }));
    key(Qt::Key_Escape);
    EXPECT_TRUE(hasFocus("sunburstLayer")) << focusName().toStdString();
}

TEST_F(CleanupWindowTest, theNarrowSidebarKeepsTheWayToTheReview) {
    scannedWithAGateThatTells();
    markTheFirstTwoByKeys();
    window_->resize(900, 600);
    ASSERT_TRUE(eventually([this] { return isShown("2\n5 MB"); }));
    click("Review…");
    EXPECT_TRUE(eventually([this] { return isShown("Review cleanup"); }));
    key(Qt::Key_Escape);
    ASSERT_TRUE(isClosed("Review cleanup"));
    click("Clear Marks");
    EXPECT_TRUE(driver().selectedForDeletion().empty());
}

TEST_F(CleanupWindowTest, whatFailedStaysMarkedAndIsTold) {
    scannedWithAGateThatTells();
    gate.failures[tree_.path("home/large")] = GateThatTells::unsafePath();
    markTheFirstTwoByKeys();
    openReview();
    click("Move to Trash");
    ASSERT_TRUE(eventually([this] { return isShown("1 items moved to Trash · 1 skipped or failed"); }));
    EXPECT_TRUE(
        isShown("large: This path is protected or outside the selected folder. Scan again before deleting."));
    EXPECT_TRUE(
        isShown("Larkfold did not remove what failed; it stays marked. Cleanup History tells what became "
                "of every item."));
    EXPECT_FALSE(view().diskSpace()->showDiskAccessIssue());
    EXPECT_EQ(driver().selectedForDeletion(), std::set<UUID>{node("large")->id()});
    EXPECT_EQ(node("middle"), nullptr);
}

TEST_F(CleanupWindowTest, manyFailuresDoNotFillThePage) {
    gate_ = gate.gate();
    for (int i = 0; i < 40; ++i) {
        const std::string name = "home/file" + std::to_string(i);
        tree_.file(name, "x");
        gate.failures[tree_.path(name)] = GateThatTells::unsafePath();
    }
    startAfterFirstRun();
    ASSERT_TRUE(scan(tree_.path("home")));
    for (const auto& each : driver().scanResult()->rootNode->children()) {
        driver().toggleSelection(each);
    }
    driver().deleteSelected(false);
    ASSERT_TRUE(finishes());
    EXPECT_EQ(driver().errorText().count('\n'), 39);
    const QString shown = view().diskSpace()->presenter()->errorText();
    EXPECT_EQ(shown.count('\n'), 20);
    EXPECT_TRUE(shown.endsWith("\nand 20 more, see the history")) << shown.toStdString();
    EXPECT_TRUE(driver().errorText().startsWith(shown.section('\n', 0, 19)))
        << "the first twenty, as they are";

    // At the limit everything is shown; one more is one more.
    for (const int lines : {20, 21}) {
        QStringList failures;
        std::vector<std::string> told;
        for (int i = 0; i < lines; ++i) {
            failures << QString::number(i);
            told.push_back(std::to_string(i));
        }
        const QString all = failures.join('\n');
        EXPECT_EQ(texts::firstOf(told, 20),
                  lines == 20 ? all : all.section('\n', 0, 19) + "\nand 1 more, see the history");
    }
}

TEST_F(CleanupWindowTest, aPreparationThatLastsIsShownAndCanBeCancelledByKeys) {
    scannedWithAGateThatTells();
    markTheFirstTwoByKeys();
    auto& review = *view().removal()->review();
    review.prepare();
    ASSERT_TRUE(eventually([this] { return isShown("Preparing the review…"); }));
    ASSERT_TRUE(hasFocus("Cancel")) << focusName().toStdString();
    review.setProgress(312, 3'072, "/home/a/silent");
    EXPECT_TRUE(isShown("Checked 312 of 3,072 items"));
    EXPECT_TRUE(isShown("Waiting for the disk: /home/a/silent"));
    EXPECT_FALSE(find("Move to Trash")->isEnabled());
    EXPECT_FALSE(isShown("Nothing is marked"));
    key(Qt::Key_Escape);
    ASSERT_TRUE(isClosed("Preparing the review…"));
    EXPECT_FALSE(review.isPreparing());
    EXPECT_TRUE(hasFocus("fileList")) << focusName().toStdString();
    EXPECT_TRUE(gate.requests.empty());
    EXPECT_EQ(driver().selectedForDeletion().size(), 2u);
}

TEST_F(CleanupWindowTest, theListComesIntoTheSheetThatWasPreparedAndTheKeyboardStaysOnCancel) {
    scannedWithAGateThatTells();
    markTheFirstTwoByKeys();
    auto& review = *view().removal()->review();
    review.prepare();
    ASSERT_TRUE(eventually([this] { return isShown("Preparing the review…"); }));
    ASSERT_TRUE(hasFocus("Cancel"));
    CleanupPreviewItem item{.url = "/home/a/file",
                            .estimatedBytes = 5'000,
                            .reason = "Manually selected in disk analysis",
                            .risk = "Review",
                            .keeper = std::nullopt,
                            .isFolder = false,
                            .uncheckedReason = "Not checked: the disk reported an error."};
    int decisions = 0;
    review.open({item}, {.notice = "The mark on “b” was taken back."}, [&](bool) { ++decisions; });
    ASSERT_TRUE(isClosed("Preparing the review…"));
    EXPECT_TRUE(isShown("1 items · 5 KB estimated data"));
    EXPECT_TRUE(isShown("The mark on “b” was taken back."));
    EXPECT_TRUE(eventually([this] { return isShown("Not checked: the disk reported an error."); }));
    EXPECT_TRUE(hasFocus("Cancel")) << focusName().toStdString();
    key(Qt::Key_Return);
    EXPECT_TRUE(isClosed("Review cleanup"));
    EXPECT_EQ(decisions, 0);
}

TEST_F(CleanupWindowTest, aMarkThatIsTakenBackIsToldInThePage) {
    tree_.file("outside/precious");
    scannedWithAGateThatTells();
    ASSERT_EQ(::rename(tree_.path("home/large").c_str(), tree_.path("moved").c_str()), 0);
    tree_.link("home/large", tree_.path("outside"));
    key(Qt::Key_Home);
    key(Qt::Key_Space);
    ASSERT_TRUE(eventually([this] { return !driver().markNotice().isEmpty(); }));
    EXPECT_TRUE(eventually([this] { return isShown(driver().markNotice()); }));
    EXPECT_TRUE(driver().selectedForDeletion().empty());
    EXPECT_TRUE(hasFocus("fileList")) << focusName().toStdString();
    click("Dismiss");
    EXPECT_TRUE(eventually([this] { return driver().markNotice().isEmpty(); }));
}

TEST_F(CleanupWindowTest, marksThatARefreshTookBackAreOfferedAgainInThePage) {
    scannedWithAGateThatTells();
    markTheFirstTwoByKeys();
    ASSERT_EQ(driver().selectedForDeletion().size(), 2U);
    driver().refreshIndex(true);
    ASSERT_TRUE(eventually([this] { return !driver().isScanning(); }));
    ASSERT_TRUE(eventually([this] { return isShown("The refresh took back 2 marks."); }));
    EXPECT_TRUE(isShown("All of them can be set again."));
    EXPECT_TRUE(driver().selectedForDeletion().empty());
    find("Mark Again")->forceActiveFocus(Qt::TabFocusReason);
    key(Qt::Key_Return);
    EXPECT_EQ(driver().selectedForDeletion().size(), 2U);
    EXPECT_TRUE(eventually([this] { return !isShown("Mark Again"); }));
    EXPECT_TRUE(hasFocus("fileList")) << focusName().toStdString();
}

TEST_F(CleanupWindowTest, whatCannotBeMarkedInTheMapSaysWhyOverTheMap_eachTime_andMovesNothing) {
    scannedWithAGateThatTells();
    const auto place = [this](const QString& name) {
        return named(name)->mapRectToScene(QRectF(0, 0, named(name)->width(), named(name)->height()));
    };
    const QRectF map = place("sunburst");
    const QString reason = QString::fromStdString(mark_texts::rootCannotBeMarked);
    named("sunburstLayer")->forceActiveFocus(Qt::TabFocusReason);
    key(Qt::Key_Home);
    const AnnouncementLog log(surface());
    for (int times = 1; times <= 2; ++times) {
        key(Qt::Key_Space);
        EXPECT_TRUE(eventually([&] { return log.count(reason) == times; })) << times;
        EXPECT_TRUE(isShown(reason));
    }
    EXPECT_TRUE(driver().selectedForDeletion().empty());
    EXPECT_EQ(place("sunburst"), map) << "the next click goes where the pointer is";
    EXPECT_TRUE(map.contains(place("markNotice")));
    EXPECT_FALSE(place("markNotice").intersects(place("legendButton")));
    click("Dismiss");
    EXPECT_TRUE(eventually([&] { return !isShown(reason); }));
    key(Qt::Key_Space);
    EXPECT_TRUE(eventually([&] { return isShown(reason); })) << "the keyboard is in the map as before";
}

TEST_F(CleanupWindowTest, whatCannotBeMarkedInTheListIsToldEachTime) {
    scannedWithAGateThatTells();
    const auto root = driver().scanResult()->rootNode;
    root->appendChild(FileNode::makeAggregate(FileNode::SummaryOrigin::scan, 9'000'000, 50));
    root->recalculateSize();
    root->sortChildrenBySize();
    emit driver().scanResultChanged();
    key(Qt::Key_Home);
    const QString reason = QString::fromStdString(mark_texts::aggregateCannotBeMarked);
    const AnnouncementLog log(surface());
    for (int times = 1; times <= 2; ++times) {
        key(Qt::Key_Space);
        EXPECT_TRUE(eventually([&] { return log.count(reason) == times; })) << times;
    }
    EXPECT_TRUE(isShown(reason));
    EXPECT_TRUE(driver().selectedForDeletion().empty());
}

TEST_F(CleanupWindowTest, anItemIsTakenOutOfTheReviewByKeys_andTheOthersGo) {
    scannedWithAGateThatTells();
    for (const auto& each : driver().scanResult()->rootNode->children()) {
        driver().toggleSelection(each);
    }
    openReview();
    key(Qt::Key_Tab);
    key(Qt::Key_Tab);
    ASSERT_TRUE(hasFocus("reviewList"));
    key(Qt::Key_Down);
    const AnnouncementLog log(surface());
    key(Qt::Key_Space);
    EXPECT_TRUE(eventually([this] { return isShown("2 items · 4 MB estimated data"); }));
    const QString told = "“middle” was taken out of the queue. Nothing was moved.";
    EXPECT_TRUE(eventually([&] { return isShown(told) && log.count(told) == 1; }));
    EXPECT_TRUE(hasFocus("reviewList")) << "the keyboard stays in the list";
    EXPECT_EQ(named("reviewList")->property("currentIndex").toInt(), 1) << "on the next row";
    EXPECT_EQ(driver().selectedForDeletion(), (std::set<UUID>{node("large")->id(), node("small")->id()}));
    EXPECT_TRUE(gate.requests.empty());
    EXPECT_TRUE(isShown("Review cleanup"));
    key(Qt::Key_Backtab);
    ASSERT_TRUE(hasFocus("Move to Trash")) << focusName().toStdString();
    key(Qt::Key_Return);
    ASSERT_TRUE(eventually([this] { return gate.requests.size() == 1; }));
    ASSERT_TRUE(finishes());
    EXPECT_EQ(gate.requests[0].urls,
              (std::vector<std::string>{tree_.path("home/large"), tree_.path("home/small")}));
}

TEST_F(CleanupWindowTest, aReviewOutOfWhichAllIsTakenOffersNothingMore) {
    scannedWithAGateThatTells();
    markTheFirstTwoByKeys();
    openReview();
    click("Permanently delete instead of moving to Trash");
    ASSERT_TRUE(view().removal()->review()->isPermanent());
    click("Remove from Queue");
    EXPECT_TRUE(eventually([this] {
        return isShown("1 items · 2 MB estimated data") || isShown("1 items · 3 MB estimated data");
    }));
    EXPECT_TRUE(view().removal()->review()->isPermanent()) << "the switch stands as it did";
    click("Remove from Queue");
    EXPECT_TRUE(eventually([this] { return isShown("Nothing is marked"); }));
    EXPECT_TRUE(hasFocus("Cancel")) << focusName().toStdString();
    EXPECT_TRUE(driver().selectedForDeletion().empty());
    key(Qt::Key_Return);
    EXPECT_TRUE(isClosed("Review cleanup"));
    EXPECT_TRUE(gate.requests.empty());
}

TEST_F(CleanupWindowTest, anItemOfTheReviewIsShownInTheFileManager_andAFailureIsTold) {
    std::vector<std::string> revealed;
    reveal_ = [&](const std::string& path, const std::function<void(bool)>& done) {
        revealed.push_back(path);
        done(revealed.size() == 1);
    };
    scannedWithAGateThatTells();
    key(Qt::Key_Home);
    key(Qt::Key_Space);
    openReview();
    click("Show in File Manager");
    EXPECT_EQ(revealed, std::vector<std::string>{tree_.path("home/large")});
    EXPECT_EQ(view().removal()->review()->actionText(), "");
    click("Show in File Manager");
    EXPECT_TRUE(eventually([this] { return !view().removal()->review()->actionText().isEmpty(); }));
    EXPECT_TRUE(isShown(view().removal()->review()->actionText()));
    EXPECT_EQ(driver().selectedForDeletion().size(), 1u);
}

TEST_F(CleanupWindowTest, aReviewWithoutASelectionBehindItGoesAsAWhole) {
    startAfterFirstRun();
    CleanupPreviewItem item{.url = "/home/a/file",
                            .estimatedBytes = 5'000,
                            .reason = "Old",
                            .risk = "Safe",
                            .keeper = std::nullopt,
                            .isFolder = false,
                            .uncheckedReason = {}};
    int decisions = 0;
    view().removal()->review()->open({item}, {}, [&](bool) { ++decisions; });
    ASSERT_TRUE(eventually([this] { return isShown("Review cleanup"); }));
    EXPECT_FALSE(isShown("Remove from Queue"));
    ASSERT_TRUE(hasFocus("Cancel"));
    key(Qt::Key_Tab);
    key(Qt::Key_Tab);
    ASSERT_TRUE(hasFocus("reviewList"));
    key(Qt::Key_Space);
    EXPECT_TRUE(isShown("1 items · 5 KB estimated data"));
    key(Qt::Key_Escape);
    EXPECT_TRUE(isClosed("Review cleanup"));
    EXPECT_EQ(decisions, 0);
}

TEST_F(CleanupWindowTest, theBannerTellsAssistiveTechnologyAndGoesWhenItIsClosed) {
    scannedWithAGateThatTells();
    markTheFirstTwoByKeys();
    driver().deleteSelected(false);
    ASSERT_TRUE(eventually([this] { return isShown("View history"); }));
    QQuickItem* banner = find("View history");
    QAccessibleInterface* told = nullptr;
    while (banner != nullptr && told == nullptr) {
        auto* accessible = QAccessible::queryAccessibleInterface(banner);
        told =
            accessible != nullptr && accessible->role() == QAccessible::AlertMessage ? accessible : nullptr;
        banner = banner->parentItem();
    }
    ASSERT_NE(told, nullptr);
    EXPECT_EQ(told->text(QAccessible::Name), "2 items moved to Trash · 0 skipped or failed");
    EXPECT_EQ(told->text(QAccessible::Description),
              "Data processed: 2 bytes · Free-space change: Unavailable");

    // It stays over a change of tabs, and covers nothing.
    view().setSelectedTab(5);
    EXPECT_TRUE(isShown("2 items moved to Trash · 0 skipped or failed"));
    EXPECT_FALSE(isShown("View history")) << "it is on screen";
    view().setSelectedTab(0);
    EXPECT_TRUE(isShown("View history"));
    click("View history");
    EXPECT_TRUE(isClosed("View history"));
    EXPECT_TRUE(view().historyIsOnScreen());
    EXPECT_TRUE(eventually([this] {
        for (QQuickItem* item = window_->activeFocusItem(); item != nullptr; item = item->parentItem()) {
            if (item->inherits("QQuickListView")) {
                return true;
            }
        }
        return false;
    })) << "the keyboard is in the history: "
        << focusName().toStdString();
    click("Close");
    EXPECT_TRUE(isClosed("2 items moved to Trash · 0 skipped or failed"));
}

TEST_F(CleanupWindowTest, aRemovalUnderWayTellsHowFarItIsAndCanBeCancelledFromEveryTab) {
    scannedWithAGateThatTells();
    gate.waitsForTheStop = true;
    for (const auto& each : driver().scanResult()->rootNode->children()) {
        driver().toggleSelection(each);
    }
    driver().deleteSelected(false);
    ASSERT_TRUE(eventually([this] { return isShown("Moving to Trash: 1 of 3 items…"); }));
    EXPECT_TRUE(isShown("Cancel"));
    EXPECT_FALSE(isShown("Delete Selected"));
    EXPECT_FALSE(find("New Scan")->isEnabled());
    EXPECT_FALSE(isShown("Review…")) << "what goes is not marked to go once more";
    view().startNewScan();
    EXPECT_EQ(view().diskSpace()->page(), DiskSpaceTab::Page::Result);

    view().setSelectedTab(5);
    EXPECT_TRUE(isShown("Moving to Trash: 1 of 3 items…"));
    click("Cancel");
    EXPECT_TRUE(driver().removalRun()->isStopping() || !driver().isDeleting());
    ASSERT_TRUE(eventually([this] { return isShown("1 items moved to Trash · 2 skipped or failed"); }));
    EXPECT_EQ(driver().selectedForDeletion().size(), 2u);
    EXPECT_FALSE(isShown("Cancel"));
}

TEST_F(CleanupWindowTest, theToolbarsCancelStopsARemoval) {
    scannedWithAGateThatTells();
    gate.waitsForTheStop = true;
    markTheFirstTwoByKeys();
    driver().deleteSelected(true);
    ASSERT_TRUE(eventually([this] { return isShown("Deleting permanently: 1 of 2 items…"); }));
    click("Cancel");
    ASSERT_TRUE(finishes());
    EXPECT_TRUE(eventually([this] { return isShown("1 items deleted · 1 skipped or failed"); }));
}

TEST_F(CleanupWindowTest, fiftyThousandItemsAreRowsOnlyWhereTheyAreSeen) {
    scannedWithAGateThatTells();
    std::vector<CleanupPreviewItem> items;
    for (int i = 0; i < 50'000; ++i) {
        items.push_back({.url = "/home/a/folder/" + std::to_string(i),
                         .estimatedBytes = 50'000 - i,
                         .reason = "Manually selected in disk analysis",
                         .risk = "Review",
                         .keeper = std::nullopt,
                         .isFolder = false});
    }
    view().removal()->review()->open(items, {}, [](bool) {});
    ASSERT_TRUE(eventually([this] { return isShown("50,000 items · 1.25 GB estimated data"); }));
    auto* list = named("reviewList");
    ASSERT_NE(list, nullptr);
    const auto rows = [list] {
        return list->property("contentItem").value<QQuickItem*>()->childItems().size();
    };
    EXPECT_TRUE(eventually([&] { return rows() > 3; }));
    EXPECT_LT(rows(), 60);
    list->forceActiveFocus();
    key(Qt::Key_End);
    EXPECT_TRUE(eventually([this] { return isShown("/home/a/folder/49999"); }));
    EXPECT_LT(rows(), 60);
    key(Qt::Key_Home);
    EXPECT_TRUE(eventually([this] { return isShown("/home/a/folder/0"); }));
    view().removal()->review()->cancel();
}

TEST_F(CleanupWindowTest, anEmptyHistorySaysSo) {
    startAfterFirstRun();
    click("Cleanup History");
    EXPECT_TRUE(eventually([this] { return isShown("No cleanup operations yet"); }));
    EXPECT_TRUE(
        isShown("The latest 100 operations are stored on this computer. Clearing history does not delete or "
                "restore files."));
    EXPECT_TRUE(
        isShown("Free-space change is measured per volume before and after cleanup. Other apps, file "
                "system snapshots and delayed reclamation can affect it; it is not a guaranteed saving "
                "attributable to these files."));
    EXPECT_FALSE(find("Clear history")->isEnabled());
}

TEST_F(CleanupWindowTest, aStoredHistoryTabIsOpenedAtTheStart) {
    defaults_.setInteger("selectedTab", 5);
    startAfterFirstRun();
    EXPECT_EQ(view().selectedTab(), 5);
    EXPECT_TRUE(eventually([this] { return isShown("No cleanup operations yet"); }));
}

TEST_F(CleanupWindowTest, aDamagedHistoryIsToldAndOnlyClearingReplacesIt) {
    surroundings_.file("cleanup-history.json", "damaged");
    startAfterFirstRun();
    click("Cleanup History");
    ASSERT_TRUE(eventually([this] { return isShown("The history cannot be shown"); }));
    EXPECT_TRUE(view().removal()->history()->error().startsWith("History could not be read: "));
    EXPECT_TRUE(isShown(view().removal()->history()->error()));
    EXPECT_FALSE(isShown("No cleanup operations yet"));
    click("Clear history");
    ASSERT_TRUE(eventually([this] { return isShown("Clear cleanup history?"); }));
    EXPECT_TRUE(
        isShown("Recorded paths and operation results will be removed. Files in Trash will remain there."));
    EXPECT_TRUE(hasFocus("Cancel"));
    key(Qt::Key_Return);
    ASSERT_TRUE(isClosed("Clear cleanup history?"));
    EXPECT_EQ(contentOf(historyFile()), "damaged");
    view().removal()->history()->setClearConfirmation(true);
    ASSERT_TRUE(eventually([this] { return isShown("Clear cleanup history?"); }));
    ASSERT_TRUE(hasFocus("Cancel"));
    key(Qt::Key_Tab);
    ASSERT_EQ(focusName(), "Clear history");
    key(Qt::Key_Space);
    EXPECT_TRUE(eventually([this] { return isShown("No cleanup operations yet"); }));
}

TEST_F(CleanupWindowTest, theHistoryIsWalkedByKeys) {
    CleanupHistoryStore store(historyFile());
    const std::string inside = surroundings_.file("trash/film", "x");
    std::vector<std::string> revealed;
    reveal_ = [&](const std::string& path, const std::function<void(bool)>& done) {
        revealed.push_back(path);
        done(true);
    };
    CleanupOperation operation;
    operation.id = UUID::make();
    operation.source = "Disk analysis";
    operation.items = {
        {.originalPath = "/home/a/film", .trashPath = inside, .logicalBytes = 5, .error = std::nullopt}};
    store.append(operation);
    startAfterFirstRun();
    click("Cleanup History");
    ASSERT_TRUE(eventually([this] { return view().removal()->history()->count() == 1; }));
    ASSERT_TRUE(hasFocus("historyList")) << focusName().toStdString();
    key(Qt::Key_Right);
    ASSERT_EQ(view().removal()->history()->count(), 3);
    EXPECT_TRUE(eventually([this] { return isShown("Locate in Trash"); }));
    key(Qt::Key_Down);
    key(Qt::Key_Down);
    key(Qt::Key_Return);
    EXPECT_TRUE(eventually([&] { return revealed == std::vector<std::string>{inside}; }));
    key(Qt::Key_Left);
    EXPECT_EQ(view().removal()->history()->count(), 1);
    key(Qt::Key_Space);
    EXPECT_EQ(view().removal()->history()->count(), 3);
    view().setSelectedTab(0);
    EXPECT_TRUE(eventually([this] { return isShown("Scan Folder"); }));
    EXPECT_FALSE(isShown("Locate in Trash"));
}

// --- What a removal left that did not come to its end

class InterruptedWindowTest : public CleanupWindowTest {
protected:
    // The program ended after the item of a removal for good had been put aside.
    void putAside() {
        const std::string path = tree_.file("home/letters", "Dear Ada");
        const std::string place = tree_.path("home/.larkfold-removing-0/letters");
        RemovalJournalContent plan;
        plan.id = UUID::make();
        plan.startedAt = dateFromSecondsSince1970(1'764'000'000);
        plan.source = "Disk analysis";
        plan.permanent = true;
        plan.items.resize(1);
        plan.items[0].path = path;
        plan.items[0].identity = itemIdentities({path}).front();
        plan.items[0].stagingName = ".larkfold-removing-0";
        surroundings_.file("cleanup-journal-0.jsonl", plan.plan() + RemovalJournalContent::lineOfMove(
                                                                        0,
                                                                        {.realPath = path,
                                                                         .identity = *plan.items[0].identity,
                                                                         .logicalBytes = 8,
                                                                         .place = place},
                                                                        plan.startedAt));
        tree_.folder("home/.larkfold-removing-0");
        ASSERT_EQ(chmod(tree_.path("home/.larkfold-removing-0").c_str(), 0700), 0);
        ASSERT_EQ(rename(path.c_str(), place.c_str()), 0);
    }
    bool isBack() const { return contentOf(tree_.path("home/letters")) == "Dear Ada"; }
};

TEST_F(InterruptedWindowTest, whatLiesAside_isOffered_andReturnBringsItBack) {
    putAside();
    startAfterFirstRun();
    ASSERT_TRUE(eventually([this] { return isShown("A removal was interrupted"); }));
    ASSERT_TRUE(hasFocus("Restore")) << focusName().toStdString();
    EXPECT_FALSE(isBack());
    key(Qt::Key_Return);
    ASSERT_TRUE(eventually([this] { return isShown("The item is back"); }));
    EXPECT_TRUE(isBack());
    EXPECT_FALSE(FileIdentity::of(tree_.path("home/.larkfold-removing-0")));
    ASSERT_TRUE(hasFocus("Close")) << focusName().toStdString();
    key(Qt::Key_Return);
    EXPECT_TRUE(isClosed("The item is back"));
    const auto operations = CleanupHistoryStore(historyFile()).load();
    ASSERT_EQ(operations.size(), 1u);
    EXPECT_TRUE(operations.front().items.at(0).error);
}

TEST_F(InterruptedWindowTest, escape_leavesItWhereItLies_andItIsOfferedAgain) {
    putAside();
    startAfterFirstRun();
    ASSERT_TRUE(hasFocus("Restore")) << focusName().toStdString();
    key(Qt::Key_Escape);
    EXPECT_TRUE(isClosed("A removal was interrupted"));
    EXPECT_FALSE(isBack());
    engine_.reset();
    app_.reset();
    start();
    EXPECT_TRUE(eventually([this] { return isShown("A removal was interrupted"); }));
}

TEST_F(InterruptedWindowTest, aTakenName_isTold_andNothingIsReplaced) {
    putAside();
    startAfterFirstRun();
    ASSERT_TRUE(hasFocus("Restore")) << focusName().toStdString();
    tree_.file("home/letters", "new ones");
    key(Qt::Key_Return);
    ASSERT_TRUE(eventually([this] { return isShown("The item could not be restored"); }));
    EXPECT_EQ(contentOf(tree_.path("home/letters")), "new ones");
    EXPECT_EQ(contentOf(tree_.path("home/.larkfold-removing-0/letters")), "Dear Ada");
    // No file manager answers here, and that is told too.
    click("Show in File Manager");
    EXPECT_TRUE(eventually([this] { return !view().removal()->interrupted()->revealProblem().isEmpty(); }));
}

TEST_F(InterruptedWindowTest, aDamagedJournal_isToldInTheHistory_andGoesWithIt) {
    const std::string journal = surroundings_.file("cleanup-journal-0.jsonl", "damaged\n");
    startAfterFirstRun();
    view().setSelectedTab(5);
    ASSERT_TRUE(eventually([this] { return !view().removal()->history()->journalProblem().isEmpty(); }));
    EXPECT_TRUE(view().removal()->history()->canClear());
    click("Clear history");
    ASSERT_TRUE(eventually([this] { return isShown("Clear cleanup history?"); }));
    view().removal()->history()->clear();
    EXPECT_TRUE(eventually([this] { return view().removal()->history()->journalProblem().isEmpty(); }));
    EXPECT_FALSE(FileIdentity::of(journal));
}

}  // namespace
}  // namespace larkfold::test
