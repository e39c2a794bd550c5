#include "platform/LinkResolution.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <stop_token>
#include <string>
#include <vector>

#include "platform/Error.h"
#include "support/TemporaryTree.h"
#include "support/UnprivilegedUser.h"

namespace larkfold {
namespace {

using test::TemporaryTree;

TEST(LinkResolutionTest, followsLinksAtEveryPlaceOfThePath) {
    TemporaryTree tree;
    tree.file("real/folder/file");
    tree.link("link", "real");
    tree.link("real/up", "../link/folder");
    tree.link("absolute", tree.path("real/up/file"));
    EXPECT_EQ(pathWithLinksResolved(tree.path("link/folder/file")), tree.path("real/folder/file"));
    EXPECT_EQ(pathWithLinksResolved(tree.path("real/up/file")), tree.path("real/folder/file"));
    EXPECT_EQ(pathWithLinksResolved(tree.path("absolute")), tree.path("real/folder/file"));
    EXPECT_EQ(pathWithLinksResolved(tree.path("real//./folder/")), tree.path("real/folder"));
}

TEST(LinkResolutionTest, dotDotBehindALinkIsTheParentOfItsTarget) {
    TemporaryTree tree;
    tree.folder("a/b");
    tree.link("link", "a/b");
    EXPECT_EQ(pathWithLinksResolved(tree.path("link/..")), tree.path("a"));
    EXPECT_EQ(pathWithLinksResolved("/../.."), "/");
}

TEST(LinkResolutionTest, whatDoesNotExistStandsAsItIsWritten) {
    TemporaryTree tree;
    tree.folder("real");
    tree.link("link", "real");
    tree.link("dangling", "real/missing");
    tree.file("file");
    EXPECT_EQ(pathWithLinksResolved(tree.path("link/missing/deep")), tree.path("real/missing/deep"));
    EXPECT_EQ(pathWithLinksResolved(tree.path("link/missing/../x")), tree.path("real/x"));
    EXPECT_EQ(pathWithLinksResolved(tree.path("dangling/x")), tree.path("real/missing/x"));
    EXPECT_EQ(pathWithLinksResolved(tree.path("file/below")), tree.path("file/below"));
}

TEST(LinkResolutionTest, aCircleARelativePathAndANulAreRefused) {
    TemporaryTree tree;
    tree.link("a", "b");
    tree.link("b", "a");
    EXPECT_EQ(pathWithLinksResolved(tree.path("a")), std::nullopt);
    EXPECT_EQ(pathWithLinksResolved("relative"), std::nullopt);
    EXPECT_EQ(pathWithLinksResolved(""), std::nullopt);
    EXPECT_EQ(pathWithLinksResolved(std::string("/a\0b", 4)), std::nullopt);
}

TEST(LinkResolutionTest, namesAreBytes) {
    TemporaryTree tree;
    tree.folder("\xFF\n'");
    tree.link("link", "\xFF\n'");
    EXPECT_EQ(pathWithLinksResolved(tree.path("link")), tree.path("\xFF\n'"));
}

TEST(LinkResolutionTest, aPathLongerThanTheSystemTakesIsResolved) {
    TemporaryTree tree;
    std::string relative = "real";
    while (relative.size() < 6000) {
        relative += "/" + std::string(200, 'd');
    }
    tree.folder(relative);
    tree.link("link", "real");
    EXPECT_EQ(pathWithLinksResolved(tree.path("link") + relative.substr(4)), tree.path(relative));
}

TEST(LinkResolutionTest, aFolderThatMayNotBeSearchedIsNotGuessedAt) {
    test::asUnprivilegedUser([](const std::string&) {
        TemporaryTree tree;
        tree.folder("closed/inner");
        chmod(tree.path("closed").c_str(), 0000);
        EXPECT_EQ(pathWithLinksResolved(tree.path("closed/inner")), std::nullopt);
        EXPECT_EQ(pathWithLinksResolved(tree.path("closed")), tree.path("closed"));
    });
}

TEST(LinkResolutionTest, eachOfManyIsTold_orWhyNot) {
    TemporaryTree tree;
    tree.file("real/file");
    tree.link("link", "real");
    tree.link("circle", "circle");
    const auto answers = resolveLinks(
        {tree.path("link/file"), tree.path("circle"), "relative", tree.path("real")}, nullptr, {});
    ASSERT_EQ(answers.size(), 4u);
    EXPECT_EQ(answers[0].path, tree.path("real/file"));
    EXPECT_EQ(answers[0].error, 0);
    EXPECT_EQ(answers[1].path, std::nullopt);
    EXPECT_EQ(answers[1].error, ELOOP);
    EXPECT_EQ(answers[2].error, EINVAL);
    EXPECT_EQ(answers[3].path, tree.path("real"));
    EXPECT_TRUE(resolveLinks({}, nullptr, {}).empty());
}

TEST(LinkResolutionTest, aStopIsObeyedBeforeAnythingIsTold) {
    TemporaryTree tree;
    std::stop_source stop;
    stop.request_stop();
    const std::vector<std::string> many(100'000, tree.folder("a/b/c/d"));
    EXPECT_THROW(resolveLinks(many, nullptr, stop.get_token()), CancellationError);
}

}  // namespace
}  // namespace larkfold
