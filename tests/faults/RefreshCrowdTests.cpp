// Several processes of the program at one index: one reads or changes it while another puts a new one in its
// place, changes it, is killed at that, or removes it. Whatever is found at the place is one whole index.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "disk/DiskScanner.h"
#include "disk/SavedScanLoader.h"
#include "disk/ScanIndexDatabase.h"
#include "faults/FaultLoops.h"
#include "faults/IndexOracle.h"
#include "faults/RefreshSubject.h"
#include "faults/SystemCallHarness.h"
#include "platform/FileLock.h"
#include "platform/OwnFiles.h"

namespace larkfold::test {
namespace {

using namespace std::chrono_literals;
using testing::AnyOf;
using testing::Contains;
using testing::IsEmpty;

// --- One at a time: at each moment of one process another one comes, if the lock lets it

class Intrusion {
public:
    Intrusion(std::string folder, std::uint64_t at, std::function<void()> work)
        : folder_(std::move(folder)), at_(at), work_(std::move(work)) {}

    Verdict look(const SystemCall& call) {
        if (call.stop == at_) {
            try {
                const own_files::FolderLock lock(folder_, 0ms);
                work_();
                hasCome = true;
            } catch (const SystemError& error) {
                isKeptOff = error.code() == EBUSY;
            }
        }
        return {};
    }

    bool hasCome = false;
    bool isKeptOff = false;

private:
    std::string folder_;
    std::uint64_t at_;
    std::function<void()> work_;
};

struct Tally {
    int came = 0;
    int wasKeptOff = 0;
    std::map<std::string, int> outcomes;  // "done", "refused"
    std::vector<std::string> violations;
};

// Runs the victim once for each of its moments. `problem` judges after a run into which somebody came.
void intrudeEverywhere(const std::string& folder, const std::vector<std::string>& victim,
                       const std::function<void()>& putInPlace, const std::function<void()>& work,
                       const std::function<std::string(const std::string& outcome)>& problem, Tally& tally,
                       std::uint64_t stride = 1) {
    for (std::uint64_t at = 0;; at += stride) {
        putInPlace();
        Intrusion intrusion(folder, at, work);
        const ProgramOutcome program =
            runWatched(victim, [&intrusion](const SystemCall& call) { return intrusion.look(call); });
        if (program.stops <= at) {
            break;
        }
        const std::size_t line = program.output.find('\n');
        const std::string outcome = line == std::string::npos ? "" : program.output.substr(line + 1);
        if (intrusion.isKeptOff) {
            ++tally.wasKeptOff;
            continue;
        }
        if (!intrusion.hasCome) {
            tally.violations.push_back("nobody came and nobody was kept off at stop " + std::to_string(at));
            continue;
        }
        ++tally.came;
        ++tally.outcomes[outcome.substr(0, outcome.find_first_of(" \n"))];
        if (!program.hasExited) {
            tally.violations.push_back("it did not end by itself");
        } else if (const std::string found = problem(outcome); !found.empty()) {
            tally.violations.push_back("at stop " + std::to_string(at) + ": " + found + "\n" + outcome);
        }
    }
}

void tell(const char* what, const Tally& tally) {
    std::printf("%s: somebody came %d times and was kept off %d times", what, tally.came, tally.wasKeptOff);
    for (const auto& [outcome, count] : tally.outcomes) {
        std::printf("; %s %d times", outcome.c_str(), count);
    }
    std::printf("; %zu violations\n", tally.violations.size());
}

std::uint64_t pace() {
    return thoroughness() == Thoroughness::brief ? 17 : thoroughness() == Thoroughness::full ? 1 : 3;
}

// The index before is the old state, the other one the new state: of another scan of the same root.
class OtherIndex {
public:
    explicit OtherIndex(const RefreshSubject& subject) : subject_(subject) {
        const std::string made = tree_.path("other.sqlite");
        makeIndex(subject.root(), made);
        described_ = describeIndex(made);
        clean_ = readBytes(made);
        interrupted_ = interruptChange(made);
        SavedScanLoader::merge(made, subject.incoming(), {});
        merged_ = describeIndex(made);
    }

    // As a scan does at its end.
    void putInPlace() const {
        const std::string temporary = subject_.indexFolder() + "/scan-by-the-test.sqlite";
        writeBytes(temporary, clean_);
        own_files::replaceFile(temporary, subject_.indexFile());
    }
    // And then somebody is killed who was changing it.
    void putInPlaceInterrupted() const {
        const std::string temporary = subject_.indexFolder() + "/scan-by-the-test.sqlite";
        writeBytes(temporary, interrupted_.database);
        own_files::replaceFile(temporary, subject_.indexFile());
        writeBytes(subject_.indexFile() + "-journal", interrupted_.journal);
    }

