// The mounts as they are at every moment.
#include "platform/linux/mounts/MountWatch.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <optional>
#include <string>

#include "faults/IndexOracle.h"
#include "faults/PrivateNamespace.h"
#include "platform/linux/walk/PathDescriptors.h"
#include "support/MachineRequirements.h"
#include "support/TemporaryTree.h"
#include "support/UnprivilegedUser.h"

namespace larkfold::test {
namespace {

std::uint64_t mountAt(const std::string& path) {
    const FileDescriptor descriptor(open(path.c_str(), O_PATH | O_CLOEXEC));
    return path_descriptors::statusOf(descriptor.get()).value().mount;
}

FileDescriptor held(const std::string& folder) {
    return FileDescriptor(open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

// While it lives, `folder` is the root of all paths. Assertions wait until it is gone: they print.
class ChangedRoot {
public:
    explicit ChangedRoot(const std::string& folder) : before_(held("/")) {
        EXPECT_EQ(chroot(folder.c_str()), 0);
    }
    ~ChangedRoot() {
        EXPECT_EQ(fchdir(before_.get()), 0);
        EXPECT_EQ(chroot("."), 0);
    }
    ChangedRoot(const ChangedRoot&) = delete;
    ChangedRoot& operator=(const ChangedRoot&) = delete;

private:
    FileDescriptor before_;
};

TEST(MountWatch, tellsWhatComesAndGoes) {
    inPrivateNamespace([] {
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
    });
}

TEST(MountWatch, tellsWhereAMountIs_andNothingOfACoveredOne) {
    inPrivateNamespace([] {
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
    });
}

TEST(MountWatch, tellsWhatMayFailToAnswer) {
    inPrivateNamespace([] {
        TemporaryTree tree;
        MountWatch watch;
        const DeadMount dead(tree.folder("disk/dead"));
        EXPECT_TRUE(watch.mayFailToAnswer(tree.path("disk/dead")));
        EXPECT_TRUE(watch.mayFailToAnswer(tree.path("disk/dead/x/y")));
        EXPECT_FALSE(watch.mayFailToAnswer(tree.path("disk/deadly")));
        EXPECT_FALSE(watch.mayFailToAnswer("/proc"));
    });
}

TEST(MountWatch, tellsOfTheMountOfANumberWhetherItMayFailToAnswer) {
    inPrivateNamespace([] {
        TemporaryTree tree;
        MountWatch watch;
        const DeadMount dead(tree.folder("dead"), DeadMount::Greeting::answered);
        // It looks at the place and asks nobody.
        struct statx values{};
        ASSERT_EQ(statx(AT_FDCWD, tree.path("dead").c_str(), AT_STATX_DONT_SYNC, STATX_MNT_ID, &values), 0);
        EXPECT_TRUE(watch.mayFailToAnswer(values.stx_mnt_id));
        const Mounted plain("none", tree.folder("plain"), "tmpfs", 0, "size=1m");
        const std::uint64_t answers = mountAt(tree.path("plain"));
        EXPECT_FALSE(watch.mayFailToAnswer(answers)) << "and that it came is noticed";
        EXPECT_TRUE(watch.mayFailToAnswer(answers + 1'000'000)) << "of which nothing is known";
    });
}

// Where the program's root is a plain folder, the list of mounts names nothing that holds every path.
TEST(MountWatch, inAChangedRoot_tellsOfWhatIsBelowItOnly) {
    inPrivateNamespace([] {
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
    });
}

// --- Within a folder that is held

// What is told of the held folder where `root` is the root of all paths.
bool hasMountWithinSeenFrom(const std::string& root, const FileDescriptor& folder,
                            const std::string& usualPath) {
    const ChangedRoot changed(root);
    MountWatch watch;
    return watch.hasMountWithin(folder.get(), usualPath);
}

TEST(MountWithin, whatIsMountedInAHeldFolder_isTold_andWhatIsMountedOnItIsNot) {
    inPrivateNamespace([] {
        TemporaryTree tree;
        const std::string folder = tree.folder("folder");
        const Mounted own("none", folder, "tmpfs", 0, "size=1m");
        const std::string inner = tree.folder("folder/deep/inner");
        const FileDescriptor top = held(folder);
        MountWatch watch;
        EXPECT_FALSE(watch.hasMountWithin(top.get(), folder)) << "its own mount is none within it";
        {
            const Mounted mounted("none", inner, "tmpfs", 0, "size=1m");
            EXPECT_TRUE(watch.hasMountWithin(top.get(), folder));
        }
        EXPECT_FALSE(watch.hasMountWithin(top.get(), folder));
    });
}

TEST(MountWithin, whatCannotBeAskedWhereItIs_countsAsIfItHeldOne) {
    MountWatch watch;
    EXPECT_TRUE(watch.hasMountWithin(-1, "/nowhere"));
}

TEST(MountWithin, whereNoMountsAreTold_countsAsIfItHeldOne) {
    inPrivateNamespace([] {
        TemporaryTree tree;
        const FileDescriptor folder = held(tree.folder("root/folder"));
        EXPECT_TRUE(hasMountWithinSeenFrom(tree.path("root"), folder, "/folder"));
        MountWatch watch;
        EXPECT_FALSE(watch.hasMountWithin(folder.get(), tree.path("root/folder"))) << "there is none";
    });
}

// The paths name another folder of the same name on the way: which one it is, is told by the folders.
TEST(MountWithin, aMountInAnotherFolderOfTheSameName_isNoneOfThisOne) {
    inPrivateNamespace([] {
        TemporaryTree tree;
        const Mounted disk("none", tree.folder("disk"), "tmpfs", 0, "size=1m");
        const FileDescriptor folder = held(tree.folder("disk/folder"));
        const Mounted elsewhere("none", tree.folder("disk/other/folder/inner"), "tmpfs", 0, "size=1m");
        MountWatch watch;
        EXPECT_FALSE(watch.hasMountWithin(folder.get(), tree.path("disk/folder")));
        EXPECT_TRUE(watch.hasMountWithin(held(tree.path("disk/other/folder")).get(), ""));
    });
}

// The way up ends at the root of all paths, where ".." leads nowhere else.
TEST(MountWithin, aMountInAnotherFolderOfTheSameNameOnTheMountOfTheRoot_isNoneOfThisOne) {
    inPrivateNamespace([] {
        TemporaryTree tree;
        const Mounted disk("none", tree.folder("root"), "tmpfs", 0, "size=1m");
        const Mounted list("/proc", tree.folder("root/proc"), "none", MS_BIND | MS_REC, "");
        const FileDescriptor folder = held(tree.folder("root/folder"));
        const FileDescriptor other = held(tree.folder("root/other/folder"));
        const Mounted elsewhere("none", tree.folder("root/other/folder/inner"), "tmpfs", 0, "size=1m");
        EXPECT_FALSE(hasMountWithinSeenFrom(tree.path("root"), folder, "/folder"));
        EXPECT_TRUE(hasMountWithinSeenFrom(tree.path("root"), other, "/other/folder"));
    });
}

// A folder that shows itself once more within itself: above the inner one is the same folder, and another
// mount.
TEST(MountWithin, wayUp_doesNotEndWhereAFolderShowsItselfASecondTime) {
    inPrivateNamespace([] {
        TemporaryTree tree;
        const Mounted disk("none", tree.folder("disk"), "tmpfs", 0, "size=1m");
        tree.folder("disk/folder");
        tree.folder("disk/other/folder/inner");
        const Mounted second(tree.path("disk"), tree.folder("disk/second"), "none", MS_BIND, "");
        const FileDescriptor folder = held(tree.path("disk/second/folder"));
        const Mounted elsewhere("none", tree.path("disk/second/other/folder/inner"), "tmpfs", 0, "size=1m");
        MountWatch watch;
        EXPECT_FALSE(watch.hasMountWithin(folder.get(), tree.path("disk/second/folder")));
        EXPECT_TRUE(watch.hasMountWithin(held(tree.path("disk/second/other/folder")).get(), ""));
    });
}

// Its path cannot be told, and the one that is known is not its own any more.
TEST(MountWithin, aFolderThatWasMovedMeanwhile_isFoundByWhatItIs) {
    inPrivateNamespace([] {
        TemporaryTree tree;
        const Mounted disk("none", tree.folder("root"), "tmpfs", 0, "size=1m");
        const Mounted list("/proc/self/mountinfo", tree.file("root/proc/self/mountinfo"), "none", MS_BIND,
                           "");
        const FileDescriptor folder = held(tree.folder("root/now/folder"));
        const std::string inner = tree.folder("root/now/folder/deep/inner");
        {
            const Mounted mounted("none", inner, "tmpfs", 0, "size=1m");
            EXPECT_TRUE(hasMountWithinSeenFrom(tree.path("root"), folder, "/before/folder"));
        }
        EXPECT_FALSE(hasMountWithinSeenFrom(tree.path("root"), folder, "/before/folder"));
    });
}

// Something may be mounted in it as far as anybody can tell: the way that would tell is covered.
TEST(MountWithin, whereAMountOfSuchANameCannotBeReached_countsAsIfItHeldOne) {
    inPrivateNamespace([] {
        TemporaryTree tree;
        const Mounted disk("none", tree.folder("disk"), "tmpfs", 0, "size=1m");
        const FileDescriptor folder = held(tree.folder("disk/folder"));
        tree.folder("disk/other/folder");
        const Mounted one("none", tree.folder("disk/other/folder/one"), "tmpfs", 0, "size=1m");
        const Mounted two("none", tree.folder("disk/other/folder/two"), "tmpfs", 0, "size=1m");
        MountWatch watch;
        EXPECT_FALSE(watch.hasMountWithin(folder.get(), tree.path("disk/folder")));
        {
            const Mounted cover("none", tree.path("disk/other"), "tmpfs", 0, "size=1m");
            EXPECT_TRUE(watch.hasMountWithin(folder.get(), tree.path("disk/folder")));
        }
        EXPECT_FALSE(watch.hasMountWithin(folder.get(), tree.path("disk/folder")));
    });
}

// What covers the way has a folder of the same name, which is not the one that the mount is in.
TEST(MountWithin, aMountWhoseFolderIsCoveredByItsLike_isNotTakenForOneOfThatFolder) {
    inPrivateNamespace([] {
        TemporaryTree tree;
        const Mounted disk("none", tree.folder("root"), "tmpfs", 0, "size=1m");
        const Mounted list("/proc/self/mountinfo", tree.file("root/proc/self/mountinfo"), "none", MS_BIND,
                           "");
        const FileDescriptor folder = held(tree.folder("root/now/folder"));
        const Mounted mounted("none", tree.folder("root/now/folder/inner"), "tmpfs", 0, "size=1m");
        const Mounted cover("none", tree.path("root/now"), "tmpfs", 0, "size=1m");
        tree.folder("root/now/folder");
        EXPECT_TRUE(hasMountWithinSeenFrom(tree.path("root"), folder, "/before/folder"));
    });
}

TEST(MountWithin, whereTheWayUpIsClosedToTheUser_countsAsIfItHeldOne) {
    require(Need::otherUsers);
    inPrivateNamespace([] {
        const QuickFolder quick;
        TemporaryTree tree;
        ASSERT_EQ(chmod(tree.root().c_str(), 0755), 0);
        const Mounted disk("none", tree.folder("disk"), "tmpfs", 0, "mode=0755,size=1m");
        const std::string folder = tree.folder("disk/folder");
        const std::string closed = tree.folder("disk/other/folder");
        const Mounted elsewhere("none", tree.folder("disk/other/folder/inner"), "tmpfs", 0, "size=1m");
        ASSERT_EQ(chmod(folder.c_str(), 0755), 0);
        ASSERT_EQ(chmod(tree.path("disk/other").c_str(), 0755), 0);
        for (const mode_t mode : {0755U, 0U}) {
            ASSERT_EQ(chmod(closed.c_str(), mode), 0);
            asUnprivilegedUser([&](const std::string&) {
                const FileDescriptor top = held(folder);
                ASSERT_TRUE(top);
                MountWatch watch;
                EXPECT_EQ(watch.hasMountWithin(top.get(), folder), mode == 0);
            });
        }
    });
}

}  // namespace
}  // namespace larkfold::test
