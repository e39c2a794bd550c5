#include "shell/kit/CrumbListModel.h"

#include <gtest/gtest.h>

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QStringList>

namespace larkfold {
namespace {

QStringList namesOf(const CrumbListModel& model) {
    QStringList names;
    for (int row = 0; row < model.count(); ++row) {
        names.append(model.data(model.index(row), CrumbListModel::NameRole).toString());
    }
    return names;
}

int currentRowOf(const CrumbListModel& model) {
    int current = -1;
    for (int row = 0; row < model.count(); ++row) {
        if (model.data(model.index(row), CrumbListModel::IsCurrentRole).toBool()) {
            EXPECT_EQ(current, -1) << "two current crumbs";
            current = row;
        }
    }
    return current;
}

class CrumbListModelTest : public testing::Test {
protected:
    CrumbListModel model_;
    QAbstractItemModelTester tester_{&model_, QAbstractItemModelTester::FailureReportingMode::Fatal};
};

TEST_F(CrumbListModelTest, theLastNameIsTheCurrentOne) {
    EXPECT_EQ(model_.count(), 0);
    EXPECT_EQ(model_.position(0), -1);
    model_.setNames({"/", "usr", "share"});
    EXPECT_EQ(namesOf(model_), (QStringList{"/", "usr", "share"}));
    EXPECT_EQ(currentRowOf(model_), 2);
    EXPECT_EQ(model_.position(1), 1);
    EXPECT_EQ(model_.position(3), -1);
}

TEST_F(CrumbListModelTest, goingInAddsARowAndTouchesNoOther) {
    model_.setNames({"/", "usr"});
    const QSignalSpy resets(&model_, &QAbstractItemModel::modelReset);
    const QSignalSpy inserted(&model_, &QAbstractItemModel::rowsInserted);
    const QSignalSpy removed(&model_, &QAbstractItemModel::rowsRemoved);
    const QSignalSpy changed(&model_, &QAbstractItemModel::dataChanged);
    model_.setNames({"/", "usr", "share"});
    ASSERT_EQ(inserted.size(), 1);
    EXPECT_EQ(inserted[0][1].toInt(), 2);
    EXPECT_EQ(inserted[0][2].toInt(), 2);
    EXPECT_TRUE(removed.empty());
    EXPECT_TRUE(resets.empty());
    EXPECT_EQ(changed.size(), 1) << "which crumb is the current one has changed";
    EXPECT_EQ(currentRowOf(model_), 2);
}

TEST_F(CrumbListModelTest, goingBackRemovesRowsAtTheEnd) {
    model_.setNames({"/", "usr", "share", "doc"});
    const QSignalSpy inserted(&model_, &QAbstractItemModel::rowsInserted);
    const QSignalSpy removed(&model_, &QAbstractItemModel::rowsRemoved);
    model_.setNames({"/", "usr"});
    ASSERT_EQ(removed.size(), 1);
    EXPECT_EQ(removed[0][1].toInt(), 2);
    EXPECT_TRUE(inserted.empty());
    EXPECT_EQ(namesOf(model_), (QStringList{"/", "usr"}));
    EXPECT_EQ(currentRowOf(model_), 1);
}

TEST_F(CrumbListModelTest, anotherBranchKeepsWhatBothShare) {
    model_.setNames({"/", "usr", "share", "doc"});
    model_.setNames({"/", "usr", "lib"});
    EXPECT_EQ(namesOf(model_), (QStringList{"/", "usr", "lib"}));
    EXPECT_EQ(currentRowOf(model_), 2);
    model_.setNames({});
    EXPECT_EQ(model_.count(), 0);
}

TEST_F(CrumbListModelTest, aVeryLongWayKeepsItsBeginningAndItsEnd) {
    QStringList names;
    for (int depth = 0; depth < 1'000; ++depth) {
        names.append(QString::number(depth));
        model_.setNames(names);
    }
    ASSERT_EQ(model_.count(), CrumbListModel::mostRows);
    const QStringList shown = namesOf(model_);
    EXPECT_EQ(shown[0], "0");
    EXPECT_EQ(shown[1], "…");
    EXPECT_EQ(shown.last(), "999");
    EXPECT_EQ(model_.position(0), 0);
    for (int row = 2; row < model_.count(); ++row) {
        EXPECT_EQ(shown[row], QString::number(model_.position(row)));
    }
    EXPECT_EQ(model_.position(1), model_.position(2) - 1);
}

TEST_F(CrumbListModelTest, aWayThatJustFitsIsShownWhole) {
    QStringList names;
    for (int depth = 0; depth < CrumbListModel::mostRows; ++depth) {
        names.append(QString::number(depth));
    }
    model_.setNames(names);
    EXPECT_EQ(namesOf(model_), names);
}

}  // namespace
}  // namespace larkfold
