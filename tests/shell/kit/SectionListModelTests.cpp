#include "shell/kit/SectionListModel.h"

#include <gtest/gtest.h>

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QStringList>
#include <cstddef>
#include <utility>
#include <vector>

namespace larkfold {
namespace {

// Sections of words, each open or closed by what was noted last.
class Words : public SectionListModel {
public:
    enum Role { WordRole = FirstRoleOfItsOwn };

    using SectionListModel::openText;
    using SectionListModel::setOpen;

    void show(std::vector<QStringList> sections) {
        reset([&] {
            sections_ = std::move(sections);
            std::vector<SectionRows::Section> rows;
            for (const QStringList& words : sections_) {
                rows.push_back({.items = static_cast<int>(words.size())});
            }
            return rows;
        });
    }
    void dropSection(int section) {
        removeSections(section, 1, [&] { sections_.erase(sections_.begin() + section); });
    }
    void dropWord(int section, int word) {
        removeItems(section, word, 1, [&] { sections_[static_cast<std::size_t>(section)].removeAt(word); });
    }
    QStringList shown() const {
        QStringList words;
        for (int row = 0; row < rowCount(); ++row) {
            words << data(index(row), WordRole).toString();
        }
        return words;
    }

    std::vector<std::pair<int, bool>> noted;

protected:
    QVariant dataOfHeader(int section, int role) const override {
        return role == WordRole ? QVariant(QString::number(section)) : QVariant();
    }
    QVariant dataOfItem(int section, int item, int role) const override {
        return role == WordRole ? QVariant(sections_[static_cast<std::size_t>(section)][item]) : QVariant();
    }
    QHash<int, QByteArray> rolesOfItsOwn() const override { return {{WordRole, "word"}}; }
    void noteOpened(int section, bool isOpen) override { noted.emplace_back(section, isOpen); }

private:
    std::vector<QStringList> sections_;
};

class SectionListModelTest : public testing::Test {
protected:
    SectionListModelTest() { words.show({{"a", "b"}, {}, {"c", "d", "e"}}); }

    Words words;
    QAbstractItemModelTester tester{&words, QAbstractItemModelTester::FailureReportingMode::Fatal};
};

TEST_F(SectionListModelTest, aSectionOpensToExactlyItsRows) {
    QSignalSpy inserted(&words, &QAbstractItemModel::rowsInserted);
    QSignalSpy removed(&words, &QAbstractItemModel::rowsRemoved);
    QSignalSpy counted(&words, &Words::countChanged);
    EXPECT_EQ(words.shown(), (QStringList{"0", "1", "2"}));
    words.toggle(2);
    EXPECT_EQ(words.shown(), (QStringList{"0", "1", "2", "c", "d", "e"}));
    ASSERT_EQ(inserted.size(), 1);
    EXPECT_EQ(inserted[0][1], 3);
    EXPECT_EQ(inserted[0][2], 5);
    words.toggle(4);  // an item has nothing to open
    words.toggle(-1);
    words.toggle(99);
    EXPECT_EQ(words.count(), 6);
    words.toggle(2);
    ASSERT_EQ(removed.size(), 1);
    EXPECT_EQ(removed[0][1], 3);
    EXPECT_EQ(removed[0][2], 5);
    EXPECT_EQ(counted.size(), 2);
    EXPECT_EQ(words.noted, (std::vector<std::pair<int, bool>>{{2, true}, {2, false}}));
}

TEST_F(SectionListModelTest, aSectionWithoutItemsOpensWithoutRows) {
    QSignalSpy inserted(&words, &QAbstractItemModel::rowsInserted);
    QSignalSpy changed(&words, &QAbstractItemModel::dataChanged);
    words.toggle(1);
    EXPECT_TRUE(words.data(words.index(1), Words::IsOpenRole).toBool());
    EXPECT_EQ(words.count(), 3);
    EXPECT_EQ(inserted.size(), 0);
    ASSERT_EQ(changed.size(), 1) << "the arrow turns";
    EXPECT_EQ(changed[0][0].toModelIndex().row(), 1);
}

TEST_F(SectionListModelTest, whatIsOpenAlreadyStaysAsItIs) {
    words.setOpen(0, true);
    QSignalSpy inserted(&words, &QAbstractItemModel::rowsInserted);
    QSignalSpy changed(&words, &QAbstractItemModel::dataChanged);
    words.setOpen(0, true);
    EXPECT_EQ(inserted.size() + changed.size(), 0);
    EXPECT_EQ(words.noted.size(), 1U);
}

TEST_F(SectionListModelTest, eachRowTellsWhatItIs) {
    words.toggle(0);
    EXPECT_TRUE(words.data(words.index(0), Words::IsHeaderRole).toBool());
    EXPECT_TRUE(words.data(words.index(0), Words::IsOpenRole).toBool());
    EXPECT_FALSE(words.data(words.index(1), Words::IsHeaderRole).toBool());
    EXPECT_FALSE(words.data(words.index(1), Words::IsOpenRole).toBool());
    EXPECT_FALSE(words.data(words.index(4), Words::IsOpenRole).toBool());
    EXPECT_EQ(words.openText(0), "open");
    EXPECT_EQ(words.openText(2), "closed");
    EXPECT_EQ(words.roleNames().value(Words::IsOpenRole), "isOpen");
    EXPECT_EQ(words.roleNames().value(Words::WordRole), "word");
}

TEST_F(SectionListModelTest, theArrowKeysOpenCloseAndLeadToTheHeader) {
    EXPECT_EQ(words.goRight(2), 2);
    EXPECT_EQ(words.count(), 6);
    EXPECT_EQ(words.goRight(2), 2) << "open already";
    EXPECT_EQ(words.goRight(4), 4) << "an item has nothing to open";
    EXPECT_EQ(words.count(), 6);
    EXPECT_EQ(words.headerRowOf(5), 2);
    EXPECT_EQ(words.goLeft(5), 2);
    EXPECT_EQ(words.count(), 3);
    EXPECT_EQ(words.goLeft(2), 2) << "closed already";
    EXPECT_EQ(words.goLeft(7), 7);
    EXPECT_EQ(words.headerRowOf(7), -1);
}

TEST_F(SectionListModelTest, whatIsRemovedTakesItsRowsAlongAndNoOthers) {
    words.setOpen(0, true);
    words.setOpen(2, true);
    words.dropWord(2, 1);
    EXPECT_EQ(words.shown(), (QStringList{"0", "a", "b", "1", "2", "c", "e"}));
    words.dropSection(0);
    EXPECT_EQ(words.shown(), (QStringList{"0", "1", "c", "e"}));
    words.setOpen(1, false);
    QSignalSpy removed(&words, &QAbstractItemModel::rowsRemoved);
    words.dropWord(1, 0);
    EXPECT_EQ(removed.size(), 0) << "a closed section shows no items that could go";
    words.setOpen(1, true);
    EXPECT_EQ(words.shown(), (QStringList{"0", "1", "e"}));
}

}  // namespace
}  // namespace larkfold
