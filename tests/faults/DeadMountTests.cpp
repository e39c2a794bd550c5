// A file system whose program does not answer: the rest is complete, the place is told, nothing hangs. That
// nothing hangs is what these tests show by coming to their end.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>
#include <thread>

#include "disk/DiskScanner.h"
#include "faults/IndexOracle.h"
#include "faults/PrivateNamespace.h"
#include "platform/Bookmark.h"
#include "platform/FolderListing.h"
#include "platform/Volumes.h"
#include "platform/linux/calls/CallWithTimeout.h"
#include "support/TemporaryTree.h"

namespace larkfold::test {
namespace {

using testing::Contains;
using testing::HasSubstr;

constexpr DiskScanner::Reading impatient{.readsAhead = true, .answerTimeout = std::chrono::milliseconds(300)};
constexpr DiskScanner::Reading patient{.readsAhead = true, .answerTimeout = std::chrono::hours(24)};

void makeTree(TemporaryTree& tree) {
    tree.fileOfSize("root/a/one", 5'000);
    tree.fileOfSize("root/m/beside", 3'000);
    tree.folder("root/m/dead");
    tree.fileOfSize("root/m/later/two", 7'000);
    tree.fileOfSize("root/z/three", 9'000);
}

bool isSilent(const std::string& path) {
    return !callWithTimeout<bool>(
        [path] {
            struct stat values{};
            static_cast<void>(stat(path.c_str(), &values));
            return true;
        },
        std::chrono::milliseconds(100));
}

TEST(DeadMount, belowTheRoot_isToldAndTheRestIsComplete) {
    inPrivateNamespace([] {
        const QuickFolder quick;
        TemporaryTree tree;
        makeTree(tree);
        const ScanResult whole = DiskScanner().scan(tree.path("root"), everything(), {});
        ASSERT_EQ(whole.totalFiles, 4);
        ASSERT_TRUE(whole.errors.empty());

        const DeadMount dead(tree.path("root/m/dead"));
        ASSERT_TRUE(isSilent(tree.path("root/m/dead")));
        const std::string index = tree.folder("index") + "/latest-scan.sqlite";
        for (const bool readsAhead : {true, false}) {
            DiskScanner::Reading reading = impatient;
            reading.readsAhead = readsAhead;
            const ScanResult result = DiskScanner(index, reading).scan(tree.path("root"), everything(), {});
            EXPECT_EQ(result.totalFiles, whole.totalFiles);
            EXPECT_EQ(result.totalDirectories, whole.totalDirectories);
            EXPECT_EQ(result.totalSize, whole.totalSize);
            ASSERT_EQ(result.errors.size(), 1U);
            EXPECT_EQ(result.errors[0].path, tree.path("root/m/dead"));
            EXPECT_THAT(result.errors[0].error->description(), HasSubstr("did not answer in time"));
            EXPECT_TRUE(isWhole(describeIndex(index))) << describeIndex(index);
        }
    });
}

TEST(DeadMount, asTheRoot_isToldAsUnread) {
    inPrivateNamespace([] {
        const QuickFolder quick;
        TemporaryTree tree;
        const DeadMount dead(tree.folder("dead"));
        ASSERT_TRUE(isSilent(tree.path("dead")));
        const ScanResult result =
            DiskScanner(std::nullopt, impatient).scan(tree.path("dead"), everything(), {});
        EXPECT_EQ(result.totalFiles, 0);
        ASSERT_EQ(result.errors.size(), 1U);
        EXPECT_EQ(result.errors[0].path, tree.path("dead"));
        EXPECT_THAT(result.errors[0].error->description(), HasSubstr("did not answer in time"));
        EXPECT_FALSE(result.volumeCapacity.has_value());
    });
}

TEST(DeadMount, whereAFolderIsChosen_isToldAndItsNeighboursAreListed) {
    inPrivateNamespace([] {
        TemporaryTree tree;
        makeTree(tree);
        tree.link("root/m/link-to-dead", "dead/inside");
        const DeadMount dead(tree.path("root/m/dead"));
        ASSERT_TRUE(isSilent(tree.path("root/m/dead")));
        const auto list = [](const std::string& path) {
            return listFolders(path, {}, {}, [](std::size_t) {}, std::chrono::milliseconds(300));
        };
        EXPECT_EQ(list(tree.path("root/m/dead")).error, ETIMEDOUT);
        const FolderListing beside = list(tree.path("root/m"));
        EXPECT_EQ(beside.error, 0);
        EXPECT_THAT(beside.names, testing::UnorderedElementsAre("dead", "later", "link-to-dead"));
    });
}

// The request to stop comes when the file system has been asked and somebody waits for its answer, which may
// take a day.
void expectStopWhileWaiting(const std::string& root, const DeadMount& dead) {
    std::stop_source stop;
    const std::jthread stopper([&] {
        dead.awaitRequest();
        stop.request_stop();
    });
    EXPECT_THROW(DiskScanner(std::nullopt, patient).scan(root, everything(), stop.get_token()),
                 CancellationError);
}

TEST(DeadMount, aStopWhileItsAnswerIsAwaited_isObeyed) {
    inPrivateNamespace([] {
        const QuickFolder quick;
        TemporaryTree tree;
        makeTree(tree);
        const DeadMount dead(tree.path("root/m/dead"), DeadMount::Greeting::answered);
        expectStopWhileWaiting(tree.path("root"), dead);
    });
}

TEST(DeadMount, aStopWhileTheRootsAnswerIsAwaited_isObeyed) {
    inPrivateNamespace([] {
        const QuickFolder quick;
        TemporaryTree tree;
        const DeadMount dead(tree.folder("dead"), DeadMount::Greeting::answered);
        expectStopWhileWaiting(tree.path("dead"), dead);
    });
}

TEST(DeadMount, capacityBookmarkAndExclusions_endWithoutAnAnswer) {
    inPrivateNamespace([] {
        const QuickFolder quick;
        TemporaryTree tree;
        const std::string place = tree.folder("dead");
        const DeadMount dead(place);
        const VolumeCapacity capacity = volumeCapacity(place);
        EXPECT_FALSE(capacity.total.has_value());
        EXPECT_FALSE(capacity.available.has_value());
        EXPECT_FALSE(startAccessingSecurityScopedResource(place));
        try {
            makeBookmark(place);
            ADD_FAILURE() << "a folder was remembered that nobody has seen";
        } catch (const SystemError& error) {
            EXPECT_EQ(error.code(), ETIMEDOUT);
            EXPECT_THAT(error.description(), HasSubstr("did not answer in time"));
        }
        EXPECT_THAT(startupDiskExclusions(), Contains(place));
        EXPECT_TRUE(volumeCapacity("/").total.has_value());
    });
}

// However many there are, only so many threads are left behind, and no place is passed over in silence.
TEST(DeadMount, fortyOfThem_areAllTold) {
    inPrivateNamespace([] {
        const QuickFolder quick;
        TemporaryTree tree;
        tree.fileOfSize("root/z/last", 1'000);
        std::vector<std::unique_ptr<DeadMount>> dead;
        dead.reserve(40);
        for (int i = 0; i < 40; ++i) {
            dead.push_back(std::make_unique<DeadMount>(tree.folder("root/" + std::to_string(100 + i))));
        }
        DiskScanner::Reading reading = impatient;
        reading.answerTimeout = std::chrono::milliseconds(20);
        const ScanResult result =
            DiskScanner(std::nullopt, reading).scan(tree.path("root"), everything(), {});
        EXPECT_EQ(result.errors.size(), 40U);
        EXPECT_EQ(result.totalFiles, 1);

        // And a place that answers is read as ever.
        const ScanResult healthy =
            DiskScanner(std::nullopt, reading).scan(tree.path("root/z"), everything(), {});
        EXPECT_TRUE(healthy.errors.empty());
        EXPECT_EQ(healthy.totalFiles, 1);
        EXPECT_TRUE(healthy.volumeCapacity.has_value());
    });
}

}  // namespace
}  // namespace larkfold::test
