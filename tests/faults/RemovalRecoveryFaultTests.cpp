// A removal is killed at every system call, and so is the recovery after it: the start after that tells every
// item that moved, went or rests, in the history and once.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "faults/FaultLoops.h"
#include "faults/PrivateNamespace.h"
#include "faults/RecordOracle.h"
#include "faults/RemovalSubject.h"
#include "faults/SystemCallHarness.h"
#include "platform/Path.h"
#include "removal/CleanupHistoryStore.h"
#include "removal/RemovalRecovery.h"

namespace larkfold::test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::IsEmpty;

// --- The recovery is killed

// The moments of a removal after which the recovery has something else to do each: the entries and exits of
// what moves, removes or journals. Counted by themselves, since the threads of a run do not take the same
// turns each time.
bool isMoment(const SystemCall& call) {
    return call.number == SYS_renameat2 || call.number == SYS_unlinkat ||
           (call.number == SYS_write &&
            call.descriptorPath(0).find("/cleanup-journal-") != std::string::npos);
}

int momentsOf(RemovalSubject& subject) {
    int moments = 0;
    subject.run("", [&moments](const SystemCall& call) {
        moments += isMoment(call) ? 1 : 0;
        return Verdict{};
    });
    return moments;
}

Watcher killAtMoment(int moment) {
    return [moment, seen = 0](const SystemCall& call) mutable {
        return isMoment(call) && seen++ == moment ? Verdict{.kind = Verdict::Kind::kill} : Verdict{};
    };
}

TEST(RemovalRecoveryKill, atEverySystemCallOfTheRecovery_theNextOneTellsItOnce) {
    inPrivateNamespace([] {
        int kills = 0;
        int inPlace = 0;
        int aside = 0;
        for (const Scenario scenario : removableScenarios) {
            RemovalSubject subject(scenario, true);
            RecordOracle record;
            const auto stride = thorough<std::uint64_t>(83, 17, 1);
            const int moments = momentsOf(subject);
            const int step = thorough(5, moments > 16 ? 3 : 2, 1);
            for (int moment = 0; moment < moments; moment += step) {
                const auto run = [&](const Watcher& watcher) {
                    EXPECT_TRUE(subject.run("", killAtMoment(moment)).wasKilledByWatcher);
                    return subject.recover(watcher);
                };
                const Pace pace{.stride = stride, .first = static_cast<std::uint64_t>(moment) % stride};
                killEverywhere(run, pace, [&](std::uint64_t at, const ProgramOutcome& recovery) {
                    std::string problem = record.problemAfterRecovery(subject);
                    if (problem.empty()) {
                        problem = record.problemAfterRestoring(subject);
                    }
                    EXPECT_EQ(problem, "") << nameOf(scenario) << ", killed at moment " << moment
                                           << ", its recovery at stop " << at << "\n"
                                           << recovery.output;
                    kills += recovery.wasKilledByWatcher ? 1 : 0;
                    return problem.empty();
                });
            }
            std::printf("%s: told as in place %d, in Trash %d, aside %d, gone %d\n", nameOf(scenario),
                        record.inPlace, record.inTrash, record.aside, record.gone);
            std::fflush(stdout);
            inPlace += record.inPlace;
            aside += record.aside;
            EXPECT_GT(record.inTrash + record.aside + record.gone, 0);
        }
        std::printf("%d kill points of the recovery\n", kills);
        EXPECT_GT(inPlace, 0);
        EXPECT_GT(aside, 0);
        EXPECT_GT(kills, 50);
    });
}

// --- Several items

// Five items in one run, one of which cannot go.
struct SeveralItems {
    explicit SeveralItems(bool permanent) : isPermanent(permanent) {
        setenv("HOME", home.c_str(), 1);
        unsetenv("XDG_DATA_HOME");
    }

