#include "shell/chooser/FolderChooserModel.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QStringList>
#include <cerrno>
#include <condition_variable>
#include <filesystem>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "platform/Error.h"
#include "platform/qt/PathText.h"
#include "support/TemporaryTree.h"
#include "support/TestMainLoop.h"
#include "support/UnprivilegedUser.h"

namespace larkfold {
namespace {

using test::TemporaryTree;
using test::TestMainLoop;

class FolderChooserModelTest : public testing::Test {
protected:
    FolderChooserModelTest() {
        dependencies_.readPlaces = [this] {
            return std::vector<UserLocation>{
                {.kind = UserLocation::Kind::home, .path = tree_.root(), .name = "anna"},
                {.kind = UserLocation::Kind::documents, .path = tree_.path("Papiere"), .name = "Papiere"},
                {.kind = UserLocation::Kind::fileSystem, .path = "/", .name = "/"},
                {.kind = UserLocation::Kind::volume, .path = tree_.path("stick"), .name = "HOLIDAY"}};
        };
    }

    void begin() { begin(tree_.root()); }
    void begin(const std::string& folder, const OpenPanel::Question& question = {}) {
        model_ = std::make_unique<FolderChooserModel>(dependencies_);
        tester_ = std::make_unique<QAbstractItemModelTester>(
            model_.get(), QAbstractItemModelTester::FailureReportingMode::Fatal);
        QObject::connect(model_.get(), &FolderChooserModel::accepted,
                         [this] { accepted_ = model_->choices(); });
        model_->begin(folder, question);
        ASSERT_TRUE(settles());
    }
    void TearDown() override {
        tester_.reset();
        model_.reset();
    }

    bool settles() {
        return loop_.runUntil([this] { return !model_->isListing() && !model_->isLookingUp(); });
    }
    QStringList rows() const {
        QStringList names;
        for (int row = 0; row < model_->rowCount(); ++row) {
            names.append(model_->data(model_->index(row, 0), FolderChooserModel::NameRole).toString());
        }
        return names;
    }
    QStringList crumbs() const {
        QStringList names;
        for (int row = 0; row < model_->crumbs()->count(); ++row) {
            names.append(
                model_->crumbs()->data(model_->crumbs()->index(row), CrumbListModel::NameRole).toString());
        }
        return names;
    }
    void openRow(const QString& name) {
        ASSERT_TRUE(rows().contains(name)) << name.toStdString();
        model_->open(static_cast<int>(rows().indexOf(name)));
        ASSERT_TRUE(settles());
    }
    // Types a path and sends it off; what came of it has arrived when this returns.
    void submit(const QString& path) {
        model_->beginTypingPath();
        model_->setTypedPath(path);
        model_->submitPath();
        ASSERT_TRUE(settles());
    }

