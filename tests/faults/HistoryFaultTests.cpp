// The history of removals under a kill, an error, a full disk: the whole old file or the whole new one, never
// a torn one, and nobody is told of what does not stand.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

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

constexpr int shortWrite = -1;  // stands among the errors for half of what was to be written

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
        return runWatched({LARKFOLD_HISTORY_VICTIM, mode, file()}, watcher);
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

void killEverywhere(HistorySubject& subject, const std::string& mode, KillTally& tally) {
    for (std::uint64_t at = 0;; ++at) {
        const ProgramOutcome outcome = subject.run(mode, killAt(at));
        if (!outcome.wasKilledByWatcher) {
            ASSERT_TRUE(outcome.hasExited && outcome.exitCode == 0) << outcome.output;
            ASSERT_TRUE(subject.holdsNew());
            return;
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
    }
}

TEST(HistoryKill, atEverySystemCall_leavesTheWholeOldOrTheWholeNewHistory) {
    int kills = 0;
    for (const int operations : histories) {
        HistorySubject subject(operations);
        KillTally tally;
        killEverywhere(subject, "append", tally);
        std::printf(
            "%d operations before: %d kill points, the old history stood %d times and the new one %d times\n",
            operations, tally.kills, tally.oldStood, tally.newStood);
        EXPECT_THAT(tally.violations, IsEmpty());
        EXPECT_GT(tally.oldStood, 0);
        EXPECT_GT(tally.newStood, 0);
        kills += tally.kills;
    }
    RecordProperty("killPoints", kills);
    EXPECT_GT(kills, 100);
}

TEST(HistoryKill, afterwards_theNextAppendSucceeds) {
    HistorySubject subject(3);
    for (std::uint64_t at = 0;; at += 3) {
        const ProgramOutcome outcome = subject.run("append", killAt(at));
        CleanupHistoryStore store(subject.file());
        const std::size_t before = store.load().size();
        store.append(historyRecord(7));  // whoever was killed holds no lock
        EXPECT_THAT(store.load(), SizeIs(before + 1));
        if (!outcome.wasKilledByWatcher) {
            break;
        }
    }
}

TEST(HistoryKillControl, writingOverTheOldBytes_isFoundOut) {
    HistorySubject subject(3);
    KillTally tally;
    killEverywhere(subject, "in-place", tally);
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

constexpr std::array errors = {ENOSPC, EIO,    EMFILE, EACCES, ENOTEMPTY,
                               EROFS,  EDQUOT, EINTR,  ENOMEM, shortWrite};

constexpr long fallible[] = {SYS_open,  SYS_openat, SYS_close,      SYS_read,   SYS_write, SYS_stat,
                             SYS_lstat, SYS_fstat,  SYS_newfstatat, SYS_statx,  SYS_fsync, SYS_rename,
                             SYS_mkdir, SYS_unlink, SYS_chmod,      SYS_fchmod, SYS_flock, SYS_getrandom};

struct Injection {
    int call = 0;  // the number of the call among the fallible ones
    int error = 0;
    bool (*counts)(long number) = nullptr;

    int seen = 0;
    std::optional<SystemCall> struck;
    bool hasRenamed = false;      // before it struck
    bool isOfTheHistory = false;  // a struck sync: of the new bytes or of their folder
    bool isSyncedLater = false;   // and it was made again with success

    Verdict look(const SystemCall& now, const std::string& file) {
        if (!now.isEntry) {
            hasRenamed = hasRenamed || (!struck && now.number == SYS_rename && now.result == 0);
            isSyncedLater = isSyncedLater || (struck && now.number == SYS_fsync && now.result == 0 &&
                                              now.descriptorPath(0) == subject_);
            return {};
        }
        const bool isInternal = now.number == SYS_write && now.descriptorPath(0).starts_with("pipe:");
        if (!counts(now.number) || isInternal || seen++ != call ||
            (error == shortWrite && now.number != SYS_write)) {
            return {};
        }
        struck = now;
        if (now.number == SYS_fsync) {
            subject_ = now.descriptorPath(0);
            isOfTheHistory = file.starts_with(subject_) ||
                             subject_.find("/.larkfold-") != std::string::npos ||
                             subject_.ends_with(".temporary");
        }
        if (error == shortWrite) {
            return {.kind = Verdict::Kind::shorten, .value = static_cast<std::int64_t>(now.arguments[2] / 2)};
        }
        return {.kind = now.number == SYS_close ? Verdict::Kind::failAfter : Verdict::Kind::fail,
                .value = error};
    }

private:
    std::string subject_;
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
        if (injection.isOfTheHistory && !injection.isSyncedLater && injection.struck->number == SYS_fsync) {
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

void injectEverywhere(HistorySubject& subject, const std::string& mode, bool (*counts)(long number),
                      InjectionTally& tally) {
    for (const int error : errors) {
        for (int call = 0;; ++call) {
            Injection injection;
            injection.call = call;
            injection.error = error;
            injection.counts = counts;
            const ProgramOutcome program =
                subject.run(mode, [&](const SystemCall& now) { return injection.look(now, subject.file()); });
            if (injection.seen <= call) {
                break;
            }
            if (!injection.struck) {
                continue;
            }
            ++tally.injected;
            ++(program.exitCode == 0 ? tally.appended : tally.refused);
            if (const std::string problem = problemOf(subject, injection, program); !problem.empty()) {
                tally.violations.push_back(
                    std::string(error == shortWrite ? "half a write" : strerrorname_np(error)) + " in call " +
                    std::to_string(call) + " (number " + std::to_string(injection.struck->number) +
                    "): " + problem + "\n" + program.output);
            }
        }
    }
}

bool mayFail(long number) {
    return std::find(std::begin(fallible), std::end(fallible), number) != std::end(fallible);
}
bool isSync(long number) {
    return number == SYS_fsync;
}
bool isWrite(long number) {
    return number == SYS_write;
}

TEST(HistoryInjection, eachErrorAtEachCall_isToldAndLeavesAWholeHistory) {
    int injected = 0;
    for (const int operations : {0, 3}) {
        HistorySubject subject(operations);
        InjectionTally tally;
        injectEverywhere(subject, "append", mayFail, tally);
        std::printf("%d operations before: %d errors injected, %d appended, %d refused\n", operations,
                    tally.injected, tally.appended, tally.refused);
        EXPECT_THAT(tally.violations, IsEmpty());
        EXPECT_GT(tally.appended, 0);
        EXPECT_GT(tally.refused, 0);
        injected += tally.injected;
    }
    RecordProperty("injectedErrors", injected);
    EXPECT_GT(injected, 200);
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
    injectEverywhere(subject, mode, counts, tally);
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
    EXPECT_TRUE(inPrivateNamespace([] {
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
    }));
}

TEST(HistoryFullDisk, aDiskThatIsReadOnly_isReadAndNotWritten) {
    EXPECT_TRUE(inPrivateNamespace([] {
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
    }));
}

}  // namespace
}  // namespace larkfold::test
