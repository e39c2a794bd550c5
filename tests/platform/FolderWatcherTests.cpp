#include "platform/FolderWatcher.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "platform/Path.h"
#include "support/FolderMoments.h"
#include "support/NoThreads.h"
#include "support/TemporaryTree.h"
#include "support/TestMainLoop.h"
#include "support/UnprivilegedUser.h"

namespace larkfold::test {
namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

void append(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::app) << text;
}

FolderWatcherOptions quick() {
    FolderWatcherOptions options;
    options.latency = std::chrono::milliseconds(0);
    return options;
}

// A watcher and what it told. To know that everything up to now was told, a file is made in a folder kept for
// that: the system tells events in their order.
class Watched {
public:
    explicit Watched(TestMainLoop& loop, std::string root, FolderWatcherOptions options = {})
        : loop_(loop), root_(std::move(root)) {
        fs::create_directory(root_ + "/" + signalFolder);
        options.latency = std::chrono::milliseconds(2);
        watcher_.emplace(loop.queue(), root_, options,
                         FolderWatcher::Handlers{
                             .changed = [this](const FolderChanges& changes) { take(changes); },
                             .covered = [this](const WatchCoverage& coverage) { coverage_ = coverage; },
                             .failed = [this](const SystemError& error) { failure_ = error; },
                         });
        EXPECT_TRUE(loop.runUntil([this] { return coverage_ || failure_; }));
    }

    // The folders in which something was told to have changed since the last call, relative to the root and
    // ordered; "" is the root. The folder of the signals is left out.
    std::vector<std::string> changedFolders() {
        awaitSignal();
        std::vector<std::string> folders(changed_.begin(), changed_.end());
        changed_.clear();
        return folders;
    }

    bool hasLostEvents() {
        awaitSignal();
        return std::exchange(hasLost_, false);
    }

    const std::optional<WatchCoverage>& coverage() const { return coverage_; }
    const std::optional<SystemError>& failure() const { return failure_; }
    const std::vector<std::string>& paths() const { return paths_; }
    bool isLost() const { return hasLost_; }
    void end() { watcher_.reset(); }

private:
    static constexpr const char* signalFolder = "zz-signals";

    void take(const FolderChanges& changes) {
        hasLost_ = hasLost_ || changes.eventsAreLost;
        mustSignalAgain_ = mustSignalAgain_ || changes.eventsAreLost;
        for (const std::string& path : changes.paths) {
            ASSERT_TRUE(path.starts_with(root_ + "/")) << path;
            const std::string folder(parentPath(path));
            if (folder == root_ + "/" + signalFolder) {
                // One that was given before the latest says nothing of what came between them.
                const bool isLatest = lastPathComponent(path) == std::to_string(signals_);
                hasSignal_ = hasSignal_ || isLatest;
                mustSignalAgain_ = mustSignalAgain_ || !isLatest;
                continue;
            }
            mustSignalAgain_ = mustSignalAgain_ || folder == root_;
            paths_.push_back(path);
            changed_.insert(folder == root_ ? "" : folder.substr(root_.size() + 1));
        }
    }

    void awaitSignal() {
        hasSignal_ = false;
        // Where the root itself changed its path stands for all, the signal's too: then it is given again.
        while (!hasSignal_) {
            mustSignalAgain_ = false;
            append(root_ + "/" + signalFolder + "/" + std::to_string(++signals_), "x");
            ASSERT_TRUE(loop_.runUntil([this] { return hasSignal_ || mustSignalAgain_; }));
        }
    }

    TestMainLoop& loop_;
    std::string root_;
    std::set<std::string> changed_;
    std::vector<std::string> paths_;
    bool hasLost_ = false;
    bool hasSignal_ = false;
    bool mustSignalAgain_ = false;
    int signals_ = 0;
    std::optional<WatchCoverage> coverage_;
    std::optional<SystemError> failure_;
    std::optional<FolderWatcher> watcher_;  // last: nothing is told any more once it is gone
};

