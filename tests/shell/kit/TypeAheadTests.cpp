#include "shell/kit/TypeAhead.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

namespace larkfold {
namespace {

using namespace std::chrono_literals;

class TypeAheadTest : public testing::Test {
protected:
    int type(const QString& text, int current) {
        return typeAhead.rowFor(
            text, current, static_cast<int>(names.size()),
            [this](int row) -> std::string_view { return names[static_cast<std::size_t>(row)]; });
    }

    std::vector<std::string> names{"apple", "Banana", "berry", "caf\xe9", "Berlin two"};
    std::chrono::steady_clock::time_point time{};
    TypeAhead typeAhead{[this] { return time; }};
};

TEST_F(TypeAheadTest, aNameIsFoundByItsBeginningWhateverItsCase) {
    EXPECT_EQ(type("B", 0), 1);
    EXPECT_EQ(type("e", 1), 2);
    EXPECT_EQ(type("r", 2), 2) << "who is on the row already stays";
    EXPECT_EQ(type("l", 2), 4);
    EXPECT_EQ(type("x", 4), -1);
}

TEST_F(TypeAheadTest, theSearchGoesRoundBehindTheLastRow) {
    EXPECT_EQ(type("a", 4), 0);
}

TEST_F(TypeAheadTest, oneLetterAgainAndAgainGoesThroughItsNames) {
    EXPECT_EQ(type("b", 0), 1);
    EXPECT_EQ(type("b", 1), 2);
    EXPECT_EQ(type("B", 2), 4);
    EXPECT_EQ(type("b", 4), 1);
}

TEST_F(TypeAheadTest, afterASecondAnotherNameBegins) {
    EXPECT_FALSE(typeAhead.isTyping());
    EXPECT_EQ(type("b", -1), 1);
    time += 999ms;
    EXPECT_TRUE(typeAhead.isTyping());
    EXPECT_EQ(type("e", 1), 2);
    time += 1s;
    EXPECT_FALSE(typeAhead.isTyping());
    EXPECT_EQ(type("a", 2), 0);
}

TEST_F(TypeAheadTest, aSpaceBelongsToTheNameThatIsTyped) {
    EXPECT_EQ(type("berlin", 0), 4);
    EXPECT_TRUE(typeAhead.isTyping());
    EXPECT_EQ(type(" ", 4), 4);
    EXPECT_EQ(type("t", 4), 4);
}

TEST_F(TypeAheadTest, aNameThatIsNoTextIsFoundByWhatIsShownOfIt) {
    EXPECT_EQ(type("caf", 0), 3);
}

TEST_F(TypeAheadTest, whatIsForgottenIsNotContinued) {
    EXPECT_EQ(type("b", 0), 1);
    typeAhead.forget();
    EXPECT_FALSE(typeAhead.isTyping());
    EXPECT_EQ(type("a", 1), 0);
}

TEST_F(TypeAheadTest, withoutRowsThereIsNoneToGoTo) {
    names.clear();
    EXPECT_EQ(type("a", -1), -1);
}

}  // namespace
}  // namespace larkfold
