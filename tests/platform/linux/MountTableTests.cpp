#include "platform/linux/mounts/MountTable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "support/TemporaryTree.h"

namespace larkfold {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;

constexpr const char* root = "27 1 8:2 / / rw,relatime shared:1 - ext4 /dev/sda2 rw\n";

class MountTableTest : public testing::Test {
protected:
    MountTable table(const std::string& text) {
        return MountTable::fromMountInfo(text, {.sysfs = tree.path("sys"), .devices = tree.path("dev")});
    }
    std::vector<std::string> exclusions(const std::string& text) {
        return table(root + text).startupDiskExclusions();
    }

    // A partition as sysfs shows it: its number and its name lead to its disk's folder.
    void device(const std::string& number, const std::string& name, const std::string& below) {
        tree.folder("sys/devices/" + below + "/" + name);
        tree.link("sys/dev/block/" + number, "../../devices/" + below + "/" + name);
        tree.link("sys/class/block/" + name, "../../devices/" + below + "/" + name);
    }
    void disk(const std::string& name, const std::string& below, bool isRemovable) {
        tree.file("sys/devices/" + below + "/removable", isRemovable ? "1\n" : "0\n");
        tree.link("sys/class/block/" + name, "../../devices/" + below);
    }

    MountKind kindOf(const std::string& text, const std::string& mountPoint) {
        const MountTable made = table(text);
        const Mount* mount = made.mountAt(mountPoint);
        EXPECT_NE(mount, nullptr) << mountPoint;
        return mount == nullptr ? MountKind::localDisk : mount->kind;
    }

