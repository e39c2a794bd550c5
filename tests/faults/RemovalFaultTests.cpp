// A removal is killed at every system call, or one of its calls fails: the item is in its place, in the Trash
// with its info file, in the gate's private folder, or gone for good where that was asked for; nothing else
// is touched, and what is told is true.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/openat2.h>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "faults/ErrorInjection.h"
#include "faults/FaultLoops.h"
#include "faults/PrivateNamespace.h"
#include "faults/RecordOracle.h"
#include "faults/RemovalSubject.h"
#include "faults/SystemCallHarness.h"

namespace larkfold::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

// --- Kills

std::string problemOfTrashing(const RemovalSubject& subject) {
    const std::vector<std::string> trashed = subject.wholeInTrash();
    if (!subject.fragmentsInTrash().empty()) {
        return "a part of it lies in the Trash";
    }
    if (subject.isAtPlace() && !subject.isWholeAtPlace()) {
        return "only a part of it is in its place";
    }
    const std::size_t count = trashed.size() + (subject.isAtPlace() ? 1 : 0);
    if (count != 1) {
        return count == 0 ? "it is nowhere" : "it is there twice";
    }
    return trashed.empty() || subject.hasCompleteInfoFile(trashed.front())
               ? ""
               : "it lies in the Trash without a complete info file";
}

std::string problemOfRemoving(const RemovalSubject& subject) {
    bool isHeldApart = false;
    for (const RemovalSubject::PrivateFolder& folder : subject.privateFolders()) {
        if (!folder.isEmpty && (!folder.holdsOnlyTheItem || isHeldApart)) {
            return "something else lies in " + folder.path;
        }
        isHeldApart = isHeldApart || !folder.isEmpty;
    }
    if (subject.isAtPlace() && !subject.isWholeAtPlace()) {
        return "only a part of it is in its place";
    }
    if (subject.isAtPlace() && isHeldApart) {
        return "it is there twice";
    }
    if (subject.scenario() == Scenario::trashedForGood && (subject.isAtPlace() || isHeldApart) &&
        !subject.hasItsOwnNote()) {
        return "its info file went before it";
    }
    return "";
}

struct KillTally {
    RecordOracle record;
    int kills = 0;
    int inPlace = 0;
    int violations = 0;
    std::string first;
};

void killRemovals(Scenario scenario, const std::string& mode, KillTally& tally) {
    RemovalSubject subject(scenario, true);
    // As long as nothing has changed, one point is like the other.
    constexpr std::uint64_t margin = 24;
    std::uint64_t firstChange = 0;
    subject.run(mode, [&firstChange](const SystemCall& call) {
        // What is made of the journal changes nothing of the user's.
        const bool isOwn = call.number == SYS_openat && call.text(1).find("/history/") != std::string::npos;
        firstChange = firstChange == 0 && isChange(call) && !isOwn ? call.stop : firstChange;
        return Verdict{};
    });
    // A control has to be found out, and the moment for that may be a single one.
    const Pace pace{.stride = thorough<std::uint64_t>(mode.empty() ? 19 : 1, mode.empty() ? 5 : 1, 1),
                    .dense = firstChange - std::min(margin, firstChange),
                    .sparse = thorough<std::uint64_t>(251, 64, 1)};
    const auto run = [&](const Watcher& watcher) { return subject.run(mode, watcher); };
    killEverywhere(run, pace, [&](std::uint64_t at, const ProgramOutcome& outcome) {
        subject.look();
        std::string problem = subject.harm();
        if (problem.empty()) {
            problem = subject.isPermanent() ? problemOfRemoving(subject) : problemOfTrashing(subject);
        }
        const bool isAtPlace = subject.isAtPlace();
        if (problem.empty() && outcome.wasKilledByWatcher) {
            problem = tally.record.problemAfterRecovery(subject);
        }
        if (problem.empty() && outcome.wasKilledByWatcher) {
            problem = tally.record.problemAfterRestoring(subject);
        }
        if (!problem.empty() && tally.violations++ == 0) {
            tally.first = "killed at stop " + std::to_string(at) + ": " + problem;
        }
        if (!problem.empty() && !mode.empty()) {
            return false;  // a control, found out
        }
        if (!outcome.wasKilledByWatcher) {
            EXPECT_FALSE(isAtPlace) << outcome.output;
            return true;
        }
        ++tally.kills;
        tally.inPlace += isAtPlace ? 1 : 0;
        return true;
    });
}

// --- What is asked of the system