    const std::string& described() const { return described_; }
    const std::string& merged() const { return merged_; }

private:
    const RefreshSubject& subject_;
    TemporaryTree tree_;
    std::string described_;
    std::string merged_;
    std::string clean_;
    InterruptedIndex interrupted_;
};

Tally replaceAndInterruptDuring(const std::string& mode) {
    RefreshSubject subject(Step::mergeOfRoot);
    const OtherIndex other(subject);
    Tally tally;
    intrudeEverywhere(
        subject.indexFolder(), {"refresh", mode, subject.indexFile(), subject.incoming()},
        [&] { subject.putInPlace(); }, [&] { other.putInPlaceInterrupted(); },
        [&](const std::string& outcome) -> std::string {
            std::string found = describeIndex(subject.indexFile());
            if (found != other.described() && found != other.merged()) {
                return found;
            }
            return outcome.starts_with("done") ? "" : "it failed for no reason";
        },
        tally, pace());
    tell(mode.c_str(), tally);
    return tally;
}

TEST(RefreshBeside, aReadingWhoseIndexIsReplacedAndThenChanged_takesNobodysJournal) {
    const Tally tally = replaceAndInterruptDuring("load");
    EXPECT_THAT(tally.violations, IsEmpty());
    EXPECT_GT(tally.came, 0);
    EXPECT_GT(tally.wasKeptOff, 0);
}

TEST(RefreshBeside, aMergeWhoseIndexIsReplacedAndThenChanged_isMadeInTheNewOne) {
    const Tally tally = replaceAndInterruptDuring("merge");
    EXPECT_THAT(tally.violations, IsEmpty());
    EXPECT_GT(tally.came, 0);
    EXPECT_GT(tally.wasKeptOff, 0);
}

TEST(RefreshBesideControl, readingWithoutALock_isFoundOut) {
    const Tally tally = replaceAndInterruptDuring("unlocked-load");
    EXPECT_THAT(tally.violations, testing::Not(IsEmpty()));
}

TEST(RefreshBesideControl, mergingWithoutALock_isFoundOut) {
    const Tally tally = replaceAndInterruptDuring("unlocked-merge");
    EXPECT_THAT(tally.violations, testing::Not(IsEmpty()));
}

// The other way round: a scan comes to its end while others change the old index and are killed at that.
TEST(RefreshBeside, aScanThatReplacesAnIndexWhoseMergeWasKilled_leavesTheNewOneAlone) {
    RefreshSubject subject(Step::mergeOfRoot);
    const OtherIndex other(subject);
    subject.putInPlace();
    const InterruptedIndex interrupted = interruptChange(subject.indexFile());
    Tally tally;
    intrudeEverywhere(
        subject.indexFolder(), {"scan", "scan", subject.root(), subject.indexFile()},
        [&] { subject.putInPlace(); },
        [&] {
            if (describeIndex(subject.indexFile()) == other.described()) {
                return;  // the scan has come to its end already
            }
            writeBytes(subject.indexFile(), interrupted.database);
            writeBytes(subject.indexFile() + "-journal", interrupted.journal);
        },
        [&](const std::string& outcome) -> std::string {
            const std::string found = describeIndex(subject.indexFile());
            return found != other.described()                 ? found
                   : stands(subject.indexFile() + "-journal") ? "a journal was left"
                   : !outcome.starts_with("scanned ")         ? "the scan failed"
                                                              : "";
        },
        tally, pace());
    tell("a scan", tally);
    EXPECT_THAT(tally.violations, IsEmpty());
    EXPECT_GT(tally.came, 0);
    if (thoroughness() != Thoroughness::brief) {
        EXPECT_GT(tally.wasKeptOff, 0);  // a scan holds the lock for some of its moments only
    }
}

TEST(RefreshBeside, anIndexThatIsForgottenDuringAMerge_isGone) {
    RefreshSubject subject(Step::mergeOfRoot);
    Tally tally;
    intrudeEverywhere(
        subject.indexFolder(), subject.arguments(), [&] { subject.putInPlace(); },
        [&] { own_files::removeFile(subject.indexFile()); },
        [&](const std::string& outcome) -> std::string {
            const auto left = filesWithPrefix(subject.indexFolder(), "");
            return !left.empty()                                        ? left.begin()->first + " was left"
                   : outcome.starts_with("done") || outcome.size() > 30 ? ""
                                                                        : "no sentence";
        },
        tally, pace());
    tell("forgetting", tally);
    EXPECT_THAT(tally.violations, IsEmpty());
    EXPECT_GT(tally.outcomes["done"], 0);
    EXPECT_GT(tally.outcomes["refused"], 0);
}

// --- A scan over what a killed merge has left, and a kill of that

// What stands in the index's folder, to be put there again as it was: a journal may name another file by its
// path.
std::map<std::string, std::string> contentsOf(const std::string& folder) {
    std::map<std::string, std::string> contents;
    for (const auto& [name, path] : filesWithPrefix(folder, "")) {
        contents[path] = readBytes(path);
    }
    return contents;
}

TEST(RefreshKill, ofAMerge_andThenOfTheScanOverIt_leavesTheWholeOldOrTheWholeNewIndex) {
    constexpr int manyFiles = 1'500;  // a scan of them is what takes the time
    RefreshSubject subject(Step::merge, manyFiles);
    const std::string other = subject.root() + "/kept/empty";
    const TemporaryTree place;
    makeIndex(other, place.path("new.sqlite"));
    const std::string newIndex = describeIndex(place.path("new.sqlite"));

    const auto runAndKill = [&subject](int afterWrites, int& writes) {
        return subject.run([&subject, afterWrites, &writes](const SystemCall& call) {
            const bool isWritten =
                !call.isEntry && call.number == SYS_pwrite64 && call.descriptorPath(0) == subject.indexFile();
            return isWritten && ++writes == afterWrites ? Verdict{.kind = Verdict::Kind::kill} : Verdict{};
        });
    };
    int writes = 0;
    ASSERT_EQ(runAndKill(-1, writes).exitCode, 0);
    ASSERT_GT(writes, 10);

    // A kill after so many writes into the index itself, all of them before the change is committed.
    int kills = 0;
    int hot = 0;
    int oldStood = 0;
    int newStood = 0;
    for (const int after : {1, writes / 2, writes}) {
        int made = 0;
        ASSERT_TRUE(runAndKill(after, made).wasKilledByWatcher);
        const auto remains = contentsOf(subject.indexFolder());
        EXPECT_TRUE(remains.contains(subject.indexFile() + "-journal"));
        // Without the journal it is another index, or none: only then does the journal matter.
        unlink((subject.indexFile() + "-journal").c_str());
        hot += describeIndex(subject.indexFile()) != subject.described(0) ? 1 : 0;

        for (std::uint64_t at = 0;; at += 4 * pace() - 1) {
            removeTree(subject.indexFolder());
            own_files::createFolders(subject.indexFolder());
            for (const auto& [path, bytes] : remains) {
                writeBytes(path, bytes);
            }
            const ProgramOutcome scan = runWatched({"scan", "scan", other, subject.indexFile()}, killAt(at));
            const std::string found = describeIndex(subject.indexFile());
            ++(found == newIndex ? newStood : oldStood);
            EXPECT_THAT(found, AnyOf(newIndex, subject.described(0)))
                << "after " << after << " writes of the merge and " << at << " stops of the scan";
            if (!scan.wasKilledByWatcher) {
                EXPECT_EQ(found, newIndex) << scan.output;
                break;
            }
            ++kills;
        }
    }
    std::printf("%d kill points, the old index stood %d times and the new one %d times\n", kills, oldStood,
                newStood);
    EXPECT_GT(hot, 0) << "journals that nobody needs prove nothing";
    EXPECT_GT(oldStood, 0);
    EXPECT_GE(newStood, thoroughness() == Thoroughness::brief ? 3 : 4)
        << "one more than the scans that went well";
}

// --- All at once, and killed at any moment

// A process that does one thing again and again, and tells each time in one letter how that ended.
class Worker {
public:
    Worker(int tells, const std::function<char()>& work) {
        process_ = fork();
        if (process_ == 0) {
            for (;;) {
                char letter = '!';  // what nobody should throw
                try {
                    letter = work();
                } catch (const CancellationError&) {
                } catch (const Error&) {
                    letter = 'e';
                } catch (...) {
                }
                if (write(tells, &letter, 1) != 1) {
                    _exit(1);
                }
            }
        }
    }
    ~Worker() {
        if (process_ > 0) {
            kill(process_, SIGKILL);
            int status = 0;
            waitpid(process_, &status, 0);
            EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "it ended before";
        }
    }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

private:
    pid_t process_ = -1;
};

// A root, its index, and finished indexes of two of its folders as they were at another time.
struct CrowdScene {
    CrowdScene() {
        for (int i = 0; i < 400; ++i) {
            tree.file("root/" + std::string(1, static_cast<char>('a' + i % 3)) + "/" + std::to_string(i) +
                          " with a name of some length that fills the pages",
                      std::string(static_cast<std::size_t>(i), 'x'));
        }
        index = tree.folder("index") + "/latest-scan.sqlite";
        tree.fileOfSize("root/a/at another time", 50'000);
        makeIndex(tree.path("root/a"), tree.path("a.sqlite"));
        unlink(tree.path("root/a/at another time").c_str());
        tree.fileOfSize("root/b/at another time", 90'000);
        makeIndex(tree.path("root/b"), tree.path("b.sqlite"));
        unlink(tree.path("root/b/at another time").c_str());

        for (const std::vector<std::string>& merged :
             {std::vector<std::string>{}, {"a"}, {"b"}, {"a", "b"}}) {
            const std::string made = tree.path("made.sqlite");
            makeIndex(tree.path("root"), made);
            for (const std::string& folder : merged) {
                SavedScanLoader::merge(made, tree.path(folder + ".sqlite"), {});
            }
            states.insert(describeIndex(made));
            sizes.insert(SavedScanLoader::load(made, std::nullopt, {}).totalSize);
        }
        EXPECT_EQ(states.size(), 4U);
        EXPECT_EQ(sizes.size(), 4U);
    }

    char scan() const {
        makeIndex(tree.path("root"), index);
        return 's';
    }
    char merge(const std::string& folder) const {
        SavedScanLoader::merge(index, tree.path(folder + ".sqlite"), {});
        return 'm';
    }
    char read() const {
        const ScanResult result = SavedScanLoader::load(index, std::nullopt, {});
        std::int64_t sum = 0;
        for (const auto& child : result.rootNode->children()) {
            sum += child->size();
        }
        return sum == result.totalSize && sizes.contains(sum) ? 'r' : '!';
    }
    char forget() const {
        if (!own_files::exists(index)) {
            return 'f';
        }
        SavedScanLoader::removeIndexFile(index);
        return 'f';
    }

    QuickFolder quick;
    TemporaryTree tree;
    std::string index;
    std::set<std::string> states;  // described
    std::set<std::int64_t> sizes;
};

void runCrowd(bool forgets) {
    const CrowdScene scene;
    const int rounds = thoroughness() == Thoroughness::full    ? 1'000
                       : thoroughness() == Thoroughness::brief ? 3
                                                               : 25;
    std::map<char, int> letters;
    int stood = 0;
    int withJournal = 0;
    scene.scan();
    for (int round = 0; round < rounds; ++round) {
        int ends[2];
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
        {
            std::vector<std::unique_ptr<Worker>> workers;
            const auto add = [&](const std::function<char()>& work) {
                workers.push_back(std::make_unique<Worker>(ends[1], work));
            };
            add([&] { return scene.scan(); });
            add([&] { return scene.merge("a"); });
            add([&] { return scene.merge("b"); });
            add([&] { return scene.read(); });
            if (forgets) {
                add([&, times = 0]() mutable { return ++times % 8 == 0 ? scene.forget() : scene.read(); });
            }
            // Failures come quickly, so what is waited for is that things are done.
            for (int done = 0; done < 20 + round % 13;) {
                char letter = 0;
                ASSERT_EQ(::read(ends[0], &letter, 1), 1);
                ++letters[letter];
                done += letter == 'e' || letter == 'f' ? 0 : 1;
            }
        }  // all are killed, whatever they are at
        close(ends[0]);
        close(ends[1]);
        withJournal += stands(scene.index + "-journal") ? 1 : 0;
        if (!stands(scene.index)) {
            EXPECT_TRUE(forgets) << "the index is gone";
            continue;
        }
        ++stood;
        EXPECT_THAT(scene.states, Contains(describeIndex(scene.index))) << "round " << round;
    }
    std::printf("%d rounds:", rounds);
    for (const auto& [letter, count] : letters) {
        std::printf(" %d times '%c'", count, letter);
    }
    std::printf("; an index stood %d times afterwards, a journal %d times\n", stood, withJournal);
    EXPECT_EQ(letters['!'], 0);
    EXPECT_GT(letters['m'], 0);
    EXPECT_GT(letters['r'], 0);
    EXPECT_GT(letters['s'], 0);
    if (thoroughness() != Thoroughness::brief) {
        EXPECT_GT(stood, 0);  // three rounds may all end right after somebody forgot
    }
    if (!forgets) {
        EXPECT_EQ(stood, rounds);
        EXPECT_EQ(letters['e'], 0) << "somebody failed although everybody waited for the others";
    }
    // And nobody has left anything that keeps the next one off.
    EXPECT_EQ(scene.scan(), 's');
    EXPECT_EQ(scene.merge("a"), 'm');
    EXPECT_EQ(scene.read(), 'r');
}

TEST(RefreshCrowd, whoScansMergesAndReadsAtOnce_findsOneWholeIndex) {
    runCrowd(false);
}

TEST(RefreshCrowd, whoForgetsMeanwhile_takesTheWholeIndexAway) {
    runCrowd(true);
}

}  // namespace
}  // namespace larkfold::test