TEST(FolderWatcher, whatIsCreatedChangedRenamedAndRemoved_isToldOfItsFolder) {
    TestMainLoop loop;
    TemporaryTree tree;
    tree.file("a/one", "1");
    tree.file("b/two", "2");
    tree.file("c/d/three", "3");
    tree.folder("e");
    Watched watched(loop, tree.root());
    ASSERT_TRUE(watched.coverage());
    EXPECT_TRUE(watched.coverage()->isComplete());
    EXPECT_EQ(watched.coverage()->folders, 7);  // the root, five of ours and that of the signals

    EXPECT_THAT(watched.changedFolders(), IsEmpty());
    append(tree.path("a/one"), "more");
    EXPECT_THAT(watched.changedFolders(), ElementsAre("a"));
    tree.file("b/new");
    EXPECT_THAT(watched.changedFolders(), ElementsAre("b"));
    fs::rename(tree.path("b/new"), tree.path("c/d/moved"));
    EXPECT_THAT(watched.changedFolders(), ElementsAre("b", "c/d"));
    fs::remove(tree.path("c/d/three"));
    EXPECT_THAT(watched.changedFolders(), ElementsAre("c/d"));
    fs::resize_file(tree.path("a/one"), 0);
    EXPECT_THAT(watched.changedFolders(), ElementsAre("a"));
    ASSERT_EQ(::chmod(tree.path("a/one").c_str(), 0600), 0);
    EXPECT_THAT(watched.changedFolders(), ElementsAre("a"));
    EXPECT_FALSE(watched.hasLostEvents());
}

TEST(FolderWatcher, whoeverOnlyReads_changesNothing) {
    TestMainLoop loop;
    TemporaryTree tree;
    tree.file("a/one", "1");
    Watched watched(loop, tree.root());
    EXPECT_EQ(contentOf(tree.path("a/one")), "1");
    for (const auto& entry : fs::recursive_directory_iterator(tree.root())) {
        static_cast<void>(entry);
    }
    EXPECT_THAT(watched.changedFolders(), IsEmpty());
}

TEST(FolderWatcher, aChangeBelowAChangedFolder_isNotNamedBesideIt) {
    TestMainLoop loop;
    TemporaryTree tree;
    tree.file("a/b/c/one", "1");
    Watched watched(loop, tree.root());
    // Told together: both are in the queue before the first can be due.
    append(tree.path("a/b/c/one"), "2");
    tree.file("a/two");
    const auto folders = watched.changedFolders();
    EXPECT_THAT(folders, Contains("a"));
    EXPECT_THAT(folders, testing::AnyOf(ElementsAre("a"), ElementsAre("a", "a/b/c")));
}

TEST(FolderWatcher, newFolders_areFollowedAsDeepAsTheyAre) {
    TestMainLoop loop;
    TemporaryTree tree;
    tree.folder("a");
    Watched watched(loop, tree.root());
    tree.folder("a/n/e/w");
    EXPECT_THAT(watched.changedFolders(), Contains("a"));
    tree.file("a/n/e/w/file");
    EXPECT_THAT(watched.changedFolders(), ElementsAre("a/n/e/w"));
}

TEST(FolderWatcher, aFolderThatMoved_isToldByItsNewPlace) {
    TestMainLoop loop;
    TemporaryTree tree;
    tree.file("from/x/deep/file", "1");
    tree.folder("to");
    Watched watched(loop, tree.root());
    fs::rename(tree.path("from/x"), tree.path("to/y"));
    EXPECT_THAT(watched.changedFolders(), ElementsAre("from", "to"));
    append(tree.path("to/y/deep/file"), "2");
    EXPECT_THAT(watched.changedFolders(), ElementsAre("to/y/deep"));
}