TEST(RemovalTrace, aFolderOfTenThousandFilesGoesToTrashByOneRename) {
    inPrivateNamespace([] {
        constexpr int files = 10'000;
        RemovalSubject subject(Scenario::folder);
        std::vector<std::string> renames;
        std::vector<std::string> removals;
        bool isFilled = false;
        const ProgramOutcome program = subject.run("", [&](const SystemCall& call) {
            if (!isFilled) {
                // Before the first call of the program, whose item was built an instant ago.
                isFilled = true;
                for (int file = 0; file < files; ++file) {
                    std::ofstream(subject.url() + "/" + std::to_string(file)) << "x";
                }
            }
            if (!call.isEntry) {
                return Verdict{};
            }
            switch (call.number) {
                case SYS_rename:
                    renames.push_back(call.text(0));
                    break;
                case SYS_renameat:
                case SYS_renameat2:
                    renames.push_back(call.text(1));
                    break;
                case SYS_unlink:
                case SYS_rmdir:
                    removals.push_back(call.text(0));
                    break;
                case SYS_unlinkat:
                    removals.push_back(call.text(1));
                    break;
                default:
                    break;
            }
            return Verdict{};
        });
        EXPECT_TRUE(program.hasExited) << program.output;
        EXPECT_THAT(program.output, HasSubstr("\ngone "));
        // The folder itself; what else is renamed is the Trash's own table of sizes, from its temporary.
        std::erase_if(renames, [](const std::string& name) { return name.find(".larkfold-") != name.npos; });
        EXPECT_THAT(renames, testing::ElementsAre(std::filesystem::path(subject.url()).filename().string()));
        EXPECT_THAT(removals, IsEmpty());
        EXPECT_FALSE(std::filesystem::exists(subject.url()));
    });
}

TEST(RemovalKill, atEverySystemCall_leavesTheItemInOnePlaceThatTheNextStartTells) {
    inPrivateNamespace([] {
        int kills = 0;
        for (const Scenario scenario : removableScenarios) {
            KillTally tally;
            killRemovals(scenario, "", tally);
            std::printf(
                "%s: %d kill points, in its place after %d; told as in place %d, in Trash %d, aside %d, "
                "gone %d; not begun %d\n",
                nameOf(scenario), tally.kills, tally.inPlace, tally.record.inPlace, tally.record.inTrash,
                tally.record.aside, tally.record.gone, tally.record.untold);
            std::fflush(stdout);
            EXPECT_EQ(tally.first, "");
            EXPECT_GT(tally.inPlace, 0);
            EXPECT_LT(tally.inPlace, tally.kills);
            kills += tally.kills;
        }
        std::printf("%d kill points\n", kills);
        EXPECT_GT(kills, 100);
    });
}

TEST(RemovalKillControl, theNoteAfterTheMove_isFoundOut) {
    inPrivateNamespace([] {
        KillTally tally;
        killRemovals(Scenario::file, "late-info-file", tally);
        EXPECT_THAT(tally.first, HasSubstr("without a complete info file"));
    });
}

TEST(RemovalKillControl, aRecordAtTheEnd_isFoundOut) {
    inPrivateNamespace([] {
        KillTally trash;
        killRemovals(Scenario::file, "unjournaled", trash);
        EXPECT_THAT(trash.first, HasSubstr("the history does not know of it"));
        KillTally forGood;
        killRemovals(Scenario::fileForGood, "unjournaled-permanent", forGood);
        EXPECT_THAT(forGood.first, HasSubstr("the history does not know of it"));
    });
}

TEST(RemovalKillControl, aJournalAfterTheMove_isFoundOut) {
    inPrivateNamespace([] {
        KillTally trash;
        killRemovals(Scenario::file, "late-journal", trash);
        EXPECT_THAT(trash.first, HasSubstr("the history does not know of it"));
        KillTally forGood;
        killRemovals(Scenario::treeForGood, "late-journal-permanent", forGood);
        EXPECT_THAT(forGood.first, HasSubstr("the history does not know of it"));
    });
}

TEST(RemovalKillControl, removingATreeWhereItStands_isFoundOut) {
    inPrivateNamespace([] {
        KillTally tally;
        killRemovals(Scenario::treeForGood, "in-place", tally);
        EXPECT_THAT(tally.first, HasSubstr("only a part of it is in its place"));
    });
}

// --- Errors

// Remembers which info files were not synced, and whether a removal was struck.
struct Injection : ErrorInjection {
    std::set<std::string> unsyncedNotes;

