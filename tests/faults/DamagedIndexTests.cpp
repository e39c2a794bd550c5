// What stands at the index's place is damaged, or somebody's journal lies beside it: a scan puts a whole new
// index there.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdio>
#include <memory>
#include <string>

#include "disk/DiskScanner.h"
#include "disk/ScanIndexDatabase.h"
#include "faults/FaultLoops.h"
#include "faults/IndexOracle.h"
#include "support/TemporaryTree.h"

namespace larkfold::test {
namespace {

struct IndexFixture {
    IndexFixture() {
        tree.file("root/a/one", "1");
        tree.file("root/b/two", "22");
        index = tree.folder("index") + "/latest-scan.sqlite";
        makeIndex(tree.path("root"), index);
        expected = describeIndex(index);
        EXPECT_TRUE(isWhole(expected)) << expected;
        tree.file("old/x/three", "333");
        for (int i = 0; i < 200; ++i) {
            tree.file("old/y/" + std::to_string(i) + " with a name of some length", "4");
        }
        old = tree.folder("made") + "/made.sqlite";
        makeIndex(tree.path("old"), old);
    }

    // Scans with that standing at the place; "" where the new index stands there afterwards.
    std::string scanOver(const std::string& database, const std::string& suffix = "",
                         const std::string& companion = "") {
        writeBytes(index, database);
        if (!suffix.empty()) {
            writeBytes(index + suffix, companion);
        }
        try {
            makeIndex(tree.path("root"), index);
        } catch (const std::exception& error) {
            return std::string("the scan failed: ") + error.what();
        }
        std::string found = describeIndex(index);
        if (found != expected) {
            return found;
        }
        const auto beside = filesWithPrefix(tree.path("index"), "");
        return beside.size() == 1 ? "" : beside.rbegin()->first + " was left beside the index";
    }

