// The mounts of this process, each with what kind of place it is for a scan. Linux part of the platform layer
// only.
//
// A table is a value, made of the kernel's list (/proc/self/mountinfo) and of what sysfs says about the
// devices; nothing here looks at a mounted file system itself, so a dead one costs nothing. Safe from any
// thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace larkfold {

enum class MountKind {
    localDisk,
    kernel,     // views of the kernel: proc, sysfs, cgroups, automount points
    temporary,  // memory
    network,    // another machine, or a program that answers in a file system's place
    removable,  // a stick, a card, a disc: comes and goes
    container,  // put together from folders and images that lie on a disk themselves
    secondWay,  // shows what another mount shows as well (a bind mount)
};

struct Mount {
    int id = 0;
    int parentID = 0;
    unsigned deviceMajor = 0;
    unsigned deviceMinor = 0;
    std::string root;        // which folder of the file system stands at the mount point
    std::string mountPoint;  // absolute standardized bytes
    std::string fileSystem;  // "ext4"
    std::string source;      // "/dev/sda2"
    MountKind kind = MountKind::localDisk;
    // Whether somebody else than the kernel has to answer, who may be gone.
    bool mayFailToAnswer = false;
    // False where a later mount covers it: no path leads there.
    bool isVisible = true;
};

class MountTable {
public:
    // Where the table learns of devices. Tests bring their own.
    struct Surroundings {
        std::string sysfs = "/sys";
        std::string devices = "/dev";
    };

    // As it is now. A list that cannot be read gives an empty table.
    static MountTable current();

    // The text of the list that `current` reads; empty where it cannot be read.
    static std::string currentMountInfo();

    // From the text of a mountinfo file. Lines that are none are left out.
    static MountTable fromMountInfo(std::string_view text, Surroundings surroundings);

    const std::vector<Mount>& mounts() const { return mounts_; }

    // The visible mount that holds `path` by its text, links not looked at; null where none does.
    const Mount* mountHolding(std::string_view path) const;

    // The visible mount whose mount point is `path`.
    const Mount* mountAt(std::string_view path) const;

    // What a scan of "/" leaves out, see `startupDiskExclusions`.
    std::vector<std::string> startupDiskExclusions() const;

    // The visible mounts that a scan of "/" covers, one for each device.
    std::vector<Mount> startupDiskMounts() const;

    // The label of the file system, by the device links that udev keeps.
    std::optional<std::string> label(const Mount& mount) const;

private:
    // The kernel's name of the block device ("sda2"); empty where there is none.
    std::string deviceName(const Mount& mount) const;

    std::vector<Mount> mounts_;
    Surroundings surroundings_;
};

}  // namespace larkfold