    Verdict look(const SystemCall& now) {
        const Verdict verdict = ErrorInjection::look(now);
        if (now.number == SYS_fsync && now.descriptorPath(0).ends_with(".trashinfo")) {
            if (verdict.kind == Verdict::Kind::fail) {
                unsyncedNotes.insert(now.descriptorPath(0));
            } else if (!now.isEntry && now.result == 0) {
                unsyncedNotes.erase(now.descriptorPath(0));
            }
        }
        return verdict;
    }
    bool struckRemoval() const { return struck && isRemoval(struck->number); }
};

bool holdsMount(const RemovalSubject& subject) {
    return subject.scenario() == Scenario::mountBelow || subject.scenario() == Scenario::mountBelowForGood;
}

std::string problemOfGone(const RemovalSubject& subject, const Injection& injection,
                          const RemovalReport& report) {
    if (holdsMount(subject)) {
        return "it went, although something is mounted in it";
    }
    if (subject.isAtPlace()) {
        return "told as gone, and it stands";
    }
    if (subject.isPermanent()) {
        for (const RemovalSubject::PrivateFolder& folder : subject.privateFolders()) {
            if (!folder.isEmpty || !injection.struckRemoval()) {
                return "told as gone, and " + folder.path + " is there";
            }
        }
        return "";
    }
    if (!injection.unsyncedNotes.empty()) {
        return "told as gone, although the sync of its info file failed";
    }
    if (subject.wholeInTrash() != std::vector<std::string>{report.place}) {
        return "it does not lie where it was told";
    }
    return subject.hasCompleteInfoFile(report.place) ? ""
                                                     : "it lies in the Trash without a complete info file";
}

std::string problemOfStaying(const RemovalSubject& subject, const Injection& injection,
                             const RemovalReport& report) {
    if (report.sentence.size() < 20) {
        return "no sentence";
    }
    if (subject.scenario() == Scenario::trashedForGood && !subject.hasItsOwnNote()) {
        return "it stays, and its info file went";
    }
    bool isHeldApart = false;
    for (const RemovalSubject::PrivateFolder& folder : subject.privateFolders()) {
        isHeldApart = isHeldApart || !folder.isEmpty;
        if (!folder.isEmpty && (!folder.holdsOnlyTheItem || report.place != folder.path + "/item.txt")) {
            return "what lies in " + folder.path + " was not told";
        }
        if (folder.isEmpty && !injection.struckRemoval()) {
            return folder.path + " was left behind";
        }
    }
    const std::vector<std::string> trashed = subject.wholeInTrash();
    if (!report.place.empty()) {
        if (subject.isAtPlace() || (!isHeldApart && trashed != std::vector<std::string>{report.place})) {
            return "it does not rest where it was told";
        }
        return trashed.empty() || subject.hasCompleteInfoFile(report.place) ? ""
                                                                            : "it rests without an info file";
    }
    if (!trashed.empty() || !subject.fragmentsInTrash().empty() || isHeldApart) {
        return "told as staying, and it was moved";
    }
    // A folder whose removal for good failed half-way is put back as far as it goes.
    if (!(subject.scenario() == Scenario::treeForGood ? subject.isPartAtPlace() : subject.isWholeAtPlace())) {
        return "told as staying, and it is not in its place";
    }
    return "";
}

std::string problemOf(RemovalSubject& subject, const Injection& injection, const ProgramOutcome& program) {
    if (program.isOverdue || !program.hasExited) {
        return "it did not end by itself";
    }
    const RemovalReport report = parseRemoval(subject, program.output);
    if (report.descriptorsBefore != report.descriptorsAfter) {
        return "a descriptor was left open";
    }
    if (!report.isTyped) {
        return "no answer of the gate";
    }
    subject.look();
    if (const std::string harm = subject.harm(); !harm.empty()) {
        return harm;
    }
    // Where nothing can be renamed any more, an info file cannot be told from what another program puts over
    // it, and stays.
    const bool nothingMoves =
        injection.goesOn && injection.struck && injection.struck->number == SYS_renameat2;
    if (!subject.newNotesWithoutItem().empty() && !injection.struckRemoval() && !nothingMoves) {
        return "an info file was left behind";
    }
    return report.isGone ? problemOfGone(subject, injection, report)
                         : problemOfStaying(subject, injection, report);
}

struct InjectionTally {
    int injected = 0;
    int gone = 0;
    int stayed = 0;
    std::set<long> calls;  // the kinds of calls that failed
    std::vector<std::string> violations;
};

