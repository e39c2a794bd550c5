// The history of removals under a kill, an error, a full disk: the whole old file or the whole new one, never
// a torn one, and nobody is told of what does not stand.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <map>
#include <optional>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "faults/ErrorInjection.h"
#include "faults/FaultLoops.h"
#include "faults/HistoryRecord.h"
#include "faults/IndexOracle.h"
#include "faults/PrivateNamespace.h"
#include "faults/SystemCallHarness.h"
#include "platform/Error.h"
#include "removal/CleanupHistoryStore.h"
#include "support/TemporaryTree.h"

namespace larkfold::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

// A place with a history of so many operations (with none: no file and no folder), and the judgement of what
// stands there after a run of the victim.
class HistorySubject {
public:
    explicit HistorySubject(int operations) {
        const std::string made = tree_.path("made.json");
        CleanupHistoryStore store(made);
        for (int number = 0; number < operations; ++number) {
            store.append(historyRecord(number));
        }
        if (operations > 0) {
            oldBytes_ = readBytes(made);
        }
        store.append(historyRecord(-1));
        newBytes_ = readBytes(made);
    }

    ProgramOutcome run(const std::string& mode, const Watcher& watcher) {
        removeTree(folder_);
        if (oldBytes_) {
            tree_.folder("Larkfold");
            writeBytes(file(), *oldBytes_);
        }
        return runWatched({"history", mode, file()}, watcher);
    }

    bool holdsNew() const { return stands(file()) && readBytes(file()) == newBytes_; }
    bool holdsOld() const {
        return oldBytes_ ? stands(file()) && readBytes(file()) == *oldBytes_ : !stands(file());
    }

    std::string problem() const {
        return holdsOld() || holdsNew() ? "" : "neither the old history nor the new one";
    }

    // What lies beside the history and is neither it nor its lock.
    std::vector<std::string> remains() const {
        std::vector<std::string> names;
        if (stands(folder_)) {
            for (const auto& [name, path] : filesWithPrefix(folder_, "")) {
                if (name != "cleanup-history.json" && name != "cleanup-history.json.lock") {
                    names.push_back(name);
                }
            }
        }
        return names;
    }

    std::string file() const { return folder_ + "/cleanup-history.json"; }

private:
    QuickFolder quick_;
    TemporaryTree tree_;
    std::string folder_ = tree_.path("Larkfold");
    std::optional<std::string> oldBytes_;
    std::string newBytes_;
};

constexpr std::array<int, 3> histories = {0, 3, 100};

// Kills.

struct KillTally {
    int kills = 0;
    int oldStood = 0;
    int newStood = 0;
    std::vector<std::string> violations;
};

void killAppends(HistorySubject& subject, const std::string& mode, KillTally& tally) {
    const auto run = [&](const Watcher& watcher) { return subject.run(mode, watcher); };
    const Pace pace{.stride = thorough<std::uint64_t>(mode == "append" ? 13 : 1, 1, 1)};
    killEverywhere(run, pace, [&](std::uint64_t at, const ProgramOutcome& outcome) {
        if (!outcome.wasKilledByWatcher) {
            EXPECT_TRUE(subject.holdsNew());
            return true;
        }
        ++tally.kills;
        if (const std::string problem = subject.problem(); !problem.empty()) {
            tally.violations.push_back("killed at stop " + std::to_string(at) + ": " + problem);
        } else {
            ++(subject.holdsNew() ? tally.newStood : tally.oldStood);
        }
        for (const std::string& name : subject.remains()) {
            // Nothing but a temporary that disturbs nobody.
            if (!name.starts_with(".larkfold-") && mode == "append") {
                tally.violations.push_back("killed at stop " + std::to_string(at) + ": " + name +
                                           " was left");
            }
        }
        return true;
    });
}

TEST(HistoryKill, atEverySystemCall_leavesTheWholeOldOrTheWholeNewHistory) {
    int kills = 0;
    for (const int operations : histories) {
        HistorySubject subject(operations);
        KillTally tally;
        killAppends(subject, "append", tally);
        std::printf(
            "%d operations before: %d kill points, the old history stood %d times and the new one %d times\n",
            operations, tally.kills, tally.oldStood, tally.newStood);
        EXPECT_THAT(tally.violations, IsEmpty());
        EXPECT_GT(tally.oldStood, 0);
        EXPECT_GT(tally.newStood, 0);
        kills += tally.kills;
    }
    RecordProperty("killPoints", kills);
    if (thoroughness() != Thoroughness::brief) {
        EXPECT_GT(kills, 100);
    }
}

TEST(HistoryKill, afterwards_theNextAppendSucceeds) {
    HistorySubject subject(3);
    const auto run = [&subject](const Watcher& watcher) { return subject.run("append", watcher); };
    killEverywhere(run, {.stride = 3}, [&subject](std::uint64_t, const ProgramOutcome&) {
        CleanupHistoryStore store(subject.file());
        const std::size_t before = store.load().size();
        store.append(historyRecord(7));  // whoever was killed holds no lock
        EXPECT_THAT(store.load(), SizeIs(before + 1));
        return true;
    });
}

