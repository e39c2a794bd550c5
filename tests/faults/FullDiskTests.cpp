// The index is written to a disk that is full, out of names, or read-only.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <string>

#include "disk/DiskScanner.h"
#include "disk/ScanIndexDatabase.h"
#include "faults/IndexOracle.h"
#include "faults/PrivateNamespace.h"
#include "faults/SystemCallHarness.h"
#include "support/TemporaryTree.h"

namespace larkfold::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

constexpr int tooManyFiles = 12'000;  // their rows take several megabytes

// A disk of one megabyte with an index of a small folder on it, and a folder whose index is too large for
// that.
struct SmallDisk {
    SmallDisk()
        : disk("none", tree.folder("disk"), "tmpfs", 0, "size=1m,nr_inodes=50"),
          index(tree.path("disk/latest-scan.sqlite")) {
        tree.file("small/one", "1");
        tree.file("small/two", "22");
        for (int i = 0; i < tooManyFiles; ++i) {
            tree.file("large/" + std::to_string(i % 40) + "/a file with quite a long name " +
                      std::to_string(i));
        }
        makeIndex(tree.path("small"), index);
        before = describeIndex(index);
    }

    std::string scanLarge() const {
        try {
            makeIndex(tree.path("large"), index);
            return "";
        } catch (const ScanIndexDatabase::Failure& failure) {
            return failure.description();
        }
    }

    QuickFolder quick;
    TemporaryTree tree;
    Mounted disk;
    std::string index;
    std::string before;
};

TEST(FullDisk, whileTheIndexIsWritten_failsWithASentenceAndKeepsTheEarlierIndex) {
    inPrivateNamespace([] {
        const SmallDisk disk;
        ASSERT_TRUE(isWhole(disk.before)) << disk.before;
        EXPECT_EQ(disk.scanLarge(), "Scan index: database or disk is full");
        EXPECT_EQ(describeIndex(disk.index), disk.before);
        EXPECT_THAT(filesWithPrefix(disk.tree.path("disk"), "scan-"), IsEmpty());

        // And with room again, the next scan succeeds.
        ASSERT_EQ(mount("none", disk.tree.path("disk").c_str(), nullptr, MS_REMOUNT, "size=64m,nr_inodes=50"),
                  0);
        EXPECT_EQ(disk.scanLarge(), "");
        EXPECT_NE(describeIndex(disk.index), disk.before);
        EXPECT_TRUE(isWhole(describeIndex(disk.index)));
    });
}

// The library ends a transaction that it cannot write. Rows that come after it would each be a transaction of
// their own, with syncs of its own, for the rest of a walk of millions.
TEST(FullDisk, rowsAfterTheLostTransaction_areNotWrittenOneByOne) {
    inPrivateNamespace([] {
        const SmallDisk disk;
        int syncs = 0;
        int writesSinceFull = 0;
        bool isFull = false;
        const ProgramOutcome outcome =
            runWatched({"scan", "scan", disk.tree.path("large"), disk.index}, [&](const SystemCall& call) {
                if (!call.isEntry) {
                    isFull = isFull || call.result == -ENOSPC;
                    syncs += call.number == SYS_fsync || call.number == SYS_fdatasync ? 1 : 0;
                    writesSinceFull += isFull && call.number == SYS_pwrite64 ? 1 : 0;
                }
                return Verdict{};
            });
        EXPECT_EQ(outcome.exitCode, 3) << outcome.output;
        EXPECT_THAT(outcome.output, HasSubstr("refused Scan index: database or disk is full"));
        EXPECT_TRUE(isFull);
        EXPECT_LT(syncs, 20);
        // What the rollback itself writes is bounded by the pages of the file, whose size is a megabyte.
        EXPECT_LT(writesSinceFull, 1'000);
    });
}

TEST(FullDisk, withoutAFreeName_failsWithASentenceAndKeepsTheEarlierIndex) {
    inPrivateNamespace([] {
        const SmallDisk disk;
        int filler = 0;
        while (true) {
            const int file = open(disk.tree.path("disk/filler" + std::to_string(filler)).c_str(),
                                  O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
            if (file < 0) {
                break;
            }
            close(file);
            ++filler;
        }
        ASSERT_GT(filler, 10);
        EXPECT_THAT(disk.scanLarge(), testing::StartsWith("Scan index: "));
        EXPECT_EQ(describeIndex(disk.index), disk.before);
        EXPECT_THAT(filesWithPrefix(disk.tree.path("disk"), "scan-"), IsEmpty());
        // With one name the database can be made and its journal cannot.
        ASSERT_EQ(unlink(disk.tree.path("disk/filler0").c_str()), 0);
        EXPECT_THAT(disk.scanLarge(), testing::StartsWith("Scan index: "));
        EXPECT_EQ(describeIndex(disk.index), disk.before);
        EXPECT_THAT(filesWithPrefix(disk.tree.path("disk"), "scan-"), IsEmpty());
    });
}

TEST(FullDisk, thatIsReadOnly_failsWithASentenceAndKeepsTheEarlierIndex) {
    inPrivateNamespace([] {
        const SmallDisk disk;
        const std::string bytes = readBytes(disk.index);
        ASSERT_EQ(mount("none", disk.tree.path("disk").c_str(), nullptr, MS_REMOUNT | MS_RDONLY, ""), 0);
        EXPECT_THAT(disk.scanLarge(), testing::StartsWith("Scan index: "));
        EXPECT_EQ(readBytes(disk.index), bytes);
        // Where the index's folder is still to be made.
        try {
            makeIndex(disk.tree.path("small"), disk.tree.path("disk/new/latest-scan.sqlite"));
            ADD_FAILURE() << "an index was written to a read-only disk";
        } catch (const SystemError& error) {
            EXPECT_THAT(error.description(), HasSubstr("the disk is read-only."));
        }
    });
}

}  // namespace
}  // namespace larkfold::test
