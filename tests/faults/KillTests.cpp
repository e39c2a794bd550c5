// kill -9 before and after every system call of a scan with an index: what stands at the index's place is the
// whole old index or the whole new one.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>

#include <cstdio>
#include <string>
#include <vector>

#include "faults/FaultLoops.h"
#include "faults/IndexOracle.h"
#include "faults/SwapSubject.h"
#include "faults/SystemCallHarness.h"

namespace larkfold::test {
namespace {

struct Tally {
    std::uint64_t kills = 0;
    std::uint64_t oldStood = 0;
    std::uint64_t newStood = 0;
    std::vector<std::string> violations;
};

void killScans(SwapSubject& subject, const std::string& mode, const Pace& pace, Tally& tally) {
    const auto run = [&](const Watcher& watcher) { return subject.run(mode, watcher); };
    killEverywhere(run, pace, [&](std::uint64_t at, const ProgramOutcome& outcome) {
        if (!outcome.wasKilledByWatcher) {
            return true;
        }
        ++tally.kills;
        const std::string problem = subject.problemOfIndex();
        if (!problem.empty()) {
            tally.violations.push_back("killed at stop " + std::to_string(at) + ": " + problem);
        } else if (subject.holdsNewIndex()) {
            ++tally.newStood;
        } else {
            ++tally.oldStood;
        }
        for (const auto& [name, path] : filesWithPrefix(subject.indexFolder(), "")) {
            // Of the scan itself nothing but its own temporaries may be left.
            if (!name.starts_with("scan-") && !name.starts_with("latest-scan.sqlite")) {
                ADD_FAILURE() << name << " was left behind";
            }
        }
        return true;
    });
}

TEST(Kill, atEverySystemCall_leavesTheWholeOldOrTheWholeNewIndex) {
    const QuickFolder quick;
    const unsigned seeds = thoroughness() == Thoroughness::full ? 20 : 1;
    const auto stride = thorough<std::uint64_t>(47, 6, 1);
    Tally all;
    std::uint64_t first = 0;  // another one each time, where stops are left out
    for (unsigned seed = 0; seed < seeds; ++seed) {
        for (const Before before : {Before::nothing, Before::index, Before::indexWithJournal, Before::damaged,
                                    Before::damagedWithJournal}) {
            SwapSubject subject(before, seed, 12 + static_cast<int>(seed) * 3);
            Tally tally;
            killScans(subject, "scan", {.stride = stride, .first = first++ % stride}, tally);
            std::printf(
                "%s: %llu kill points, the old index stood %llu times and the new one %llu times, %zu "
                "violations\n",
                nameOf(before), static_cast<unsigned long long>(tally.kills),
                static_cast<unsigned long long>(tally.oldStood),
                static_cast<unsigned long long>(tally.newStood), tally.violations.size());
            EXPECT_GT(tally.oldStood, 0U);
            EXPECT_GT(tally.newStood, 0U);
            for (const std::string& violation : tally.violations) {
                ADD_FAILURE() << nameOf(before) << ", tree " << seed << ", " << violation;
            }
            all.kills += tally.kills;
        }
    }
    std::printf("%llu kill points\n", static_cast<unsigned long long>(all.kills));
    RecordProperty("killPoints", std::to_string(all.kills));
    if (thoroughness() != Thoroughness::brief) {
        EXPECT_GE(all.kills, 500U);
    }
}

TEST(Kill, afterwards_aNewScanSucceeds) {
    const QuickFolder quick;
    SwapSubject subject(Before::indexWithJournal);
    const auto run = [&subject](const Watcher& watcher) { return subject.run("scan", watcher); };
    killEverywhere(run, {.stride = thorough<std::uint64_t>(667, 58, 29), .first = 5},
                   [&subject](std::uint64_t at, const ProgramOutcome&) {
                       makeIndex(subject.root(), subject.indexFile());
                       EXPECT_EQ(describeIndex(subject.indexFile()), subject.newIndex())
                           << "after a kill at stop " << at;
                       return true;
                   });
}

// Negative controls: the same loop and the same judgement find out what is naive.

TEST(KillControl, copyingOverTheOldIndexInPlace_isFoundOut) {
    const QuickFolder quick;
    SwapSubject subject(Before::index);
    Tally tally;
    killScans(subject, "copy", {.stride = 5}, tally);
    std::printf("%zu violations in %llu kill points\n", tally.violations.size(),
                static_cast<unsigned long long>(tally.kills));
    EXPECT_GT(tally.violations.size(), 0U);
}

// The journal does its harm from the rename until it goes, which is a single stop: so the kill is sent there,
// and not at each so-manyth one. The same kill harms the real scan nothing.
TEST(KillControl, leavingTheOldIndexesJournalInPlace_isFoundOut) {
    const QuickFolder quick;
    SwapSubject subject(Before::indexWithJournal);
    const auto problemAfterTheRename = [&subject](const std::string& mode) {
        const ProgramOutcome outcome = subject.run(mode, [&subject](const SystemCall& call) {
            const bool hasRenamed = !call.isEntry && call.number == SYS_rename && call.result == 0;
            return hasRenamed && call.text(1) == subject.indexFile() ? Verdict{.kind = Verdict::Kind::kill}
                                                                     : Verdict{};
        });
        EXPECT_TRUE(outcome.wasKilledByWatcher) << mode << ": " << outcome.output;
        return subject.problemOfIndex();
    };
    EXPECT_EQ(problemAfterTheRename("scan"), "");
    EXPECT_NE(problemAfterTheRename("journal-left"), "");
}

// A kill does not lose what the kernel holds, so that it is synced in time has to be seen in the calls.

// Looks at the order of writes, syncs and the rename of one run.
class SyncLedger {
public:
    explicit SyncLedger(std::string target) : target_(std::move(target)) {}