TEST(HistoryKillControl, writingOverTheOldBytes_isFoundOut) {
    HistorySubject subject(3);
    KillTally tally;
    killAppends(subject, "in-place", tally);
    EXPECT_GT(tally.violations.size(), 0U);
}

// A kill does not lose what the kernel holds, so that it is synced in time has to be seen in the calls.

std::string problemOfSyncs(const std::string& mode) {
    HistorySubject subject(3);
    const std::string folder = subject.file().substr(0, subject.file().rfind('/'));
    std::map<std::string, bool> isSynced;
    std::string problem = "nothing was renamed into place";
    const ProgramOutcome outcome = subject.run(mode, [&](const SystemCall& call) {
        if (call.isEntry && call.number == SYS_rename && call.text(1) == subject.file()) {
            problem = isSynced[call.text(0)] ? "the folder was not synced after the rename"
                                             : "renamed into place before its bytes were synced";
        } else if (!call.isEntry && call.result >= 0 && call.number == SYS_write) {
            isSynced[call.descriptorPath(0)] = false;
        } else if (!call.isEntry && call.result == 0 && call.number == SYS_fsync) {
            const std::string path = call.descriptorPath(0);
            isSynced[path] = true;
            if (path == folder && problem.starts_with("the folder")) {
                problem.clear();
            }
        }
        return Verdict{};
    });
    EXPECT_EQ(outcome.exitCode, 0) << outcome.output;
    return problem;
}

TEST(HistorySync, theBytesBeforeTheRenameAndTheFolderAfterIt) {
    EXPECT_EQ(problemOfSyncs("append"), "");
}

TEST(HistorySyncControl, renamingWithoutASync_isFoundOut) {
    EXPECT_NE(problemOfSyncs("unsynced"), "");
}

// Errors.

struct Injection : ErrorInjection {
    bool hasRenamed = false;  // before it struck

    Verdict look(const SystemCall& now) {
        hasRenamed = hasRenamed || (!struck && !now.isEntry && now.number == SYS_rename && now.result == 0);
        return ErrorInjection::look(now);
    }
    // A sync of the new bytes or of their folder failed, and was not made again with success.
    bool isUnsynced(const std::string& file) const {
        return isSync(struck->number) && !isSyncedLater &&
               (file.starts_with(subject) || subject.find("/.larkfold-") != std::string::npos ||
                subject.ends_with(".temporary"));
    }
};

struct Report {
    int descriptorsBefore = -1;
    int descriptorsAfter = -2;
    std::string outcome;
};

Report parse(const std::string& output) {
    Report report;
    std::istringstream lines(output);
    std::string word;
    lines >> word >> report.descriptorsBefore >> report.descriptorsAfter >> std::ws;
    std::getline(lines, report.outcome);
    return report;
}

// "" where everything that is promised held.
std::string problemOf(const HistorySubject& subject, const Injection& injection,
                      const ProgramOutcome& program) {
    if (program.isOverdue || !program.hasExited) {
        return "it did not end by itself";
    }
    const Report report = parse(program.output);
    if (report.descriptorsBefore != report.descriptorsAfter) {
        return "a descriptor was left open";
    }
    if (!subject.problem().empty()) {
        return subject.problem();
    }
    if (report.outcome == "appended told") {
        if (!subject.holdsNew()) {
            return "told as a success, and it does not stand";
        }
        if (injection.isUnsynced(subject.file())) {
            return "told as a success although a sync failed";
        }
    } else if (!report.outcome.starts_with("refused ") || report.outcome.starts_with("refused told") ||
               report.outcome.size() < 30) {
        return "no sentence: " + report.outcome;
    } else if (!injection.hasRenamed && !subject.holdsOld()) {
        return "refused before the rename, and the old history has gone";
    }
    if (injection.struck->number != SYS_unlink && !subject.remains().empty()) {
        return subject.remains().front() + " was left behind";
    }
    return "";
}

struct InjectionTally {
    int injected = 0;
    int appended = 0;
    int refused = 0;
    std::vector<std::string> violations;
};

void injectEverywhere(HistorySubject& subject, const std::string& mode, std::span<const int> errors,
                      bool (*counts)(long number), std::uint64_t stride, InjectionTally& tally) {
    const auto run = [&](const Watcher& watcher) { return subject.run(mode, watcher); };
    const auto judge = [&](const Injection& injection, const ProgramOutcome& program) {
        ++tally.injected;
        ++(program.exitCode == 0 ? tally.appended : tally.refused);
        if (const std::string problem = problemOf(subject, injection, program); !problem.empty()) {
            tally.violations.push_back(injection.description() + problem + "\n" + program.output);
        }
    };
    Injection injection;
    injection.counts = counts;
    failEverywhere(run, errors, injection, {.stride = stride}, judge);
}