    void build() const {
        for (const std::string& top : {home, root, history}) {
            for (const auto& entry : fs::directory_iterator(top)) {
                removeTree(entry.path().string());
            }
        }
        writeBytes(root + "/first", "first");
        fs::create_directories(root + "/second/inner");
        writeBytes(root + "/second/inner/a", "a");
        writeBytes(root + "/second/b", "b");
        fs::create_symlink("nowhere", root + "/a link");
        writeBytes(root + "/third one", "third");
        writeBytes(root + "/\xff raw", "raw");
        writeBytes(root + "/bystander", "bystander");
    }

    std::vector<std::string> urls() const {
        return {root + "/first", root + "/second", root + "/a link", root + "/third one", root + "/\xff raw"};
    }

    ProgramOutcome run(const Watcher& watcher) const {
        build();
        std::vector<std::string> arguments = {"removal", "--history", historyFile(),
                                              isPermanent ? "several-permanent" : "several", root};
        for (const std::string& url : urls()) {
            arguments.push_back(url);
        }
        return runWatched(arguments, watcher);
    }

    std::string historyFile() const { return history + "/cleanup-history.json"; }

    static bool stands(const std::string& path) { return fs::exists(fs::symlink_status(path)); }

    // Below the first path that ends in `name` in one of the private folders; empty where there is none.
    std::string asideOf(const std::string& name) const {
        for (const auto& entry : fs::directory_iterator(root)) {
            if (entry.path().filename().string().starts_with(".larkfold-removing-") &&
                stands(entry.path().string() + "/" + name)) {
                return entry.path().string() + "/" + name;
            }
        }
        return {};
    }

    std::string problemOf(const CleanupOperation::Item& item) const {
        const std::string name(lastPathComponent(item.originalPath));
        const std::string aside = asideOf(name);
        const std::string trashed = home + "/.local/share/Trash/files/" + name;
        const bool isInPlace = stands(item.originalPath);
        const int places = (isInPlace ? 1 : 0) + (aside.empty() ? 0 : 1) + (stands(trashed) ? 1 : 0);
        if (places > 1 || (places == 0 && !isPermanent)) {
            return "there " + std::to_string(places) + " times";
        }
        if (isInPlace) {
            const bool isRefused = name == "a link" && item.error &&
                                   item.error->find("This path is protected") != std::string::npos;
            return isRefused || (item.error && item.error->find("in its place") != std::string::npos)
                       ? ""
                       : "in its place, and told otherwise";
        }
        if (!aside.empty()) {
            return item.error && item.error->find("“" + displayText(aside) + "”") != std::string::npos
                       ? ""
                       : "aside, and told otherwise";
        }
        if (stands(trashed)) {
            return item.trashPath == trashed && !item.error ? "" : "in the Trash, and told otherwise";
        }
        return !item.error && !item.trashPath ? "" : "gone, and told otherwise";
    }

    // After the recovery. `isRecorded`: the history had it before.
    std::string problem() const {
        CleanupHistoryStore store(historyFile());
        const auto report = RemovalRecovery(store).recover({});
        const auto operations = store.load();
        if (!report.problems.empty() || operations.size() > 1) {
            return "told twice, or a problem";
        }
        if (contentOf(root + "/bystander") != "bystander") {
            return "the bystander went";
        }
        if (operations.empty()) {
            const auto all = urls();
            return std::all_of(all.begin(), all.end(), stands) ? "" : "something went untold";
        }
        if (operations.front().items.size() != urls().size()) {
            return "not every item is told";
        }
        for (const CleanupOperation::Item& item : operations.front().items) {
            if (const std::string wrong = problemOf(item); !wrong.empty()) {
                return displayText(item.originalPath) + " is " + wrong;
            }
        }
        return "";
    }

    bool isPermanent;
    TemporaryTree tree;
    Mounted disk{"none", tree.folder("disk"), "tmpfs", 0, "mode=0755"};
    std::string home = tree.folder("disk/home");
    std::string root = tree.folder("disk/root");
    std::string history = tree.folder("history");
};