    TemporaryTree tree_;
    TestMainLoop loop_;
    FolderChooserModel::Dependencies dependencies_{.mainQueue = loop_.queue()};
    std::unique_ptr<FolderChooserModel> model_;
    std::unique_ptr<QAbstractItemModelTester> tester_;
    std::vector<std::string> accepted_;  // what was chosen last
};

TEST_F(FolderChooserModelTest, foldersAreListedAsTheUserOrdersThemAndFilesAreNot) {
    for (const char* folder : {"beta", "Alpha", "item 10", "item 9", ".config"}) {
        tree_.folder(folder);
    }
    tree_.file("a file");
    begin();
    EXPECT_EQ(rows(), (QStringList{"Alpha", "beta", "item 9", "item 10"}));
    EXPECT_EQ(model_->countText(), "4 folders");
    EXPECT_FALSE(model_->isEmpty());
}

TEST_F(FolderChooserModelTest, withoutAHighlightedRowTheFolderItselfIsChosen) {
    tree_.folder("inside");
    begin();
    EXPECT_EQ(model_->currentRow(), -1);
    EXPECT_EQ(model_->choices(), std::vector{tree_.root()});
    model_->setCurrentRow(0);
    EXPECT_EQ(model_->choices(), std::vector{tree_.path("inside")});
    EXPECT_EQ(model_->choiceText(), displayString(tree_.path("inside")));
    model_->accept();
    EXPECT_EQ(accepted_, std::vector{tree_.path("inside")});
    model_->setCurrentRow(7);
    EXPECT_EQ(model_->currentRow(), -1);
}

TEST_F(FolderChooserModelTest, enterGoesIntoTheHighlightedFolderAndChoosesWhereNoneIs) {
    tree_.folder("a/b");
    begin();
    model_->setCurrentRow(0);
    model_->activate();
    ASSERT_TRUE(settles());
    EXPECT_EQ(model_->folder(), tree_.path("a"));
    EXPECT_EQ(rows(), QStringList{"b"});
    EXPECT_EQ(model_->currentRow(), -1);
    EXPECT_TRUE(accepted_.empty());
    model_->activate();
    EXPECT_EQ(accepted_, std::vector{tree_.path("a")});
}

TEST_F(FolderChooserModelTest, namesThatAreNoTextAreShownAndReachedByTheirBytes) {
    tree_.folder("caf\xE9/inner\xFF");
    tree_.folder("caf\xE8/other");
    begin();
    const QString shown = QString("caf") + QChar(0xFFFD);
    EXPECT_EQ(rows(), (QStringList{shown, shown}));
    // Both look the same; each leads to its own.
    std::set<std::string> chosen;
    for (int row = 0; row < 2; ++row) {
        model_->open(row);
        ASSERT_TRUE(settles());
        ASSERT_EQ(model_->rowCount(), 1);
        model_->setCurrentRow(0);
        model_->accept();
        chosen.insert(accepted_.at(0));
        model_->goUp();
        ASSERT_TRUE(settles());
        EXPECT_EQ(model_->currentRow(), row) << "the folder that was left is highlighted";
    }
    EXPECT_EQ(chosen, (std::set{tree_.path("caf\xE9/inner\xFF"), tree_.path("caf\xE8/other")}));
}

TEST_F(FolderChooserModelTest, goingUpHighlightsTheFolderThatWasLeftAndEndsAtTheRoot) {
    tree_.folder("a/b/c");
    tree_.folder("a/b2");
    begin();
    openRow("a");
    openRow("b");
    EXPECT_EQ(crumbs().mid(crumbs().size() - 2), (QStringList{"a", "b"}));
    EXPECT_EQ(crumbs().first(), "/");
    model_->goUp();
    ASSERT_TRUE(settles());
    EXPECT_EQ(rows()[model_->currentRow()], "b");
    while (model_->canGoUp()) {
        model_->goUp();
        ASSERT_TRUE(settles());
    }
    EXPECT_EQ(model_->folder(), "/");
    model_->goUp();
    EXPECT_EQ(model_->folder(), "/");
    EXPECT_EQ(crumbs(), QStringList{"/"});
}

TEST_F(FolderChooserModelTest, aCrumbLeadsToItsFolderAndTheLastOneTakesTheHighlightAway) {
    tree_.folder("a/b/c");
    begin(tree_.path("a/b"));
    model_->setCurrentRow(0);
    model_->goToCrumb(model_->crumbs()->count() - 1);
    EXPECT_EQ(model_->folder(), tree_.path("a/b"));
    EXPECT_EQ(model_->currentRow(), -1);
    model_->goToCrumb(model_->crumbs()->count() - 3);
    ASSERT_TRUE(settles());
    EXPECT_EQ(model_->folder(), tree_.root());
    EXPECT_EQ(rows()[model_->currentRow()], "a") << "the child on the way back down";
    model_->goToCrumb(0);
    ASSERT_TRUE(settles());
    EXPECT_EQ(model_->folder(), "/");
    model_->goToCrumb(99);
    EXPECT_EQ(model_->folder(), "/");
}

TEST_F(FolderChooserModelTest, placesAreNamedForTheUserAndLeadThere) {
    tree_.folder("Papiere/2026");
    tree_.folder("stick");
    begin();
    ASSERT_TRUE(loop_.runUntil([this] { return !model_->places().isEmpty(); }));
    QStringList titles;
    for (const QVariant& place : model_->places()) {
        titles.append(place.toMap().value("title").toString());
        EXPECT_FALSE(place.toMap().value("icon").toString().isEmpty());
    }
    EXPECT_EQ(titles, (QStringList{"Home", "Papiere", "File System", "HOLIDAY"}));
    EXPECT_EQ(model_->currentPlace(), 0);
    model_->goToPlace(1);
    ASSERT_TRUE(settles());
    EXPECT_EQ(model_->currentPlace(), 1);
    EXPECT_EQ(rows(), QStringList{"2026"});
    openRow("2026");
    EXPECT_EQ(model_->currentPlace(), -1);
    model_->goToPlace(9);
    model_->goToPlace(-1);
    EXPECT_EQ(model_->folder(), tree_.path("Papiere/2026"));
}

TEST_F(FolderChooserModelTest, hiddenFoldersAreListedOnDemandAndTheHighlightStays) {
    tree_.folder(".hidden");
    tree_.folder("plain");
    begin();
    EXPECT_EQ(rows(), QStringList{"plain"});
    model_->setCurrentRow(0);
    model_->setShowsHiddenFolders(true);
    EXPECT_EQ(rows(), (QStringList{".hidden", "plain"}));
    EXPECT_EQ(model_->currentRow(), 1);
    EXPECT_EQ(model_->data(model_->index(0, 0), FolderChooserModel::SpokenTextRole).toString(),
              ".hidden, hidden folder");
    EXPECT_EQ(model_->data(model_->index(1, 0), FolderChooserModel::SpokenTextRole).toString(),
              "plain, folder");
    model_->setCurrentRow(0);
    model_->setShowsHiddenFolders(false);
    EXPECT_EQ(model_->currentRow(), -1) << "what is not listed is not highlighted";
}

TEST_F(FolderChooserModelTest, anEmptyFolderSaysSoAndNamesWhatIsHidden) {
    tree_.folder("empty");
    tree_.folder("secret/.a");
    tree_.folder("secret/.b");
    begin(tree_.path("empty"));
    EXPECT_EQ(model_->emptyTitle(), "No folders in here");
    EXPECT_TRUE(model_->canAccept());
    begin(tree_.path("secret"));
    EXPECT_EQ(model_->emptyTitle(), "Only hidden folders in here");
    EXPECT_EQ(model_->emptyText(),
              "2 hidden folders are not listed. Turn on “Show hidden folders” to see them.");
    model_->setShowsHiddenFolders(true);
    EXPECT_EQ(model_->emptyTitle(), "");
}

TEST_F(FolderChooserModelTest, aFolderThatIsGoneSaysSoAndIsNotChosen) {
    begin(tree_.path("gone"));
    EXPECT_TRUE(model_->isUnreadable());
    EXPECT_EQ(model_->emptyTitle(), "This folder could not be read");
    EXPECT_TRUE(model_->emptyText().contains("it is no longer there.")) << model_->emptyText().toStdString();
    EXPECT_FALSE(model_->canAccept());
    model_->accept();
    EXPECT_TRUE(accepted_.empty());
    model_->goUp();
    ASSERT_TRUE(settles());
    EXPECT_TRUE(model_->canAccept());
}

TEST_F(FolderChooserModelTest, aFolderThatMayNotBeReadSaysSo) {
    test::asUnprivilegedUser([](const std::string& home) {
        TemporaryTree tree;
        ASSERT_EQ(chmod(tree.folder("closed").c_str(), 0), 0);
        TestMainLoop loop;
        FolderChooserModel model({.mainQueue = loop.queue()});
        model.begin(home);
        model.begin(tree.path("closed"));  // the second question begins where the first one ended
        EXPECT_EQ(model.folder(), home);
        model.beginTypingPath();
        model.setTypedPath(displayString(tree.path("closed")));
        model.submitPath();
        ASSERT_TRUE(loop.runUntil([&] { return !model.isLookingUp(); }));
        EXPECT_TRUE(model.pathProblem().contains("you do not have permission"))
            << model.pathProblem().toStdString();
    });
}

TEST_F(FolderChooserModelTest, aTypedPathIsGoneTo) {
    tree_.folder("a/b/c");
    begin();
    submit(displayString(tree_.path("a/b")));
    EXPECT_EQ(model_->folder(), tree_.path("a/b"));
    EXPECT_EQ(rows(), QStringList{"c"});
    EXPECT_FALSE(model_->isTypingPath());
    submit(displayString(tree_.path("a//./b/../")));
    EXPECT_EQ(model_->folder(), tree_.path("a"));
    submit("b/c");
    EXPECT_EQ(model_->folder(), tree_.path("a/b/c")) << "relative to where the user is";
    submit("file://" + displayString(tree_.path("a")));
    EXPECT_EQ(model_->folder(), tree_.path("a"));
    submit("/");
    EXPECT_EQ(model_->folder(), "/");
}

TEST_F(FolderChooserModelTest, aTildeIsTheHomeFolder) {
    test::asUnprivilegedUser([](const std::string& home) {
        ASSERT_EQ(mkdir((home + "/papers").c_str(), 0700), 0);
        TestMainLoop loop;
        FolderChooserModel model({.mainQueue = loop.queue()});
        model.begin("/");
        const auto submit = [&](const QString& typed) {
            model.beginTypingPath();
            model.setTypedPath(typed);
            model.submitPath();
            return loop.runUntil([&] { return !model.isLookingUp(); });
        };
        ASSERT_TRUE(submit("~"));
        EXPECT_EQ(model.folder(), home);
        ASSERT_TRUE(submit("~/papers"));
        EXPECT_EQ(model.folder(), home + "/papers");
        ASSERT_TRUE(submit("~root"));
        EXPECT_EQ(model.folder(), home + "/papers");
        EXPECT_TRUE(model.pathProblem().startsWith("“~root” names another account’s home folder"));
    });
}

TEST_F(FolderChooserModelTest, aTypedPathThatLeadsNowhereSaysSoAndChangesNothing) {
    tree_.folder("a");
    tree_.file("file");
    begin();
    const QString nowhere = displayString(tree_.path("nowhere"));
    submit(nowhere);
    EXPECT_EQ(model_->pathProblem(),
              "There is no folder “" + nowhere + "”. Check the spelling, or choose a folder from the list.");
    EXPECT_TRUE(model_->isTypingPath());
    EXPECT_EQ(model_->folder(), tree_.root());
    EXPECT_EQ(rows(), QStringList{"a"});
    const QString file = displayString(tree_.path("file"));
    submit(file);
    EXPECT_EQ(model_->pathProblem(),
              "“" + file + "” is not a folder. Enter the path of a folder, such as the one that holds it.");
    model_->setTypedPath(file + "2");
    EXPECT_EQ(model_->pathProblem(), "") << "said of another path";
    model_->cancelTypingPath();
    EXPECT_FALSE(model_->isTypingPath());
}

TEST_F(FolderChooserModelTest, theOfferedPathStandsForItsBytes) {
    tree_.folder("caf\xE9/inside");
    begin(tree_.path("caf\xE9"));
    model_->beginTypingPath();
    const QString offered = model_->typedPath();
    EXPECT_TRUE(offered.contains(QChar(0xFFFD)));
    model_->submitPath();
    ASSERT_TRUE(settles());
    EXPECT_EQ(model_->folder(), tree_.path("caf\xE9"));
    submit(offered + "/inside");
    EXPECT_EQ(model_->folder(), tree_.path("caf\xE9/inside"));
}

TEST_F(FolderChooserModelTest, nothingTypedIsNoPath) {
    begin();
    submit("  ");
    EXPECT_FALSE(model_->isTypingPath());
    EXPECT_EQ(model_->folder(), tree_.root());
}

TEST_F(FolderChooserModelTest, typingFindsByTheBeginningOfTheName) {
    for (const char* folder : {"apple", "apricot", "Banana", "berry pie"}) {
        tree_.folder(folder);
    }
    begin();
    model_->typeText("b");
    EXPECT_EQ(rows()[model_->currentRow()], "Banana");
    model_->typeText("e");
    EXPECT_EQ(rows()[model_->currentRow()], "berry pie");
    EXPECT_TRUE(model_->isTypingAhead());
    model_->typeText("x");
    EXPECT_EQ(rows()[model_->currentRow()], "berry pie") << "nothing begins like that";
    // A slash would be a part of no name; in the middle of typing it begins no path either.
    EXPECT_FALSE(model_->isTypingPath());
}

TEST_F(FolderChooserModelTest, aSlashOrATildeBeginsAPath) {
    begin();
    model_->typeText("/");
    EXPECT_TRUE(model_->isTypingPath());
    EXPECT_EQ(model_->typedPath(), "/");
    EXPECT_EQ(model_->typedPathKept(), 1) << "the next character is added to it";
    model_->toggleTypingPath();
    EXPECT_FALSE(model_->isTypingPath());
    model_->toggleTypingPath();
    EXPECT_EQ(model_->typedPath(), displayString(tree_.root()));
    EXPECT_EQ(model_->typedPathKept(), 0) << "the next character replaces it";
    model_->cancelTypingPath();
    model_->typeText("~");
    EXPECT_EQ(model_->typedPath(), "~");
}

// A folder that answers only when the test says so, or when the reader is told to stop.
class SlowFolder {
public:
    FolderListing list(const std::stop_token& stop, const std::function<void(std::size_t)>& report) {
        report(12'345);
        std::unique_lock lock(mutex_);
        isAsked_ = true;
        changed_.notify_all();
        changed_.wait(lock, stop, [this] { return isReady_; });
        if (stop.stop_requested()) {
            wasStopped_ = true;
            changed_.notify_all();
            throw CancellationError();
        }
        return {.names = {"late"}, .files = {}, .error = 0};
    }
    void answer() {
        const std::lock_guard lock(mutex_);
        isReady_ = true;
        changed_.notify_all();
    }
    // Whether somebody waits for the answer, at last.
    bool isAsked() {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(60), [this] { return isAsked_; });
    }
    bool wasStopped() {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(60), [this] { return wasStopped_; });
    }

private:
    std::mutex mutex_;
    std::condition_variable_any changed_;
    bool isAsked_ = false;
    bool isReady_ = false;
    bool wasStopped_ = false;
};

class SlowFolderTest : public FolderChooserModelTest {
protected:
    SlowFolderTest() {
        dependencies_.listFolders = [this](const std::string& path, const WantedFiles& wantsFile,
                                           std::stop_token stop,
                                           const std::function<void(std::size_t)>& report) -> FolderListing {
            return path == "/slow" ? slow_.list(stop, report) : listFolders(path, wantsFile, stop, report);
        };
        tree_.folder("a");
        begin();
    }