TEST(HistoryInjection, eachErrorAtEachCall_isToldAndLeavesAWholeHistory) {
    int injected = 0;
    for (const int operations : {0, 3}) {
        HistorySubject subject(operations);
        InjectionTally tally;
        const auto stride = thorough<std::uint64_t>(11, 2, 1);
        injectEverywhere(subject, "append", diskErrors, isFallible, stride, tally);
        injectEverywhere(subject, "append", std::array{ENOMEM}, isFallible, stride, tally);
        std::printf("%d operations before: %d errors injected, %d appended, %d refused\n", operations,
                    tally.injected, tally.appended, tally.refused);
        EXPECT_THAT(tally.violations, IsEmpty());
        EXPECT_GT(tally.appended, 0);
        EXPECT_GT(tally.refused, 0);
        injected += tally.injected;
    }
    RecordProperty("injectedErrors", injected);
    if (thoroughness() != Thoroughness::brief) {
        EXPECT_GT(injected, 150);
    }
}

TEST(HistoryInjection, permissionsThatCannotBeSet_leaveTheNewContentAndTellNobody) {
    HistorySubject subject(3);
    int struck = 0;
    const ProgramOutcome program = subject.run("append", [&](const SystemCall& call) {
        if (call.isEntry && call.number == SYS_chmod) {
            ++struck;
            return Verdict{.kind = Verdict::Kind::fail, .value = EPERM};
        }
        return Verdict{};
    });
    EXPECT_EQ(struck, 1);
    EXPECT_THAT(parse(program.output).outcome,
                AllOf(HasSubstr("refused The permissions of “"), HasSubstr("could not be changed")));
    EXPECT_TRUE(subject.holdsNew());
}

int violationsOf(const std::string& mode, bool (*counts)(long number)) {
    HistorySubject subject(3);
    InjectionTally tally;
    injectEverywhere(subject, mode, diskErrors, counts, 1, tally);
    return static_cast<int>(tally.violations.size());
}

TEST(HistoryInjectionControl, ignoringTheOutcomeOfSyncs_isFoundOut) {
    EXPECT_GT(violationsOf("unchecked", isSync), 0);
}

TEST(HistoryInjectionControl, writingOverTheOldBytes_isFoundOut) {
    EXPECT_GT(violationsOf("in-place", isWrite), 0);
}

TEST(HistoryInjectionControl, keepingADescriptor_isFoundOut) {
    EXPECT_GT(violationsOf("leaky", isWrite), 0);
}

TEST(HistoryInjectionControl, tellingBeforeItStands_isFoundOut) {
    EXPECT_GT(violationsOf("hasty", isWrite), 0);
}

// A disk that really is full.

TEST(HistoryFullDisk, withoutRoomOrNames_isToldAndKeepsTheHistory) {
    inPrivateNamespace([] {
        const QuickFolder quick;
        TemporaryTree tree;
        for (const char* size : {"size=64k,nr_inodes=50", "size=8m,nr_inodes=4"}) {
            const Mounted disk("none", tree.folder("disk"), "tmpfs", 0, size);
            int told = 0;
            CleanupHistoryStore store(tree.path("disk/cleanup-history.json"), [&told] { ++told; });
            store.append(historyRecord(1));
            const std::string before = readBytes(store.url());
            CleanupOperation large = historyRecord(2);
            large.source = std::string(100'000, 'x');
            if (std::string(size).ends_with("=4")) {
                tree.file("disk/the-last-name");
            }
            try {
                store.append(large);
                ADD_FAILURE() << "there was room on a disk of " << size;
            } catch (const SystemError& error) {
                EXPECT_EQ(error.code(), ENOSPC);
                EXPECT_THAT(error.description(),
                            HasSubstr("the disk is full. Free some space and try again."));
            }
            EXPECT_EQ(readBytes(store.url()), before);
            EXPECT_EQ(told, 1);
            EXPECT_THAT(filesWithPrefix(tree.path("disk"), ".larkfold-"), IsEmpty());
        }
    });
}

TEST(HistoryFullDisk, aDiskThatIsReadOnly_isReadAndNotWritten) {
    inPrivateNamespace([] {
        TemporaryTree tree;
        const Mounted disk("none", tree.folder("disk"), "tmpfs", 0, "size=1m");
        CleanupHistoryStore store(tree.path("disk/cleanup-history.json"));
        store.append(historyRecord(1));
        ASSERT_EQ(mount("none", tree.path("disk").c_str(), nullptr, MS_REMOUNT | MS_RDONLY, "size=1m"), 0);
        EXPECT_THAT(store.load(), SizeIs(1));
        for (const bool clears : {false, true}) {
            try {
                clears ? store.clear() : store.append(historyRecord(2));
                ADD_FAILURE() << "it was written";
            } catch (const SystemError& error) {
                EXPECT_EQ(error.code(), EROFS);
            }
        }
    });
}

}  // namespace
}  // namespace larkfold::test