TEST(RemovalRecoveryKill, atEverySystemCallOfSeveralItems_tellsEachOfThem) {
    inPrivateNamespace([] {
        int kills = 0;
        for (const bool isPermanent : {false, true}) {
            const SeveralItems items(isPermanent);
            const auto run = [&items](const Watcher& watcher) { return items.run(watcher); };
            killEverywhere(run, {.stride = thorough<std::uint64_t>(101, 17, 1)},
                           [&](std::uint64_t at, const ProgramOutcome& outcome) {
                               const std::string problem = items.problem();
                               EXPECT_EQ(problem, "") << "killed at stop " << at;
                               kills += outcome.wasKilledByWatcher ? 1 : 0;
                               return problem.empty();
                           });
        }
        std::printf("%d kill points of five items\n", kills);
        EXPECT_GT(kills, 20);
    });
}

// --- Another window

// At each system call of a removal another window starts and looks for what was left.
TEST(RemovalRecoveryBesideARun, atEverySystemCall_leavesItsJournalAlone) {
    inPrivateNamespace([] {
        int looks = 0;
        for (const Scenario scenario : {Scenario::file, Scenario::treeForGood}) {
            const auto stride = thorough<std::uint64_t>(61, 23, 1);
            for (std::uint64_t at = 0;; at += stride) {
                RemovalSubject subject(scenario, true);
                bool hasLooked = false;
                RemovalRecovery::Report report;
                const ProgramOutcome outcome = subject.run("", [&](const SystemCall& call) {
                    if (call.stop == at) {
                        hasLooked = true;
                        CleanupHistoryStore other(subject.historyFile());
                        report = RemovalRecovery(other).recover({});
                    }
                    return Verdict{};
                });
                if (!hasLooked) {
                    break;
                }
                ++looks;
                ASSERT_THAT(outcome.output, HasSubstr("\ngone ")) << at;
                ASSERT_THAT(report.problems, IsEmpty()) << at;
                ASSERT_THAT(report.leftovers, IsEmpty()) << at;
                // The run records itself; the other window never did.
                CleanupHistoryStore history(subject.historyFile());
                const auto operations = history.load();
                ASSERT_EQ(operations.size(), 1U) << at;
                ASSERT_FALSE(operations.front().items.at(0).error) << at;
                ASSERT_FALSE(operations.front().volumes.empty() || !operations.front().volumes.front().after)
                    << at;
                ASSERT_THAT(subject.journals(), IsEmpty()) << at;
            }
        }
        std::printf("%d moments of another window\n", looks);
        EXPECT_GT(looks, 10);
    });
}

// --- Errors

bool isOfTheJournal(const SystemCall& call) {
    switch (call.number) {
        case SYS_openat:
        case SYS_unlink:
            return call.text(call.number == SYS_openat ? 1 : 0).find("/cleanup-journal-") !=
                   std::string::npos;
        case SYS_write:
        case SYS_fsync:
        case SYS_flock:
        case SYS_fchmod:
        case SYS_fstat:
        case SYS_newfstatat:
            return call.descriptorPath(0).find("/cleanup-journal-") != std::string::npos;
        default:
            return false;
    }
}

// Lets a call of the journal fail, or that and all further ones.
struct JournalInjection {
    std::uint64_t call = 0;
    int error = 0;
    bool goesOn = false;

    std::uint64_t seen = 0;
    std::optional<SystemCall> struck;

    Verdict look(const SystemCall& now) {
        if (!now.isEntry || !isOfTheJournal(now)) {
            return {};
        }
        const std::uint64_t number = seen++;
        if (number == call) {
            struck = now;
        }
        return number == call || (goesOn && number > call)
                   ? Verdict{.kind = Verdict::Kind::fail, .value = error}
                   : Verdict{};
    }
};

