#include "platform/Volumes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>

#include "platform/Confinement.h"
#include "platform/Path.h"
#include "support/TemporaryTree.h"
#include "support/UnprivilegedUser.h"

namespace larkfold {
namespace {

TEST(VolumesTest, aFoldersVolumeHasTheCapacityThatTheSystemTells) {
    const test::TemporaryTree tree;
    const VolumeCapacity capacity = volumeCapacity(tree.root());
    struct statvfs values{};
    ASSERT_EQ(statvfs(tree.root().c_str(), &values), 0);
    EXPECT_EQ(capacity.total, static_cast<std::int64_t>(values.f_blocks * values.f_frsize));
    ASSERT_TRUE(capacity.available);
    EXPECT_GE(*capacity.available, 0);
    EXPECT_LE(*capacity.available, *capacity.total);
    ASSERT_TRUE(capacity.free);
    EXPECT_LE(*capacity.available, *capacity.free);
    EXPECT_LE(*capacity.free, *capacity.total);
}

TEST(VolumesTest, whatIsFreeHoldsWhatIsKeptBack) {
    const test::TemporaryTree tree;
    // Others write to the same volume meanwhile: what is told lies between a moment before and one after.
    const auto freeBlocks = [&] {
        struct statvfs values{};
        EXPECT_EQ(statvfs(tree.root().c_str(), &values), 0);
        return static_cast<std::int64_t>(values.f_bfree * values.f_frsize);
    };
    bool agrees = false;
    for (int attempt = 0; attempt < 1'000 && !agrees; ++attempt) {
        const std::int64_t before = freeBlocks();
        const std::int64_t told = volumeCapacity(tree.root()).free.value_or(-1);
        const std::int64_t after = freeBlocks();
        agrees = std::min(before, after) <= told && told <= std::max(before, after);
    }
    EXPECT_TRUE(agrees);
}

TEST(VolumesTest, aMissingFolderHasNoCapacityRatherThanNone) {
    const VolumeCapacity capacity = volumeCapacity("/nowhere/at/all");
    EXPECT_EQ(capacity.total, std::nullopt);
    EXPECT_EQ(capacity.available, std::nullopt);
    EXPECT_EQ(capacity.free, std::nullopt);
}

TEST(VolumesTest, theStartupDiskHoldsAtLeastItsRoot) {
    struct statvfs values{};
    ASSERT_EQ(statvfs("/", &values), 0);
    const VolumeCapacity capacity = volumeCapacity("/");
    ASSERT_TRUE(capacity.total && capacity.available);
    EXPECT_GE(*capacity.total, static_cast<std::int64_t>(values.f_blocks * values.f_frsize));
    EXPECT_LE(*capacity.available, *capacity.total);
    ASSERT_TRUE(capacity.free);
    EXPECT_LE(*capacity.available, *capacity.free);
    EXPECT_LE(*capacity.free, *capacity.total);
    EXPECT_EQ(volumeCapacity("//.").total, capacity.total) << "however the root is spelled";
}

TEST(VolumesTest, exclusionsAreSortedStandardizedAndNeverTheRoot) {
    const std::vector<std::string> paths = startupDiskExclusions();
    EXPECT_TRUE(std::is_sorted(paths.begin(), paths.end()));
    EXPECT_EQ(std::adjacent_find(paths.begin(), paths.end()), paths.end());
    for (const std::string& path : paths) {
        EXPECT_EQ(path, standardizedPath(path));
        EXPECT_NE(path, "/");
    }
    EXPECT_THAT(paths, testing::IsSupersetOf({"/proc", "/sys", "/run", "/mnt", "/media", "/snap"}));
}

TEST(VolumesTest, aFolderThatIsNoMountPointHasNoName) {
    const test::TemporaryTree tree;
    EXPECT_EQ(volumeName(tree.root()), std::nullopt);
}

TEST(ConfinementTest, aTestProgramIsNotConfined) {
    EXPECT_EQ(currentConfinement(), Confinement::none);
}

TEST(ConfinementTest, aUserWhoseRealHomeCannotBeListedHasNoAccess) {
    test::asUnprivilegedUser([](const std::string& home) {
        // The account of this user names a home that does not exist; the environment's, which does, is not
        // asked.
        if (geteuid() == 65534) {
            EXPECT_FALSE(probeFullDiskAccess());
        } else {
            EXPECT_TRUE(probeFullDiskAccess());
        }
        EXPECT_FALSE(home.empty());
    });
}

}  // namespace
}  // namespace larkfold