void injectEverywhere(Scenario scenario, const std::string& mode, bool goesOn, std::uint64_t stride,
                      InjectionTally& tally, std::span<const int> tried = diskErrors) {
    RemovalSubject subject(scenario);
    const auto run = [&](const Watcher& watcher) { return subject.run(mode, watcher); };
    // As long as nothing has changed, one call is much like the other.
    ErrorInjection none;
    none.call = ~std::uint64_t{0};
    run([&none](const SystemCall& now) { return none.look(now); });
    constexpr std::uint64_t margin = 8;
    const std::uint64_t firstChange = none.firstChange.value_or(0);
    const Pace pace{.stride = stride,
                    .dense = stride > 1 ? firstChange - std::min(margin, firstChange) : 0,
                    .sparse = 10 * stride};
    std::vector<int> errors(tried.begin(), tried.end());
    if (goesOn) {
        // A system that always does that is none.
        std::erase_if(errors, [](int error) { return error == EINTR || error == shortWrite; });
    }
    Injection injection;
    injection.goesOn = goesOn;
    failEverywhere(run, errors, injection, pace, [&](const Injection& now, const ProgramOutcome& program) {
        ++tally.injected;
        tally.calls.insert(now.struck->number);
        const std::string problem = problemOf(subject, now, program);
        ++(program.output.find("\ngone ") != std::string::npos ? tally.gone : tally.stayed);
        if (!problem.empty()) {
            tally.violations.push_back(std::string(nameOf(scenario)) + ": " + now.description() + problem +
                                       "\n" + program.output);
        }
    });
}

int injectInto(const std::vector<Scenario>& scenarios, bool goesOn, std::uint64_t usualStride,
               std::span<const int> tried = diskErrors) {
    const auto stride = thorough<std::uint64_t>(usualStride * 4, usualStride, 1);
    InjectionTally sum;
    for (const Scenario scenario : scenarios) {
        InjectionTally tally;
        injectEverywhere(scenario, "", goesOn, stride, tally, tried);
        std::printf("%s: %d errors injected, into %zu kinds of calls, %d went, %d stayed\n", nameOf(scenario),
                    tally.injected, tally.calls.size(), tally.gone, tally.stayed);
        std::fflush(stdout);
        EXPECT_THAT(tally.violations, IsEmpty());
        EXPECT_GT(tally.injected, 0);
        // With most calls left out, those that are left may all come to the same.
        if (thoroughness() == Thoroughness::full) {
            EXPECT_GT(tally.stayed, 0);
        }
        sum.injected += tally.injected;
        sum.gone += tally.gone;
    }
    std::printf("%d errors injected\n", sum.injected);
    return sum.gone;
}

void expectSomeGone(int gone) {
    if (thoroughness() != Thoroughness::brief) {
        EXPECT_GT(gone, 0);
    }
}

const std::vector<Scenario> removable(std::begin(removableScenarios), std::end(removableScenarios));

TEST(RemovalInjection, eachErrorAtEachCall_isToldAndLosesNothing) {
    inPrivateNamespace([] { expectSomeGone(injectInto(removable, false, 23)); });
}

TEST(RemovalInjection, callsThatGoOnFailing_areToldAndLoseNothing) {
    inPrivateNamespace([] { injectInto(removable, true, 37); });
}

// What a path tells that is not what it was, and a file system that is like no other.
constexpr std::array oddErrors = {EXDEV, ELOOP, EAGAIN, ENAMETOOLONG, EPERM, ESTALE};

TEST(RemovalInjection, oddErrors_areToldAndLoseNothing) {
    inPrivateNamespace([] {
        const std::vector<Scenario> scenarios = {Scenario::file, Scenario::volumeTrash, Scenario::duplicate,
                                                 Scenario::treeForGood};
        expectSomeGone(injectInto(scenarios, false, 23, oddErrors));
        injectInto(scenarios, true, 37, oddErrors);
    });
}

// A file system that cannot move without replacing: the new name is taken first, and then replaced.

TEST(RemovalWithoutExclusiveMoves, goesAllTheSame_andLosesNothing) {
    inPrivateNamespace([] {
        for (const int unknown : {EINVAL, ENOSYS}) {
            for (const Scenario scenario : removableScenarios) {
                RemovalSubject subject(scenario);
                const Injection none;
                const ProgramOutcome program = subject.run("", [unknown](const SystemCall& call) {
                    return call.isEntry && call.number == SYS_renameat2
                               ? Verdict{.kind = Verdict::Kind::fail, .value = unknown}
                               : Verdict{};
                });
                EXPECT_EQ(problemOf(subject, none, program), "") << program.output;
                EXPECT_THAT(program.output, HasSubstr("\ngone "));
            }
        }
    });
}

