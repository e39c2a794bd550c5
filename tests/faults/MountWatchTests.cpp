// The mounts as they are at every moment.
#include "platform/linux/MountWatch.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cstdint>
#include <optional>
#include <string>

#include "faults/PrivateNamespace.h"
#include "platform/linux/PathDescriptors.h"
#include "support/TemporaryTree.h"

namespace larkfold::test {
namespace {

std::uint64_t mountAt(const std::string& path) {
    const FileDescriptor descriptor(open(path.c_str(), O_PATH | O_CLOEXEC));
    return path_descriptors::placeOf(descriptor.get()).value().mount;
}

TEST(MountWatch, tellsWhatComesAndGoes) {
    EXPECT_TRUE(inPrivateNamespace([] {
        TemporaryTree tree;
        const std::string inner = tree.folder("folder/inner");
        MountWatch watch;
        EXPECT_FALSE(watch.hasMountBelow(tree.path("folder")));
        {
            const Mounted mounted("none", inner, "tmpfs", 0, "size=1m");
            EXPECT_TRUE(watch.hasMountBelow(tree.path("folder")));
            EXPECT_FALSE(watch.hasMountBelow(inner)) << "strictly below";
        }
        EXPECT_FALSE(watch.hasMountBelow(tree.path("folder")));
    }));
}

TEST(MountWatch, tellsWhereAMountIs_andNothingOfACoveredOne) {
    EXPECT_TRUE(inPrivateNamespace([] {
        TemporaryTree tree;
        const std::string point = tree.folder("point");
        const Mounted lower("none", point, "tmpfs", 0, "size=1m");
        const std::uint64_t covered = mountAt(point);
        MountWatch watch;
        EXPECT_EQ(watch.mountPoint(covered), point);
        const Mounted upper("none", point, "tmpfs", 0, "size=1m");
        EXPECT_EQ(watch.mountPoint(covered), std::nullopt);
        EXPECT_EQ(watch.mountPoint(mountAt(point)), point);
        // It hides nothing from who asks what a folder holds.
        EXPECT_TRUE(watch.hasMountBelow(tree.root()));
    }));
}

TEST(MountWatch, tellsWhatMayFailToAnswer) {
    EXPECT_TRUE(inPrivateNamespace([] {
        TemporaryTree tree;
        MountWatch watch;
        const DeadMount dead(tree.folder("disk/dead"));
        EXPECT_TRUE(watch.mayFailToAnswer(tree.path("disk/dead")));
        EXPECT_TRUE(watch.mayFailToAnswer(tree.path("disk/dead/x/y")));
        EXPECT_FALSE(watch.mayFailToAnswer(tree.path("disk/deadly")));
        EXPECT_FALSE(watch.mayFailToAnswer("/proc"));
    }));
}

// Where the program's root is a plain folder, the list of mounts names nothing that holds every path.
TEST(MountWatch, inAChangedRoot_tellsOfWhatIsBelowItOnly) {
    EXPECT_TRUE(inPrivateNamespace([] {
        TemporaryTree tree;
        tree.folder("root/plain");
        const Mounted list("/proc", tree.folder("root/proc"), "none", MS_BIND | MS_REC, "");
        const DeadMount dead(tree.folder("root/dead"));
        const FileDescriptor before(open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
        ASSERT_EQ(chroot(tree.path("root").c_str()), 0);
        MountWatch watch;
        const bool plain = watch.mayFailToAnswer("/plain");
        const bool atDead = watch.mayFailToAnswer("/dead/x");
        ASSERT_EQ(fchdir(before.get()), 0);
        ASSERT_EQ(chroot("."), 0);
        EXPECT_FALSE(plain);
        EXPECT_TRUE(atDead);
    }));
}

}  // namespace
}  // namespace larkfold::test