    QuickFolder quick;
    TemporaryTree tree;
    std::string index;
    std::string expected;
    std::string old;
};

// Whether this bit is tried: all on demand (of a large file one of each byte), else those of the first
// header, and of the rest one of every `rest` bytes in turn.
bool isTried(std::size_t byte, unsigned bit, std::size_t rest, bool isLarge) {
    switch (thoroughness()) {
        case Thoroughness::full:
            return !isLarge || byte < 100 || byte % 8 == bit;
        case Thoroughness::usual:
            return byte < 100 || (byte % rest == 0 && byte / rest % 8 == bit);
        case Thoroughness::brief:
            return byte % (rest * 16) == 0 && byte / rest % 8 == bit;
    }
    return true;
}

TEST(DamagedIndex, withAnyBitFlipped_isReplacedByAScan) {
    IndexFixture fixture;
    makeIndex(fixture.tree.path("old/x"), fixture.old);
    const std::string whole = readBytes(fixture.old);
    const std::string described = describeIndex(fixture.old);
    std::uint64_t flips = 0;
    std::uint64_t noticed = 0;
    for (std::size_t byte = 0; byte < whole.size(); ++byte) {
        for (unsigned bit = 0; bit < 8; ++bit) {
            if (!isTried(byte, bit, 97, false)) {
                continue;
            }
            std::string damaged = whole;
            damaged[byte] = static_cast<char>(damaged[byte] ^ (1 << bit));
            ++flips;
            writeBytes(fixture.old, damaged);
            noticed += describeIndex(fixture.old) != described ? 1U : 0U;
            EXPECT_EQ(fixture.scanOver(damaged), "") << "byte " << byte << ", bit " << bit;
        }
    }
    std::printf("%llu flips, of which %llu make another index of it, or none\n",
                static_cast<unsigned long long>(flips), static_cast<unsigned long long>(noticed));
    EXPECT_GT(noticed, flips / 50) << "flips that nobody would notice prove nothing";
}

// With a journal beside it the old index is opened before it is replaced, damaged as it is.
TEST(DamagedIndex, withAJournal_bothWithAnyBitFlipped_isReplacedByAScan) {
    IndexFixture fixture;
    const InterruptedIndex interrupted = interruptChange(fixture.old);
    std::uint64_t flips = 0;
    for (const bool inJournal : {false, true}) {
        const std::string& whole = inJournal ? interrupted.journal : interrupted.database;
        for (std::size_t byte = 0; byte < whole.size(); ++byte) {
            for (unsigned bit = 0; bit < 8; ++bit) {
                if (!isTried(byte, bit, 211, true)) {
                    continue;
                }
                std::string damaged = whole;
                damaged[byte] = static_cast<char>(damaged[byte] ^ (1 << bit));
                ++flips;
                EXPECT_EQ(fixture.scanOver(inJournal ? interrupted.database : damaged, "-journal",
                                           inJournal ? damaged : interrupted.journal),
                          "")
                    << (inJournal ? "journal" : "index") << ", byte " << byte << ", bit " << bit;
            }
        }
    }
    std::printf("%llu flips\n", static_cast<unsigned long long>(flips));
}

TEST(DamagedIndex, cutShortAnywhere_isReplacedByAScan) {
    IndexFixture fixture;
    const std::string whole = readBytes(fixture.old);
    for (std::size_t length = 0; length < whole.size();
         length += thoroughness() == Thoroughness::full ? 1U : 331U) {
        EXPECT_EQ(fixture.scanOver(whole.substr(0, length)), "") << length << " bytes";
    }
}

TEST(StaleJournal, besideTheIndex_isNotReplayedIntoTheNewOne) {
    IndexFixture fixture;
    const InterruptedIndex interrupted = interruptChange(fixture.old);
    EXPECT_EQ(fixture.scanOver(interrupted.database, "-journal", interrupted.journal), "");
}

TEST(StaleJournal, besideAnIndexThatCannotBeOpened_isNotReplayedIntoTheNewOne) {
    IndexFixture fixture;
    const InterruptedIndex interrupted = interruptChange(fixture.old);
    EXPECT_EQ(fixture.scanOver("no database at all", "-journal", interrupted.journal), "");
    EXPECT_EQ(fixture.scanOver("", "-journal", interrupted.journal), "");
}

TEST(StaleJournal, withoutAnIndex_isNotReplayedIntoTheNewOne) {
    IndexFixture fixture;
    const InterruptedIndex interrupted = interruptChange(fixture.old);
    removeTree(fixture.tree.path("index"));
    fixture.tree.folder("index");
    writeBytes(fixture.index + "-journal", interrupted.journal);
    makeIndex(fixture.tree.path("root"), fixture.index);
    EXPECT_EQ(describeIndex(fixture.index), fixture.expected);
}

// The same for the log of a database in write-ahead mode, as another program may have left it: it does not
// even say which file it belongs to.
TEST(StaleJournal, aWriteAheadLogBesideTheIndex_isNotReplayedIntoTheNewOne) {
    IndexFixture fixture;
    const LoggedDatabase logged = leaveWriteAheadLog(fixture.old);
    EXPECT_EQ(fixture.scanOver(logged.database, "-wal", logged.log), "");
    EXPECT_EQ(fixture.scanOver("no database at all", "-wal", logged.log), "");
    EXPECT_EQ(fixture.scanOver(readBytes(fixture.old), "-wal", logged.log), "");
}

// Negative controls: these journals do what the tests above say that they must not.

TEST(StaleJournalControl, aJournalBesideAnotherIndex_isReplayedIntoIt) {
    IndexFixture fixture;
    const InterruptedIndex interrupted = interruptChange(fixture.old);
    writeBytes(fixture.index + "-journal", interrupted.journal);
    EXPECT_NE(describeIndex(fixture.index), fixture.expected);
}

TEST(StaleJournalControl, aWriteAheadLogBesideAnotherIndex_isReplayedIntoIt) {
    IndexFixture fixture;
    writeBytes(fixture.index + "-wal", leaveWriteAheadLog(fixture.old).log);
    EXPECT_NE(describeIndex(fixture.index), fixture.expected);
}

}  // namespace
}  // namespace larkfold::test