TEST(RemovalWithoutExclusiveMoves, thatFail_leaveTheItemAndNoTakenName) {
    inPrivateNamespace([] {
        for (const int error : {EIO, ENOSPC, EINTR}) {
            for (const Scenario scenario : removableScenarios) {
                RemovalSubject subject(scenario);
                const Injection none;
                bool hasFailed = false;
                const ProgramOutcome program = subject.run("", [&](const SystemCall& call) {
                    if (call.isEntry && call.number == SYS_renameat2) {
                        return Verdict{.kind = Verdict::Kind::fail, .value = EINVAL};
                    }
                    // Of the item: an info file is renamed too before it is removed.
                    const bool isItem =
                        !call.text(1).ends_with(".trashinfo") && !call.text(3).ends_with(".trashinfo");
                    if (call.isEntry && call.number == SYS_renameat && isItem &&
                        !std::exchange(hasFailed, true)) {
                        return Verdict{.kind = Verdict::Kind::fail, .value = error};
                    }
                    return Verdict{};
                });
                EXPECT_TRUE(hasFailed);
                EXPECT_EQ(problemOf(subject, none, program), "") << program.output;
                // Interrupted, it is tried again.
                EXPECT_THAT(program.output, HasSubstr(error == EINTR ? "\ngone " : "\nstays -: "));
            }
        }
    });
}

TEST(RemovalInjection, aFolderThatHoldsAMount_staysWhateverFails) {
    inPrivateNamespace([] {
        const std::vector<Scenario> mounts = {Scenario::mountBelow, Scenario::mountBelowForGood};
        EXPECT_EQ(injectInto(mounts, false, 61), 0);
        EXPECT_EQ(injectInto(mounts, true, 101), 0);
    });
}

std::vector<std::string> violationsOf(Scenario scenario, const std::string& mode) {
    InjectionTally tally;
    injectEverywhere(scenario, mode, false, 1, tally);
    return tally.violations;
}

TEST(RemovalInjectionControl, ignoringTheOutcomeOfTheSync_isFoundOut) {
    inPrivateNamespace([] {
        EXPECT_THAT(violationsOf(Scenario::file, "unchecked"),
                    testing::Contains(HasSubstr("the sync of its info file failed")));
    });
}

TEST(RemovalInjectionControl, keepingADescriptor_isFoundOut) {
    inPrivateNamespace([] {
        EXPECT_THAT(violationsOf(Scenario::file, "leaky"),
                    testing::Contains(HasSubstr("a descriptor was left open")));
    });
}

TEST(RemovalInjectionControl, tellingASuccessWhateverHappened_isFoundOut) {
    inPrivateNamespace([] {
        EXPECT_THAT(violationsOf(Scenario::file, "hopeful"),
                    testing::Contains(HasSubstr("told as gone, and it stands")));
    });
}

TEST(RemovalInjectionControl, removingWhereItStands_isFoundOut) {
    inPrivateNamespace([] {
        EXPECT_THAT(violationsOf(Scenario::treeForGood, "in-place"),
                    testing::Contains(HasSubstr("told as gone, and it stands")));
    });
}

// --- The name is taken when the item is to be put back.

// At the exit of the call that moved the item, somebody makes another one of its name, and the copy that
// proved it has changed.
ProgramOutcome runWithTakenName(RemovalSubject& subject, const std::string& mode) {
    bool isDone = false;
    return subject.run(mode, [&](const SystemCall& call) {
        if (!isDone && !call.isEntry && call.number == SYS_renameat2 && call.result == 0) {
            isDone = true;
            writeBytes(subject.url(), "another one");
            writeBytes(subject.pathOf("root/keeper.txt"), "changed!");
        }
        return Verdict{};
    });
}

TEST(RemovalRestore, intoATakenName_keepsTheItemInTheTrashAndTellsWhere) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::duplicate);
        const RemovalReport report = parseRemoval(subject, runWithTakenName(subject, "trash").output);
        subject.look();
        EXPECT_FALSE(report.isGone);
        EXPECT_EQ(report.place, "home/.local/share/Trash/files/item.txt");
        EXPECT_THAT(subject.wholeInTrash(), testing::ElementsAre(report.place));
        EXPECT_TRUE(subject.hasCompleteInfoFile(report.place));
        EXPECT_EQ(readBytes(subject.url()), "another one");
        EXPECT_THAT(
            report.sentence,
            HasSubstr("The duplicate or its retained copy changed or is unavailable. Scan for duplicates "
                      "again. It could not be put back in its place; it is kept at “"));
    });
}