TEST(FolderWatcher, aFolderThatLeftTheRoot_isNotToldAnyMore_andIsFollowedWhenItComesBack) {
    TestMainLoop loop;
    TemporaryTree tree;
    TemporaryTree elsewhere;
    tree.file("a/x/file", "1");
    Watched watched(loop, tree.root());
    fs::rename(tree.path("a/x"), elsewhere.path("x"));
    EXPECT_THAT(watched.changedFolders(), ElementsAre("a"));
    append(elsewhere.path("x/file"), "2");
    EXPECT_THAT(watched.changedFolders(), IsEmpty());
    fs::rename(elsewhere.path("x"), tree.path("a/back"));
    EXPECT_THAT(watched.changedFolders(), ElementsAre("a"));
    append(tree.path("a/back/file"), "3");
    EXPECT_THAT(watched.changedFolders(), ElementsAre("a/back"));
}

TEST(FolderWatcher, foldersThatChangePlaces_areToldByTheNewOnes) {
    TestMainLoop loop;
    TemporaryTree tree;
    tree.file("a/inA/file", "1");
    tree.file("b/inB/file", "1");
    Watched watched(loop, tree.root());
    ASSERT_EQ(
        ::renameat2(AT_FDCWD, tree.path("a").c_str(), AT_FDCWD, tree.path("b").c_str(), RENAME_EXCHANGE), 0);
    EXPECT_THAT(watched.changedFolders(), ElementsAre(""));
    append(tree.path("b/inA/file"), "2");
    EXPECT_THAT(watched.changedFolders(), ElementsAre("b/inA"));
    append(tree.path("a/inB/file"), "2");
    EXPECT_THAT(watched.changedFolders(), ElementsAre("a/inB"));
}

TEST(FolderWatcher, aFolderAndTheOneAboveIt_changePlaces) {
    TestMainLoop loop;
    TemporaryTree tree;
    tree.file("a/b/inB/file", "1");
    tree.file("a/inA/file", "1");
    Watched watched(loop, tree.root());
    fs::rename(tree.path("a/b"), tree.path("b"));
    fs::rename(tree.path("a"), tree.path("b/a"));
    EXPECT_THAT(watched.changedFolders(), Contains(""));
    append(tree.path("b/inB/file"), "2");
    EXPECT_THAT(watched.changedFolders(), ElementsAre("b/inB"));
    append(tree.path("b/a/inA/file"), "2");
    EXPECT_THAT(watched.changedFolders(), ElementsAre("b/a/inA"));
}

TEST(FolderWatcher, aFolderReplacedByAnother_isFollowed) {
    TestMainLoop loop;
    TemporaryTree tree;
    tree.file("a/x/old", "1");
    tree.file("new/file", "1");
    Watched watched(loop, tree.root());
    fs::remove_all(tree.path("a/x"));
    fs::rename(tree.path("new"), tree.path("a/x"));
    EXPECT_THAT(watched.changedFolders(), Contains(""));
    append(tree.path("a/x/file"), "2");
    EXPECT_THAT(watched.changedFolders(), ElementsAre("a/x"));
    // By a file, and the file by a folder.
    fs::remove_all(tree.path("a/x"));
    tree.file("a/x");
    EXPECT_THAT(watched.changedFolders(), Contains("a"));
    fs::remove(tree.path("a/x"));
    tree.file("a/x/file");
    EXPECT_THAT(watched.changedFolders(), Contains("a"));
    append(tree.path("a/x/file"), "2");
    EXPECT_THAT(watched.changedFolders(), ElementsAre("a/x"));
}

TEST(FolderWatcher, aLinkToAFolder_isNotFollowed) {
    TestMainLoop loop;
    TemporaryTree tree;
    TemporaryTree elsewhere;
    elsewhere.file("file", "1");
    tree.folder("a");
    Watched watched(loop, tree.root());
    tree.link("a/link", elsewhere.root());
    EXPECT_THAT(watched.changedFolders(), ElementsAre("a"));
    append(elsewhere.path("file"), "2");
    EXPECT_THAT(watched.changedFolders(), IsEmpty());
}