// Where the journal cannot be kept, the item goes all the same, and the history has it.
void expectGoneAndRecorded(const RemovalSubject& subject, const ProgramOutcome& outcome) {
    EXPECT_THAT(outcome.output, HasSubstr("\ngone "));
    const RemovalReport report = parseRemoval(subject, outcome.output);
    EXPECT_EQ(report.descriptorsBefore, report.descriptorsAfter);
    // What could not be removed at the end goes at the next start, and is told once.
    CleanupHistoryStore history(subject.historyFile());
    const auto left = RemovalRecovery(history).recover({});
    EXPECT_THAT(left.problems, IsEmpty());
    const auto operations = history.load();
    ASSERT_EQ(operations.size(), 1U);
    EXPECT_FALSE(operations.front().items.front().error);
    EXPECT_THAT(subject.journals(), IsEmpty());
}

TEST(RemovalJournalInjection, eachErrorAtEachCallOfTheJournal_stopsNoRemoval) {
    inPrivateNamespace([] {
        int injected = 0;
        constexpr std::array errors = {EIO, ENOSPC, EDQUOT, EACCES, EMFILE, ENOLCK};
        for (const Scenario scenario : {Scenario::file, Scenario::treeForGood}) {
            RemovalSubject subject(scenario, true);
            const auto run = [&subject](const Watcher& watcher) { return subject.run("", watcher); };
            for (const bool goesOn : {false, true}) {
                JournalInjection injection;
                injection.goesOn = goesOn;
                failEverywhere(run, errors, injection, {.stride = thorough<std::uint64_t>(3, 3, 1)},
                               [&](const JournalInjection& now, const ProgramOutcome& outcome) {
                                   SCOPED_TRACE(std::string(nameOf(scenario)) + ", error " +
                                                std::to_string(now.error) + " in call " +
                                                std::to_string(now.call) + ", number " +
                                                std::to_string(now.struck->number));
                                   ++injected;
                                   expectGoneAndRecorded(subject, outcome);
                               });
            }
        }
        std::printf("%d errors in the journal's calls\n", injected);
        EXPECT_GT(injected, 50);
    });
}

// A line that was cut short is not written behind, so that what stands before it still counts.
TEST(RemovalJournalInjection, aDiskThatFillsUpOnTheWay_leavesAJournalThatIsRead) {
    inPrivateNamespace([] {
        for (const Scenario scenario : {Scenario::file, Scenario::fileForGood}) {
            RemovalSubject subject(scenario, true);
            for (int wanted = 1; wanted < 4; ++wanted) {
                int writes = 0;
                std::uint64_t end = 0;
                const auto cutShort = [&](const SystemCall& call, std::uint64_t killedAt) {
                    if (call.stop == killedAt) {
                        return Verdict{.kind = Verdict::Kind::kill};
                    }
                    end = call.stop;
                    if (!call.isEntry || call.number != SYS_write || !isOfTheJournal(call)) {
                        return Verdict{};
                    }
                    const int number = writes++;
                    if (number == wanted) {
                        return Verdict{.kind = Verdict::Kind::shorten,
                                       .value = static_cast<std::int64_t>(call.arguments[2] / 2)};
                    }
                    return number > wanted ? Verdict{.kind = Verdict::Kind::fail, .value = ENOSPC}
                                           : Verdict{};
                };
                subject.run("", [&](const SystemCall& call) { return cutShort(call, ~std::uint64_t{0}); });
                for (std::uint64_t at = end - std::min<std::uint64_t>(end, 120); at < end; at += 4) {
                    writes = 0;
                    subject.run("", [&](const SystemCall& call) { return cutShort(call, at); });
                    RecordOracle record;
                    const std::string problem = record.problemAfterRecovery(subject);
                    // What went for good after that may not be claimed: nothing tells that it was to go.
                    const bool isNotClaimed = record.gone == 1 && subject.isPermanent() &&
                                              problem.find("was found neither") != std::string::npos;
                    ASSERT_TRUE(problem.empty() || isNotClaimed) << problem << ", killed at " << at;
                }
            }
        }
    });
}

}  // namespace
}  // namespace larkfold::test
