// Somebody exchanges what the gate is about to take, as fast as a processor can: no file but the one that was
// looked at is ever lost, and what is told is true. The naive gates, in the same races and by the same judge,
// are found out.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "faults/FaultLoops.h"
#include "faults/IndexOracle.h"
#include "faults/PrivateNamespace.h"
#include "faults/RaceScene.h"
#include "faults/RaceSubjects.h"
#include "platform/Error.h"
#include "platform/SHA256.h"

namespace larkfold::test {
namespace {

using testing::IsEmpty;

// How many attempts each race is given, of both ways to remove together.
std::uint64_t attemptsOf(std::uint64_t usual, std::uint64_t full) {
    switch (thoroughness()) {
        case Thoroughness::brief:
            return usual / 100;
        case Thoroughness::usual:
            return usual;
        case Thoroughness::full:
            break;
    }
    return full;
}

constexpr std::uint64_t usualAttempts = 10'000;
constexpr std::uint64_t fullAttempts = 4'000'000;
constexpr std::uint64_t fullAttemptsOfTheRest = 1'000'000;
constexpr std::uint64_t mostOfAControl = 400'000;

void tell(const char* race, const RaceFigures& figures) {
    std::printf("%s: %llu attempts, %llu interleaved, %llu went, %llu stayed, %llu of them kept elsewhere\n",
                race, static_cast<unsigned long long>(figures.attempts),
                static_cast<unsigned long long>(figures.interleaved),
                static_cast<unsigned long long>(figures.gone),
                static_cast<unsigned long long>(figures.stayed),
                static_cast<unsigned long long>(figures.keptElsewhere));
    std::fflush(stdout);
}

// No race was lost, and it was one.
void expectUnharmed(const RaceFigures& figures) {
    EXPECT_THAT(figures.violations, IsEmpty());
    EXPECT_GT(figures.interleaved, figures.attempts / 20);
    EXPECT_GT(figures.stayed, 0U);
    // A sanitizer makes the gate so slow that somebody may come in between each time.
    if (thoroughness() != Thoroughness::brief) {
        EXPECT_GT(figures.gone, 0U);
    }
}

// A race: what is raced for, and who disturbs.
struct Race {
    std::unique_ptr<RaceSubject> subject;
    Attack attack;
};
using MakeRace = std::function<Race(RaceDisk& disk, bool permanently)>;

RaceFigures raceInBothModes(const std::vector<MakeRace>& races, std::uint64_t attempts) {
    RaceFigures figures;
    for (const MakeRace& make : races) {
        for (const bool permanently : {false, true}) {
            RaceDisk disk;
            const Race race = make(disk, permanently);
            figures.add(test::race(*race.subject, race.attack, realGate(), permanently,
                                   attempts / (2 * races.size())));
        }
    }
    return figures;
}

// Whether the naive gate is found out, in each of the modes.
void expectFoundOut(const char* name, const MakeRace& make, const NaiveSteps& steps) {
    for (const bool permanently : {false, true}) {
        RaceDisk disk;
        disk.folder("root/staging");
        const Race race = make(disk, permanently);
        race.subject->acceptMissingNotes();
        const RaceFigures figures =
            test::race(*race.subject, race.attack, naiveGate(steps, disk), permanently, mostOfAControl);
        std::printf("%s, %s: found out within %llu attempts: %s\n", name,
                    permanently ? "for good" : "to the Trash",
                    static_cast<unsigned long long>(figures.attempts),
                    figures.violations.empty() ? "no" : figures.violations.front().c_str());
        std::fflush(stdout);
        EXPECT_FALSE(figures.violations.empty()) << name;
    }
}

// Exchanges two names again and again, and at the end once more where they stand the wrong way round.
Attack exchanging(const std::string& left, const std::string& right) {
    const auto isOdd = std::make_shared<bool>(false);
    const auto strike = [left, right, isOdd](Turn& /*turn*/, int /*item*/, Dice& /*dice*/) {
        const bool isDone = renameat2(AT_FDCWD, left.c_str(), AT_FDCWD, right.c_str(), RENAME_EXCHANGE) == 0;
        *isOdd = *isOdd != isDone;
        return isDone;
    };
    const auto calm = [left, right, isOdd] {
        if (*isOdd) {
            renameat2(AT_FDCWD, left.c_str(), AT_FDCWD, right.c_str(), RENAME_EXCHANGE);
            *isOdd = false;
        }
    };
    return {.strike = strike, .calm = calm};
}

PairedFiles::Places insideAndOutside(RaceDisk& disk) {
    return {.root = disk.root(), .items = disk.folder("root/a/b/c"), .others = disk.folder("outside/a/b/c")};
}

std::unique_ptr<PairedFiles> pairs(RaceDisk& disk, PairedFiles::Places places) {
    disk.folder("home/.local/share/Trash/files");
    disk.folder("home/.local/share/Trash/info");
    return std::make_unique<PairedFiles>(disk, std::move(places));
}

// --- A folder on the way, or the item itself, is exchanged with a link to the same name outside.

MakeRace linkedFolder(const std::string& relative) {
    return [relative](RaceDisk& disk, bool /*permanently*/) {
        auto subject = pairs(disk, insideAndOutside(disk));
        const std::string folder = disk.path("root/" + relative);
        const std::string link = disk.path("root/" + relative + "-link");
        EXPECT_EQ(symlink(disk.path("outside/" + relative).c_str(), link.c_str()), 0);
        return Race{.subject = std::move(subject), .attack = exchanging(folder, link)};
    };
}

Race linkedItem(RaceDisk& disk, bool /*permanently*/) {
    auto subject = pairs(disk, insideAndOutside(disk));
    const int folder = subject->itemFolder();
    for (int item = 0; item < mostItems; ++item) {
        const std::string name = PairedFiles::itemName(item);
        EXPECT_EQ(symlinkat(disk.path("outside/a/b/c/" + name).c_str(), folder, ("link-" + name).c_str()), 0);
    }
    const auto exchange = [folder](int item) {
        const std::string name = PairedFiles::itemName(item);
        return renameat2(folder, name.c_str(), folder, ("link-" + name).c_str(), RENAME_EXCHANGE) == 0;
    };
    const auto strike = [exchange](Turn& /*turn*/, int item, Dice& /*dice*/) { return exchange(item); };
    const auto calm = [folder, exchange] {
        for (int item = 0; item < mostItems; ++item) {
            struct stat values;
            if (fstatat(folder, PairedFiles::itemName(item).c_str(), &values, AT_SYMLINK_NOFOLLOW) == 0 &&
                S_ISLNK(values.st_mode)) {
                exchange(item);
            }
        }
    };
    return {.subject = std::move(subject), .attack = {.strike = strike, .calm = calm}};
}

TEST(Race, componentsExchangedWithLinks_nothingOutsideIsLost) {
    inPrivateNamespace([] {
        keepProcessorsApart();
        const RaceFigures figures =
            raceInBothModes({linkedFolder("a"), linkedFolder("a/b"), linkedFolder("a/b/c"), linkedItem},
                            attemptsOf(usualAttempts, fullAttempts));
        tell("links in the path", figures);
        expectUnharmed(figures);
    });
}

TEST(RaceControl, checkingTheResolvedPathAndActingOnIt_isFoundOutByLinks) {
    inPrivateNamespace([] {
        keepProcessorsApart();
        expectFoundOut("by path", linkedFolder("a/b"), {.byPath = true});
    });
}

TEST(RaceControl, followingLinksToTheFolder_isFoundOut) {
    inPrivateNamespace([] {
        keepProcessorsApart();
        expectFoundOut("links followed", linkedFolder("a/b"), {.followsLinks = true});
    });
}

// --- The root itself, or a folder above it, is exchanged with a link to another folder.

// Rests now and then as it stands: a root is looked at once in a run of two hundred items, and where it is
// exchanged without a pause every one of these looks fails.
Attack restingNowAndThen(Attack attack) {
    const auto strike = [strike = std::move(attack.strike)](Turn& turn, int item, Dice& dice) {
        const bool isDone = strike(turn, item, dice);
        if (dice.below(32) == 0) {
            const auto until =
                std::chrono::steady_clock::now() + std::chrono::microseconds(dice.below(1'000));
            const std::uint32_t number = turn.number;
            while (turn.number == number && std::chrono::steady_clock::now() < until) {
                __builtin_ia32_pause();
            }
        }
        return isDone;
    };
    return {.strike = strike, .calm = std::move(attack.calm)};
}

MakeRace linkedRoot(const std::string& exchanged, bool isTakenLate = false) {
    return [exchanged, isTakenLate](RaceDisk& disk, bool /*permanently*/) {
        auto subject = pairs(disk, {.root = disk.folder("root/top/chosen"),
                                    .items = disk.folder("root/top/chosen/a"),
                                    .others = disk.folder("outside/top/chosen/a")});
        if (isTakenLate) {
            subject->takeRootLate();
        }
        const std::string folder = disk.path("root/" + exchanged);
        const std::string link = folder + "-link";
        EXPECT_EQ(symlink(disk.path("outside/" + exchanged).c_str(), link.c_str()), 0);
        return Race{.subject = std::move(subject), .attack = restingNowAndThen(exchanging(folder, link))};
    };
}

TEST(Race, rootExchangedWithALink_isNoRoot) {
    inPrivateNamespace([] {
        keepProcessorsApart();
        const RaceFigures figures = raceInBothModes({linkedRoot("top/chosen"), linkedRoot("top")},
                                                    attemptsOf(usualAttempts, fullAttemptsOfTheRest));
        tell("the root exchanged", figures);
        expectUnharmed(figures);
    });
}

TEST(RaceControl, takingTheRootAsItStandsWhenTheRunBegins_isFoundOut) {
    inPrivateNamespace([] {
        keepProcessorsApart();
        for (const bool permanently : {false, true}) {
            RaceDisk disk;
            const Race race = linkedRoot("top/chosen", true)(disk, permanently);
            const RaceFigures figures =
                test::race(*race.subject, race.attack, realGate(), permanently, mostOfAControl);
            std::printf("root taken late: found out within %llu attempts\n",
                        static_cast<unsigned long long>(figures.attempts));
            EXPECT_FALSE(figures.violations.empty());
        }
    });
}

// --- The item is exchanged with another file beside it.

Race exchangedItem(RaceDisk& disk, bool /*permanently*/) {
    auto subject = pairs(disk, {.root = disk.root(),
                                .items = disk.folder("root/a/b/c"),
                                .others = disk.path("root/a/b/c"),
                                .otherPrefix = "other-",
                                .otherMayGo = true});
    const int folder = subject->itemFolder();
    std::vector<std::string> others;
    others.reserve(mostItems);
    for (int item = 0; item < mostItems; ++item) {
        others.push_back(subject->otherName(item));
    }
    const auto strike = [folder, others](Turn& /*turn*/, int item, Dice& dice) {
        const std::string name = PairedFiles::itemName(item);
        const std::string& other = others[static_cast<std::size_t>(item)];
        // Where it has gone, the other one takes its name now and then.
        return renameat2(folder, name.c_str(), folder, other.c_str(), RENAME_EXCHANGE) == 0 ||
               (dice.below(4) == 0 &&
                renameat2(folder, other.c_str(), folder, name.c_str(), RENAME_NOREPLACE) == 0);
    };
    return {.subject = std::move(subject), .attack = {.strike = strike, .calm = [] {}}};
}

TEST(Race, itemExchangedWithAnotherFile_theOtherOneIsNeverLost) {
    inPrivateNamespace([] {
        keepProcessorsApart();
        const RaceFigures figures = raceInBothModes({exchangedItem}, attemptsOf(usualAttempts, fullAttempts));
        tell("another file at the place", figures);
        expectUnharmed(figures);
    });
}

TEST(RaceControl, checkingTheResolvedPathAndActingOnIt_isFoundOutByAnotherFile) {
    inPrivateNamespace([] {
        keepProcessorsApart();
        expectFoundOut("by path", exchangedItem, {.byPath = true});
    });
}

TEST(RaceControl, comparingTheInodeAndRemovingInPlace_isFoundOut) {
    inPrivateNamespace([] {
        keepProcessorsApart();
        expectFoundOut("inode compared in place", exchangedItem, {.movesFirst = false});
    });
}

TEST(RaceControl, movingWithoutComparingWhatArrived_isFoundOut) {
    inPrivateNamespace([] {
        keepProcessorsApart();
        expectFoundOut("not compared", exchangedItem, {.verifies = false});
    });
}

TEST(RaceControl, notPuttingBack_isFoundOut) {
    inPrivateNamespace([] {
        keepProcessorsApart();
        expectFoundOut("not put back", exchangedItem, {.restores = false});
    });
}

// --- What proved a duplicate changes.

Race changedDuplicate(RaceDisk& disk, bool /*permanently*/) {
    auto subject = std::make_unique<ProvedDuplicates>(disk);
    Attack attack = subject->attack();
    return {.subject = std::move(subject), .attack = std::move(attack)};
}

TEST(Race, duplicateOrItsCopyChanged_isRefusedOrRestored) {
    inPrivateNamespace([] {
        keepProcessorsApart();
        const RaceFigures figures =
            raceInBothModes({changedDuplicate}, attemptsOf(usualAttempts, fullAttemptsOfTheRest));
        tell("a duplicate or its copy changed", figures);
        expectUnharmed(figures);
    });
}

// The same where the clock of the file system stands still for some thousandths of a second at a time.
TEST(Race, copyChangedInTheInstantInWhichItWasLookedAt_isRefusedOrRestored) {
    inPrivateNamespace([] {
        keepProcessorsApart();
        RaceDisk disk("ramfs");
        const Race race = changedDuplicate(disk, true);
        const RaceFigures figures =
            test::race(*race.subject, race.attack, realGate(), true, attemptsOf(10'000, 200'000));
        tell("a duplicate or its copy changed, coarse clock", figures);
        expectUnharmed(figures);
    });
}

// Hashes both first and acts on the path then, as one would who trusts a proof of a moment ago.
std::vector<Told> hashAndRemove(const RaceRequest& request, const HandledItem& handled) {
    std::vector<Told> told;
    for (const std::string& url : request.urls) {
        const auto& proof = request.verifications.at(url);
        Told one;
        try {
            if (fileSHA256(proof.keeper, {}) == proof.sha256 && fileSHA256(url, {}) == proof.sha256) {
                one.isGone = unlink(url.c_str()) == 0;
            }
        } catch (const Error&) {
            one.sentence = "unreadable";
        }
        told.push_back(one);
        handled();
    }
    return told;
}

TEST(RaceControl, hashingOnlyBefore_isFoundOut) {
    inPrivateNamespace([] {
        keepProcessorsApart();
        RaceDisk disk;
        const Race race = changedDuplicate(disk, true);
        const RaceFigures figures =
            test::race(*race.subject, race.attack, hashAndRemove, true, mostOfAControl);
        std::printf("hashed only before: found out within %llu attempts\n",
                    static_cast<unsigned long long>(figures.attempts));
        EXPECT_FALSE(figures.violations.empty());
    });
}

// --- The folder moves out of the root, and another one with the same names comes.

Race movedFolder(RaceDisk& disk, bool /*permanently*/) {
    PairedFiles::Places places = insideAndOutside(disk);
    places.otherMayGo = true;  // the folder that came stands within the root as long as it is there
    return {.subject = pairs(disk, std::move(places)),
            .attack = exchanging(disk.path("root/a/b"), disk.path("outside/a/b"))};
}

Race awayFolder(RaceDisk& disk, bool /*permanently*/) {
    auto subject = pairs(disk, insideAndOutside(disk));
    const std::string folder = disk.path("root/a/b");
    const std::string away = disk.path("outside/away");
    const auto isAway = std::make_shared<bool>(false);
    const auto toggle = [folder, away, isAway] {
        const std::string& from = *isAway ? away : folder;
        const std::string& to = *isAway ? folder : away;
        const bool isDone = rename(from.c_str(), to.c_str()) == 0;
        *isAway = *isAway != isDone;
        return isDone;
    };
    const auto strike = [toggle](Turn& /*turn*/, int /*item*/, Dice& /*dice*/) { return toggle(); };
    const auto calm = [toggle, isAway] {
        if (*isAway) {
            toggle();
        }
    };
    return {.subject = std::move(subject), .attack = {.strike = strike, .calm = calm}};
}

TEST(Race, folderMovedOutOfTheRoot_onlyWhatWasLookedAtGoes) {
    inPrivateNamespace([] {
        keepProcessorsApart();
        const RaceFigures figures =
            raceInBothModes({movedFolder, awayFolder}, attemptsOf(usualAttempts, fullAttemptsOfTheRest));
        tell("a folder moved out", figures);
        expectUnharmed(figures);
    });
}

TEST(RaceControl, actingOnThePath_isFoundOutByAMovedFolder) {
    inPrivateNamespace([] {
        keepProcessorsApart();
        expectFoundOut("by path", movedFolder, {.byPath = true});
    });
}

// --- Something is mounted at the item, in it, or on a file of it.

Race mountedFolder(RaceDisk& disk, bool /*permanently*/) {
    auto subject = std::make_unique<MountedFolders>(disk);
    Attack attack = subject->attack();
    return {.subject = std::move(subject), .attack = std::move(attack)};
}

TEST(Race, mountsThatAppear_areNotTouched) {
    inPrivateNamespace([] {
        keepProcessorsApart();
        const RaceFigures figures =
            raceInBothModes({mountedFolder}, attemptsOf(usualAttempts, fullAttemptsOfTheRest));
        tell("something mounted", figures);
        expectUnharmed(figures);
    });
}

// Looks whether something is mounted, and then removes what it finds, as `rm -r` would.
std::vector<Told> lookAndRemoveAll(const RaceRequest& request, const HandledItem& handled) {
    std::vector<Told> told;
    for (const std::string& url : request.urls) {
        struct stat folder;
        struct stat below;
        struct stat parent;
        std::error_code problem;
        const bool isPlain = stat(url.c_str(), &folder) == 0 && stat((url + "/below").c_str(), &below) == 0 &&
                             stat(request.root.c_str(), &parent) == 0 && folder.st_dev == parent.st_dev &&
                             below.st_dev == parent.st_dev;
        if (isPlain) {
            std::filesystem::remove_all(url, problem);
        }
        told.push_back({.isGone = isPlain && !problem});
        handled();
    }
    return told;
}

TEST(RaceControl, removingWhateverIsBelow_isFoundOutByMounts) {
    inPrivateNamespace([] {
        keepProcessorsApart();
        RaceDisk disk;
        const Race race = mountedFolder(disk, true);
        const RaceFigures figures =
            test::race(*race.subject, race.attack, lookAndRemoveAll, true, mostOfAControl);
        std::printf("removed whatever is below: found out within %llu attempts\n",
                    static_cast<unsigned long long>(figures.attempts));
        EXPECT_FALSE(figures.violations.empty());
    });
}

// --- The Trash or one of its folders is exchanged with a link to another place.

std::string elsewhere(RaceDisk& disk) {
    disk.folder("elsewhere/files");
    disk.folder("elsewhere/info");
    return disk.path("elsewhere");
}

MakeRace linkedTrash(const std::string& relative) {
    return [relative](RaceDisk& disk, bool permanently) {
        const std::string target = elsewhere(disk) + relative;
        PairedFiles::Places places = insideAndOutside(disk);
        if (permanently) {
            // What lies in the Trash goes for good, and its note with it: the right one.
            places = {.root = disk.path("home"),
                      .items = disk.folder("home/.local/share/Trash/files"),
                      .others = disk.path("elsewhere/info"),
                      .otherSuffix = ".trashinfo",
                      .itemsLieInTrash = true};
        }
        auto subject = pairs(disk, std::move(places));
        const std::string link = disk.path("home/.local/share/Trash-link");
        EXPECT_EQ(symlink(target.c_str(), link.c_str()), 0);
        return Race{.subject = std::move(subject), .attack = exchanging(disk.trash() + relative, link)};
    };
}

TEST(Race, trashExchangedWithALink_takesNothingElsewhere) {
    inPrivateNamespace([] {
        keepProcessorsApart();
        const std::uint64_t attempts = attemptsOf(usualAttempts, fullAttemptsOfTheRest) / 6;
        RaceFigures figures;
        for (const char* relative : {"", "/files", "/info"}) {
            for (const bool permanently : {false, true}) {
                RaceDisk disk;
                const Race race = linkedTrash(relative)(disk, permanently);
                figures.add(test::race(*race.subject, race.attack, realGate(), permanently, attempts));
                EXPECT_TRUE(std::filesystem::is_empty(disk.path("elsewhere/files")));
                EXPECT_EQ(std::filesystem::is_empty(disk.path("elsewhere/info")), !permanently);
            }
        }
        tell("the Trash exchanged with a link", figures);
        expectUnharmed(figures);
    });
}

// The `files` of the Trash is exchanged with another one, beside which notes of the same names lie.
Race exchangedFiles(RaceDisk& disk, bool /*permanently*/) {
    elsewhere(disk);
    auto subject = pairs(disk, {.root = disk.path("home"),
                                .items = disk.folder("home/.local/share/Trash/files"),
                                .others = disk.path("elsewhere/info"),
                                .otherSuffix = ".trashinfo",
                                .itemsLieInTrash = true});
    return {.subject = std::move(subject),
            .attack = exchanging(disk.trash() + "/files", disk.path("elsewhere/files"))};
}

TEST(Race, filesOfTheTrashExchanged_noOtherNoteGoes) {
    inPrivateNamespace([] {
        keepProcessorsApart();
        RaceDisk disk;
        const Race race = exchangedFiles(disk, true);
        const RaceFigures figures = test::race(*race.subject, race.attack, realGate(), true,
                                               attemptsOf(usualAttempts, fullAttemptsOfTheRest));
        tell("the files of the Trash exchanged", figures);
        expectUnharmed(figures);
    });
}

// Unlinks what it holds, and the note by its name in the folder beside.
std::vector<Told> unlinkWithNoteBeside(const RaceRequest& request, const HandledItem& handled) {
    std::vector<Told> told;
    for (const std::string& url : request.urls) {
        const std::string name = url.substr(url.rfind('/') + 1);
        const int folder = open(url.substr(0, url.rfind('/')).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
        struct stat values;
        Told one;
        if (fstatat(folder, name.c_str(), &values, AT_SYMLINK_NOFOLLOW) == 0) {
            one = {.isGone = unlinkat(folder, name.c_str(), 0) == 0, .bytes = values.st_size};
            unlinkat(folder, ("../info/" + name + ".trashinfo").c_str(), 0);
        }
        close(folder);
        told.push_back(one);
        handled();
    }
    return told;
}

TEST(RaceControl, removingTheNoteBesideTheHeldFolder_isFoundOut) {
    inPrivateNamespace([] {
        keepProcessorsApart();
        RaceDisk disk;
        const Race race = exchangedFiles(disk, true);
        const RaceFigures figures =
            test::race(*race.subject, race.attack, unlinkWithNoteBeside, true, mostOfAControl);
        std::printf("note beside the held folder: found out within %llu attempts: %s\n",
                    static_cast<unsigned long long>(figures.attempts),
                    figures.violations.empty() ? "no" : figures.violations.front().c_str());
        EXPECT_FALSE(figures.violations.empty());
    });
}

TEST(RaceControl, movingIntoTheTrashByItsPath_isFoundOutByALink) {
    inPrivateNamespace([] {
        keepProcessorsApart();
        RaceDisk disk;
        const Race race = linkedTrash("/files")(disk, false);
        race.subject->acceptMissingNotes();
        const RaceFigures figures =
            test::race(*race.subject, race.attack, naiveGate({}, disk), false, mostOfAControl);
        std::printf("into the Trash by its path: found out within %llu attempts: %s\n",
                    static_cast<unsigned long long>(figures.attempts),
                    figures.violations.empty() ? "no" : figures.violations.front().c_str());
        EXPECT_FALSE(figures.violations.empty());
    });
}

}  // namespace
}  // namespace larkfold::test