TEST(FolderWatcher, whatTheOptionsLeaveOut_isNotTold) {
    TestMainLoop loop;
    TemporaryTree tree;
    tree.folder("a/own");
    tree.folder("a/.hidden/below");
    tree.folder("b");
    Watched watched(loop, tree.root(),
                    {.skipHiddenFiles = true,
                     .excludedPathPrefixes = {tree.path("a/own")},
                     .latency = {},
                     .answerTimeout = std::chrono::seconds(1)});
    tree.file("a/own/file");
    tree.file("a/own/deep/file");
    tree.file("a/.hidden/file");
    tree.file("a/.hidden/below/file");
    tree.file("a/.newHidden");
    ASSERT_EQ(::chmod(tree.path("a/own").c_str(), 0700), 0);
    EXPECT_THAT(watched.changedFolders(), IsEmpty());
    // It is left out as well when it comes back.
    fs::remove_all(tree.path("a/own"));
    tree.file("a/own/file");
    EXPECT_THAT(watched.changedFolders(), IsEmpty());
    tree.file("b/file");
    EXPECT_THAT(watched.changedFolders(), ElementsAre("b"));
}

TEST(FolderWatcher, namesOfAnyBytes_areTold) {
    TestMainLoop loop;
    TemporaryTree tree;
    tree.folder("a\xFF\n'b");
    Watched watched(loop, tree.root());
    tree.file("a\xFF\n'b/c\xFE");
    EXPECT_THAT(watched.changedFolders(), ElementsAre("a\xFF\n'b"));
    EXPECT_THAT(watched.paths(), ElementsAre(tree.path("a\xFF\n'b/c\xFE")));
}

TEST(FolderWatcher, aRootThatIsALink_isWatchedWhereItLeads) {
    TestMainLoop loop;
    TemporaryTree tree;
    tree.folder("real/a");
    const std::string link = tree.link("link", tree.path("real"));
    Watched watched(loop, link);
    tree.file("real/a/file");
    EXPECT_THAT(watched.changedFolders(), ElementsAre("a"));
    EXPECT_THAT(watched.paths(), ElementsAre(link + "/a/file"));
}

// A root behind links, and another folder to which they can be made to lead.
class LinkedRoot : public testing::Test {
protected:
    LinkedRoot() {
        for (const char* folder : {"real/a", "real/zz-signals", "other/b", "other/zz-signals", "links"}) {
            tree.folder(folder);
        }
    }

    // Puts a link to `target` in the place of the one that stands there.
    void lead(const std::string& link, const std::string& target) {
        fs::create_symlink(tree.path(target), tree.path(link + ".new"));
        fs::rename(tree.path(link + ".new"), tree.path(link));
    }
    // That the watch has lost events, and goes on at the place to which the links lead now.
    void expectMovedToOther(Watched& watched) {
        EXPECT_TRUE(watched.hasLostEvents());
        tree.file("other/b/file");
        EXPECT_THAT(watched.changedFolders(), ElementsAre("b"));
        tree.file("real/a/unseen");
        EXPECT_THAT(watched.changedFolders(), IsEmpty());
        EXPECT_FALSE(watched.failure());
    }

    TestMainLoop loop;
    TemporaryTree tree;
};

TEST_F(LinkedRoot, thatIsMadeToLeadElsewhere_isToldAsLost_andWatchedThere) {
    const std::string link = tree.link("links/link", tree.path("real"));
    Watched watched(loop, link);
    // Other items beside it are none of the way.
    tree.file("links/file");
    tree.link("links/link2", tree.path("other"));
    fs::remove(tree.path("links/link2"));
    EXPECT_FALSE(watched.hasLostEvents());
    EXPECT_THAT(watched.changedFolders(), IsEmpty());
    lead("links/link", "other");
    expectMovedToOther(watched);
    lead("links/link", "real");
    EXPECT_TRUE(watched.hasLostEvents()) << "its new place is watched as well";
    tree.file("real/a/file");
    EXPECT_THAT(watched.changedFolders(), ElementsAre("a"));
}

