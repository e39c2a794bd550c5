#include "disk/RemovalScope.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <string>

#include "support/TemporaryTree.h"

namespace larkfold {
namespace {

using Answer = RemovalScope::Answer;
using test::TemporaryTree;

RemovalScope groundOf(const std::string& folder) {
    RemovalScope removalScope(folder, {});
    removalScope.takeMap(folder, {});
    removalScope.askForRules();
    return removalScope;
}

TEST(RemovalScope, theTextTellsWhatLiesInTheOpenFolder) {
    TemporaryTree tree;
    tree.file("root/a");
    const RemovalScope removalScope = groundOf(tree.path("root"));
    EXPECT_EQ(removalScope.mayMark(tree.path("root/a")), Answer::allowed);
    EXPECT_EQ(removalScope.mayMark(tree.path("root/was/never/there")), Answer::allowed) << "no disk is asked";
    EXPECT_EQ(removalScope.mayMark(tree.path("root")), Answer::refused);
    EXPECT_EQ(removalScope.mayMark(tree.path("root2")), Answer::refused);
    EXPECT_EQ(RemovalScope().mayMark(tree.path("root/a")), Answer::notToldYet);
}

TEST(RemovalScope, aMapBelowALinkIsJudgedByWhereTheLinkLeads) {
    TemporaryTree tree;
    tree.file("real/a");
    tree.link("link", "real");
    const RemovalScope removalScope = groundOf(tree.path("link"));
    EXPECT_EQ(removalScope.mayMark(tree.path("link/a")), Answer::allowed);
    EXPECT_EQ(removalScope.mayMark(tree.path("real/a")), Answer::refused) << "that is no path of this map";
}

TEST(RemovalScope, aFolderThatIsExchangedWhileTheMapIsMadeOpensNothing) {
    for (const bool isExchanged : {false, true}) {
        TemporaryTree tree;
        tree.file("root/a");
        RemovalScope removalScope(tree.path("root"), {});
        if (isExchanged) {
            ASSERT_EQ(std::rename(tree.path("root").c_str(), tree.path("moved").c_str()), 0);
            tree.file("root/a");
        }
        removalScope.takeMap(tree.path("root"), {});
        removalScope.askForRules();
        EXPECT_EQ(removalScope.identity().has_value(), !isExchanged);
        EXPECT_EQ(removalScope.mayMark(tree.path("root/a")),
                  isExchanged ? Answer::unknownRoot : Answer::allowed);
    }
}

TEST(RemovalScope, anotherFolderInItsPlaceLaterIsToldAndRefused) {
    TemporaryTree tree;
    tree.file("root/a");
    tree.file("outside/a");
    const RemovalScope removalScope = groundOf(tree.path("root"));
    using Verdict = removal_rules::PathDecision::Verdict;
    const auto before = removalScope.ask({tree.path("root/a")}, nullptr, {});
    EXPECT_FALSE(before.isAnotherFolder);
    EXPECT_EQ(before.items.at(0).verdict, Verdict::allowed);
    ASSERT_EQ(std::rename(tree.path("root").c_str(), tree.path("moved").c_str()), 0);
    tree.link("root", "outside");
    const auto after = removalScope.ask({tree.path("root/a")}, nullptr, {});
    EXPECT_TRUE(after.isAnotherFolder);
    EXPECT_EQ(after.items.at(0).verdict, Verdict::refused);
}

TEST(RemovalScope, aFolderThatIsNotThereIsUnknown) {
    TemporaryTree tree;
    const RemovalScope removalScope = groundOf(tree.path("missing"));
    EXPECT_FALSE(removalScope.identity().has_value());
    EXPECT_EQ(removalScope.mayMark(tree.path("missing/a")), Answer::unknownRoot);
}

}  // namespace
}  // namespace larkfold
