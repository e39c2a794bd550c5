// File systems that are mounted while a scan is under way: those that answer are read, those that never do
// cost their own place, and the scan can be stopped and its window closed. That nothing hangs is what these
// tests show by coming to their end.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/auto_fs.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "disk/DiskScannerViewModel.h"
#include "faults/FaultLoops.h"
#include "faults/IndexOracle.h"
#include "faults/PrivateNamespace.h"
#include "faults/SystemCallHarness.h"
#include "platform/DirectoryReader.h"
#include "platform/Error.h"
#include "platform/UserDefaults.h"
#include "support/MachineRequirements.h"
#include "support/TemporaryTree.h"
#include "support/TestMainLoop.h"

namespace larkfold::test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr std::chrono::hours never{24};

// What a walk came upon, as the scan walks: "path kind size", "path error", "path/" for a folder that was
// read.
std::vector<std::string> walk(DirectoryReader& reader, const std::string& root,
                              const std::function<void(const std::string&)>& onFolder) {
    struct Frame {
        std::string path;
        std::unique_ptr<DirectoryListing> listing;
        std::size_t next = 0;
    };
    std::vector<std::string> lines;
    std::vector<Frame> frames;
    const auto enter = [&](const std::string& path, std::unique_ptr<DirectoryListing> listing) {
        lines.push_back(listing->error() == 0 ? path + "/" : path + " " + strerrorname_np(listing->error()));
        onFolder(path);
        frames.push_back({.path = path, .listing = std::move(listing)});
    };
    enter(root, reader.openRoot());
    while (!frames.empty()) {
        Frame& frame = frames.back();
        if (frame.next == frame.listing->entries().size()) {
            frames.pop_back();
            continue;
        }
        const std::size_t index = frame.next++;
        const DirectoryEntry& entry = frame.listing->entries()[index];
        const std::string path = frame.path + "/" + std::string(entry.name);
        if (entry.error != 0) {
            lines.push_back(path + " " + strerrorname_np(entry.error));
        } else if (entry.kind == DirectoryEntry::Kind::directory) {
            enter(path, reader.open(*frame.listing, index));
        } else {
            lines.push_back(path + " " + std::to_string(entry.fileSize));
        }
    }
    return lines;
}

// A walk of `root`, below which `mount` mounts something as soon as the walk has come to `moment`. Nothing is
// read ahead, so that it is known what comes after that.
std::vector<std::string> walkAndMount(const std::string& root, const std::string& moment,
                                      const std::function<void()>& mount,
                                      std::chrono::milliseconds answerTimeout = std::chrono::seconds(1)) {
    DirectoryReaderOptions options;
    options.readsAhead = false;
    options.answerTimeout = answerTimeout;
    DirectoryReader reader(root, options, {});
    bool isMounted = false;
    std::vector<std::string> lines = walk(reader, root, [&](const std::string& path) {
        if (path == moment) {
            mount();
            isMounted = true;
        }
    });
    EXPECT_TRUE(isMounted);
    for (std::string& line : lines) {
        line.erase(0, root.size());
    }
    return lines;
}