TEST_F(LinkedRoot, overALinkToALink_isWatchedAtEach) {
    tree.link("links/last", tree.path("real"));
    const std::string link = tree.link("first", "links/last");
    Watched watched(loop, link);
    lead("links/last", "other");
    expectMovedToOther(watched);
}

TEST_F(LinkedRoot, withALinkInTheMiddleOfItsPath_isWatchedThere) {
    for (const char* name : {"real", "other"}) {
        tree.folder(std::string("above-") + name);
        fs::rename(tree.path(name), tree.path(std::string("above-") + name + "/root"));
        fs::create_symlink(tree.path(std::string("above-") + name + "/root"), tree.path(name));
    }
    tree.link("links/up", tree.path("above-real"));
    Watched watched(loop, tree.path("links/up/root"));
    lead("links/up", "above-other");
    expectMovedToOther(watched);
}

TEST_F(LinkedRoot, whoseLinkIsExchangedForAnother_isToldAsLost) {
    const std::string link = tree.link("links/link", tree.path("real"));
    const std::string second = tree.link("second", tree.path("other"));
    Watched watched(loop, link);
    ASSERT_EQ(::renameat2(AT_FDCWD, link.c_str(), AT_FDCWD, second.c_str(), RENAME_EXCHANGE), 0);
    expectMovedToOther(watched);
}

TEST_F(LinkedRoot, whoseLinksFolderIsExchanged_isToldAsLost) {
    const std::string link = tree.link("links/deep/link", tree.path("real"));
    tree.link("links2/deep/link", tree.path("other"));
    Watched watched(loop, link);
    ASSERT_EQ(::renameat2(AT_FDCWD, tree.path("links").c_str(), AT_FDCWD, tree.path("links2").c_str(),
                          RENAME_EXCHANGE),
              0);
    expectMovedToOther(watched);
}

TEST_F(LinkedRoot, whoseLinkLiesWithinItsOwnTarget_isWatchedAsATreeAndAsALink) {
    const std::string link = tree.link("real/x/link", tree.path("real"));
    Watched watched(loop, link);
    EXPECT_EQ(watched.coverage()->folders, 4);
    tree.file("real/x/file");
    tree.folder("real/x/y");
    EXPECT_THAT(watched.changedFolders(), ElementsAre("x"));
    lead("real/x/link", "other");
    expectMovedToOther(watched);
}

TEST_F(LinkedRoot, whoseLinkIsRemoved_isToldAsLost_andThenAsFailed) {
    const std::string link = tree.link("links/link", tree.path("real"));
    Watched watched(loop, link);
    fs::remove(link);
    ASSERT_TRUE(loop.runUntil([&] { return watched.failure().has_value(); }));
    EXPECT_TRUE(watched.isLost());
    EXPECT_EQ(watched.failure()->code(), ENOENT);
}

// While the watch is set up, again and again: it ends where the links lead in the end.
TEST_F(LinkedRoot, thatIsMadeToLeadElsewhereDuringTheSetUp_isWatchedWhereItLeadsInTheEnd) {
    const std::string link = tree.link("links/link", tree.path("real"));
    for (int round = 0; round < 20; ++round) {
        lead("links/link", "real");
        std::thread other([&] {
            for (int turn = 0; turn <= round * 4; ++turn) {
                lead("links/link", turn % 2 == 0 ? "other" : "real");
            }
        });
        Watched watched(loop, link);
        other.join();
        static_cast<void>(watched.hasLostEvents());
        tree.file("other/b/file" + std::to_string(round));
        EXPECT_THAT(watched.changedFolders(), ElementsAre("b")) << "round " << round;
    }
}

