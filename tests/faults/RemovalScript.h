// A removal to which one thing happens at one moment, told as a script: a call fails, or somebody else steps
// in at it. For a private namespace.
//
//   expectStays(subject, Script().fail(moves, EIO), "the disk reported an error");
#pragma once

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "faults/PrivateNamespace.h"
#include "faults/RemovalSubject.h"
#include "faults/SystemCallHarness.h"

namespace larkfold::test {

inline constexpr const char* unsafeText = "This path is protected or outside";
inline constexpr const char* changedText = "The duplicate or its retained copy changed";
inline constexpr const char* homeFiles = "home/.local/share/Trash/files";

// --- Which call

using Which = std::function<bool(const SystemCall&)>;

// A call that takes a folder's descriptor and a name below it.
inline Which at(long number, const std::string& name) {
    return [=](const SystemCall& call) { return call.number == number && call.text(1) == name; };
}

// The same for names that end so.
inline Which atEnding(long number, const std::string& ending) {
    return [=](const SystemCall& call) { return call.number == number && call.text(1).ends_with(ending); };
}

inline Which atBeginning(long number, const std::string& beginning) {
    return
        [=](const SystemCall& call) { return call.number == number && call.text(1).starts_with(beginning); };
}

// A call that takes a descriptor.
inline Which on(long number, const std::string& ending) {
    return [=](const SystemCall& call) {
        return call.number == number && call.descriptorPath(0).ends_with(ending);
    };
}

inline Which any(long number) {
    return [=](const SystemCall& call) { return call.number == number; };
}

// One of the second kind that comes later than one of the first kind.
inline Which after(Which first, Which second) {
    auto hasBeen = std::make_shared<bool>(false);
    return [=, first = std::move(first), second = std::move(second)](const SystemCall& call) {
        if (*hasBeen) {
            return second(call);
        }
        *hasBeen = first(call);
        return false;
    };
}

inline const Which makesTheNote = [](const SystemCall& call) {
    return call.number == SYS_openat && (call.arguments[2] & O_CREAT) != 0 &&
           call.text(1).ends_with(".trashinfo");
};
inline const Which makesTheHolder = [](const SystemCall& call) {
    return call.number == SYS_mkdirat && call.text(1).starts_with(".larkfold-removing-");
};
// That of the item; a name is put back by the same call.
inline const auto concernsANote = [](const SystemCall& call) {
    return call.text(1).ends_with(".trashinfo") || call.text(3).ends_with(".trashinfo");
};
inline const Which moves = [](const SystemCall& call) {
    return call.number == SYS_renameat2 && !concernsANote(call);
};
inline const Which movesPlainly = [](const SystemCall& call) {
    return call.number == SYS_renameat && !concernsANote(call);
};
// A note is removed under a name that nobody knows.
inline const Which removesTheNote = [](const SystemCall& call) {
    return call.number == SYS_unlinkat && call.text(1).starts_with(".larkfold-removing-") &&
           call.descriptorPath(0).ends_with("/info");
};

// --- What happens there

using Act = std::function<void(const SystemCall&)>;

// Watches until it has come to pass: asked by the tests, since one that does not come to pass proves nothing.
struct Script {
    struct Step {
        Which which;
        bool isAtEntry = true;
        bool goesOn = false;  // at each such call
        Verdict verdict{};
        Act act{};
        int times = 0;
    };

    std::vector<Step> steps;

    Script& fail(Which which, int error) {
        return add({.which = std::move(which), .verdict = failing(error)});
    }
    Script& failAlways(Which which, int error) {
        return add({.which = std::move(which), .goesOn = true, .verdict = failing(error)});
    }
    // The descriptor is gone all the same.
    Script& failClosing(Which which, int error) {
        return add(
            {.which = std::move(which), .verdict = {.kind = Verdict::Kind::failAfter, .value = error}});
    }
    Script& before(Which which, Act act) { return add({.which = std::move(which), .act = std::move(act)}); }
    Script& beforeFailing(Which which, int error, Act act) {
        return add({.which = std::move(which), .verdict = failing(error), .act = std::move(act)});
    }
    Script& afterwards(Which which, Act act) {
        return add({.which = std::move(which), .isAtEntry = false, .act = std::move(act)});
    }

    Verdict look(const SystemCall& call) {
        for (Step& step : steps) {
            if (step.isAtEntry != call.isEntry && step.times == 0) {
                step.which(call);  // it may have to see what came before
                continue;
            }
            if (step.isAtEntry == call.isEntry && (step.times == 0 || step.goesOn) && step.which(call)) {
                ++step.times;
                if (step.act) {
                    step.act(call);
                }
                return step.verdict;
            }
        }
        return {};
    }

    bool hasComeToPass() const {
        for (const Step& step : steps) {
            if (step.times == 0) {
                return false;
            }
        }
        return true;
    }

private:
    static Verdict failing(int error) { return {.kind = Verdict::Kind::fail, .value = error}; }
    Script& add(Step step) {
        steps.push_back(std::move(step));
        return *this;
    }
};

inline RemovalReport runThrough(RemovalSubject& subject, Script& script, const std::string& mode = "") {
    const ProgramOutcome program =
        subject.run(mode, [&script](const SystemCall& call) { return script.look(call); });
    const RemovalReport report = parseRemoval(subject, program.output);
    EXPECT_TRUE(script.hasComeToPass()) << program.output;
    EXPECT_TRUE(program.hasExited && report.isTyped) << program.output;
    EXPECT_EQ(report.descriptorsBefore, report.descriptorsAfter);
    subject.look();
    return report;
}

// The item is whole in its place, that is told, and nothing was left behind anywhere.
inline void expectStays(RemovalSubject& subject, Script script, const std::string& sentence,
                        const std::string& mode = "") {
    const RemovalReport report = runThrough(subject, script, mode);
    EXPECT_FALSE(report.isGone);
    EXPECT_THAT(report.sentence, testing::HasSubstr(sentence));
    EXPECT_EQ(report.place, "");
    EXPECT_TRUE(subject.isWholeAtPlace());
    EXPECT_THAT(subject.wholeInTrash(), testing::IsEmpty());
    EXPECT_THAT(subject.newNotesWithoutItem(), testing::IsEmpty());
    EXPECT_TRUE(subject.privateFolders().empty());
}

inline void expectGoes(RemovalSubject& subject, Script script, const std::string& mode = "") {
    const RemovalReport report = runThrough(subject, script, mode);
    EXPECT_TRUE(report.isGone) << report.sentence;
    EXPECT_FALSE(subject.isAtPlace());
    EXPECT_TRUE(subject.privateFolders().empty());
    EXPECT_THAT(subject.newNotesWithoutItem(), testing::IsEmpty());
    if (!subject.isPermanent() && mode != "permanent") {
        EXPECT_THAT(subject.wholeInTrash(), testing::ElementsAre(report.place));
        EXPECT_TRUE(subject.hasCompleteInfoFile(report.place));
    }
}

}  // namespace larkfold::test