void makeTree(TemporaryTree& tree) {
    tree.fileOfSize("root/a/one", 5'000);
    tree.fileOfSize("root/m/inner/two", 3'000);
    tree.fileOfSize("root/m/z", 4'000);
    tree.fileOfSize("root/z/three", 9'000);
}

TEST(MountDuringScan, aDeadFolder_isToldAndTheRestIsComplete) {
    inPrivateNamespace([] {
        TemporaryTree tree;
        makeTree(tree);
        std::optional<DeadMount> dead;
        // A folder whose first entry it is, and the folder itself.
        EXPECT_THAT(walkAndMount(tree.path("root"), tree.path("root"),
                                 [&] { dead.emplace(tree.path("root/m/inner")); }),
                    ElementsAre("/", "/a/", "/a/one 5000", "/m/", "/m/inner ETIMEDOUT", "/m/z 4000", "/z/",
                                "/z/three 9000"));
        dead.reset();
        EXPECT_THAT(
            walkAndMount(tree.path("root"), tree.path("root/a"), [&] { dead.emplace(tree.path("root/m")); }),
            ElementsAre("/", "/a/", "/a/one 5000", "/m ETIMEDOUT", "/z/", "/z/three 9000"));
    });
}

TEST(MountDuringScan, aDeadFile_isToldAndTheRestIsComplete) {
    inPrivateNamespace([] {
        TemporaryTree tree;
        makeTree(tree);
        for (const auto greeting : {DeadMount::Greeting::none, DeadMount::Greeting::answered}) {
            std::optional<DeadMount> dead;
            EXPECT_THAT(walkAndMount(tree.path("root"), tree.path("root/a"),
                                     [&] { dead.emplace(tree.path("root/m/z"), greeting); }),
                        ElementsAre("/", "/a/", "/a/one 5000", "/m/", "/m/inner/", "/m/inner/two 3000",
                                    "/m/z ETIMEDOUT", "/z/", "/z/three 9000"));
        }
    });
}

TEST(MountDuringScan, whatAnswers_isReadAsItIs) {
    inPrivateNamespace([] {
        TemporaryTree tree;
        makeTree(tree);
        tree.fileOfSize("beside/other/four", 100);
        std::optional<Mounted> folder;
        std::optional<Mounted> file;
        EXPECT_THAT(walkAndMount(tree.path("root"), tree.path("root"),
                                 [&] {
                                     folder.emplace(tree.path("beside"), tree.path("root/m/inner"), "none",
                                                    MS_BIND, "");
                                     file.emplace(tree.path("beside/other/four"), tree.path("root/m/z"),
                                                  "none", MS_BIND, "");
                                 }),
                    ElementsAre("/", "/a/", "/a/one 5000", "/m/", "/m/inner/", "/m/inner/other/",
                                "/m/inner/other/four 100", "/m/z 100", "/z/", "/z/three 9000"));
    });
}

// A dead one that came upon one that answers.
TEST(MountDuringScan, aDeadFolderWithinAMount_costsItsOwnPlaceOnly) {
    inPrivateNamespace([] {
        TemporaryTree tree;
        makeTree(tree);
        const Mounted disk("none", tree.path("root/m"), "tmpfs", 0, "size=1m");
        tree.fileOfSize("root/m/first/in", 10);
        tree.fileOfSize("root/m/second/in", 20);
        std::optional<DeadMount> dead;
        EXPECT_THAT(walkAndMount(tree.path("root"), tree.path("root/m"),
                                 [&] { dead.emplace(tree.path("root/m/first")); }),
                    ElementsAre("/", "/a/", "/a/one 5000", "/m/", "/m/first ETIMEDOUT", "/m/second/",
                                "/m/second/in 20", "/z/", "/z/three 9000"));
    });
}

TEST(MountDuringScan, whereNothingIsToBeEntered_itIsRefusedWithoutAQuestion) {
    inPrivateNamespace([] {
        TemporaryTree tree;
        makeTree(tree);
        const DeadMount folder(tree.path("root/a"));
        const DeadMount file(tree.path("root/m/z"));
        DirectoryReaderOptions options;
        options.crossesMounts = false;
        options.answerTimeout = never;
        DirectoryReader reader(tree.path("root"), options, {});
        const auto lines = walk(reader, tree.path("root"), [](const std::string&) {});
        EXPECT_THAT(lines,
                    testing::IsSupersetOf({tree.path("root/a") + " EXDEV", tree.path("root/m/z") + " EXDEV",
                                           tree.path("root/z/three") + " 9000"}));
    });
}

// The walk is so deep that the folders above it have been closed, and comes back to one that is covered
// meanwhile: the way up from below leads into the dead mount, and so does the one down from the root.
TEST(MountDuringScan, overAFolderThatTheWalkComesBackTo_isToldAndTheRestIsComplete) {
    constexpr std::size_t depth = 300;
    constexpr std::size_t covered = 50;
    const auto level = [](std::size_t count) {
        std::string path;
        for (std::size_t i = 0; i < count; ++i) {
            path += "/d";
        }
        return path;
    };
    inPrivateNamespace([&] {
        const QuickFolder quick;
        TemporaryTree tree;
        tree.folder("root" + level(depth));
        for (std::size_t i = 0; i < depth; ++i) {
            tree.folder("root" + level(i) + "/y");
            tree.folder("root" + level(i) + "/z");
        }
        std::optional<DeadMount> dead;
        const auto lines = walkAndMount(tree.path("root"), tree.path("root" + level(depth)),
                                        [&] { dead.emplace(tree.path("root" + level(covered))); });
        EXPECT_EQ(lines.size(), 1 + 3 * depth);
        std::vector<std::string> unread;
        std::copy_if(lines.begin(), lines.end(), std::back_inserter(unread),
                     [](const std::string& line) { return !line.ends_with('/'); });
        EXPECT_THAT(unread, ElementsAre(level(covered) + "/y ETIMEDOUT", level(covered) + "/z ETIMEDOUT"));
    });
}

// An automount point whose program never does what it is asked. That program is a process of its own: of the
// processes of its group the kernel asks nothing.
class DeadAutomount {
public:
    explicit DeadAutomount(const std::string& folder) {
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends_) != 0) {
            std::abort();
        }
        program_ = fork();
        if (program_ == 0) {
            serve(folder);
        }
        close(ends_[1]);
        char answer = 0;
        isGranted_ = read(ends_[0], &answer, 1) == 1 && answer == 'm';
    }
    ~DeadAutomount() {
        close(ends_[0]);
        int status = 0;
        waitpid(program_, &status, 0);
    }
    DeadAutomount(const DeadAutomount&) = delete;
    DeadAutomount& operator=(const DeadAutomount&) = delete;

    // Not every namespace may mount one.
    bool isGranted() const { return isGranted_; }

private:
    // Until the other end of the connection is closed. Whoever waits then gets an error.
    [[noreturn]] void serve(const std::string& folder) const {
        close(ends_[0]);
        setpgid(0, 0);
        int questions[2];
        if (pipe(questions) != 0) {
            _exit(1);
        }
        const std::string options = "fd=" + std::to_string(questions[1]) + ",minproto=5,maxproto=5,direct";
        const bool isMounted = mount("none", folder.c_str(), "autofs", 0, options.c_str()) == 0;
        char word = isMounted ? 'm' : 'n';
        static_cast<void>(write(ends_[1], &word, 1));
        static_cast<void>(read(ends_[1], &word, 1));
        if (isMounted) {
            ioctl(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC), AUTOFS_IOC_CATATONIC);
            umount2(folder.c_str(), MNT_DETACH);
        }
        _exit(0);
    }

    int ends_[2] = {-1, -1};
    pid_t program_ = 0;
    bool isGranted_ = false;
};

// One more kind of a place where nobody answers: to open a folder as a folder is what asks.
TEST(MountDuringScan, aDeadAutomountPoint_isToldAndTheRestIsComplete) {
    inPrivateNamespace([] {
        TemporaryTree tree;
        makeTree(tree);
        std::optional<DeadAutomount> dead;
        const auto lines =
            walkAndMount(tree.path("root"), tree.path("root/a"), [&] { dead.emplace(tree.path("root/m")); });
        if (!dead->isGranted()) {
            return;  // that a scan reads the folder is shown by the other tests
        }
        EXPECT_THAT(lines, ElementsAre("/", "/a/", "/a/one 5000", "/m ETIMEDOUT", "/z/", "/z/three 9000"));
    });
}

TEST(MountDuringScan, aStopWhileItsAnswerIsAwaited_isObeyed) {
    inPrivateNamespace([] {
        TemporaryTree tree;
        makeTree(tree);
        for (const char* place : {"root/m", "root/m/inner", "root/m/z"}) {
            std::stop_source stop;
            std::optional<DeadMount> dead;
            std::optional<std::jthread> stopper;
            DirectoryReaderOptions options;
            options.readsAhead = false;
            options.answerTimeout = never;
            DirectoryReader reader(tree.path("root"), options, stop.get_token());
            const auto mountAtTheRoot = [&](const std::string& path) {
                if (path == tree.path("root")) {
                    dead.emplace(tree.path(place), DeadMount::Greeting::answered);
                    stopper.emplace([&] {
                        dead->awaitRequest();
                        stop.request_stop();
                    });
                }
            };
            EXPECT_THROW(walk(reader, tree.path("root"), mountAtTheRoot), CancellationError) << place;
        }
    });
}

// --- At each moment of a scan

// By the place where the dead mount comes.
class EachMoment : public testing::TestWithParam<const char*> {};

// Whenever it comes, the scan ends by itself, and what it does not hold is told.
TEST_P(EachMoment, ofAScan_aDeadMountIsToldOrCameTooLate) {
    require(Need::tracing);
    inPrivateNamespace([] {
        const QuickFolder quick;
        TemporaryTree tree;
        makeTree(tree);
        const std::string index = tree.folder("index") + "/latest-scan.sqlite";
        const std::vector<std::string> words = {"scan", "impatient", tree.path("root"), index};
        const ProgramOutcome whole = runWatched(words, [](const SystemCall&) { return Verdict{}; });
        ASSERT_THAT(whole.output, AllOf(HasSubstr("scanned 4 5 "), testing::Not(HasSubstr("unread"))));
        const std::string place = tree.path(GetParam());
        // Counted from the listing of the root on; what comes before is the index's.
        const std::uint64_t stride = thorough<std::uint64_t>(20, 5, 1);
        constexpr int fewTooLate = 10;  // from then on the walk is through
        int told = 0;
        int tooLate = 0;
        for (std::uint64_t at = 0; tooLate < fewTooLate; at += stride) {
            std::optional<DeadMount> dead;
            bool isMounted = false;
            std::optional<std::uint64_t> first;
            const ProgramOutcome outcome = runWatched(words, [&](const SystemCall& call) {
                if (!first && call.number == SYS_getdents64) {
                    first = call.stop;
                }
                if (first && call.stop == *first + at) {
                    dead.emplace(place);
                    isMounted = true;
                } else if (call.number == SYS_getpgid) {
                    dead.reset();  // the scan is over: whoever still waits comes back with what it holds
                }
                return Verdict{};
            });
            if (!isMounted) {
                break;
            }
            ASSERT_FALSE(outcome.isOverdue) << "at stop " << at;
            ASSERT_TRUE(outcome.hasExited && outcome.exitCode == 0)
                << "at stop " << at << ": " << outcome.output;
            if (outcome.output.find("unread ") == std::string::npos) {
                EXPECT_THAT(outcome.output, HasSubstr("scanned 4 5 ")) << "at stop " << at;
                ++tooLate;
            } else {
                EXPECT_THAT(outcome.output, AllOf(HasSubstr("/" + std::string(GetParam()) + "”"),
                                                  HasSubstr("did not answer in time")))
                    << "at stop " << at;
                ++told;
            }
            const std::string found = describeIndex(index);
            EXPECT_TRUE(isWhole(found)) << "at stop " << at << ": " << found;
        }
        EXPECT_GT(told, 0);
        EXPECT_GT(tooLate, 0);
    });
}

INSTANTIATE_TEST_SUITE_P(MountDuringScan, EachMoment, testing::Values("root/m/inner", "root/m", "root/m/z"),
                         [](const auto& moment) {
                             std::string name = moment.param;
                             std::replace(name.begin(), name.end(), '/', '_');
                             return name;
                         });

// --- Through the driver

// The scan waits for a file system that stood before it, and nothing is read ahead any more: the folders in
// between fill the store. Then the second one comes, and the first one goes.
TEST(MountDuringScan, aScanThatWaitsForADeadOne_isCancelledAndItsWindowCloses) {
    inPrivateNamespace([] {
        const QuickFolder quick;
        TemporaryTree tree;
        const std::size_t store = DirectoryReaderOptions().window;
        for (const char* folder : {"b", "c"}) {
            tree.folder(std::string("root/") + folder);
            for (std::size_t i = 0; i < store; ++i) {
                tree.file(std::string("root/") + folder + "/" + std::to_string(i));
            }
        }
        tree.folder("root/a");
        tree.file("root/z/three");
        for (const bool isClosed : {false, true}) {
            TestMainLoop loop;
            UserDefaults defaults(tree.path("settings.json"), loop.queue());
            std::optional<DiskScannerViewModel> driver;
            driver.emplace(
                DiskScannerViewModel::Dependencies{.mainQueue = loop.queue(),
                                                   .defaults = defaults,
                                                   .indexFileURL = tree.path("index/latest-scan.sqlite")});
            std::optional<DeadMount> gate(std::in_place, tree.path("root/a"), DeadMount::Greeting::answered);
            driver->scanFolder(tree.path("root"));
            gate->awaitRequest();
            const DeadMount dead(tree.path("root/z"), DeadMount::Greeting::answered);
            gate.reset();
            dead.awaitRequest();
            EXPECT_TRUE(driver->isScanning());
            if (!isClosed) {
                driver->cancelScan();
                EXPECT_TRUE(loop.runUntil([&] { return !driver->isScanning(); }));
                EXPECT_FALSE(driver->hasScanResult());
            }
            driver.reset();
            EXPECT_FALSE(stands(tree.path("index/latest-scan.sqlite")));
        }
    });
}

}  // namespace
}  // namespace larkfold::test