TEST_F(LinkedRoot, thatWasMadeToLeadElsewhereBeforeTheWatchStood_isToldAsLost) {
    const std::string link = tree.link("links/link", tree.path("real"));
    awaitNextFolderMoment();
    const auto hasLost = [&](const WatchBeginning& since) {
        bool isLost = false;
        bool stands = false;
        FolderWatcherOptions options;
        options.since = since;
        const FolderWatcher watcher(
            loop.queue(), link, options,
            {.changed = [&](const FolderChanges& changes) { isLost = changes.eventsAreLost; },
             .covered = [&](const WatchCoverage&) { stands = true; },
             .failed = {}});
        EXPECT_TRUE(loop.runUntil([&] { return stands; }));
        return isLost;
    };
    const WatchBeginning since = watchBeginningNow();
    EXPECT_FALSE(hasLost(since));
    lead("links/link", "other");
    EXPECT_TRUE(hasLost(since));
    awaitNextFolderMoment();
    EXPECT_FALSE(hasLost(watchBeginningNow()));
}

TEST(FolderWatcher, aRootThatMoves_isToldAsLost_andThenAsFailed) {
    TestMainLoop loop;
    TemporaryTree tree;
    tree.folder("above/root");
    Watched watched(loop, tree.path("above/root"));
    fs::rename(tree.path("above/root"), tree.path("above/elsewhere"));
    ASSERT_TRUE(loop.runUntil([&] { return watched.failure().has_value(); }));
    EXPECT_TRUE(watched.isLost());
    EXPECT_EQ(watched.failure()->code(), ENOENT);
}

TEST(FolderWatcher, aFolderAboveTheRootThatMoves_isToldAsLost) {
    TestMainLoop loop;
    TemporaryTree tree;
    tree.folder("above/root");
    Watched watched(loop, tree.path("above/root"));
    fs::rename(tree.path("above"), tree.path("elsewhere"));
    EXPECT_TRUE(loop.runUntil([&] { return watched.failure().has_value(); }));
    EXPECT_TRUE(watched.isLost());
}

TEST(FolderWatcher, aRootThatIsRemoved_isToldAsLost) {
    TestMainLoop loop;
    TemporaryTree tree;
    tree.folder("root");
    Watched watched(loop, tree.path("root"));
    fs::remove_all(tree.path("root"));
    EXPECT_TRUE(loop.runUntil([&] { return watched.failure().has_value(); }));
    EXPECT_TRUE(watched.isLost());
}

TEST(FolderWatcher, anotherRootInItsPlace_isToldAsLost_andWatched) {
    TestMainLoop loop;
    TemporaryTree tree;
    tree.folder("root");
    tree.file("new/a/file", "1");
    tree.folder("new/zz-signals");
    Watched watched(loop, tree.path("root"));
    ASSERT_EQ(
        ::renameat2(AT_FDCWD, tree.path("root").c_str(), AT_FDCWD, tree.path("new").c_str(), RENAME_EXCHANGE),
        0);
    EXPECT_TRUE(watched.hasLostEvents());
    append(tree.path("root/a/file"), "2");
    EXPECT_THAT(watched.changedFolders(), ElementsAre("a"));
}

TEST(FolderWatcher, aRootThatIsMissing_fails) {
    TestMainLoop loop;
    TemporaryTree tree;
    std::optional<SystemError> failure;
    const FolderWatcher watcher(
        loop.queue(), tree.path("missing"), {},
        {.changed = {}, .covered = {}, .failed = [&](const SystemError& error) { failure = error; }});
    EXPECT_TRUE(loop.runUntil([&] { return failure.has_value(); }));
    EXPECT_EQ(failure->code(), ENOENT);
}