    Verdict look(const SystemCall& call) {
        if (call.isEntry) {
            if (call.number == SYS_rename && call.text(1) == target_) {
                replacement_ = call.text(0);
                if (!isSynced_[replacement_]) {
                    problem_ = "renamed into place before its bytes were synced";
                }
            }
            return {};
        }
        if (call.result < 0) {
            return {};
        }
        if (call.number == SYS_pwrite64 || call.number == SYS_write || call.number == SYS_ftruncate) {
            isSynced_[call.descriptorPath(0)] = false;
        } else if (call.number == SYS_fsync || call.number == SYS_fdatasync) {
            const std::string path = call.descriptorPath(0);
            isSynced_[path] = true;
            if (!replacement_.empty() && path + "/latest-scan.sqlite" == target_) {
                isFolderSynced_ = true;
            }
        }
        return {};
    }

    // "" where all was in order.
    std::string problem() const {
        if (replacement_.empty()) {
            return "nothing was renamed into place";
        }
        return !problem_.empty() ? problem_
               : isFolderSynced_ ? ""
                                 : "the folder was not synced after the rename";
    }

private:
    std::string target_;
    std::string replacement_;
    std::map<std::string, bool> isSynced_;
    bool isFolderSynced_ = false;
    std::string problem_;
};

std::string problemOfSyncs(const std::string& mode) {
    SwapSubject subject(Before::index);
    SyncLedger ledger(subject.indexFile());
    const ProgramOutcome outcome =
        subject.run(mode, [&ledger](const SystemCall& call) { return ledger.look(call); });
    EXPECT_EQ(outcome.exitCode, 0) << outcome.output;
    return ledger.problem();
}

TEST(Swap, syncsTheBytesBeforeTheRenameAndTheFolderAfterIt) {
    EXPECT_EQ(problemOfSyncs("scan"), "");
}

TEST(SwapControl, renamingWithoutASync_isFoundOut) {
    EXPECT_NE(problemOfSyncs("unsynced"), "");
}

}  // namespace
}  // namespace larkfold::test