    // Begins in the folder that does not answer yet.
    void beginSlowly() {
        tester_.reset();
        model_ = std::make_unique<FolderChooserModel>(dependencies_);
        model_->begin("/slow");
    }

    SlowFolder slow_;
};

TEST_F(SlowFolderTest, whileAFolderIsReadTheModelAnswersAndTellsHowFarItIs) {
    beginSlowly();
    EXPECT_TRUE(model_->isListing());
    EXPECT_FALSE(model_->isEmpty()) << "nothing is known yet";
    EXPECT_TRUE(model_->canAccept()) << "the folder itself may be chosen meanwhile";
    ASSERT_TRUE(loop_.runUntil([this] { return model_->listingText().contains("12,345"); }))
        << model_->listingText().toStdString();
    slow_.answer();
    ASSERT_TRUE(settles());
    EXPECT_EQ(rows(), QStringList{"late"});
    EXPECT_EQ(model_->listingText(), "");
}

TEST_F(SlowFolderTest, leavingStopsTheReading) {
    beginSlowly();
    ASSERT_TRUE(loop_.runUntil([this] { return model_->listingText().contains("12,345"); }));
    model_->goUp();
    EXPECT_TRUE(slow_.wasStopped());
    ASSERT_TRUE(settles());
    EXPECT_EQ(model_->folder(), "/");
    EXPECT_FALSE(rows().contains("late"));
}

TEST_F(SlowFolderTest, theEndOfTheQuestionStopsTheReading) {
    beginSlowly();
    ASSERT_TRUE(loop_.runUntil([this] { return model_->listingText().contains("12,345"); }));
    model_->end();
    EXPECT_TRUE(slow_.wasStopped());
}

TEST_F(SlowFolderTest, aTypedPathThatDoesNotAnswerKeepsTheListAndCanBeGivenUp) {
    model_->beginTypingPath();
    model_->setTypedPath("/slow");
    model_->submitPath();
    EXPECT_TRUE(model_->isLookingUp());
    EXPECT_EQ(rows(), QStringList{"a"});
    ASSERT_TRUE(slow_.isAsked());  // what has not begun need not be stopped
    model_->cancelTypingPath();
    EXPECT_TRUE(slow_.wasStopped());
    EXPECT_FALSE(model_->isLookingUp());
    EXPECT_EQ(model_->folder(), tree_.root());
}

TEST_F(FolderChooserModelTest, aListingThatBrokeOffSaysThatItIsNotWhole) {
    dependencies_.listFolders = [](const std::string&, const WantedFiles&, const std::stop_token&,
                                   const std::function<void(std::size_t)>&) {
        return FolderListing{.names = {"one"}, .files = {}, .error = EIO};
    };
    begin("/broken");
    EXPECT_EQ(rows(), QStringList{"one"});
    EXPECT_FALSE(model_->isUnreadable());
    EXPECT_TRUE(model_->notice().endsWith("Folders may be missing from this list."))
        << model_->notice().toStdString();
}

// --- Several folders

class SeveralFoldersTest : public FolderChooserModelTest {
protected:
    void beginForSeveral() {
        begin(tree_.root(),
              {.title = {}, .message = {}, .button = {}, .kind = OpenPanel::Kind::folders, .fileType = {}});
    }
    SeveralFoldersTest() {
        for (const char* folder : {"a", "b", "c", "d", "e/inside"}) {
            tree_.folder(folder);
        }
        beginForSeveral();
    }
    QStringList checkedRows() const {
        QStringList names;
        for (int row = 0; row < model_->rowCount(); ++row) {
            if (model_->data(model_->index(row, 0), FolderChooserModel::IsCheckedRole).toBool()) {
                names.append(rows()[row]);
            }
        }
        return names;
    }
};

TEST_F(SeveralFoldersTest, withoutAnyCheckTheHighlightedRowIsTheChoice) {
    EXPECT_EQ(model_->choices(), std::vector{tree_.root()});
    model_->setCurrentRow(1);
    model_->accept();
    EXPECT_EQ(accepted_, std::vector{tree_.path("b")});
}

TEST_F(SeveralFoldersTest, whatIsCheckedIsChosenInOneGo) {
    EXPECT_EQ(model_->choiceLabel(), "Folders:");
    QSignalSpy told(model_.get(), &FolderChooserModel::choiceChanged);
    model_->toggleCheck(2);
    model_->toggleCheck(0);
    EXPECT_EQ(told.count(), 2);
    model_->setCurrentRow(3);
    EXPECT_EQ(checkedRows(), (QStringList{"a", "c"})) << "the highlight takes nothing along";
    EXPECT_EQ(model_->checkedCount(), 2);
    EXPECT_EQ(model_->choiceText(),
              "2 folders chosen: " + displayString(tree_.path("a")) + ", " + displayString(tree_.path("c")));
    model_->toggleCheck(2);
    EXPECT_EQ(checkedRows(), QStringList{"a"});
    EXPECT_EQ(model_->choiceText(), displayString(tree_.path("a")));
    model_->toggleCheck(1);
    model_->accept();
    EXPECT_EQ(accepted_, (std::vector{tree_.path("a"), tree_.path("b")}));
}

TEST_F(SeveralFoldersTest, aRangeIsCheckedFromWhereItBegan) {
    model_->setCurrentRow(1);
    model_->checkThrough(3);
    EXPECT_EQ(checkedRows(), (QStringList{"b", "c", "d"}));
    EXPECT_EQ(model_->currentRow(), 3);
    model_->checkThrough(0);
    EXPECT_EQ(checkedRows(), (QStringList{"a", "b", "c", "d"})) << "the same beginning, the other way";
    model_->clearChecks();
    model_->toggleCheck(4);
    model_->checkThrough(3);
    EXPECT_EQ(checkedRows(), (QStringList{"d", "e"}));
    model_->checkThrough(99);
    model_->checkThrough(-1);
    model_->toggleCheck(99);
    model_->toggleCheck(-1);
    EXPECT_EQ(checkedRows(), (QStringList{"d", "e"}));
}

TEST_F(SeveralFoldersTest, checksStayWhileTheUserGoesOnToOtherFolders) {
    model_->toggleCheck(0);
    openRow("e");
    EXPECT_EQ(checkedRows(), QStringList());
    model_->toggleCheck(0);
    EXPECT_EQ(model_->choices(), (std::vector{tree_.path("a"), tree_.path("e/inside")}));
    model_->goUp();
    ASSERT_TRUE(settles());
    EXPECT_EQ(checkedRows(), QStringList{"a"});
    model_->clearChecks();
    EXPECT_EQ(checkedRows(), QStringList());
    EXPECT_EQ(model_->choices(), std::vector{tree_.path("e")}) << "the row that came to be highlighted";
}

TEST_F(SeveralFoldersTest, allRowsAreCheckedButNoneThatIsNotListed) {
    tree_.folder(".hidden");
    beginForSeveral();
    model_->checkAllRows();
    EXPECT_EQ(model_->checkedCount(), 5);
    EXPECT_FALSE(model_->choiceText().contains(".hidden"));
}

TEST_F(SeveralFoldersTest, theNextQuestionBeginsWithoutChecks) {
    model_->toggleCheck(0);
    model_->begin(tree_.root());
    ASSERT_TRUE(settles());
    EXPECT_EQ(model_->checkedCount(), 0);
    model_->toggleCheck(0);
    model_->checkThrough(1);
    model_->checkAllRows();
    EXPECT_EQ(model_->checkedCount(), 0) << "one folder is asked for";
    EXPECT_EQ(model_->choiceLabel(), "Folder:");
}

TEST_F(SeveralFoldersTest, aFolderThatCannotBeReadIsNotChosenButWhatIsCheckedIs) {
    std::filesystem::remove_all(tree_.path("e"));
    model_->open(4);
    ASSERT_TRUE(settles());
    EXPECT_TRUE(model_->isUnreadable());
    EXPECT_FALSE(model_->canAccept());
    model_->goUp();
    ASSERT_TRUE(settles());
    model_->toggleCheck(0);
    submit("/");
    submit(displayString(tree_.root()));
    std::filesystem::remove_all(tree_.path("b"));
    model_->open(1);
    ASSERT_TRUE(settles());
    EXPECT_TRUE(model_->isUnreadable());
    EXPECT_TRUE(model_->canAccept());
    EXPECT_EQ(model_->choices(), std::vector{tree_.path("a")});
}

// --- A file of a kind

class FileOfAKindTest : public FolderChooserModelTest {
protected:
    FileOfAKindTest() {
        tree_.folder("folder");
        tree_.file("Manifest.json");
        tree_.file("a.JSON");
        tree_.file("notes.txt");
        tree_.file(".hidden.json");
    }
    void beginForFile(const std::string& folder) {
        begin(folder, {.title = {},
                       .message = {},
                       .button = {},
                       .kind = OpenPanel::Kind::file,
                       .fileType = {.name = "JSON files", .extensions = {"json"}}});
    }
    bool rowIsFile(int row) const {
        return model_->data(model_->index(row, 0), FolderChooserModel::IsFileRole).toBool();
    }
};

TEST_F(FileOfAKindTest, foldersAreListedFirstThenTheFilesThatMatch) {
    beginForFile(tree_.root());
    EXPECT_EQ(rows(), (QStringList{"folder", "a.JSON", "Manifest.json"}));
    EXPECT_FALSE(rowIsFile(0));
    EXPECT_TRUE(rowIsFile(1));
    EXPECT_EQ(model_->countText(), "1 folder, 2 files");
    EXPECT_EQ(model_->listedText(), "Of the files, only JSON files are listed.");
    EXPECT_EQ(model_->data(model_->index(2, 0), FolderChooserModel::SpokenTextRole).toString(),
              "Manifest.json, file");
}

TEST_F(FileOfAKindTest, onlyAFileCanBeChosen) {
    beginForFile(tree_.root());
    EXPECT_FALSE(model_->canAccept());
    EXPECT_EQ(model_->choiceText(), "No file chosen");
    model_->setCurrentRow(0);
    EXPECT_FALSE(model_->canAccept()) << "a folder";
    model_->accept();
    EXPECT_TRUE(accepted_.empty());
    model_->setCurrentRow(2);
    EXPECT_TRUE(model_->canAccept());
    EXPECT_EQ(model_->spokenChoice(), "File to open: " + displayString(tree_.path("Manifest.json")));
    model_->accept();
    EXPECT_EQ(accepted_, std::vector{tree_.path("Manifest.json")});
}

TEST_F(FileOfAKindTest, openingARowGoesIntoAFolderAndChoosesAFile) {
    beginForFile(tree_.root());
    model_->setCurrentRow(0);
    model_->activate();
    ASSERT_TRUE(settles());
    EXPECT_EQ(model_->folder(), tree_.path("folder"));
    EXPECT_EQ(model_->emptyTitle(), "Nothing to choose in here");
    EXPECT_EQ(model_->emptyText(),
              "There are no folders and no JSON files in this one. Go back up, or to another place.");
    model_->activate();
    EXPECT_TRUE(accepted_.empty());
    model_->goUp();
    ASSERT_TRUE(settles());
    model_->setCurrentRow(1);
    model_->activate();
    EXPECT_EQ(accepted_, std::vector{tree_.path("a.JSON")});
}

TEST_F(FileOfAKindTest, aTypedPathOfAFileHighlightsIt) {
    tree_.file("folder/deep.json");
    beginForFile(tree_.root());
    submit(displayString(tree_.path("folder/deep.json")));
    EXPECT_EQ(model_->folder(), tree_.path("folder"));
    EXPECT_EQ(model_->choices(), std::vector{tree_.path("folder/deep.json")});
    submit(displayString(tree_.path(".hidden.json")));
    EXPECT_EQ(model_->choices(), std::vector{tree_.path(".hidden.json")});
    EXPECT_TRUE(model_->showsHiddenFolders()) << "what is highlighted is listed";
    submit(displayString(tree_.path("folder")));
    EXPECT_EQ(model_->folder(), tree_.path("folder"));
    EXPECT_TRUE(model_->choices().empty());
}

TEST_F(FileOfAKindTest, aTypedPathOfAnotherFileSaysThatItIsNoneOfThese) {
    beginForFile(tree_.root());
    const QString other = displayString(tree_.path("notes.txt"));
    submit(other);
    EXPECT_EQ(model_->pathProblem(),
              "“" + other +
                  "” is none of the JSON files that can be chosen here. Enter another path, "
                  "or choose from the list.");
    EXPECT_EQ(model_->folder(), tree_.root());
    const QString gone = displayString(tree_.path("gone.json"));
    submit(gone);
    EXPECT_EQ(model_->pathProblem(),
              "There is no file or folder “" + gone + "”. Check the spelling, or choose from the list.");
    submit(displayString(tree_.path("a.JSON/below")));
    EXPECT_TRUE(model_->pathProblem().contains("is none of the JSON files"));
}

TEST_F(FileOfAKindTest, whereAFolderIsAskedForFilesAreNeitherListedNorFound) {
    begin();
    EXPECT_EQ(rows(), QStringList{"folder"});
    const QString file = displayString(tree_.path("a.JSON"));
    submit(file);
    EXPECT_EQ(model_->pathProblem(),
              "“" + file + "” is not a folder. Enter the path of a folder, such as the one that holds it.");
}

}  // namespace
}  // namespace larkfold