TEST(FolderWatcher, aFolderThatChangedSinceTheGivenMoment_isToldBeforeTheWatchStands) {
    TestMainLoop loop;
    TemporaryTree tree;
    for (const char* name :
         {"root/added", "root/removed", "root/deep/er", "root/renamed", "root/grown", "root/left"}) {
        tree.file(std::string(name) + "/file", "1");
    }
    awaitNextFolderMoment();
    const WatchBeginning moment = watchBeginningNow();
    tree.file("root/added/new");
    fs::remove(tree.path("root/removed/file"));
    fs::create_directory(tree.path("root/deep/er/folder"));
    fs::rename(tree.path("root/renamed/file"), tree.path("root/renamed/other"));
    append(tree.path("root/grown/file"), "2");  // no folder tells of that
    // Whoever dates a folder back does not deceive it.
    fs::last_write_time(tree.path("root/added"), fs::file_time_type{});

    const auto told = [&](std::optional<WatchBeginning> since) {
        std::set<std::string> folders;
        bool stands = false;
        FolderWatcherOptions options;
        options.since = since;
        const FolderWatcher watcher(
            loop.queue(), tree.path("root"), options,
            {.changed =
                 [&](const FolderChanges& changes) {
                     EXPECT_FALSE(stands);
                     EXPECT_FALSE(changes.eventsAreLost);
                     for (const std::string& path : changes.paths) {
                         EXPECT_EQ(lastPathComponent(path), ".");
                         folders.insert(std::string(parentPath(path)).substr(tree.path("root").size()));
                     }
                 },
             .covered = [&](const WatchCoverage&) { stands = true; },
             .failed = {}});
        EXPECT_TRUE(loop.runUntil([&] { return stands; }));
        return folders;
    };
    // The folder made in it is new as well, and lies below a changed one.
    EXPECT_THAT(told(moment), ElementsAre("/added", "/deep/er", "/removed", "/renamed"));
    EXPECT_THAT(told(std::nullopt), IsEmpty());
    awaitNextFolderMoment();
    EXPECT_THAT(told(watchBeginningNow()), IsEmpty());
}

TEST(FolderWatcher, withoutAThread_fails) {
    asUnprivilegedUser([](const std::string& home) {
        TestMainLoop loop;
        allowNoMoreThreads();
        std::optional<SystemError> failure;
        const FolderWatcher watcher(
            loop.queue(), home, {},
            {.changed = {}, .covered = {}, .failed = [&](const SystemError& error) { failure = error; }});
        EXPECT_FALSE(failure.has_value());
        EXPECT_TRUE(loop.runUntil([&] { return failure.has_value(); }));
        EXPECT_EQ(failure->code(), EAGAIN);
    });
}

TEST(FolderWatcher, nothingIsTold_afterItsEnd) {
    TestMainLoop loop;
    TemporaryTree tree;
    tree.folder("a");
    bool isTold = false;
    {
        const FolderWatcher watcher(loop.queue(), tree.root(), quick(),
                                    {.changed = [&](const FolderChanges&) { isTold = true; },
                                     .covered = [&](const WatchCoverage&) { isTold = true; },
                                     .failed = [&](const SystemError&) { isTold = true; }});
    }
    bool isDrained = false;
    loop.queue().post([&] { isDrained = true; });
    EXPECT_TRUE(loop.runUntil([&] { return isDrained; }));
    EXPECT_FALSE(isTold);
}

TEST(FolderWatcher, aTreeDeeperThanAPathMayBeLong_isWatched) {
    TestMainLoop loop;
    TemporaryTree tree;
    std::string relative;
    const std::string name(200, 'd');
    for (int depth = 0; depth < 120; ++depth) {
        relative += (relative.empty() ? "" : "/") + name;
    }
    tree.folder(relative);
    Watched watched(loop, tree.root());
    EXPECT_EQ(watched.coverage()->folders, 122);
    tree.folder(relative + "/new");
    EXPECT_THAT(watched.changedFolders(), ElementsAre(relative));
    tree.file(relative + "/new/file");
    EXPECT_THAT(watched.changedFolders(), ElementsAre(relative + "/new"));
}

// --- Random trees, random changes

// What a folder directly holds, by name: kind, size, and for a folder nothing more.
using Contents = std::map<std::string, std::string>;
using Snapshot = std::map<std::string, Contents>;  // by relative path of the folder

