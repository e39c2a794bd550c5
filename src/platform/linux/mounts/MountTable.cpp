#include "platform/linux/mounts/MountTable.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <climits>
#include <set>
#include <utility>

#include "platform/Path.h"
#include "platform/linux/calls/FileDescriptor.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

namespace {

struct FileSystemKind {
    std::string_view name;
    MountKind kind;
};

// File systems that are not a local disk. What is not listed is one.
constexpr FileSystemKind fileSystemKinds[] = {
    {.name = "autofs", .kind = MountKind::kernel},
    {.name = "binder", .kind = MountKind::kernel},
    {.name = "binfmt_misc", .kind = MountKind::kernel},
    {.name = "bpf", .kind = MountKind::kernel},
    {.name = "cgroup", .kind = MountKind::kernel},
    {.name = "cgroup2", .kind = MountKind::kernel},
    {.name = "configfs", .kind = MountKind::kernel},
    {.name = "cpuset", .kind = MountKind::kernel},
    {.name = "debugfs", .kind = MountKind::kernel},
    {.name = "devpts", .kind = MountKind::kernel},
    {.name = "devtmpfs", .kind = MountKind::kernel},
    {.name = "efivarfs", .kind = MountKind::kernel},
    {.name = "functionfs", .kind = MountKind::kernel},
    {.name = "fusectl", .kind = MountKind::kernel},
    {.name = "hugetlbfs", .kind = MountKind::kernel},
    {.name = "mqueue", .kind = MountKind::kernel},
    {.name = "nfsd", .kind = MountKind::kernel},
    {.name = "nsfs", .kind = MountKind::kernel},
    {.name = "proc", .kind = MountKind::kernel},
    {.name = "pstore", .kind = MountKind::kernel},
    {.name = "resctrl", .kind = MountKind::kernel},
    {.name = "rpc_pipefs", .kind = MountKind::kernel},
    {.name = "securityfs", .kind = MountKind::kernel},
    {.name = "selinuxfs", .kind = MountKind::kernel},
    {.name = "smackfs", .kind = MountKind::kernel},
    {.name = "sysfs", .kind = MountKind::kernel},
    {.name = "tracefs", .kind = MountKind::kernel},
    {.name = "usbfs", .kind = MountKind::kernel},
    {.name = "xenfs", .kind = MountKind::kernel},
    {.name = "ramfs", .kind = MountKind::temporary},
    {.name = "rootfs", .kind = MountKind::temporary},
    {.name = "tmpfs", .kind = MountKind::temporary},
    {.name = "9p", .kind = MountKind::network},
    {.name = "acfs", .kind = MountKind::network},
    {.name = "afs", .kind = MountKind::network},
    {.name = "beegfs", .kind = MountKind::network},
    {.name = "ceph", .kind = MountKind::network},
    {.name = "cifs", .kind = MountKind::network},
    {.name = "coda", .kind = MountKind::network},
    {.name = "davfs", .kind = MountKind::network},
    {.name = "fuse", .kind = MountKind::network},
    {.name = "gfs2", .kind = MountKind::network},
    {.name = "glusterfs", .kind = MountKind::network},
    {.name = "gpfs", .kind = MountKind::network},
    {.name = "lustre", .kind = MountKind::network},
    {.name = "ncp", .kind = MountKind::network},
    {.name = "ncpfs", .kind = MountKind::network},
    {.name = "nfs", .kind = MountKind::network},
    {.name = "nfs4", .kind = MountKind::network},
    {.name = "ocfs2", .kind = MountKind::network},
    {.name = "orangefs", .kind = MountKind::network},
    {.name = "prl_fs", .kind = MountKind::network},
    {.name = "pvfs2", .kind = MountKind::network},
    {.name = "smb3", .kind = MountKind::network},
    {.name = "smbfs", .kind = MountKind::network},
    {.name = "vboxsf", .kind = MountKind::network},
    {.name = "virtiofs", .kind = MountKind::network},
    {.name = "vmhgfs", .kind = MountKind::network},
    {.name = "aufs", .kind = MountKind::container},
    {.name = "overlay", .kind = MountKind::container},
    {.name = "overlayfs", .kind = MountKind::container},
    // An image file's contents: the image lies on a disk that is counted.
    {.name = "squashfs", .kind = MountKind::container},
};

// Folders that hold mounts of other things and nothing of their own, whether or not anything is mounted there
// now.
constexpr std::string_view foldersOfMounts[] = {"/media", "/mnt", "/run", "/snap"};

MountKind kindOfFileSystem(std::string_view name) {
    if (name.starts_with("fuse.")) {
        return MountKind::network;
    }
    const auto* row = std::find_if(std::begin(fileSystemKinds), std::end(fileSystemKinds),
                                   [&](const FileSystemKind& candidate) { return candidate.name == name; });
    return row == std::end(fileSystemKinds) ? MountKind::localDisk : row->kind;
}

bool hasAnsweringProgram(std::string_view fileSystem, MountKind kind) {
    // "fuseblk" is a local disk, but a program serves it.
    return kind == MountKind::network || fileSystem == "autofs" || fileSystem == "fuseblk";
}

// Spaces, line breaks and backslashes stand as "\040" in the kernel's list.
std::string withoutOctalEscapes(std::string_view field) {
    std::string result;
    result.reserve(field.size());
    const auto isOctal = [](char c) { return c >= '0' && c <= '7'; };
    for (std::size_t at = 0; at < field.size(); ++at) {
        if (field[at] == '\\' && at + 3 < field.size() && field[at + 1] <= '3' && isOctal(field[at + 1]) &&
            isOctal(field[at + 2]) && isOctal(field[at + 3])) {
            result += static_cast<char>((field[at + 1] - '0') * 64 + (field[at + 2] - '0') * 8 +
                                        (field[at + 3] - '0'));
            at += 3;
        } else {
            result += field[at];
        }
    }
    return result;
}

// udev writes what may not stand in a file name as "\x20".
std::string withoutHexadecimalEscapes(std::string_view name) {
    std::string result;
    for (std::size_t at = 0; at < name.size(); ++at) {
        unsigned value = 0;
        if (name.substr(at, 2) == "\\x" && at + 4 <= name.size()) {
            const char* end = name.data() + at + 4;
            if (const auto parsed = std::from_chars(name.data() + at + 2, end, value, 16);
                parsed.ec == std::errc() && parsed.ptr == end) {
                result += static_cast<char>(static_cast<unsigned char>(value));
                at += 3;
                continue;
            }
        }
        result += name[at];
    }
    return result;
}

template <typename Number>
bool readNumber(std::string_view text, Number& number) {
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number);
    return result.ec == std::errc() && result.ptr == end;
}