    test::TemporaryTree tree;
};

TEST_F(MountTableTest, readsTheFieldsOfALine) {
    const MountTable made = table(
        "36 35 98:7 /sub\\040folder /mnt\\0112\\134x rw,noatime master:1 propagate_from:2 - ext3 "
        "/dev/a\\040b rw\n");
    ASSERT_EQ(made.mounts().size(), 1u);
    const Mount& mount = made.mounts()[0];
    EXPECT_EQ(mount.id, 36);
    EXPECT_EQ(mount.parentID, 35);
    EXPECT_EQ(mount.deviceMajor, 98u);
    EXPECT_EQ(mount.deviceMinor, 7u);
    EXPECT_EQ(mount.root, "/sub folder");
    EXPECT_EQ(mount.mountPoint, "/mnt\t2\\x");
    EXPECT_EQ(mount.fileSystem, "ext3");
    EXPECT_EQ(mount.source, "/dev/a b");
}

TEST_F(MountTableTest, linesThatAreNoneAreLeftOut) {
    const MountTable made = table(
        "\nx\n1 2 3 4 5\n1 2 a:b / /x rw - ext4 /dev/a rw\n1 2 8:1 / relative rw - ext4 a rw\n"
        "1 2 8:1 / /x rw - ext4\n" +
        std::string(root) + "tail without an end");
    ASSERT_EQ(made.mounts().size(), 1u);
    EXPECT_EQ(made.mounts()[0].mountPoint, "/");
}

TEST_F(MountTableTest, anEmptyListStillNamesTheFoldersOfMounts) {
    EXPECT_THAT(table("").startupDiskExclusions(), ElementsAre("/media", "/mnt", "/run", "/snap"));
    EXPECT_TRUE(table("").startupDiskMounts().empty());
}

TEST_F(MountTableTest, kernelTemporaryNetworkAndContainerMountsAreLeftOut) {
    EXPECT_THAT(
        exclusions("30 27 0:21 / /proc rw - proc proc rw\n"
                   "31 27 0:22 / /sys rw - sysfs sysfs rw\n"
                   "32 31 0:23 / /sys/fs/cgroup rw - cgroup2 cgroup2 rw\n"
                   "33 27 0:24 / /dev rw - devtmpfs udev rw\n"
                   "34 27 0:25 / /tmp rw - tmpfs tmpfs rw\n"
                   "35 39 0:26 / /home/ada/net rw - nfs4 server:/export rw\n"
                   "36 39 0:27 / /home/ada/ssh rw - fuse.sshfs ada@host: rw\n"
                   "37 27 0:28 / /var/lib/docker/overlay2/x/merged rw - overlay overlay rw\n"
                   "38 27 0:29 / /auto rw - autofs systemd-1 rw\n"
                   "39 27 8:3 / /home rw - ext4 /dev/sda3 rw\n"),
        ElementsAre("/auto", "/dev", "/home/ada/net", "/home/ada/ssh", "/media", "/mnt", "/proc", "/run",
                    "/snap", "/sys", "/sys/fs/cgroup", "/tmp", "/var/lib/docker/overlay2/x/merged"));
}

TEST_F(MountTableTest, aRootInMemoryOrPutTogetherIsStillScanned) {
    for (const char* fileSystem : {"tmpfs", "overlay", "nfs", "fuse.fuse-overlayfs"}) {
        const MountTable made = table("27 1 0:30 / / rw - " + std::string(fileSystem) + " x rw\n");
        EXPECT_THAT(made.startupDiskExclusions(), Not(Contains("/"))) << fileSystem;
        ASSERT_EQ(made.startupDiskMounts().size(), 1u) << fileSystem;
    }
}

TEST_F(MountTableTest, whoMayFailToAnswerIsKnownByTheFileSystem) {
    const auto mayFail = [&](const std::string& fileSystem) {
        return table("27 1 0:30 / / rw - " + fileSystem + " x rw\n").mounts().at(0).mayFailToAnswer;
    };
    for (const char* fileSystem : {"nfs", "nfs4", "cifs", "smb3", "9p", "afs", "ceph", "fuse", "fuse.sshfs",
                                   "fuse.anything", "fuseblk", "autofs", "virtiofs"}) {
        EXPECT_TRUE(mayFail(fileSystem)) << fileSystem;
    }
    for (const char* fileSystem :
         {"ext4", "xfs", "btrfs", "vfat", "tmpfs", "proc", "overlay", "zfs", "fusectl"}) {
        EXPECT_FALSE(mayFail(fileSystem)) << fileSystem;
    }
}

TEST_F(MountTableTest, aBindMountIsASecondWay) {
    EXPECT_THAT(exclusions("30 27 8:2 /home/ada /srv/ada rw - ext4 /dev/sda2 rw\n"), Contains("/srv/ada"));
    EXPECT_THAT(exclusions("30 27 8:2 / /srv/all rw - ext4 /dev/sda2 rw\n"), Contains("/srv/all"));
    EXPECT_THAT(exclusions("30 27 8:2 /etc/hosts /srv/hosts rw - ext4 /dev/sda2 rw\n"),
                Contains("/srv/hosts"));
}

TEST_F(MountTableTest, ofTwoMountsOfOneDiskTheFirstByPathStays) {
    const std::string text =
        "30 27 8:5 / /data/second rw - ext4 /dev/sda5 rw\n31 27 8:5 / /data/a rw - ext4 /dev/sda5 rw\n";
    EXPECT_THAT(exclusions(text), Contains("/data/second"));
    EXPECT_THAT(exclusions(text), Not(Contains("/data/a")));
}

TEST_F(MountTableTest, subvolumesOfOneDiskAreNoSecondWays) {
    const MountTable made = table(
        "27 1 0:30 /@ / rw - btrfs /dev/sda2 rw\n30 27 0:30 /@home /home rw - btrfs /dev/sda2 rw\n"
        "31 27 0:30 /@home/ada /srv/ada rw - btrfs /dev/sda2 rw\n");
    EXPECT_THAT(made.startupDiskExclusions(), Not(Contains("/home")));
    EXPECT_THAT(made.startupDiskExclusions(), Contains("/srv/ada"));
    EXPECT_EQ(made.startupDiskMounts().size(), 1u) << "one device, counted once";
}

TEST_F(MountTableTest, aBindMountOfWhatIsHiddenElsewhereIsTheOnlyWay) {
    // "/home" of the root's own disk lies under the mount of another disk.
    EXPECT_THAT(exclusions("30 27 8:3 / /home rw - ext4 /dev/sda3 rw\n31 27 8:2 /home/old /srv/old rw - ext4 "
                           "/dev/sda2 rw\n"),
                Not(Contains("/srv/old")));
    // The first way lies in a folder that the scan leaves out.
    EXPECT_THAT(
        exclusions(
            "30 27 8:3 / /mnt/disk rw - ext4 /dev/sda3 rw\n31 27 8:3 / /data rw - ext4 /dev/sda3 rw\n"),
        Not(Contains("/data")));
}

TEST_F(MountTableTest, aCoveredMountDoesNotCount) {
    // Memory first, a disk on top of it at the same point: the disk is what is there.
    const std::string onTop =
        "30 27 0:40 / /data rw - tmpfs tmpfs rw\n31 30 8:5 / /data rw - ext4 /dev/sda5 rw\n";
    EXPECT_THAT(exclusions(onTop), Not(Contains("/data")));
    EXPECT_EQ(table(root + onTop).mountAt("/data")->id, 31);
    // A mount inside of a folder that was covered later.
    const std::string inside =
        "30 27 0:40 / /data/inner rw - tmpfs tmpfs rw\n31 27 8:5 / /data rw - ext4 /dev/sda5 rw\n";
    EXPECT_THAT(exclusions(inside), Not(Contains("/data/inner")));
    // What is mounted on the upper one is in sight.
    EXPECT_THAT(exclusions(onTop + "32 31 0:41 / /data/memory rw - tmpfs tmpfs rw\n"),
                Contains("/data/memory"));
    // What hangs on a covered one is not.
    EXPECT_THAT(exclusions(inside + "33 30 0:42 / /data/inner/more rw - tmpfs tmpfs rw\n"),
                Not(Contains("/data/inner/more")));
}

TEST_F(MountTableTest, removableDisksAreLeftOut) {
    device("8:2", "sda2", "pci/ata1/block/sda");
    disk("sda", "pci/ata1/block/sda", false);
    device("8:17", "sdb1", "pci/usb1/1-1/block/sdb");
    disk("sdb", "pci/usb1/1-1/block/sdb", false);
    device("8:33", "sdc1", "pci/ata2/block/sdc");
    disk("sdc", "pci/ata2/block/sdc", true);
    device("8:49", "sdd1", "pci/ata3/block/sdd");
    disk("sdd", "pci/ata3/block/sdd", false);
    const std::string text =
        std::string(root) +
        "30 27 8:17 / /usb rw - vfat /dev/sdb1 rw\n31 27 8:33 / /card rw - vfat /dev/sdc1 rw\n"
        "32 27 8:49 / /data rw - ext4 /dev/sdd1 rw\n";
    EXPECT_EQ(kindOf(text, "/usb"), MountKind::removable);
    EXPECT_EQ(kindOf(text, "/card"), MountKind::removable);
    EXPECT_EQ(kindOf(text, "/data"), MountKind::localDisk);
    EXPECT_THAT(table(text).startupDiskExclusions(), testing::IsSupersetOf({"/usb", "/card"}));
}

TEST_F(MountTableTest, encryptionDoesNotHideAStick) {
    disk("sdb", "pci/usb1/1-1/block/sdb", false);
    tree.folder("sys/devices/pci/usb1/1-1/block/sdb/sdb1");
    tree.link("sys/class/block/sdb1", "../../devices/pci/usb1/1-1/block/sdb/sdb1");
    tree.folder("sys/devices/virtual/block/dm-0");
    tree.link("sys/devices/virtual/block/dm-0/slaves/sdb1", "../../../../pci/usb1/1-1/block/sdb/sdb1");
    tree.link("sys/dev/block/253:0", "../../devices/virtual/block/dm-0");
    tree.link("sys/class/block/dm-0", "../../devices/virtual/block/dm-0");
    EXPECT_EQ(
        kindOf(std::string(root) + "30 27 253:0 / /secret rw - ext4 /dev/mapper/secret rw\n", "/secret"),
        MountKind::removable);
}

TEST_F(MountTableTest, whatLiesOnTheRootsOwnStickBelongsToTheMachine) {
    device("8:1", "sda1", "pci/usb1/1-1/block/sda");
    device("8:2", "sda2", "pci/usb1/1-1/block/sda");
    disk("sda", "pci/usb1/1-1/block/sda", true);
    EXPECT_EQ(kindOf(std::string(root) + "30 27 8:1 / /boot rw - vfat /dev/sda1 rw\n", "/boot"),
              MountKind::localDisk);
}

TEST_F(MountTableTest, aDeviceThatSysfsDoesNotKnowIsALocalDisk) {
    EXPECT_EQ(kindOf(std::string(root) + "30 27 8:77 / /data rw - ext4 /dev/sdz rw\n", "/data"),
              MountKind::localDisk);
}

TEST_F(MountTableTest, capacityCountsEachDeviceOnceAndNothingLeftOut) {
    const MountTable made =
        table(std::string(root) +
              "30 27 8:3 / /home rw - ext4 /dev/sda3 rw\n"
              "31 27 8:3 /ada /srv/ada rw - ext4 /dev/sda3 rw\n"
              "32 27 8:4 / /mnt/other rw - ext4 /dev/sda4 rw\n"
              "33 27 0:9 / /tmp rw - tmpfs tmpfs rw\n34 33 8:5 / /tmp/disk rw - ext4 /dev/sda5 rw\n");
    std::set<std::string> places;
    for (const Mount& mount : made.startupDiskMounts()) {
        places.insert(mount.mountPoint);
    }
    EXPECT_EQ(places, (std::set<std::string>{"/", "/home"}));
}

TEST_F(MountTableTest, theMountThatHoldsAPathIsTheDeepest) {
    const MountTable made = table(std::string(root) + "30 27 8:3 / /home rw - ext4 /dev/sda3 rw\n");
    EXPECT_EQ(made.mountHolding("/home/ada")->mountPoint, "/home");
    EXPECT_EQ(made.mountHolding("/homeless")->mountPoint, "/");
    EXPECT_EQ(made.mountAt("/home/ada"), nullptr);
}

TEST_F(MountTableTest, theLabelIsThatOfTheMountedDevice) {
    device("8:2", "sda2", "pci/ata1/block/sda");
    tree.folder("dev/disk/by-label");
    tree.link("dev/disk/by-label/Other", "../../sdb1");
    tree.link("dev/disk/by-label/My\\x20Disk\\xc3\\xa9", "../../sda2");
    const MountTable made = table(root);
    EXPECT_EQ(made.label(*made.mountAt("/")), "My Diské");
    const MountTable other = table("27 1 8:9 / / rw - ext4 /dev/sdz rw\n");
    EXPECT_EQ(other.label(*other.mountAt("/")), std::nullopt);
}

TEST_F(MountTableTest, theLabelOfAFileSystemOverSeveralDevicesIsFoundByItsSource) {
    tree.file("dev/dm-3");
    tree.link("dev/mapper/system", "../dm-3");
    tree.folder("dev/disk/by-label");
    tree.link("dev/disk/by-label/System", "../../dm-3");
    const MountTable made = table("27 1 0:30 /@ / rw - btrfs /dev/mapper/system rw\n");
    EXPECT_EQ(made.label(*made.mountAt("/")), "System");
}

// The root is not asked for: where the tests run with a folder as their root, the table does not name it.
TEST_F(MountTableTest, thisMachinesTableHasItsKernelViews) {
    const MountTable made = MountTable::current();
    const Mount* processes = made.mountAt("/proc");
    ASSERT_NE(processes, nullptr);
    EXPECT_EQ(processes->kind, MountKind::kernel);
    EXPECT_THAT(made.startupDiskExclusions(), Contains("/proc"));
}

}  // namespace
}  // namespace larkfold
