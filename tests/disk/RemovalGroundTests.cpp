#include "disk/RemovalGround.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <string>

#include "support/TemporaryTree.h"

namespace larkfold {
namespace {

using Answer = RemovalGround::Answer;
using test::TemporaryTree;

RemovalGround groundOf(const std::string& folder) {
    RemovalGround ground(folder, {});
    ground.takeMap(folder, {});
    ground.askForRules();
    return ground;
}

TEST(RemovalGround, theTextTellsWhatLiesInTheOpenFolder) {
    TemporaryTree tree;
    tree.file("root/a");
    const RemovalGround ground = groundOf(tree.path("root"));
    EXPECT_EQ(ground.mayMark(tree.path("root/a")), Answer::allowed);
    EXPECT_EQ(ground.mayMark(tree.path("root/was/never/there")), Answer::allowed) << "no disk is asked";
    EXPECT_EQ(ground.mayMark(tree.path("root")), Answer::refused);
    EXPECT_EQ(ground.mayMark(tree.path("root2")), Answer::refused);
    EXPECT_EQ(RemovalGround().mayMark(tree.path("root/a")), Answer::notToldYet);
}

TEST(RemovalGround, aMapBelowALinkIsJudgedByWhereTheLinkLeads) {
    TemporaryTree tree;
    tree.file("real/a");
    tree.link("link", "real");
    const RemovalGround ground = groundOf(tree.path("link"));
    EXPECT_EQ(ground.mayMark(tree.path("link/a")), Answer::allowed);
    EXPECT_EQ(ground.mayMark(tree.path("real/a")), Answer::refused) << "that is no path of this map";
}

TEST(RemovalGround, aFolderThatIsExchangedWhileTheMapIsMadeOpensNothing) {
    for (const bool isExchanged : {false, true}) {
        TemporaryTree tree;
        tree.file("root/a");
        RemovalGround ground(tree.path("root"), {});
        if (isExchanged) {
            ASSERT_EQ(std::rename(tree.path("root").c_str(), tree.path("moved").c_str()), 0);
            tree.file("root/a");
        }
        ground.takeMap(tree.path("root"), {});
        ground.askForRules();
        EXPECT_EQ(ground.identity().has_value(), !isExchanged);
        EXPECT_EQ(ground.mayMark(tree.path("root/a")), isExchanged ? Answer::unknownRoot : Answer::allowed);
    }
}

TEST(RemovalGround, anotherFolderInItsPlaceLaterIsToldAndRefused) {
    TemporaryTree tree;
    tree.file("root/a");
    tree.file("outside/a");
    const RemovalGround ground = groundOf(tree.path("root"));
    using Verdict = removal_rules::Judgement::Verdict;
    const auto before = ground.ask({tree.path("root/a")}, nullptr, {});
    EXPECT_FALSE(before.isAnotherFolder);
    EXPECT_EQ(before.items.at(0).verdict, Verdict::allowed);
    ASSERT_EQ(std::rename(tree.path("root").c_str(), tree.path("moved").c_str()), 0);
    tree.link("root", "outside");
    const auto after = ground.ask({tree.path("root/a")}, nullptr, {});
    EXPECT_TRUE(after.isAnotherFolder);
    EXPECT_EQ(after.items.at(0).verdict, Verdict::refused);
}

TEST(RemovalGround, aFolderThatIsNotThereIsUnknown) {
    TemporaryTree tree;
    const RemovalGround ground = groundOf(tree.path("missing"));
    EXPECT_FALSE(ground.identity().has_value());
    EXPECT_EQ(ground.mayMark(tree.path("missing/a")), Answer::unknownRoot);
}

}  // namespace
}  // namespace larkfold