// "36 35 98:0 /mnt1 /mnt2 rw,noatime master:1 - ext3 /dev/root rw,errors=continue"
std::optional<Mount> mountFromLine(std::string_view line) {
    std::vector<std::string_view> fields;
    while (!line.empty()) {
        const std::size_t end = std::min(line.find(' '), line.size());
        if (end > 0) {
            fields.push_back(line.substr(0, end));
        }
        line.remove_prefix(std::min(end + 1, line.size()));
    }
    // Between the options and the "-" stands any number of optional fields.
    const auto dash =
        std::find(fields.begin() + std::min<std::ptrdiff_t>(6, std::ssize(fields)), fields.end(), "-");
    if (fields.end() - dash < 3) {
        return std::nullopt;
    }
    Mount mount;
    const std::size_t colon = fields[2].find(':');
    if (colon == std::string_view::npos || !readNumber(fields[0], mount.id) ||
        !readNumber(fields[1], mount.parentID) ||
        !readNumber(fields[2].substr(0, colon), mount.deviceMajor) ||
        !readNumber(fields[2].substr(colon + 1), mount.deviceMinor) || !fields[4].starts_with('/')) {
        return std::nullopt;
    }
    mount.root = withoutOctalEscapes(fields[3]);
    mount.mountPoint = withoutOctalEscapes(fields[4]);
    mount.fileSystem = withoutOctalEscapes(dash[1]);
    mount.source = withoutOctalEscapes(dash[2]);
    mount.kind = kindOfFileSystem(mount.fileSystem);
    mount.mayFailToAnswer = hasAnsweringProgram(mount.fileSystem, mount.kind);
    return mount;
}

// A file of the kernel's, which says nothing of its size beforehand; empty where it cannot be read.
std::string kernelFile(const std::string& path) {
    const FileDescriptor descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::string text;
    if (!descriptor) {
        return text;
    }
    std::array<char, 1 << 16> buffer;
    for (;;) {
        const ssize_t count = ::read(descriptor.get(), buffer.data(), buffer.size());
        if (count > 0) {
            text.append(buffer.data(), static_cast<std::size_t>(count));
        } else if (count == 0) {
            return text;
        } else if (errno != EINTR) {
            return {};  // half of it would be taken for the whole
        }
    }
}

std::string linkTarget(const std::string& path) {
    std::array<char, PATH_MAX> buffer;
    const ssize_t length = ::readlink(path.c_str(), buffer.data(), buffer.size());
    return length < 0 ? std::string() : std::string(buffer.data(), static_cast<std::size_t>(length));
}

std::vector<std::string> namesIn(const std::string& folder) {
    std::vector<std::string> names;
    if (DIR* stream = ::opendir(folder.c_str())) {
        while (const dirent* entry = ::readdir(stream)) {
            const std::string_view name = entry->d_name;
            if (name != "." && name != "..") {
                names.emplace_back(name);
            }
        }
        ::closedir(stream);
    }
    std::sort(names.begin(), names.end());
    return names;
}

