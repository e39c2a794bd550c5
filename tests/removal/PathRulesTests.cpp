#include "removal/PathRules.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <random>

#include "platform/Path.h"
#include "platform/StandardFolders.h"
#include "support/TemporaryTree.h"

namespace larkfold::removal_rules {
namespace {

using test::TemporaryTree;
using testing::ElementsAre;
using testing::IsEmpty;

// A home folder of the test's own, named by the environment.
class IsSafeTest : public testing::Test {
protected:
    void SetUp() override {
        oldHome_ = std::getenv("HOME") == nullptr ? "" : std::getenv("HOME");
        home = tree.folder("users/ada");
        setenv("HOME", home.c_str(), 1);
    }
    void TearDown() override { setenv("HOME", oldHome_.c_str(), 1); }

    bool isSafeInHome(const std::string& relative) {
        return isSafe(joinedPath(home, relative), {tree.root(), home});
    }

    TemporaryTree tree;
    std::string home;

private:
    std::string oldHome_;
};

using Verdict = PathDecision::Verdict;

std::vector<Verdict> verdictsOf(const std::vector<PathDecision>& decisions) {
    std::vector<Verdict> verdicts;
    for (const PathDecision& decision : decisions) {
        EXPECT_EQ(decision.reason != nullptr, decision.verdict == Verdict::unanswered);
        verdicts.push_back(decision.verdict);
    }
    return verdicts;
}

TEST_F(IsSafeTest, manyAtOnce_areJudgedAsOneByOne_andWhatCannotBeToldIsToldApart) {
    tree.file("users/ada/.ssh/id", "key");
    tree.file("users/ada/x", "x");
    tree.link("users/ada/way", tree.path("users/ada/.ssh"));
    tree.link("users/ada/circle", "circle");
    const std::vector<std::string> urls = {
        joinedPath(home, "x"),       joinedPath(home, "way/id"),  home,
        joinedPath(home, ".ssh/id"), joinedPath(home, "missing"), joinedPath(home, "circle/x")};
    const PathPolicy policy({home}, std::stop_token());
    EXPECT_TRUE(policy.isUsable());
    const std::vector<PathDecision> decisions = policy.decideEach(urls, nullptr, {});
    EXPECT_THAT(verdictsOf(decisions), ElementsAre(Verdict::allowed, Verdict::refused, Verdict::refused,
                                                   Verdict::refused, Verdict::allowed, Verdict::unanswered));
    for (std::size_t index = 0; index < urls.size(); ++index) {
        EXPECT_EQ(decisions[index].verdict == Verdict::allowed, isSafe(urls[index], {home})) << urls[index];
    }
    EXPECT_NE(decisions.back().reason->description().find("lead in a circle"), std::string::npos);
    EXPECT_THAT(verdictsOf(PathPolicy({}).decideEach(urls, nullptr, {})), testing::Each(Verdict::refused));
    // Of many each has its own.
    std::vector<std::string> many(3000, joinedPath(home, ".ssh/id"));
    many[2999] = joinedPath(home, "x");
    const auto verdicts = verdictsOf(policy.decideEach(many, nullptr, {}));
    EXPECT_EQ(std::count(verdicts.begin(), verdicts.end(), Verdict::allowed), 1);
    EXPECT_EQ(verdicts[2999], Verdict::allowed);
}

TEST_F(IsSafeTest, aRootThatCannotBeTold_leavesItsItemsUnanswered) {
    tree.link("circle", "circle");
    const PathPolicy policy({tree.path("circle")}, std::stop_token());
    EXPECT_FALSE(policy.isUsable());
    EXPECT_THAT(verdictsOf(policy.decideEach({tree.path("circle/x")}, nullptr, {})),
                ElementsAre(Verdict::unanswered));
    EXPECT_FALSE(policy.allows(tree.path("circle/x"))) << "by itself it opens nothing";
}

TEST_F(IsSafeTest, whereNeitherTheHomeNorARootCanBeTold_theHomeIsTheReason) {
    setenv("HOME", tree.link("home-circle", "home-circle").c_str(), 1);
    tree.link("root-circle", "root-circle");
    const PathPolicy policy({tree.path("root-circle")}, std::stop_token());
    EXPECT_FALSE(policy.isUsable());
    const auto decisions = policy.decideEach({tree.path("root-circle/x")}, nullptr, {});
    EXPECT_THAT(verdictsOf(decisions), ElementsAre(Verdict::unanswered));
    EXPECT_NE(decisions.front().reason->description().find("home-circle"), std::string::npos)
        << decisions.front().reason->description();
    EXPECT_FALSE(policy.allows(tree.path("root-circle/x")));
}

TEST_F(IsSafeTest, aStopIsObeyed) {
    std::stop_source stop;
    stop.request_stop();
    tree.file("users/ada/x", "x");
    EXPECT_THROW(PathPolicy({home}, stop.get_token()), CancellationError);
    EXPECT_THROW(PathPolicy({home}).decideEach({joinedPath(home, "x")}, nullptr, stop.get_token()),
                 CancellationError);
}

TEST_F(IsSafeTest, whatLiesStrictlyBelowARootIsSafe) {
    tree.file("root/a/file");
    const std::string root = tree.path("root");
    EXPECT_TRUE(isSafe(tree.path("root/a/file"), {root}));
    EXPECT_TRUE(isSafe(tree.path("root/a"), {root}));
    EXPECT_TRUE(isSafe(tree.path("root/a"), {"/nowhere", root + "//"}));
    EXPECT_FALSE(isSafe(root, {root})) << "a root is not inside of itself";
    EXPECT_FALSE(isSafe(root + "/", {root}));
    EXPECT_FALSE(isSafe(tree.path("root2"), {root})) << "whole components count";
    EXPECT_FALSE(isSafe(tree.path("other"), {root}));
    EXPECT_FALSE(isSafe(tree.path("root/../other"), {root}));
}

TEST_F(IsSafeTest, noRootsOrTheWholeDiskOpenNothing) {
    const std::string file = tree.file("root/file");
    EXPECT_FALSE(isSafe(file, {}));
    EXPECT_FALSE(isSafe(file, {"/"}));
    EXPECT_FALSE(isSafe(file, {"//", "/.", "/root/.."}));
    tree.link("disk", "/");
    EXPECT_FALSE(isSafe(file, {tree.path("disk")}));
    EXPECT_TRUE(isSafe(file, {"/", tree.path("root")})) << "beside it another root still counts";
    EXPECT_FALSE(isSafe(file, {""}));
}

TEST_F(IsSafeTest, whatIsNoPathIsNotSafe) {
    for (const char* url : {"", "relative", "users/ada/x", "/"}) {
        EXPECT_FALSE(isSafe(url, {tree.root()})) << url;
    }
}

TEST_F(IsSafeTest, thePathIsJudgedByWhereItReallyLeads) {
    tree.file("outside/file");
    tree.folder("root");
    tree.link("root/link", "../outside");
    tree.file("root/inner/file");
    tree.link("way", "root/inner");
    EXPECT_FALSE(isSafe(tree.path("root/link/file"), {tree.path("root")}));
    EXPECT_FALSE(isSafe(tree.path("root/link"), {tree.path("root")}));
    EXPECT_TRUE(isSafe(tree.path("way/file"), {tree.path("root")}));
    EXPECT_TRUE(isSafe(tree.path("root/inner/file"), {tree.path("way")})) << "a root may be a link";
}

TEST_F(IsSafeTest, homeAndEveryFolderAboveItAreProtected) {
    const std::vector<std::string> roots = {tree.root(), std::string(parentPath(tree.root()))};
    EXPECT_FALSE(isSafe(home, roots));
    EXPECT_FALSE(isSafe(tree.path("users"), roots));
    EXPECT_FALSE(isSafe(tree.root(), roots));
    tree.folder("users/bob");
    EXPECT_TRUE(isSafe(tree.path("users/bob"), roots)) << "a neighbour is no folder above";
}

TEST_F(IsSafeTest, placesThatAreProtectedAsSuchMayLoseTheirContents) {
    for (const char* place :
         {"Library", "Library/Application Support", "Library/Containers", ".config", ".cache", ".local",
          ".local/share", ".local/state", ".local/share/Trash/files", ".local/share/Trash/info"}) {
        EXPECT_FALSE(isSafeInHome(place)) << place << " (missing)";
        tree.folder("users/ada/" + std::string(place) + "/inside");
        EXPECT_FALSE(isSafeInHome(place)) << place;
        EXPECT_FALSE(isSafeInHome(std::string(place) + "/.")) << place;
        EXPECT_TRUE(isSafeInHome(std::string(place) + "/inside")) << place;
    }
    EXPECT_TRUE(isSafeInHome("Library/Caches"));
    EXPECT_TRUE(isSafeInHome(".configuration")) << "whole names count";
}

TEST_F(IsSafeTest, secretsAreProtectedWithEverythingBelow) {
    for (const std::string place : {".ssh", ".gnupg", ".local/share/keyrings", ".local/share/kwalletd"}) {
        tree.file("users/ada/" + place + "/deep/key");
        EXPECT_FALSE(isSafeInHome(place)) << place;
        EXPECT_FALSE(isSafeInHome(place + "/deep")) << place;
        EXPECT_FALSE(isSafeInHome(place + "/deep/key")) << place;
        EXPECT_FALSE(isSafe(joinedPath(home, place + "/deep/key"), {joinedPath(home, place)}))
            << place << " as a root opens nothing";
        EXPECT_TRUE(isSafeInHome(place + "-old/key")) << place;
    }
}

TEST_F(IsSafeTest, aLinkIntoAProtectedPlaceDoesNotOpenIt) {
    tree.file("users/ada/.ssh/key");
    tree.link("root/keys", "../users/ada/.ssh");
    EXPECT_FALSE(isSafe(tree.path("root/keys/key"), {tree.root()}));
    EXPECT_FALSE(isSafe(tree.path("root/keys"), {tree.root()}));
}

TEST_F(IsSafeTest, aProtectedPlaceThatIsALinkIsProtectedWhereItReallyLies) {
    tree.file("data/keys/key");
    tree.link("users/ada/.ssh", "../../data/keys");
    EXPECT_FALSE(isSafe(tree.path("data/keys/key"), {tree.path("data")}));
    EXPECT_TRUE(isSafe(tree.path("data/other"), {tree.path("data")}));
}

TEST_F(IsSafeTest, aHomeThatIsALinkIsProtectedWhereItReallyLies) {
    tree.file("real/.ssh/key");
    tree.link("users/eve", "../real");
    setenv("HOME", tree.path("users/eve").c_str(), 1);
    EXPECT_FALSE(isSafe(tree.path("real"), {tree.root()}));
    EXPECT_FALSE(isSafe(tree.path("real/.ssh/key"), {tree.root()}));
    EXPECT_FALSE(isSafe(tree.path("real/.config"), {tree.root()}));
    EXPECT_TRUE(isSafe(tree.path("real/Downloads"), {tree.root()}));
}

TEST_F(IsSafeTest, theAccountsHomeIsProtectedBesideTheEnvironments) {
    const std::string real = realHomeDirectory();
    ASSERT_NE(real, home) << "the test's home has to be another one";
    const std::vector<std::string> roots = {std::string(parentPath(real)), real};
    EXPECT_FALSE(isSafe(real, roots));
    EXPECT_FALSE(isSafe(joinedPath(real, ".ssh/id"), roots));
    EXPECT_FALSE(isSafe(joinedPath(real, ".config"), roots));
    EXPECT_TRUE(isSafe(joinedPath(real, "surely/not/there"), roots));
}

TEST_F(IsSafeTest, theFoldersOfATrashOnAnyVolumeAreProtectedAsSuch) {
    for (const std::string trash : {"disk/.Trash-1000", "disk/.Trash/1000"}) {
        tree.file(trash + "/files/item");
        EXPECT_FALSE(isSafe(tree.path(trash + "/files"), {tree.root()})) << trash;
        EXPECT_FALSE(isSafe(tree.path(trash + "/info"), {tree.root()})) << trash;
        EXPECT_TRUE(isSafe(tree.path(trash + "/files/item"), {tree.root()})) << trash;
    }
    EXPECT_TRUE(isSafe(tree.path("disk/.Trash-x/files"), {tree.root()}));
    EXPECT_TRUE(isSafe(tree.path("disk/1000/files"), {tree.root()}));
}

TEST_F(IsSafeTest, aTrashInADataFolderOfTheUsersChoiceIsProtected) {
    setenv("XDG_DATA_HOME", tree.path("data").c_str(), 1);
    EXPECT_FALSE(isSafe(tree.path("data/Trash/files"), {tree.root()}));
    EXPECT_FALSE(isSafe(tree.path("data/Trash/info"), {tree.root()}));
    EXPECT_TRUE(isSafe(tree.path("data/Trash/files/x"), {tree.root()}));
    unsetenv("XDG_DATA_HOME");
    EXPECT_TRUE(isSafe(tree.path("data/Trash/files"), {tree.root()})) << "negative control";
}

TEST_F(IsSafeTest, aPathThatCannotBeResolvedIsNotSafe) {
    tree.link("root/a", "b");
    tree.link("root/b", "a");
    EXPECT_FALSE(isSafe(tree.path("root/a"), {tree.path("root")}));
    EXPECT_FALSE(isSafe(tree.path("root/a/x"), {tree.path("root")}));
}

// Nothing can lie in such a place, so it keeps nothing else from going.
TEST_F(IsSafeTest, aProtectedPlaceThatLeadsInACircleProtectsOnlyItself) {
    tree.link("users/ada/.ssh", ".ssh");
    tree.file("users/ada/x");
    EXPECT_TRUE(isSafeInHome("x"));
    EXPECT_FALSE(isSafeInHome(".ssh"));
    EXPECT_FALSE(isSafeInHome(".ssh/id"));
}

TEST_F(IsSafeTest, askingChangesNothing) {
    tree.file("root/file", "x");
    EXPECT_TRUE(isSafe(tree.path("root/file"), {tree.path("root")}));
    EXPECT_TRUE(std::filesystem::exists(tree.path("root/file")));
}

TEST(CollapseNestedTest, whatLiesInAnotherGoes) {
    EXPECT_THAT(collapseNested({"/a/b/c", "/a/b", "/d"}), ElementsAre("/d", "/a/b"));
    EXPECT_THAT(collapseNested({"/a", "/a/b", "/a/b/c", "/ab"}), ElementsAre("/a", "/ab"));
    EXPECT_THAT(collapseNested({"/x/y", "/"}), ElementsAre("/"));
    EXPECT_THAT(collapseNested({}), IsEmpty());
}

TEST(CollapseNestedTest, namesThatSortBetweenAFolderAndItsContentsDoNotHideThem) {
    // "-" and "." sort before "/".
    EXPECT_THAT(collapseNested({"/a/b", "/a", "/a-c", "/a.d/e"}), ElementsAre("/a", "/a-c", "/a.d/e"));
}

TEST(CollapseNestedTest, ofEqualPathsTheLastGivenStays) {
    EXPECT_THAT(collapseNested({"/a/b", "/c", "/a//b/", "/a/x/../b"}), ElementsAre("/c", "/a/x/../b"));
}

TEST(CollapseNestedTest, shortestFirstByCharactersAndOtherwiseInTheOrderGiven) {
    EXPECT_THAT(collapseNested({"/cccc", "/äöü", "/bbb", "/a"}), ElementsAre("/a", "/äöü", "/bbb", "/cccc"));
    EXPECT_THAT(collapseNested({"/漢字漢", "/abcd"}), ElementsAre("/漢字漢", "/abcd"))
        << "three characters of nine bytes";
    EXPECT_THAT(collapseNested({"/\xFF\xFE\xFD", "/ab"}), ElementsAre("/ab", "/\xFF\xFE\xFD"));
}

TEST(CollapseNestedTest, agreesWithComparingEachWithEach) {
    std::mt19937 random(5);
    for (int round = 0; round < 300; ++round) {
        std::vector<std::string> urls;
        for (auto count = random() % 12; count > 0; --count) {
            std::string path;
            for (auto depth = 1 + random() % 4; depth > 0; --depth) {
                path += "/" + std::string(1, "ab-.\xFF"[random() % 5]) + (random() % 4 == 0 ? "c" : "");
            }
            urls.push_back(path);
        }
        const std::vector<std::string> kept = collapseNested(urls);
        for (const std::string& url : urls) {
            const std::string path = standardizedPath(url);
            const auto holders = std::count_if(kept.begin(), kept.end(), [&](const std::string& holder) {
                return isAtOrBelow(path, standardizedPath(holder));
            });
            EXPECT_EQ(holders, 1) << url;
        }
        for (const std::string& url : kept) {
            EXPECT_NE(std::find(urls.begin(), urls.end(), url), urls.end());
        }
    }
}

TEST(CollapseNestedTest, aHundredThousandPathsAreCollapsed) {
    std::vector<std::string> urls;
    for (int folder = 0; folder < 100; ++folder) {
        urls.push_back("/data/folder" + std::to_string(folder * 2));
    }
    for (int file = 0; file < 99'900; ++file) {
        urls.push_back("/data/folder" + std::to_string(file % 200) + "/sub/file" + std::to_string(file));
    }
    std::shuffle(urls.begin(), urls.end(), std::mt19937(1));
    // Half of the folders are given themselves; the files of the other half stay.
    EXPECT_EQ(collapseNested(urls).size(), 100u + 99'900u / 2);
}

TEST(CollapseNestedTest, aChainOfThousandsOfNestedFoldersLeavesItsFirst) {
    std::vector<std::string> urls;
    std::string path;
    for (int depth = 0; depth < 5'000; ++depth) {
        path += "/d";
        urls.push_back(path);
    }
    EXPECT_THAT(collapseNested(urls), ElementsAre("/d"));
}

}  // namespace
}  // namespace larkfold::removal_rules
