// Trees that lead in circles or hold what must never be opened.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "disk/DiskScanner.h"
#include "disk/FileNode.h"
#include "faults/IndexOracle.h"
#include "faults/PrivateNamespace.h"
#include "faults/SystemCallHarness.h"
#include "platform/Volumes.h"
#include "support/TemporaryTree.h"

namespace larkfold::test {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

std::vector<std::string> foldersOf(const ScanResult& result) {
    std::vector<std::string> folders;
    result.rootNode->forEachNode([&](const FileNode& node) {
        if (node.isDirectory()) {
            folders.push_back(node.url());
        }
    });
    return folders;
}

TEST(BindMounts, onTheirOwnAncestor_endAndEachFolderComesOnce) {
    inPrivateNamespace([] {
        const QuickFolder quick;
        TemporaryTree tree;
        tree.fileOfSize("root/a/one", 5'000);
        tree.fileOfSize("root/b/two", 5'000);
        tree.folder("root/a/again");
        tree.folder("root/b/a-once-more");
        tree.folder("root/c");
        const ScanResult before = DiskScanner().scan(tree.path("root"), everything(), {});

        const Mounted circle(tree.path("root"), tree.path("root/a/again"), "none", MS_BIND | MS_REC, "");
        const Mounted second(tree.path("root/a"), tree.path("root/b/a-once-more"), "none", MS_BIND | MS_REC,
                             "");
        const Mounted third(tree.path("root/b"), tree.path("root/c"), "none", MS_BIND | MS_REC, "");
        const ScanResult result = DiskScanner().scan(tree.path("root"), everything(), {});

        EXPECT_THAT(result.errors, IsEmpty());
        EXPECT_EQ(result.totalFiles, before.totalFiles);
        EXPECT_EQ(result.totalSize, before.totalSize);
        const std::vector<std::string> folders = foldersOf(result);
        std::set<std::pair<dev_t, ino_t>> identities;
        for (const std::string& folder : folders) {
            struct stat values{};
            ASSERT_EQ(lstat(folder.c_str(), &values), 0) << folder;
            EXPECT_TRUE(identities.emplace(values.st_dev, values.st_ino).second) << folder << " came twice";
        }

        // What a walk finds that does not look at identities.
        int naiveFiles = 0;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(tree.path("root"))) {
            naiveFiles += entry.is_regular_file() ? 1 : 0;
        }
        EXPECT_GT(naiveFiles, result.totalFiles);
    });
}

TEST(Links, inCircles_areNotFollowed) {
    TemporaryTree tree;
    tree.file("root/a/file", "x");
    tree.link("root/a/up", "..");
    tree.link("root/a/self", "self");
    tree.link("root/a/ping", "pong");
    tree.link("root/a/pong", "ping");
    tree.link("root/away", "/");
    DiskScanOptions options = everything();
    EXPECT_EQ(DiskScanner().scan(tree.path("root"), options, {}).totalFiles, 1);
    options.skipSymbolicLinks = false;
    const ScanResult counted = DiskScanner().scan(tree.path("root"), options, {});
    EXPECT_EQ(counted.totalFiles, 6);
    EXPECT_EQ(counted.totalDirectories, 2);
    EXPECT_THAT(counted.errors, IsEmpty());
    // A root in a circle is told, not followed for ever.
    const ScanResult circle = DiskScanner().scan(tree.path("root/a/ping"), options, {});
    ASSERT_EQ(circle.errors.size(), 1U);
    EXPECT_THAT(circle.errors[0].error->description(), HasSubstr("lead in a circle"));
}

// Opening a pipe waits for somebody at its other end, and opening a device may start a machine.
TEST(SpecialFiles, areCountedAndNeverOpened) {
    inPrivateNamespace([] {
        const QuickFolder quick;
        TemporaryTree tree;
        tree.file("root/ordinary", "x");
        tree.fifo("root/pipe");
        tree.folder("root/folder");
        tree.fifo("root/folder/pipe-in-folder");
        const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        ASSERT_LT(tree.path("root/socket").size(), sizeof address.sun_path);
        std::strcpy(address.sun_path, tree.path("root/socket").c_str());  // NOLINT: the length was looked at
        ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        // Devices by a mount, since an ordinary user's namespace may not make any.
        tree.file("root/device");
        tree.file("root/terminal");
        const Mounted device("/dev/zero", tree.path("root/device"), "none", MS_BIND, "");
        const Mounted terminal("/dev/tty", tree.path("root/terminal"), "none", MS_BIND, "");

        std::set<std::string> opened;
        const ProgramOutcome outcome =
            runWatched({"scan", "scan", tree.path("root"), tree.folder("index") + "/i.sqlite"},
                       [&](const SystemCall& call) {
                           if (call.isEntry && (call.number == SYS_openat || call.number == SYS_openat2)) {
                               opened.insert(call.text(1));
                           } else if (call.isEntry && call.number == SYS_open) {
                               opened.insert(call.text(0));
                           }
                           return Verdict{};
                       });
        close(listener);
        EXPECT_THAT(outcome.output, HasSubstr("scanned 6 2 ")) << "files and folders";
        for (const char* special : {"pipe", "pipe-in-folder", "socket", "device", "terminal", "ordinary"}) {
            EXPECT_THAT(opened, Not(Contains(testing::EndsWith(special))));
        }
        EXPECT_THAT(opened, Contains("folder")) << "the watcher sees what is opened";
    });
}

TEST(SpecialFiles, asTheRoot_areToldAndNotOpened) {
    TemporaryTree tree;
    const std::string pipe = tree.fifo("pipe");
    const ScanResult result =
        DiskScanner().scan(pipe, everything(), {});  // comes back: nobody opens the other end
    EXPECT_EQ(result.totalFiles, 0);
    ASSERT_EQ(result.errors.size(), 1U);
    EXPECT_EQ(result.errors[0].path, pipe);
}

// As in a build environment: the program's root is a folder, the kernel's list of mounts names nothing at
// "/".
TEST(ChangedRoot, thatIsNoMountPoint_hasTheCapacityOfWhatItLiesOn) {
    inPrivateNamespace([] {
        TemporaryTree tree;
        const Mounted disk("none", tree.folder("disk"), "tmpfs", 0, "size=3m");
        const Mounted list("/proc", tree.folder("disk/root/proc"), "none", MS_BIND | MS_REC, "");
        const int before = open("/", O_PATH | O_DIRECTORY | O_CLOEXEC);
        ASSERT_EQ(chroot(tree.path("disk/root").c_str()), 0);
        const VolumeCapacity capacity = volumeCapacity("/");
        ASSERT_EQ(fchdir(before), 0);
        ASSERT_EQ(chroot("."), 0);
        close(before);

        ASSERT_TRUE(capacity.total && capacity.available);
        EXPECT_EQ(*capacity.total, 3 << 20);
        EXPECT_GT(*capacity.available, 0);
    });
}

}  // namespace
}  // namespace larkfold::test
