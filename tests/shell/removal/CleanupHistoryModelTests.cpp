#include "shell/removal/CleanupHistoryModel.h"

#include <gtest/gtest.h>

#include <QAbstractItemModelTester>
#include <QClipboard>
#include <QGuiApplication>
#include <QSignalSpy>
#include <QTest>
#include <memory>
#include <string>
#include <vector>

#include "platform/qt/EventLoopQueue.h"
#include "removal/CleanupHistoryStore.h"
#include "shell/removal/CleanupResultPresenter.h"
#include "support/TemporaryTree.h"

namespace larkfold {
namespace {

using test::TemporaryTree;
using Model = CleanupHistoryModel;
using Item = CleanupOperation::Item;

Item inTrash(std::string original, std::string trash) {
    return {.originalPath = std::move(original),
            .trashPath = std::move(trash),
            .logicalBytes = 1'000,
            .error = std::nullopt};
}

Item failed(std::string original, std::string why) {
    return {.originalPath = std::move(original),
            .trashPath = std::nullopt,
            .logicalBytes = std::nullopt,
            .error = std::move(why)};
}

CleanupOperation operation(std::vector<Item> items, std::string source = "Disk analysis",
                           bool permanent = false) {
    return {.id = UUID::make(),
            .startedAt = dateFromSecondsSince1970(1'795'000'000),
            .finishedAt = dateFromSecondsSince1970(1'795'000'000),
            .source = std::move(source),
            .permanent = permanent,
            .items = std::move(items),
            .volumes = {}};
}

class CleanupHistoryModelTest : public testing::Test {
protected:
    void load() {
        QSignalSpy answered(&model, &Model::stateChanged);
        model.load();
        ASSERT_TRUE(answered.wait(20'000));
    }
    QString text(int row, int role) const { return model.data(model.index(row), role).toString(); }
    bool flag(int row, int role) const { return model.data(model.index(row), role).toBool(); }
    int kind(int row) const { return model.data(model.index(row), Model::KindRole).toInt(); }
    bool hasError(const QString& error) {
        return QTest::qWaitFor([&] { return model.error() == error; }, 60'000);
    }

    TemporaryTree tree;
    EventLoopQueue events;
    NotificationCenter notifications;
    CleanupHistoryStore store{tree.path("Larkfold/history.json")};
    std::vector<std::string> revealed;
    bool revealWorks = true;
    Model model{{.mainQueue = events.queue(),
                 .notifications = notifications,
                 .store = store,
                 .reveal = [this](const std::string& path, const std::function<void(bool)>& done) {
                     revealed.push_back(path);
                     done(revealWorks);
                 }}};
    QAbstractItemModelTester tester{&model, QAbstractItemModelTester::FailureReportingMode::Fatal};
};

TEST_F(CleanupHistoryModelTest, beforeItIsReadItIsNeitherEmptyNorFull) {
    EXPECT_TRUE(model.isLoading());
    EXPECT_FALSE(model.isEmpty());
    load();
    EXPECT_FALSE(model.isLoading());
    EXPECT_TRUE(model.isEmpty());
    EXPECT_FALSE(model.canClear());
}

TEST_F(CleanupHistoryModelTest, anOperationIsOneRowUntilItIsOpened) {
    store.append(
        operation({failed("/home/a/first", "It stayed."), inTrash("/home/a/second", "/trash/second")}));
    store.append(operation({}, "System cleanup"));
    load();
    ASSERT_EQ(model.count(), 2);
    EXPECT_EQ(text(0, Model::TitleRole), "System cleanup") << "the newest first";
    EXPECT_EQ(text(1, Model::TitleRole), "Disk analysis");
    EXPECT_EQ(text(1, Model::DateRole), "18 Nov 2026, 11:06");
    EXPECT_EQ(text(1, Model::TextRole), "1 succeeded · 1 failed · Data 1 KB · Free space Unavailable");
    EXPECT_TRUE(flag(1, Model::IsFailureRole));
    EXPECT_TRUE(text(1, Model::SpokenTextRole).endsWith("closed"));

    model.toggle(1);
    ASSERT_EQ(model.count(), 5);
    EXPECT_TRUE(flag(1, Model::IsOpenRole));
    EXPECT_EQ(kind(2), Model::Help);
    EXPECT_EQ(text(2, Model::TitleRole),
              "In Trash, select the original item and choose Restore when available. Otherwise move it to "
              "the recorded original folder; check for an existing file before replacing anything.");
    EXPECT_EQ(text(2, Model::SpokenTextRole), text(2, Model::TitleRole));
    EXPECT_EQ(text(3, Model::TitleRole), "/home/a/first");
    EXPECT_EQ(text(3, Model::TextRole), "It stayed.");
    EXPECT_FALSE(flag(3, Model::CanLocateRole));
    EXPECT_EQ(text(4, Model::TextRole), "Trash location: /trash/second");
    EXPECT_TRUE(flag(4, Model::CanLocateRole));
    EXPECT_EQ(text(4, Model::SizeTextRole), "1 KB");
    EXPECT_EQ(text(4, Model::SpokenTextRole), "/home/a/second, Trash location: /trash/second, 1 KB");
    EXPECT_EQ(text(3, Model::SizeTextRole), "") << "it was not measured";
    EXPECT_EQ(text(3, Model::SpokenTextRole), "/home/a/first, It stayed.");
    EXPECT_EQ(text(2, Model::SizeTextRole) + text(1, Model::SizeTextRole), "");
    EXPECT_EQ(model.headerRowOf(4), 1);

    model.toggle(4);  // an item has nothing to open
    EXPECT_EQ(model.count(), 5);
    model.toggle(1);
    EXPECT_EQ(model.count(), 2);
}

TEST_F(CleanupHistoryModelTest, aPermanentOperationOffersNoWayBack) {
    store.append(operation(
        {{.originalPath = "/home/a/x", .trashPath = std::nullopt, .logicalBytes = 5, .error = std::nullopt}},
        "Disk analysis", true));
    load();
    model.toggle(0);
    ASSERT_EQ(model.count(), 2) << "no help about Trash";
    EXPECT_EQ(text(1, Model::TextRole), "Permanently deleted — no Trash copy");
    EXPECT_FALSE(flag(1, Model::CanLocateRole));
}

TEST_F(CleanupHistoryModelTest, whatIsOpenStaysOpenByItsIdentity) {
    store.append(operation({failed("/home/a/x", "It stayed.")}, "First"));
    load();
    model.toggle(0);
    store.append(operation({}, "Second"));
    load();
    ASSERT_EQ(model.count(), 3);
    EXPECT_FALSE(flag(0, Model::IsOpenRole));
    EXPECT_TRUE(flag(1, Model::IsOpenRole));
    EXPECT_EQ(text(2, Model::TitleRole), "/home/a/x");
}

TEST_F(CleanupHistoryModelTest, anOperationCanBeOpenedBeforeItIsRead) {
    const CleanupOperation wanted = operation({failed("/home/a/x", "It stayed.")});
    store.append(wanted);
    model.expand(wanted.id);
    load();
    EXPECT_EQ(model.count(), 2);
    model.expand(wanted.id);
    EXPECT_EQ(model.count(), 2);
}

TEST_F(CleanupHistoryModelTest, anOperationOfTenThousandItemsIsRowsAndNoMore) {
    std::vector<Item> items;
    for (int i = 0; i < 10'000; ++i) {
        items.push_back(inTrash("/home/a/" + std::to_string(i), "/trash/" + std::to_string(i)));
    }
    store.append(operation(std::move(items)));
    store.append(operation({}, "Newer"));
    load();
    model.toggle(1);
    ASSERT_EQ(model.count(), 10'003);
    EXPECT_EQ(text(10'002, Model::TitleRole), "/home/a/9999");
    EXPECT_EQ(model.headerRowOf(10'002), 1);
}

TEST_F(CleanupHistoryModelTest, aHistoryThatCannotBeReadIsToldAndTheRowsStay) {
    store.append(operation({failed("/home/a/x", "It stayed.")}));
    load();
    model.toggle(0);
    tree.file("Larkfold/history.json", "damaged");
    load();
    EXPECT_TRUE(model.error().startsWith("History could not be read: ")) << model.error().toStdString();
    EXPECT_TRUE(model.isUnreadable());
    EXPECT_FALSE(model.isEmpty());
    EXPECT_EQ(model.count(), 2);
    EXPECT_TRUE(model.canClear());

    model.setClearConfirmation(true);
    model.clear();
    EXPECT_FALSE(model.clearConfirmation());
    ASSERT_TRUE(QTest::qWaitFor([this] { return model.isEmpty(); }, 60'000));
    EXPECT_EQ(model.error(), "");
    EXPECT_EQ(model.count(), 0);
    EXPECT_TRUE(store.load().empty());
}

TEST_F(CleanupHistoryModelTest, aHistoryThatWasNeverReadIsNotCalledEmpty) {
    tree.file("Larkfold/history.json", "damaged");
    load();
    EXPECT_TRUE(model.isUnreadable());
    EXPECT_FALSE(model.isEmpty());
    EXPECT_FALSE(model.hasOperations());
}

TEST_F(CleanupHistoryModelTest, aFailureOfClearingIsTold) {
    tree.folder("closed/history.json");
    CleanupHistoryStore closed(tree.path("closed/history.json"));
    Model other({.mainQueue = events.queue(), .notifications = notifications, .store = closed});
    other.clear();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !other.error().isEmpty(); }, 60'000));
    EXPECT_FALSE(other.error().startsWith("History could not be read"));
}

TEST_F(CleanupHistoryModelTest, aChangeOfTheHistoryIsReadOnceTheScreenWasSeen) {
    store.append(operation({}));
    notifications.post(CleanupHistoryStore::changedNotification);
    QTest::qWait(0);
    EXPECT_TRUE(model.isLoading()) << "nobody has looked yet";
    load();
    EXPECT_EQ(model.count(), 1);
    store.append(operation({}));
    notifications.post(CleanupHistoryStore::changedNotification);
    EXPECT_TRUE(QTest::qWaitFor([this] { return model.count() == 2; }, 60'000));
}

TEST_F(CleanupHistoryModelTest, whatIsStillInTrashIsShownInTheFileManagerByItsBytes) {
    const std::string inside = tree.file("trash/caf\xe9", "x");
    tree.link("trash/dangling", "/nowhere/at/all");
    store.append(operation(
        {inTrash("/home/a/caf\xe9", inside), inTrash("/home/a/dangling", tree.path("trash/dangling"))}));
    load();
    model.toggle(0);
    model.locateInTrash(2);
    ASSERT_TRUE(QTest::qWaitFor([this] { return revealed.size() == 1; }, 60'000));
    EXPECT_EQ(revealed.front(), inside);
    model.locateInTrash(3);
    ASSERT_TRUE(QTest::qWaitFor([this] { return revealed.size() == 2; }, 60'000))
        << "a link is there, wherever it leads";
    EXPECT_EQ(model.error(), "");
}

TEST_F(CleanupHistoryModelTest, whatIsNoLongerInTrashIsToldAndItsRowStays) {
    store.append(operation({inTrash("/home/a/x", tree.path("trash/gone"))}));
    load();
    model.toggle(0);
    model.locateInTrash(2);
    EXPECT_TRUE(
        hasError("This item is no longer at its recorded Trash location. It may have been restored or "
                 "Trash may have been emptied."));
    EXPECT_TRUE(revealed.empty());
    EXPECT_EQ(model.count(), 3);
    EXPECT_FALSE(model.isUnreadable());
    model.dismissError();
    EXPECT_EQ(model.error(), "");
}

TEST_F(CleanupHistoryModelTest, rowsWithoutAPlaceInTrashAreNotLookedFor) {
    store.append(operation({failed("/home/a/x", "It stayed.")}));
    load();
    model.toggle(0);
    model.locateInTrash(0);
    model.locateInTrash(1);
    model.locateInTrash(99);
    load();  // whatever would have been asked has been answered before this
    EXPECT_TRUE(revealed.empty());
    EXPECT_EQ(model.error(), "");
}

TEST_F(CleanupHistoryModelTest, withoutAFileManagerThePlaceIsTold) {
    const std::string inside = tree.file("trash/x", "x");
    store.append(operation({inTrash("/home/a/x", inside)}));
    load();
    model.toggle(0);
    revealWorks = false;
    model.locateInTrash(2);
    EXPECT_TRUE(
        QTest::qWaitFor([&] { return model.error().contains(QString::fromStdString(inside)); }, 60'000));
}

TEST_F(CleanupHistoryModelTest, whatIsCopiedIsTheOriginalPathAndIsTold) {
    store.append(operation({failed("/home/a/x", "It stayed.")}));
    load();
    model.toggle(0);
    QGuiApplication::clipboard()->setText("untouched");
    model.copyPath(0);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), "untouched");
    EXPECT_TRUE(model.notice().startsWith("Only an item has a path")) << model.notice().toStdString();
    model.copyPath(1);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), "/home/a/x");
    EXPECT_EQ(model.notice(), "The path was copied.");
    model.dismissNotice();
    EXPECT_EQ(model.notice(), "");
}

TEST(CleanupResultPresenter, showsTheLatestUntilItIsClosed) {
    CleanupResultPresenter presenter;
    QSignalSpy changed(&presenter, &CleanupResultPresenter::latestCleanupChanged);
    EXPECT_FALSE(presenter.isShown());
    presenter.show(operation({}));
    EXPECT_FALSE(presenter.isShown()) << "a removal of nothing leaves no record";
    presenter.show(operation({inTrash("/a", "/trash/a")}));
    EXPECT_TRUE(presenter.isComplete());
    presenter.show(operation({failed("/a", "It stayed.")}));
    EXPECT_FALSE(presenter.isComplete());
    EXPECT_EQ(presenter.headline(), "0 items moved to Trash · 1 skipped or failed");
    EXPECT_EQ(presenter.figures(), "Data processed: Zero KB · Free-space change: Unavailable");
    EXPECT_EQ(changed.size(), 2);
    presenter.dismiss();
    EXPECT_FALSE(presenter.isShown());
    EXPECT_EQ(presenter.headline(), "");
}

}  // namespace
}  // namespace larkfold