TEST(RemovalRestore, intoATakenName_keepsTheItemInThePrivateFolderAndTellsWhere) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::duplicate);
        const RemovalReport report = parseRemoval(subject, runWithTakenName(subject, "permanent").output);
        subject.look();
        EXPECT_FALSE(report.isGone);
        ASSERT_EQ(subject.privateFolders().size(), 1U);
        const RemovalSubject::PrivateFolder folder = subject.privateFolders().front();
        EXPECT_TRUE(folder.holdsAllOfIt);
        EXPECT_EQ(report.place, folder.path + "/item.txt");
        EXPECT_EQ(readBytes(subject.url()), "another one");
    });
}

// --- A disk that is full, and one that is read-only

struct SmallDisk {
    explicit SmallDisk(bool withoutNames)
        : disk("none", tree.folder("disk"), "tmpfs", 0, "size=1m,nr_inodes=50,mode=0755"),
          home(tree.folder("disk/home")),
          item(tree.file("disk/root/item.txt", "the item")) {
        setenv("HOME", home.c_str(), 1);
        unsetenv("XDG_DATA_HOME");
        tree.folder("disk/home/.local/share/Trash/files");
        tree.folder("disk/home/.local/share/Trash/info");
        for (int number = 0; withoutNames; ++number) {
            const std::string name = tree.path("disk/filler" + std::to_string(number));
            const int file = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
            if (file < 0) {
                break;
            }
            close(file);
        }
        if (!withoutNames) {
            const int file = open(tree.path("disk/filler").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
            const std::string block(4096, 'x');
            while (write(file, block.data(), block.size()) > 0) {
            }
            close(file);
        }
    }

    std::string answer(bool permanently) const {
        const ProgramOutcome outcome =
            runWatched({"removal", permanently ? "permanent" : "trash", tree.path("disk/root"), item},
                       [](const SystemCall&) { return Verdict{}; });
        return outcome.output.substr(outcome.output.find('\n') + 1);
    }

    TemporaryTree tree;
    Mounted disk;
    std::string home;
    std::string item;
};

TEST(RemovalFullDisk, withoutRoom_theItemStaysOrIsRemovedForGood) {
    inPrivateNamespace([] {
        const SmallDisk disk(false);
        EXPECT_THAT(disk.answer(false), HasSubstr("stays -: "));
        EXPECT_EQ(readBytes(disk.item), "the item");
        EXPECT_TRUE(std::filesystem::is_empty(disk.home + "/.local/share/Trash/info"));
        EXPECT_THAT(disk.answer(true), HasSubstr("gone 8 -"));
        EXPECT_FALSE(stands(disk.item));
    });
}

// Who has filled a disk must be able to remove, where not even one more folder can be made.
TEST(RemovalFullDisk, withoutAName_theItemStaysOrIsRemovedForGood) {
    inPrivateNamespace([] {
        const SmallDisk disk(true);
        EXPECT_THAT(disk.answer(false),
                    testing::AllOf(HasSubstr("stays -: "), HasSubstr("permanent deletion needs no room")));
        EXPECT_EQ(readBytes(disk.item), "the item");
        EXPECT_TRUE(std::filesystem::is_empty(disk.home + "/.local/share/Trash/info"));
        EXPECT_TRUE(std::filesystem::is_empty(disk.home + "/.local/share/Trash/files"));
        EXPECT_THAT(disk.answer(true), HasSubstr("gone 8 -"));
        EXPECT_TRUE(std::filesystem::is_empty(disk.tree.path("disk/root")));
    });
}

TEST(RemovalFullDisk, readOnly_theItemStaysAndThatIsTold) {
    inPrivateNamespace([] {
        const SmallDisk disk(false);
        ASSERT_EQ(mount("none", disk.tree.path("disk").c_str(), nullptr, MS_REMOUNT | MS_RDONLY, "size=1m"),
                  0);
        for (const bool permanently : {false, true}) {
            EXPECT_THAT(disk.answer(permanently), HasSubstr("stays -: "));
            EXPECT_EQ(readBytes(disk.item), "the item");
        }
    });
}

}  // namespace
}  // namespace larkfold::test
