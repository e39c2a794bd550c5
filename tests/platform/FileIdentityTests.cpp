#include "platform/FileIdentity.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "support/TemporaryTree.h"

namespace larkfold {
namespace {

TEST(FileIdentityTest, twoPathsToOneFolderAreOneItem) {
    test::TemporaryTree tree;
    const std::string folder = tree.folder("folder");
    tree.folder("other");
    EXPECT_EQ(FileIdentity::of(folder), FileIdentity::of(tree.path("other/../folder")));
    EXPECT_NE(FileIdentity::of(folder), FileIdentity::of(tree.path("other")));
}

TEST(FileIdentityTest, aLinkIsAnItemOfItsOwn) {
    test::TemporaryTree tree;
    const std::string folder = tree.folder("folder");
    const std::string link = tree.link("link", "folder");
    ASSERT_TRUE(FileIdentity::of(link));
    EXPECT_NE(FileIdentity::of(link), FileIdentity::of(folder));
    EXPECT_TRUE(FileIdentity::of(tree.link("dangling", "nowhere")));
}

TEST(FileIdentityTest, staysWhenTheItemMoves) {
    test::TemporaryTree tree;
    const std::string file = tree.file("file");
    const auto before = FileIdentity::of(file);
    std::filesystem::rename(file, tree.path("moved"));
    EXPECT_EQ(FileIdentity::of(tree.path("moved")), before);
    EXPECT_FALSE(FileIdentity::of(file));
}

}  // namespace
}  // namespace larkfold
