// A removal into which somebody steps at each of its system calls in turn: what is mounted meanwhile is not
// touched, not measured and not moved along; and whatever becomes of the Trash, what is told is true and
// nothing of another's goes.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "faults/FaultLoops.h"
#include "faults/IndexOracle.h"
#include "faults/PrivateNamespace.h"
#include "faults/RemovalSubject.h"
#include "faults/SystemCallHarness.h"

namespace larkfold::test {
namespace {

namespace fs = std::filesystem;
using testing::IsEmpty;

constexpr const char* homeTrash = "home/.local/share/Trash";

// From which call on somebody steps in. What happens before it was there when the removal began.
using From = std::function<bool(const SystemCall&)>;

const From anyCall = [](const SystemCall&) { return true; };
// The item's folder, below its root.
const From takesHold = [](const SystemCall& call) {
    return call.number == SYS_openat2 && call.text(1) == "folder";
};
// The last that it takes hold of: the info file of an item that lies in the Trash.
const From holdsTheNote = [](const SystemCall& call) {
    return call.number == SYS_openat && (call.arguments[2] & O_PATH) != 0 &&
           call.text(1) == "item.txt.trashinfo";
};

// Whether it makes a difference to step in right before this call: it looks at files or changes them, and not
// at what the system tells of its devices. Thoroughly, every call counts.
bool countsAsMoment(const SystemCall& call) {
    if (thoroughness() == Thoroughness::full) {
        return true;
    }
    switch (call.number) {
        case SYS_openat:
            return !call.text(1).starts_with("/sys/") && !call.text(1).starts_with("/dev/");
        case SYS_readlink:
            return call.text(0).starts_with("/proc/self/fd/");
        case SYS_read:
        case SYS_close:
            return call.descriptorPath(0).ends_with("/mountinfo");
        case SYS_newfstatat:
        case SYS_statx:
            return !call.descriptorPath(0).starts_with("/sys/") && !call.text(1).starts_with("/sys/");
        case SYS_openat2:
        case SYS_getdents64:
        case SYS_readlinkat:
        case SYS_mkdirat:
        case SYS_unlinkat:
        case SYS_renameat2:
        case SYS_rename:
        case SYS_unlink:
        case SYS_write:
        case SYS_fsync:
            return true;
        default:
            return false;
    }
}

// At which entry of a system call what happened, counted from that one.
struct Timeline {
    std::optional<std::uint64_t> act;
    std::optional<std::uint64_t> move;          // of the item, to where it is compared
    std::optional<std::uint64_t> tableRead;     // of the mounts, the last time
    std::optional<std::uint64_t> itemLook;      // at the item by the path that is recorded, the last time
    std::optional<std::uint64_t> infoFileLook;  // the same for its info file
    bool wasBefore(const std::optional<std::uint64_t>& other) const { return act && other && *act < *other; }
};

struct Steps {
    From from;
    std::function<void()> prepare;  // before the first call
    std::function<bool()> act;      // true where it changed something
    std::function<void()> undo;     // after the end
};

// One run, with the act at entry number `moment`. False where the removal has fewer of them.
struct MomentRun {
    Timeline timeline;
    RemovalReport report;
    bool reached = false;
};

MomentRun runWithActAt(RemovalSubject& subject, const std::string& mode, std::uint64_t moment,
                       const Steps& steps) {
    MomentRun run;
    std::uint64_t entries = 0;
    bool isPrepared = false;
    bool hasBegun = false;
    const ProgramOutcome program = subject.run(mode, [&](const SystemCall& call) -> Verdict {
        if (!call.isEntry) {
            return {};
        }
        if (!std::exchange(isPrepared, true)) {
            steps.prepare();
        }
        if (!hasBegun) {
            hasBegun = steps.from(call);
            return {};
        }
        const bool isMoment = countsAsMoment(call);
        const std::uint64_t now = isMoment ? entries++ : entries;
        if (isMoment && now == moment) {
            run.reached = true;
            if (steps.act()) {
                run.timeline.act = now;
            }
        }
        const bool isMove = call.number == SYS_renameat2 || call.number == SYS_rename;
        if (isMove && !run.timeline.move && !call.text(1).ends_with(".trashinfo")) {
            run.timeline.move = now;
        } else if (call.number == SYS_openat && call.text(1) == "/proc/self/mountinfo") {
            run.timeline.tableRead = now;
        } else if (call.number == SYS_newfstatat && call.text(1).starts_with("/") &&
                   call.text(1).ends_with(".trashinfo")) {
            run.timeline.infoFileLook = now;
        } else if (call.number == SYS_openat && (call.arguments[2] & O_PATH) != 0 &&
                   call.text(1).starts_with("/")) {
            if (call.text(1).find("/files/item") != std::string::npos) {
                run.timeline.itemLook = now;
            }
        }
        return {};
    });
    run.report = parseRemoval(subject, program.output);
    EXPECT_TRUE(program.hasExited && run.report.isTyped) << program.output;
    steps.undo();
    subject.look();
    return run;
}

struct Findings {
    int moments = 0;
    int effective = 0;  // the act changed something
    std::vector<std::string> violations;
};

using PathPolicy = std::function<std::string(const MomentRun&)>;

// Of that many moments; only a full run has all of them.
int fewest(int usual) {
    return thoroughness() == Thoroughness::full ? usual : usual / 4;
}

Findings atEachCall(RemovalSubject& subject, const std::string& mode, const Steps& steps,
                    const PathPolicy& judge) {
    Findings findings;
    // A control is found out at few of the calls.
    const std::uint64_t stride = mode.empty() ? thorough<std::uint64_t>(3, 3, 1) : 1;
    for (std::uint64_t moment = 0;; moment += stride) {
        const MomentRun run = runWithActAt(subject, mode, moment, steps);
        if (!run.reached) {
            return findings;
        }
        ++findings.moments;
        if (!run.timeline.act) {
            continue;
        }
        ++findings.effective;
        if (std::string problem = judge(run); !problem.empty()) {
            findings.violations.push_back("at call " + std::to_string(moment) + ": " + problem + " (" +
                                          run.report.sentence + ")");
        }
    }
}

void tell(const char* what, const Findings& findings) {
    std::printf("%s: %d moments, %d of them effective, %zu against a promise\n", what, findings.moments,
                findings.effective, findings.violations.size());
}

// --- Mounts

// A file system comes into the item: mounted there, or along with a folder that is moved into it, of which
// the system tells nobody. Where the item is by then is found by a descriptor.
class ComingMount {
public:
    ComingMount(RemovalSubject& subject, bool byRename) : subject_(subject), byRename_(byRename) {}

