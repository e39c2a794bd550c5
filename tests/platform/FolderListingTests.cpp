#include "platform/FolderListing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include "platform/Error.h"
#include "support/TemporaryTree.h"
#include "support/UnprivilegedUser.h"

namespace larkfold {
namespace {

using test::TemporaryTree;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

FolderListing listed(const std::string& path) {
    return listFolders(path, {}, {}, [](std::size_t) {});
}

TEST(FolderListingTest, foldersAndLinksToFoldersAreListedAndNothingElse) {
    TemporaryTree tree;
    tree.folder("plain");
    tree.folder(".hidden");
    tree.file("file.txt");
    tree.fifo("pipe");
    tree.link("to-folder", "plain");
    tree.link("to-file", "file.txt");
    tree.link("to-nothing", "not there");
    tree.link("to-itself", "to-itself");
    const FolderListing listing = listed(tree.root());
    EXPECT_EQ(listing.error, 0);
    EXPECT_THAT(listing.names, UnorderedElementsAre("plain", ".hidden", "to-folder"));
}

TEST(FolderListingTest, filesAreListedWhereTheyAreAskedForAndOnlyThose) {
    TemporaryTree tree;
    tree.folder("folder.json");
    tree.file("one.json");
    tree.file("caf\xE9.json");
    tree.file("other.txt");
    tree.fifo("pipe.json");
    tree.link("link.json", "other.txt");
    tree.link("link.txt", "one.json");
    tree.link("to-folder.json", "folder.json");
    tree.link("to-nothing.json", "not there");
    const FolderListing listing = listFolders(
        tree.root(), [](std::string_view name) { return name.ends_with(".json"); }, {}, [](std::size_t) {});
    EXPECT_EQ(listing.error, 0);
    EXPECT_THAT(listing.names, UnorderedElementsAre("folder.json", "to-folder.json"));
    EXPECT_THAT(listing.files, UnorderedElementsAre("one.json", "caf\xE9.json", "link.json"));
    EXPECT_THAT(listed(tree.root()).files, IsEmpty());
}

TEST(FolderListingTest, namesAreBytesWhateverTheyAre) {
    TemporaryTree tree;
    tree.folder("caf\xE9");
    tree.folder("two\nlines");
    tree.folder("\xFF\xFE");
    EXPECT_THAT(listed(tree.root()).names, UnorderedElementsAre("caf\xE9", "two\nlines", "\xFF\xFE"));
    tree.folder("caf\xE9/inside");
    EXPECT_THAT(listed(tree.path("caf\xE9")).names, ElementsAre("inside"));
}

TEST(FolderListingTest, aLinkIsListedAsTheFolderThatItLeadsTo) {
    TemporaryTree tree;
    tree.folder("plain/inside");
    tree.link("link", "plain");
    EXPECT_THAT(listed(tree.path("link")).names, ElementsAre("inside"));
}

TEST(FolderListingTest, theRootIsListed) {
    EXPECT_THAT(listed("/").names, testing::Contains("proc"));
}

TEST(FolderListingTest, whatIsNoFolderTellsWhy) {
    TemporaryTree tree;
    tree.file("file.txt");
    EXPECT_EQ(listed(tree.path("file.txt")).error, ENOTDIR);
    EXPECT_EQ(listed(tree.path("not there")).error, ENOENT);
    EXPECT_EQ(listed(tree.path("file.txt/below")).error, ENOTDIR);
    EXPECT_THAT(listed(tree.path("not there")).names, IsEmpty());
}

TEST(FolderListingTest, aFolderThatMayNotBeReadTellsSo) {
    test::asUnprivilegedUser([](const std::string&) {
        TemporaryTree tree;
        tree.folder("closed/inside");
        ASSERT_EQ(chmod(tree.path("closed").c_str(), 0), 0);
        EXPECT_EQ(listed(tree.path("closed")).error, EACCES);
        ASSERT_EQ(chmod(tree.path("closed").c_str(), 0700), 0);
        EXPECT_THAT(listed(tree.path("closed")).names, ElementsAre("inside"));
    });
}

TEST(FolderListingTest, aPathLongerThanTheSystemTakesIsListed) {
    TemporaryTree tree;
    // Made step by step, since no call takes such a path at once.
    const std::string name(200, 'n');
    std::string path = tree.root();
    char before[4096];
    ASSERT_NE(getcwd(before, sizeof before), nullptr);
    ASSERT_EQ(chdir(path.c_str()), 0);
    for (int depth = 0; depth < 30; ++depth) {
        ASSERT_EQ(mkdir(name.c_str(), 0700), 0);
        ASSERT_EQ(chdir(name.c_str()), 0);
        path += "/" + name;
    }
    ASSERT_EQ(mkdir("deepest", 0700), 0);
    ASSERT_EQ(chdir(before), 0);
    ASSERT_GT(path.size(), 4096U);
    EXPECT_THAT(listed(path).names, ElementsAre("deepest"));
}

TEST(FolderListingTest, aStopThatCameBeforeIsObeyed) {
    TemporaryTree tree;
    std::stop_source stop;
    stop.request_stop();
    EXPECT_THROW(listFolders(tree.root(), {}, stop.get_token(), [](std::size_t) {}), CancellationError);
}

TEST(FolderListingTest, aLargeFolderReportsHowFarItIsAndStopsOnTheWay) {
    TemporaryTree tree;
    for (int index = 0; index < 20'000; ++index) {
        tree.file("file" + std::to_string(index));
    }
    tree.folder("folder");
    std::vector<std::size_t> reports;
    const FolderListing listing =
        listFolders(tree.root(), {}, {}, [&](std::size_t seen) { reports.push_back(seen); });
    EXPECT_THAT(listing.names, ElementsAre("folder"));
    ASSERT_GT(reports.size(), 1U);
    EXPECT_TRUE(std::is_sorted(reports.begin(), reports.end()));
    EXPECT_EQ(reports.back(), 20'001U);

    std::stop_source stop;
    std::size_t reportsBeforeStop = 0;
    EXPECT_THROW(listFolders(tree.root(), {}, stop.get_token(),
                             [&](std::size_t) {
                                 ++reportsBeforeStop;
                                 stop.request_stop();
                             }),
                 CancellationError);
    EXPECT_EQ(reportsBeforeStop, 1U);
}

}  // namespace
}  // namespace larkfold