// Sets `isVisible`. A mount is covered by one on top of it at the same point, by one mounted later (on the
// same parent) at a folder above it, and when its parent is covered.
void findCovered(std::vector<Mount>& mounts) {
    const auto covers = [&](const Mount& upper, const Mount& lower) {
        if (&upper == &lower) {
            return false;
        }
        if (upper.parentID == lower.id && upper.id != lower.id) {
            return upper.mountPoint == lower.mountPoint;
        }
        return upper.parentID == lower.parentID && upper.mountPoint != lower.mountPoint &&
               isAtOrBelow(lower.mountPoint, upper.mountPoint);
    };
    for (Mount& lower : mounts) {
        lower.isVisible = std::none_of(mounts.begin(), mounts.end(),
                                       [&](const Mount& upper) { return covers(upper, lower); });
    }
    // "Covered at its own point" hides nothing of what hangs below by other parents; a parent that lies under
    // a covering sibling hides all its children. Repeated until nothing changes, since parents may be listed
    // behind children.
    for (bool changed = true; changed;) {
        changed = false;
        for (Mount& lower : mounts) {
            if (!lower.isVisible) {
                continue;
            }
            const auto parent = std::find_if(mounts.begin(), mounts.end(), [&](const Mount& candidate) {
                return candidate.id == lower.parentID && candidate.id != lower.id;
            });
            // A mount on top of its parent's own point stays in sight although the parent does not.
            if (parent != mounts.end() && !parent->isVisible && parent->mountPoint != lower.mountPoint) {
                lower.isVisible = false;
                changed = true;
            }
        }
    }
}

bool isBelowAny(const std::string& path, const std::vector<std::string>& folders) {
    return std::any_of(folders.begin(), folders.end(),
                       [&](const std::string& folder) { return isAtOrBelow(path, folder); });
}

// What sysfs tells of disks.
class Devices {
public:
    explicit Devices(std::string sysfs) : sysfs_(std::move(sysfs)) {}

    // The disks that hold the device ("sda"), through partitions, encryption and volume managers.
    std::set<std::string> disks(const std::string& device) const {
        std::set<std::string> result;
        collectDisks(device, 0, result);
        return result;
    }

    bool isRemovable(const std::string& disk) const {
        if (linkTarget(classLink(disk)).find("/usb") != std::string::npos) {
            return true;
        }
        return kernelFile(classLink(disk) + "/removable").starts_with('1');
    }

private:
    std::string classLink(const std::string& device) const { return sysfs_ + "/class/block/" + device; }

    void collectDisks(const std::string& device, int depth, std::set<std::string>& result) const {
        constexpr int deepestStack = 8;
        if (device.empty() || depth > deepestStack) {
            return;
        }
        const std::vector<std::string> below = namesIn(classLink(device) + "/slaves");
        for (const std::string& name : below) {
            collectDisks(name, depth + 1, result);
        }
        if (!below.empty()) {
            return;
        }
        // ".../block/sda/sda2": a partition lies in its disk's folder.
        const std::string target = linkTarget(classLink(device));
        const std::string_view folder = lastPathComponent(parentPath(target));
        result.insert(folder.empty() || folder == "block" || folder == "/" ? device : std::string(folder));
    }

    std::string sysfs_;
};

}  // namespace

MountTable MountTable::current() {
    return fromMountInfo(currentMountInfo(), Surroundings{});
}

std::string MountTable::currentMountInfo() {
    return kernelFile("/proc/self/mountinfo");
}