    Steps steps() {
        return {.from = takesHold,
                .prepare = [this] { prepare(); },
                .act = [this] { return act(); },
                .undo = [this] { undo(); }};
    }
    // Whether what lies on it was left alone.
    bool isIntact() const { return isIntact_; }

private:
    std::string through(int descriptor) const { return "/proc/self/fd/" + std::to_string(descriptor); }

    void prepare() {
        isIntact_ = true;
        place_ = open((subject_.url() + "/a/b").c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
        ASSERT_GE(place_, 0);
        const std::string point = subject_.pathOf("elsewhere/mounted");
        fs::create_directories(point);
        ASSERT_EQ(mount("none", point.c_str(), "tmpfs", 0, "size=1m"), 0);
        writeBytes(point + "/precious", "precious");
        mounted_ = open_tree(AT_FDCWD, point.c_str(), byRename_ ? 0 : OPEN_TREE_CLONE);
        ASSERT_GE(mounted_, 0);
        if (!byRename_) {
            ASSERT_EQ(umount2(point.c_str(), MNT_DETACH), 0);
        }
    }
    bool act() {
        if (byRename_) {
            return renameat(AT_FDCWD, subject_.pathOf("elsewhere").c_str(), place_, "came") == 0;
        }
        struct stat values;
        if (fstat(place_, &values) != 0 || values.st_nlink == 0) {
            return false;
        }
        isMounted_ =
            move_mount(mounted_, "", place_, "", MOVE_MOUNT_F_EMPTY_PATH | MOVE_MOUNT_T_EMPTY_PATH) == 0;
        return isMounted_;
    }
    void undo() {
        const std::string file = through(mounted_) + "/precious";
        isIntact_ = fs::exists(file) && readBytes(file) == "precious";
        if (byRename_ || std::exchange(isMounted_, false)) {
            EXPECT_EQ(umount2(through(mounted_).c_str(), MNT_DETACH), 0);
        }
        close(std::exchange(mounted_, -1));
        renameat(place_, "came", AT_FDCWD, subject_.pathOf("elsewhere").c_str());
        close(std::exchange(place_, -1));
        fs::remove_all(subject_.pathOf("elsewhere"));
    }

    RemovalSubject& subject_;
    bool byRename_;
    bool isIntact_ = true;
    int place_ = -1;
    int mounted_ = -1;  // the top of the mount
    bool isMounted_ = false;
};

std::string judgeMount(const RemovalSubject& subject, const ComingMount& mount, const MomentRun& run) {
    if (!mount.isIntact()) {
        return "what is mounted was touched";
    }
    const Timeline& timeline = run.timeline;
    if (run.report.isGone) {
        return timeline.wasBefore(timeline.move)        ? "it was moved along"
               : timeline.wasBefore(timeline.tableRead) ? "it was not noticed"
                                                        : "";
    }
    if (run.report.sentence.find("a part of it has gone") != std::string::npos) {
        return timeline.wasBefore(timeline.tableRead) ? "it was noticed and the removal went on" : "";
    }
    return subject.isWholeAtPlace() ? "" : "refused, and not whole";
}

Findings mountAtEachCall(Scenario scenario, bool byRename, const std::string& mode = "") {
    RemovalSubject subject(scenario);
    ComingMount mount(subject, byRename);
    Steps steps = mount.steps();
    if (!mode.empty()) {
        steps.from = anyCall;
    }
    return atEachCall(subject, mode, steps,
                      [&](const MomentRun& run) { return judgeMount(subject, mount, run); });
}

TEST(RemovalMoment, aMountThatAppearsAtAnyCall_isNotTouchedAndTheItemIsWhole) {
    inPrivateNamespace([] {
        for (const Scenario scenario : {Scenario::folder, Scenario::treeForGood}) {
            for (const bool byRename : {false, true}) {
                const Findings findings = mountAtEachCall(scenario, byRename);
                tell(byRename ? "a mount comes with its parent" : "a mount comes", findings);
                EXPECT_THAT(findings.violations, IsEmpty()) << nameOf(scenario);
                EXPECT_GT(findings.effective, fewest(30));
            }
        }
    });
}

TEST(RemovalMomentControl, removingAFolderWhereItStands_isFoundOutByAMount) {
    inPrivateNamespace([] {
        EXPECT_FALSE(mountAtEachCall(Scenario::treeForGood, false, "in-place").violations.empty());
        // Told as gone without a look at the mounts.
        EXPECT_FALSE(mountAtEachCall(Scenario::folder, true, "unchecked").violations.empty());
    });
}

// --- The Trash

// Another Trash of the user's, with things of the same names in it.
void makeOther(const RemovalSubject& subject) {
    const std::string other = subject.pathOf("home/.local/share/Other");
    fs::create_directories(other + "/files");
    fs::create_directories(other + "/info");
    writeBytes(other + "/info/item.txt.trashinfo", "the info file of another item");
    writeBytes(subject.pathOf("home/theirs"), "the info file of another program");
}

// How often the content stands anywhere below the home folder.
int countOf(const RemovalSubject& subject, const std::string& content) {
    int count = 0;
    for (const auto& entry : fs::recursive_directory_iterator(subject.pathOf("home"))) {
        count += entry.is_regular_file() && !entry.is_symlink() && readBytes(entry.path()) == content ? 1 : 0;
    }
    return count;
}

bool exchange(const std::string& left, const std::string& right) {
    return renameat2(AT_FDCWD, left.c_str(), AT_FDCWD, right.c_str(), RENAME_EXCHANGE) == 0;
}

// The info file that the gate has written, or that the item had.
std::optional<std::string> infoFileOfTheItem(const RemovalSubject& subject) {
    for (const auto& entry : fs::directory_iterator(subject.pathOf(std::string(homeTrash) + "/info"))) {
        const std::string name = entry.path().filename();
        if (name.starts_with("item") && name.ends_with(".trashinfo")) {
            return entry.path();
        }
    }
    return std::nullopt;
}

struct TrashAct {
    const char* name;
    bool concernsFiles;
    bool concernsInfo;
    std::function<bool(const RemovalSubject&)> act;
};

std::vector<TrashAct> trashActs() {
    const auto exchanging = [](const std::string& part) {
        return [part](const RemovalSubject& subject) {
            return exchange(subject.pathOf(homeTrash) + part,
                            subject.pathOf("home/.local/share/Other") + part);
        };
    };
    return {
        {"the Trash exchanged", true, true, exchanging("")},
        {"its files exchanged", true, false, exchanging("/files")},
        {"its info exchanged", false, true, exchanging("/info")},
        {"the info file deleted", false, true,
         [](const RemovalSubject& subject) {
             const auto infoFile = infoFileOfTheItem(subject);
             return infoFile && unlink(infoFile->c_str()) == 0;
         }},
        {"the info file replaced", false, true,
         [](const RemovalSubject& subject) {
             const auto infoFile = infoFileOfTheItem(subject);
             return infoFile && rename(subject.pathOf("home/theirs").c_str(), infoFile->c_str()) == 0;
         }},
    };
}

// In a Trash, whole, with its info file beside it.
bool liesInATrash(const RemovalSubject& subject) {
    for (const char* trash : {homeTrash, "home/.local/share/Other"}) {
        for (const auto& entry : fs::directory_iterator(subject.pathOf(trash) + "/files")) {
            const std::string infoFile =
                subject.pathOf(trash) + "/info/" + entry.path().filename().string() + ".trashinfo";
            if (entry.is_regular_file() && readBytes(entry.path()) == "the item" && fs::exists(infoFile) &&
                readBytes(infoFile).starts_with("[Trash Info]\nPath=" + subject.url() + "\n")) {
                return true;
            }
        }
    }
    return false;
}

std::string judgeTrash(const RemovalSubject& subject, const TrashAct& act, const MomentRun& run) {
    if (countOf(subject, "the info file of another item") != 1) {
        return "the info file of another item has gone";
    }
    if (countOf(subject, "the info file of another program") != 1) {
        return "the info file of another program has gone";
    }
    if (subject.isPermanent()) {
        return run.report.isGone && countOf(subject, "the item") != 0 ? "told as gone, and it is there" : "";
    }
    if (!run.report.isGone) {
        return subject.isWholeAtPlace() || (!run.report.place.empty() &&
                                            readBytes(subject.pathOf(run.report.place)) == "the item")
                   ? ""
                   : "told as failed, and it is not there";
    }
    const Timeline& timeline = run.timeline;
    // What comes after the last look at it nobody can tell.
    if ((act.concernsFiles && !timeline.wasBefore(timeline.itemLook)) ||
        (act.concernsInfo && !timeline.wasBefore(timeline.infoFileLook))) {
        return "";
    }
    if (!fs::exists(subject.pathOf(run.report.place)) ||
        readBytes(subject.pathOf(run.report.place)) != "the item") {
        return "the recorded place holds something else";
    }
    return subject.hasCompleteInfoFile(run.report.place) ? "" : "it lies there without its info file";
}

Findings trashActAtEachCall(Scenario scenario, const TrashAct& act, const std::string& mode = "") {
    RemovalSubject subject(scenario);
    const Steps steps{.from = !mode.empty()           ? anyCall
                              : subject.isPermanent() ? holdsTheNote
                                                      : takesHold,
                      .prepare = [&] { makeOther(subject); },
                      .act = [&] { return act.act(subject); },
                      .undo = [] {}};
    return atEachCall(subject, mode, steps,
                      [&](const MomentRun& run) { return judgeTrash(subject, act, run); });
}

TEST(RemovalMoment, theTrashAtAnyCall_whatIsToldIsTrueAndNothingOfAnothersGoes) {
    inPrivateNamespace([] {
        for (const Scenario scenario : {Scenario::file, Scenario::trashedForGood}) {
            for (const TrashAct& act : trashActs()) {
                const Findings findings = trashActAtEachCall(scenario, act);
                tell(act.name, findings);
                EXPECT_THAT(findings.violations, IsEmpty()) << nameOf(scenario) << ": " << act.name;
                EXPECT_GT(findings.effective, fewest(5));
            }
        }
    });
}

TEST(RemovalMomentControl, aNoteRemovedByItsName_isFoundOut) {
    inPrivateNamespace([] {
        for (const TrashAct& act : trashActs()) {
            const Findings findings = trashActAtEachCall(Scenario::trashedForGood, act, "beside");
            const std::string name = act.name;
            if (name == "its files exchanged" || name == "its info exchanged" ||
                name == "the info file replaced") {
                EXPECT_FALSE(findings.violations.empty()) << name;
            }
        }
    });
}

TEST(RemovalMomentControl, notLookingAgain_isFoundOut) {
    inPrivateNamespace([] {
        int found = 0;
        for (const TrashAct& act : trashActs()) {
            RemovalSubject subject(Scenario::file);
            const Steps steps{.from = anyCall,
                              .prepare = [&] { makeOther(subject); },
                              .act = [&] { return act.act(subject); },
                              .undo = [] {}};
            const Findings findings = atEachCall(subject, "unchecked", steps, [&](const MomentRun& run) {
                return run.report.isGone && run.timeline.wasBefore(run.timeline.move) &&
                               !liesInATrash(subject)
                           ? "it lies there without its info file"
                           : "";
            });
            found += findings.violations.empty() ? 0 : 1;
        }
        EXPECT_GE(found, 3);
    });
}

}  // namespace
}  // namespace larkfold::test