Snapshot snapshotOf(const std::string& root) {
    Snapshot snapshot{{"", {}}};
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        const std::string relative = entry.path().string().substr(root.size() + 1);
        const auto slash = relative.rfind('/');
        const std::string folder = slash == std::string::npos ? "" : relative.substr(0, slash);
        if (relative.starts_with("zz-signals")) {
            continue;
        }
        struct stat values{};
        ::lstat(entry.path().c_str(), &values);
        snapshot[folder][entry.path().filename()] = S_ISDIR(values.st_mode)
                                                        ? "folder " + std::to_string(values.st_ino)
                                                        : "file " + std::to_string(values.st_size);
        if (S_ISDIR(values.st_mode)) {
            snapshot.try_emplace(relative);
        }
    }
    return snapshot;
}

class RandomChanges {
public:
    RandomChanges(std::string root, unsigned seed) : root_(std::move(root)), random_(seed) {}

    void make() {
        const auto folders = all(true);
        const std::string folder = pick(folders);
        const std::string some = pick(all(false));
        const std::string other = pick(folders);
        const std::string name = folder + "/" + std::string(1, static_cast<char>('a' + number(6)));
        std::error_code ignored;
        switch (number(9)) {
            case 0:
            case 1:
                fs::create_directories(name + "/" + std::to_string(number(3)), ignored);
                break;
            case 2:
            case 3:
                append(name, std::string(number(100) + 1, 'x'));
                break;
            case 4:
                append(some, "grown");
                break;
            case 5:
                if (number(3) == 0) {
                    removeSome(other);
                }
                break;
            case 6:
                fs::rename(some, name, ignored);
                break;
            case 7:
                if (other != root_ && folder != root_) {
                    ::renameat2(AT_FDCWD, other.c_str(), AT_FDCWD, folder.c_str(), RENAME_EXCHANGE);
                }
                break;
            default:
                if (other != root_) {
                    fs::rename(other, name, ignored);
                }
        }
    }

private:
    unsigned number(unsigned below) { return std::uniform_int_distribution<unsigned>(0, below - 1)(random_); }
    const std::string& pick(const std::vector<std::string>& from) {
        return from[number(static_cast<unsigned>(from.size()))];
    }
    void removeSome(const std::string& folder) {
        std::error_code ignored;
        if (folder != root_) {
            fs::remove_all(folder, ignored);
        }
    }
    std::vector<std::string> all(bool folders) {
        std::vector<std::string> found{folders ? root_ : root_ + "/seed"};
        for (const auto& entry : fs::recursive_directory_iterator(root_)) {
            if (entry.is_directory() == folders &&
                entry.path().string().find("zz-signals") == std::string::npos) {
                found.push_back(entry.path());
            }
        }
        return found;
    }

    std::string root_;
    std::mt19937 random_;
};

TEST(FolderWatcher, randomChanges_areAllTold) {
    for (unsigned seed = 1; seed <= 12; ++seed) {
        TestMainLoop loop;
        TemporaryTree tree;
        RandomChanges changes(tree.root(), seed);
        for (int change = 0; change < 40; ++change) {
            changes.make();
        }
        Watched watched(loop, tree.root());
        for (int round = 0; round < 30; ++round) {
            const Snapshot before = snapshotOf(tree.root());
            for (unsigned change = 0; change <= seed % 4; ++change) {
                changes.make();
            }
            const auto told = watched.changedFolders();
            const Snapshot after = snapshotOf(tree.root());
            const auto isTold = [&](const std::string& folder) {
                return std::any_of(told.begin(), told.end(), [&](const std::string& changed) {
                    return changed.empty() || isAtOrBelow(folder, changed);
                });
            };
            for (const auto& [folder, contents] : after) {
                const auto old = before.find(folder);
                if (old == before.end() || old->second != contents) {
                    EXPECT_TRUE(isTold(folder)) << "seed " << seed << ", round " << round << ": " << folder;
                }
            }
            EXPECT_FALSE(watched.isLost()) << "seed " << seed << ", round " << round;
        }
    }
}

}  // namespace
}  // namespace larkfold::test