MountTable MountTable::fromMountInfo(std::string_view text, Surroundings surroundings) {
    // 1. The lines, each with the kind that its file system's name tells.
    MountTable table;
    table.surroundings_ = std::move(surroundings);
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        if (auto mount = mountFromLine(text.substr(0, end))) {
            table.mounts_.push_back(std::move(*mount));
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }

    // 2. What is in sight.
    findCovered(table.mounts_);

    // 3. Removable disks. The disk that holds "/" is none, also when the system runs from a stick: what else
    // of it is
    //    mounted belongs to the same machine.
    const Devices devices(table.surroundings_.sysfs);
    const Mount* root = table.mountAt("/");
    const std::set<std::string> rootDisks =
        root == nullptr ? std::set<std::string>() : devices.disks(table.deviceName(*root));
    for (Mount& mount : table.mounts_) {
        if (mount.kind != MountKind::localDisk || !mount.isVisible) {
            continue;
        }
        const std::set<std::string> disks = devices.disks(table.deviceName(mount));
        if (std::any_of(disks.begin(), disks.end(), [&](const std::string& disk) {
                return !rootDisks.contains(disk) && devices.isRemovable(disk);
            })) {
            mount.kind = MountKind::removable;
        }
    }

    // 4. Second ways: the root first, then by mount point, so that of two equal ways the shorter is the
    // first.
    std::vector<std::string> excluded;
    for (const std::string_view folder : foldersOfMounts) {
        excluded.emplace_back(folder);
    }
    std::vector<Mount*> order;
    for (Mount& mount : table.mounts_) {
        if (mount.isVisible && (mount.kind == MountKind::localDisk || mount.mountPoint == "/")) {
            order.push_back(&mount);
        } else if (mount.isVisible) {
            excluded.push_back(mount.mountPoint);
        }
    }
    std::sort(order.begin(), order.end(), [](const Mount* left, const Mount* right) {
        return std::pair(left->mountPoint.size(), left->mountPoint) <
               std::pair(right->mountPoint.size(), right->mountPoint);
    });
    std::vector<const Mount*> firstWays;
    for (Mount* mount : order) {
        const bool isSecond = std::any_of(firstWays.begin(), firstWays.end(), [&](const Mount* first) {
            if (first->deviceMajor != mount->deviceMajor || first->deviceMinor != mount->deviceMinor ||
                !isAtOrBelow(mount->root, first->root)) {
                return false;
            }
            // Where the first mount shows the same folder; a scan comes by there unless it is covered or left
            // out.
            const std::string_view below =
                std::string_view(mount->root).substr(first->root == "/" ? 0 : first->root.size());
            const std::string shown = standardizedPath(first->mountPoint + "/" + std::string(below));
            return shown != mount->mountPoint && table.mountHolding(shown) == first &&
                   !isBelowAny(shown, excluded);
        });
        if (isSecond && mount->mountPoint != "/") {
            mount->kind = MountKind::secondWay;
            excluded.push_back(mount->mountPoint);
        } else if (!isBelowAny(mount->mountPoint, excluded)) {
            firstWays.push_back(mount);
        }
    }
    return table;
}

const Mount* MountTable::mountHolding(std::string_view path) const {
    const Mount* longest = nullptr;
    for (const Mount& mount : mounts_) {
        if (mount.isVisible && isAtOrBelow(path, mount.mountPoint) &&
            (longest == nullptr || mount.mountPoint.size() >= longest->mountPoint.size())) {
            longest = &mount;
        }
    }
    return longest;
}

const Mount* MountTable::mountAt(std::string_view path) const {
    const Mount* mount = mountHolding(path);
    return mount != nullptr && mount->mountPoint == path ? mount : nullptr;
}

std::vector<std::string> MountTable::startupDiskExclusions() const {
    std::vector<std::string> paths(std::begin(foldersOfMounts), std::end(foldersOfMounts));
    for (const Mount& mount : mounts_) {
        if (mount.isVisible && mount.kind != MountKind::localDisk && mount.mountPoint != "/") {
            paths.push_back(mount.mountPoint);
        }
    }
    std::sort(paths.begin(), paths.end());
    paths.erase(std::unique(paths.begin(), paths.end()), paths.end());
    return paths;
}

std::vector<Mount> MountTable::startupDiskMounts() const {
    const std::vector<std::string> excluded = startupDiskExclusions();
    std::vector<Mount> result;
    std::set<std::pair<unsigned, unsigned>> devices;
    for (const Mount& mount : mounts_) {
        if (mount.isVisible && !isBelowAny(mount.mountPoint, excluded) &&
            devices.emplace(mount.deviceMajor, mount.deviceMinor).second) {
            result.push_back(mount);
        }
    }
    return result;
}

std::string MountTable::deviceName(const Mount& mount) const {
    if (mount.deviceMajor != 0) {
        const std::string target =
            linkTarget(surroundings_.sysfs + "/dev/block/" + std::to_string(mount.deviceMajor) + ":" +
                       std::to_string(mount.deviceMinor));
        return target.empty() ? std::string() : std::string(lastPathComponent(target));
    }
    // A file system that spans devices has a number of its own; its source names one of them.
    if (!mount.source.starts_with("/dev/")) {
        return {};
    }
    const std::string target = linkTarget(surroundings_.devices + mount.source.substr(4));
    return std::string(lastPathComponent(target.empty() ? mount.source : target));
}

std::optional<std::string> MountTable::label(const Mount& mount) const {
    const std::string device = deviceName(mount);
    if (device.empty()) {
        return std::nullopt;
    }
    const std::string folder = surroundings_.devices + "/disk/by-label";
    for (const std::string& name : namesIn(folder)) {
        if (lastPathComponent(linkTarget(joinedPath(folder, name))) == device) {
            return withoutHexadecimalEscapes(name);
        }
    }
    return std::nullopt;
}

}  // namespace larkfold
