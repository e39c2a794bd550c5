#include "shell/disk/FileListModel.h"

#include <gtest/gtest.h>

#include <QAbstractItemModelTester>
#include <QClipboard>
#include <QGuiApplication>
#include <QSignalSpy>
#include <QTest>
#include <cstdlib>

#include "disk/MarkTexts.h"
#include "shell/disk/FileListSession.h"
#include "shell/disk/FileListTexts.h"

namespace larkfold {
namespace {

using test::FileListSession;
using test::FileListTest;
using test::namesOf;
using test::rowNamed;
using test::TemporaryTree;
using test::textOf;

using Names = std::vector<std::string>;

class FileListModelTest : public FileListTest {
protected:
    void SetUp() override {
        tree.folder("void");
        ASSERT_TRUE(session.scan(tree.root()));
        model.setDriver(&session.driver);
    }

    int row(std::string_view name) const { return rowNamed(model, name); }
    FileNode::Pointer root() const { return session.driver.scanResult()->rootNode; }

    FileListModel model;
};

TEST_F(FileListModelTest, withoutADriver_itIsEmptyAndSaysWhy) {
    FileListModel empty;
    EXPECT_EQ(empty.count(), 0);
    EXPECT_EQ(empty.emptyReason(), FileListModel::NoFolder);
    EXPECT_FALSE(empty.emptyText().isEmpty());
}

TEST_F(FileListModelTest, keepsTheRulesOfItemModels_throughEveryChange) {
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    model.setSearchText("o");
    model.setSearchSubfolders(true);
    model.sortBy(FileListModel::Name);
    model.open(row("photos"));
    model.goBack();
    model.resetSearchAndFilters();
    EXPECT_EQ(model.count(), 4);
}

TEST_F(FileListModelTest, rows_tellNameSizeItemsTypeAndShare) {
    EXPECT_EQ(namesOf(model), (Names{"film.mov", "photos", "letter.pdf", "void"}));
    const int photos = row("photos");
    EXPECT_EQ(textOf(model, photos, FileListModel::TypeTextRole), "Folder");
    EXPECT_EQ(textOf(model, photos, FileListModel::ItemsTextRole), "2");
    EXPECT_EQ(textOf(model, photos, FileListModel::IconNameRole), "folder");
    EXPECT_EQ(textOf(model, row("film.mov"), FileListModel::TypeTextRole), "Video");
    EXPECT_EQ(textOf(model, row("film.mov"), FileListModel::ItemsTextRole), "");
    EXPECT_EQ(textOf(model, row("void"), FileListModel::SizeTextRole), "Zero KB");
    EXPECT_EQ(textOf(model, row("void"), FileListModel::ShareTextRole), "0.0%");
    EXPECT_EQ(textOf(model, row("letter.pdf"), FileListModel::PathTextRole).toStdString(),
              tree.path("letter.pdf"));
    double total = 0;
    for (int index = 0; index < model.count(); ++index) {
        total += model.data(model.index(index), FileListModel::ShareRole).toDouble();
    }
    EXPECT_NEAR(total, 1.0, 1e-9);
    EXPECT_TRUE(model.data(model.index(photos), FileListModel::CanOpenRole).toBool());
    EXPECT_FALSE(model.data(model.index(row("film.mov")), FileListModel::CanOpenRole).toBool());
}

TEST_F(FileListModelTest, shares_areOfTheParent_withOneDecimal) {
    root()->children()[0]->setSize(618);
    root()->setSize(1000);
    EXPECT_EQ(textOf(model, 0, FileListModel::ShareTextRole), "61.8%");
    root()->setSize(0);
    EXPECT_EQ(textOf(model, 0, FileListModel::ShareTextRole), "0.0%");
}

TEST_F(FileListModelTest, filterChoices_areTheOnesOffered) {
    const auto pairs = [](const QVariantList& list) {
        std::vector<std::pair<std::string, qint64>> result;
        for (const QVariant& each : list) {
            result.emplace_back(each.toMap()["text"].toString().toStdString(),
                                each.toMap()["value"].toLongLong());
        }
        return result;
    };
    EXPECT_EQ(
        pairs(FileListModel::minimumSizeChoices()),
        (std::vector<std::pair<std::string, qint64>>{
            {"Any size", 0}, {"10 MB+", 10'485'760}, {"100 MB+", 104'857'600}, {"1 GB+", 1'073'741'824}}));
    EXPECT_EQ(
        pairs(FileListModel::ageChoices()),
        (std::vector<std::pair<std::string, qint64>>{
            {"Any date", 0}, {"Over 30 days ago", 30}, {"Over 90 days ago", 90}, {"Over a year ago", 365}}));
}

TEST_F(FileListModelTest, aSearchThatFindsNothing_isEmpty_andTheFiltersStay) {
    model.setMinimumSize(10);
    model.setExtensionFilter("pdf");
    model.setSearchText("nowhere");
    EXPECT_EQ(model.count(), 0);
    EXPECT_EQ(model.emptyReason(), FileListModel::NothingMatches);
    EXPECT_EQ(model.minimumSize(), 10);
    EXPECT_EQ(model.extensionFilter(), "pdf");
    model.setSearchText("");
    EXPECT_EQ(namesOf(model), Names{"letter.pdf"});
}

TEST_F(FileListModelTest, aSearchWithoutAFind_saysHowManyFilesItLookedAt_whereSomeAreNotLoaded) {
    model.setSearchText("nowhere");
    EXPECT_EQ(model.emptyReason(), FileListModel::NothingMatches);
    EXPECT_EQ(model.summaryNote(), "");
    EXPECT_FALSE(model.canLoadMore());
    session.addSummary(1'000, 18'204);
    EXPECT_EQ(model.emptyReason(), FileListModel::NothingLoadedMatches);
    EXPECT_EQ(model.emptyTitle(), "Nothing found among loaded entries");
    EXPECT_TRUE(model.emptyText().startsWith("Looked at 2 of the 18,206 files of this folder. "))
        << model.emptyText().toStdString();
    model.setSearchSubfolders(true);
    EXPECT_TRUE(model.emptyText().startsWith("Looked at 4 of the 18,208 files in this folder and below it. "))
        << model.emptyText().toStdString();
    EXPECT_TRUE(model.emptyText().endsWith("Load them to search among them too."));
    EXPECT_EQ(
        model.summaryNote(),
        "Filters apply to loaded entries. Open a summarized folder to load more details from the index.");
    EXPECT_TRUE(model.canLoadMore());

    session.driver.forgetSavedScan();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !session.driver.hasSavedIndex(); }, 60'000));
    EXPECT_FALSE(model.canLoadMore());
    EXPECT_TRUE(model.emptyText().contains("the saved index that lists them is gone"));
    EXPECT_TRUE(model.summaryNote().startsWith("Filters apply to loaded entries. The saved index is gone"));
}

TEST_F(FileListModelTest, moreFiles_areLoadedFromTheIndex_andTheSearchGoesOnAmongThem) {
    // As if the scan had not kept this one.
    root()->removeChild(*model.node(row("letter.pdf")));
    session.addSummary(20'480, 1);
    model.setSearchText("letter");
    ASSERT_EQ(model.emptyReason(), FileListModel::NothingLoadedMatches);
    ASSERT_TRUE(model.canLoadMore());
    model.loadMore();
    ASSERT_TRUE(QTest::qWaitFor([&] { return model.count() == 1; }, 60'000));
    EXPECT_EQ(namesOf(model), Names{"letter.pdf"});
    EXPECT_EQ(model.summaryNote(), "");
    EXPECT_FALSE(model.canLoadMore());
}

TEST_F(FileListModelTest, reset_putsAllFiltersBack_andKeepsTheSearchText) {
    model.setSearchText("o");
    model.setMinimumSize(1);
    model.setExtensionFilter("mov");
    model.setLocationFilter("film");
    model.setOlderThanDays(1);
    model.setSearchSubfolders(true);
    EXPECT_TRUE(model.hasFilters());
    EXPECT_EQ(model.count(), 0);
    model.resetFilters();
    EXPECT_FALSE(model.hasFilters());
    EXPECT_EQ(model.searchText(), "o");
    EXPECT_EQ(model.minimumSize(), 0);
    EXPECT_EQ(model.extensionFilter(), "");
    EXPECT_EQ(model.locationFilter(), "");
    EXPECT_EQ(model.olderThanDays(), 0);
    EXPECT_FALSE(model.searchSubfolders());
    EXPECT_EQ(namesOf(model), (Names{"film.mov", "photos", "void"}));
}

TEST_F(FileListModelTest, age_followsTheGivenClock) {
    model.setOlderThanDays(30);
    EXPECT_EQ(model.count(), 0);
    model.setClock([] { return now() + Seconds(31 * 86'400.0); });
    model.setSearchText("l");
    EXPECT_EQ(namesOf(model), (Names{"film.mov", "letter.pdf"}));
}

TEST_F(FileListModelTest, subfolders_tellWhereARowLies) {
    EXPECT_EQ(textOf(model, row("photos"), FileListModel::LocationTextRole), "");
    model.setSearchSubfolders(true);
    EXPECT_EQ(model.count(), 7);
    EXPECT_EQ(textOf(model, row("two.jpg"), FileListModel::LocationTextRole), "photos › deep");
    EXPECT_EQ(textOf(model, row("film.mov"), FileListModel::LocationTextRole), "");
}

TEST_F(FileListModelTest, sortBy_turnsRoundOnTheSameColumn_andKeepsTheEarlierOrderForTies) {
    EXPECT_EQ(model.sortOrder(), std::vector<FileListComparator>{FileListComparator{}});
    model.sortBy(FileListModel::Name);
    EXPECT_EQ(namesOf(model), (Names{"film.mov", "letter.pdf", "photos", "void"}));
    EXPECT_FALSE(model.isSortedDescending());
    model.sortBy(FileListModel::Name);
    EXPECT_EQ(namesOf(model), (Names{"void", "photos", "letter.pdf", "film.mov"}));
    EXPECT_TRUE(model.isSortedDescending());
    model.sortBy(FileListModel::Type);
    EXPECT_EQ(model.sortOrder(), (std::vector<FileListComparator>{{FileListColumn::type, false},
                                                                  {FileListColumn::name, true},
                                                                  {FileListColumn::size, true}}));
    EXPECT_EQ(namesOf(model), (Names{"letter.pdf", "void", "photos", "film.mov"}));
    EXPECT_EQ(model.sortColumn(), FileListModel::Type);
}

TEST_F(FileListModelTest, theCurrentRow_staysTheSameItem_throughSortingAndFiltering) {
    model.setCurrentRow(row("letter.pdf"));
    EXPECT_EQ(session.driver.selectedNode()->name(), "letter.pdf");
    model.sortBy(FileListModel::Name);
    EXPECT_EQ(model.currentRow(), row("letter.pdf"));
    model.setSearchText("film");
    EXPECT_EQ(model.currentRow(), -1);
    model.setSearchText("");
    EXPECT_EQ(model.currentRow(), row("letter.pdf"));
    EXPECT_NE(model.currentRow(), -1);
}

TEST_F(FileListModelTest, theMapsSelection_becomesTheCurrentRow) {
    session.driver.setSelectedNode(model.node(row("film.mov")));
    EXPECT_EQ(model.currentRow(), row("film.mov"));
}

TEST_F(FileListModelTest, goingInAndBack_returnsToTheFolderThatWasLeft) {
    model.open(row("photos"));
    EXPECT_EQ(namesOf(model), (Names{"one.jpg", "deep"}));
    EXPECT_EQ(model.currentRow(), -1);
    EXPECT_TRUE(model.canGoBack());
    model.open(row("deep"));
    EXPECT_EQ(namesOf(model), Names{"two.jpg"});
    model.goBack();
    EXPECT_EQ(model.currentRow(), row("deep"));
    model.goBack();
    EXPECT_EQ(model.currentRow(), row("photos"));
    EXPECT_FALSE(model.canGoBack());
    model.goBack();
    EXPECT_EQ(model.count(), 4);
}

TEST_F(FileListModelTest, openingAFile_selectsItAndGoesNowhere) {
    model.open(row("film.mov"));
    EXPECT_EQ(session.driver.selectedNode()->name(), "film.mov");
    EXPECT_TRUE(session.driver.navigationStack().empty());
}

TEST_F(FileListModelTest, anEmptyFolder_saysSo) {
    model.open(row("void"));
    EXPECT_EQ(model.emptyReason(), FileListModel::EmptyFolder);
}

TEST_F(FileListModelTest, aNewScan_emptiesTheListUntilItIsThere) {
    model.setCurrentRow(0);
    session.driver.scanFolder(tree.path("photos"));
    EXPECT_EQ(model.count(), 0);
    EXPECT_EQ(model.emptyReason(), FileListModel::NoFolder);
    ASSERT_TRUE(QTest::qWaitFor([&] { return session.driver.hasScanResult(); }, 60'000));
    EXPECT_EQ(namesOf(model), (Names{"one.jpg", "deep"}));
    EXPECT_EQ(model.currentRow(), -1);
}

TEST_F(FileListModelTest, marking_goesThroughTheDriver_andBack) {
    const int film = row("film.mov");
    QSignalSpy changes(&model, &QAbstractItemModel::dataChanged);
    model.toggleMark(film);
    EXPECT_TRUE(session.driver.selectedForDeletion().contains(model.node(film)->id()));
    EXPECT_TRUE(model.data(model.index(film), FileListModel::IsMarkedRole).toBool());
    EXPECT_TRUE(model.isMarked(film));
    EXPECT_TRUE(QTest::qWaitFor([&] { return changes.count() > 0; }));
    EXPECT_TRUE(textOf(model, film, FileListModel::SpokenTextRole).contains("marked for removal"));
    model.toggleMark(film);
    EXPECT_TRUE(session.driver.selectedForDeletion().empty());
    EXPECT_FALSE(model.isMarked(film));
    EXPECT_EQ(model.notice(), "");
}

TEST_F(FileListModelTest, aSummary_isExplained_andNeitherMarkedNorShownNorCopied) {
    session.addSummary(5'000, 12'408);
    EXPECT_NE(model.summaryNote(), "");
    const int summary = row("Other scanned files (12,408)");
    ASSERT_GE(summary, 0);
    EXPECT_EQ(textOf(model, summary, FileListModel::TypeTextRole), "Summary");
    model.setCurrentRow(summary);
    EXPECT_TRUE(model.notice().startsWith("12,408 files directly in “")) << model.notice().toStdString();
    EXPECT_TRUE(model.notice().endsWith("Open this to load more files."));
    model.toggleMark(summary);
    EXPECT_TRUE(session.driver.selectedForDeletion().empty());
    EXPECT_EQ(model.notice(), QString::fromStdString(mark_texts::aggregateCannotBeMarked));

    bool revealed = false;
    model.setRevealer([&](const std::string&, const std::function<void(bool)>&) { revealed = true; });
    model.reveal(summary);
    EXPECT_FALSE(revealed);
    EXPECT_EQ(model.notice(), file_list_texts::aggregateHasNoPath);
    model.dismissNotice();
    QGuiApplication::clipboard()->setText("before");
    model.copyPath(summary);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), "before");
    EXPECT_EQ(model.notice(), file_list_texts::aggregateHasNoPath);
}

TEST_F(FileListModelTest, aProtectedFolder_isNotMarked_andTheReasonIsTold) {
    TemporaryTree home;
    home.file(".ssh/id", "key");
    const std::string earlier = std::getenv("HOME");
    setenv("HOME", home.root().c_str(), 1);
    FileListSession atHome;
    atHome.driver.setSkipHiddenFiles(false);
    ASSERT_TRUE(atHome.scan(home.root()));
    FileListModel list;
    list.setDriver(&atHome.driver);
    const int row = rowNamed(list, ".ssh");
    ASSERT_GE(row, 0);
    list.toggleMark(row);
    setenv("HOME", earlier.c_str(), 1);
    EXPECT_TRUE(atHome.driver.selectedForDeletion().empty());
    EXPECT_EQ(list.notice(), QString::fromStdString(mark_texts::protectedCannotBeMarked));
}

TEST_F(FileListModelTest, aSummaryWithoutASavedScan_saysWhyItIsNotOpened) {
    ASSERT_TRUE(QTest::qWaitFor([this] { return session.driver.hasSavedIndex(); }, 60'000));
    session.addSummary(1'000'000, 18'204);
    const int summary = 0;
    ASSERT_TRUE(model.isAggregate(summary));
    EXPECT_TRUE(model.data(model.index(summary), FileListModel::CanOpenRole).toBool());
    session.driver.forgetSavedScan();
    ASSERT_TRUE(QTest::qWaitFor([this] { return !session.driver.hasSavedIndex(); }, 60'000));
    EXPECT_FALSE(model.data(model.index(summary), FileListModel::CanOpenRole).toBool());
    const QSignalSpy told(&model, &FileListModel::told);
    model.open(summary);
    EXPECT_EQ(model.notice(), file_list_texts::summaryCannotBeOpened);
    EXPECT_EQ(told.count(), 1);
    EXPECT_TRUE(session.driver.navigationStack().empty());
    model.open(summary);
    EXPECT_EQ(told.count(), 2) << "once more";
}

TEST_F(FileListModelTest, whyNotMarked_isEmptyWhereARowCanBeMarked) {
    session.addSummary(1'000'000, 18'204);
    EXPECT_EQ(model.whyNotMarked(0), QString::fromStdString(mark_texts::aggregateCannotBeMarked));
    EXPECT_EQ(model.whyNotMarked(row("film.mov")), "");
    EXPECT_EQ(model.whyNotMarked(-1), "");
}

TEST_F(FileListModelTest, leavingARow_thatTheMapHasLitSince_changesNothing) {
    const int map = 0;
    const FileNode::Pointer film = model.node(row("film.mov"));
    model.hover(row("film.mov"));
    session.driver.setHoveredNode(film, &map);
    model.leave(row("film.mov"));
    EXPECT_EQ(session.driver.hoveredNode(), film);
}

TEST_F(FileListModelTest, hovering_lightsTheArc_andLeavingPutsItOut) {
    const int film = row("film.mov");
    model.hover(film);
    EXPECT_EQ(session.driver.hoveredNode(), model.node(film));
    EXPECT_TRUE(model.data(model.index(film), FileListModel::IsHoveredRole).toBool());
    model.hover(row("photos"));
    model.leave(film);
    EXPECT_EQ(session.driver.hoveredNode(), model.node(row("photos")))
        << "the pointer was on another row by then";
    model.leave(row("photos"));
    EXPECT_EQ(session.driver.hoveredNode(), nullptr);
}

TEST_F(FileListModelTest, anArcOfTheMap_lightsTheRowThatHoldsIt) {
    const FileNode::Pointer photos = model.node(row("photos"));
    session.driver.setHoveredNode(photos->children().back()->children().front());
    EXPECT_TRUE(model.data(model.index(row("photos")), FileListModel::IsHoveredRole).toBool());
    session.driver.setHoveredNode(root());
    for (int index = 0; index < model.count(); ++index) {
        EXPECT_FALSE(model.data(model.index(index), FileListModel::IsHoveredRole).toBool());
    }
    // What the map has lit is not the list's to put out.
    session.driver.setHoveredNode(photos);
    model.leave(row("film.mov"));
    EXPECT_EQ(session.driver.hoveredNode(), photos);
}

TEST_F(FileListModelTest, reveal_handsOverThePathsBytes_andTellsAFailure) {
    std::string shown;
    std::function<void(bool)> answer;
    model.setRevealer([&](const std::string& path, std::function<void(bool)> done) {
        shown = path;
        answer = std::move(done);
    });
    model.reveal(row("film.mov"));
    EXPECT_EQ(shown, tree.path("film.mov"));
    answer(true);
    EXPECT_EQ(model.notice(), "");
    answer(false);
    EXPECT_TRUE(model.notice().contains("film.mov"));
    model.dismissNotice();
    EXPECT_EQ(model.notice(), "");
}

TEST_F(FileListModelTest, copyPath_copiesThePath_orTheExactAddressWhereItIsNoText) {
    model.copyPath(row("film.mov"));
    EXPECT_EQ(QGuiApplication::clipboard()->text().toStdString(), tree.path("film.mov"));
    EXPECT_EQ(model.notice(), "The path was copied.");

    TemporaryTree odd;
    odd.file("caf\xE9.txt", "x");
    ASSERT_TRUE(session.scan(odd.root()));
    ASSERT_EQ(model.count(), 1);
    model.copyPath(0);
    EXPECT_TRUE(QGuiApplication::clipboard()->text().endsWith("caf%E9.txt"))
        << QGuiApplication::clipboard()->text().toStdString();
    EXPECT_TRUE(model.notice().contains("exact address")) << model.notice().toStdString();
}

TEST_F(FileListModelTest, typing_findsTheNextNameThatBeginsWithIt) {
    EXPECT_EQ(model.typeAhead("l"), row("letter.pdf"));
    EXPECT_TRUE(model.isTypingAhead());
    EXPECT_EQ(model.typeAhead("E"), row("letter.pdf"));
    EXPECT_EQ(model.typeAhead("x"), -1);
}

TEST_F(FileListModelTest, oneLetterAgainAndAgain_goesThroughTheNamesThatBeginWithIt) {
    TemporaryTree other;
    other.fileOfSize("aa", 30'000);
    other.fileOfSize("ab", 20'000);
    other.fileOfSize("b", 10'000);
    ASSERT_TRUE(session.scan(other.root()));
    std::vector<int> rows;
    for (int press = 0; press < 3; ++press) {
        rows.push_back(model.typeAhead("a"));
        model.setCurrentRow(rows.back());
    }
    EXPECT_EQ(rows, (std::vector<int>{0, 1, 0}));
}

TEST_F(FileListModelTest, rowsOutOfRange_doNothing) {
    for (const int row : {-1, 4, 1000}) {
        model.toggleMark(row);
        model.open(row);
        model.hover(row);
        model.reveal(row);
        model.copyPath(row);
        model.setCurrentRow(row);
    }
    EXPECT_TRUE(session.driver.selectedForDeletion().empty());
    EXPECT_TRUE(session.driver.navigationStack().empty());
    EXPECT_EQ(model.currentRow(), -1);
}

TEST_F(FileListModelTest, aDriverThatGoesFirst_leavesAnEmptyList) {
    auto other = std::make_unique<FileListSession>();
    ASSERT_TRUE(other->scan(tree.root()));
    FileListModel list;
    list.setDriver(&other->driver);
    ASSERT_EQ(list.count(), 4);
    other.reset();
    EXPECT_EQ(list.driver(), nullptr);
    EXPECT_EQ(list.count(), 0);
}

}  // namespace
}  // namespace larkfold
