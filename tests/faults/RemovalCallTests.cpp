// A removal to which one thing happens at one moment: a call fails, or somebody else steps in at it. What is
// told is true, the item is where it was told, and what somebody else put there stands.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "faults/RemovalScript.h"
#include "support/MachineRequirements.h"

namespace larkfold::test {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

// --- Taking hold

TEST(RemovalCall, aPathThatNeverComesToRest_isRefused) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::file);
        expectStays(subject, Script().failAlways(any(SYS_openat2), EAGAIN), unsafeText);
    });
}

TEST(RemovalCall, aPathThatIsInterruptedOrRestless_isOpenedAgain) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::file);
        expectGoes(subject, Script().fail(any(SYS_openat2), EINTR).fail(any(SYS_openat2), EAGAIN));
    });
}

TEST(RemovalCall, aLinkThatComesInBetween_isRefused) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::file);
        expectStays(subject, Script().failAlways(any(SYS_openat2), ELOOP), unsafeText);
        expectStays(subject, Script().fail(any(SYS_openat2), EXDEV), unsafeText);
    });
}

TEST(RemovalCall, whatCannotBeLookedAt_stays) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::file);
        const std::string told = "could not be read: the disk reported an error";
        expectStays(subject, Script().fail(on(SYS_statx, "root/folder"), EIO), told);
        expectStays(subject, Script().fail(on(SYS_statx, "item.txt"), EIO), told);
        expectStays(subject, Script().fail(at(SYS_openat, "item.txt"), EIO), told);
        // The root of all paths.
        const Which root = [](const SystemCall& call) {
            return call.number == SYS_openat && call.text(1) == "/" && (call.arguments[2] & O_NOFOLLOW) == 0;
        };
        expectStays(subject, Script().failAlways(root, EMFILE), "too many files are open");
    });
}

TEST(RemovalCall, whereTheMountsCannotBeTold_foldersStay) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::folder);
        expectStays(subject, Script().failAlways(at(SYS_openat, "/proc/self/mountinfo"), EMFILE), unsafeText);
    });
}

TEST(RemovalCall, aTableOfMountsThatTellsOfNoChanges_isReadEachTime) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::folder);
        expectGoes(subject, Script().fail(at(SYS_openat, "/proc/self/mountinfo"), EMFILE));
    });
}

// --- Finding a Trash

TEST(RemovalCall, aTrashThatSomebodyElseMakesAtTheSameTime_isUsed) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::volumeTrash);
        const std::string name = ".Trash-" + std::to_string(geteuid());
        expectGoes(subject, Script().before(at(SYS_mkdirat, name), [&](const SystemCall&) {
            fs::create_directories(subject.pathOf("volume/" + name + "/files"));
        }));
    });
}

TEST(RemovalCall, aTrashThatCannotBeLookedAt_isNotUsed) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::volumeTrash);
        const std::string trash = "volume/.Trash-" + std::to_string(geteuid());
        for (const char* part : {"/files", "/info"}) {
            expectStays(subject, Script().failAlways(on(SYS_statx, trash + part), EIO),
                        "No Trash on this volume");
        }
        expectStays(subject, Script().failAlways(on(SYS_newfstatat, trash), EIO), "belongs to another user");
        const Which opensTop = at(SYS_openat, subject.pathOf("volume"));
        expectStays(subject, Script().failAlways(after(opensTop, on(SYS_statx, "disk/volume")), EIO),
                    "No Trash on this volume");
        expectStays(subject, Script().failAlways(opensTop, EACCES), "No Trash on this volume");
        expectStays(subject,
                    Script().fail(atEnding(SYS_mkdirat, ".Trash-" + std::to_string(geteuid())), EROFS),
                    "read-only");
    });
}

TEST(RemovalCall, aSharedTrashThatCannotBeLookedAt_isNotUsed) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::volumeTrash);
        const std::string shared = subject.pathOf("volume/.Trash");
        const auto make = [&](const SystemCall&) {
            fs::create_directories(shared);
            ASSERT_EQ(chmod(shared.c_str(), 01777), 0);
        };
        // The volume has another one.
        expectGoes(subject,
                   Script().before(any(SYS_openat2), make).fail(on(SYS_newfstatat, "volume/.Trash"), EIO));
        EXPECT_TRUE(fs::is_empty(shared));
    });
}

// Another file system is put onto the top of the item's volume while its Trash is looked for.
TEST(RemovalCall, aVolumeThatIsCoveredMeanwhile_keepsTheItem) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::volumeTrash);
        std::unique_ptr<Mounted> cover;
        Script script;
        script.before(at(SYS_openat, subject.pathOf("volume")), [&](const SystemCall&) {
            cover = std::make_unique<Mounted>("none", subject.pathOf("volume"), "tmpfs", 0, "size=1m");
        });
        const RemovalReport report = runThrough(subject, script);
        EXPECT_THAT(report.sentence, HasSubstr("No Trash on this volume"));
        EXPECT_TRUE(fs::is_empty(subject.pathOf("volume")));
        cover.reset();
        subject.look();
        EXPECT_TRUE(subject.isWholeAtPlace());
        EXPECT_EQ(subject.harm(), "");
    });
}

TEST(RemovalCall, aVolumeThatIsTakenOffMeanwhile_keepsTheItem) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::volumeTrash);
        int there = -1;
        Script script;
        script.before(atEnding(SYS_openat, "/.local/share"), [&](const SystemCall&) {
            there = open(subject.pathOf("volume/folder").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
            EXPECT_EQ(umount2(subject.pathOf("volume").c_str(), MNT_DETACH), 0);
        });
        const RemovalReport report = runThrough(subject, script);
        EXPECT_FALSE(report.isGone);
        EXPECT_THAT(report.sentence, HasSubstr("No Trash on this volume"));
        EXPECT_EQ(readBytes("/proc/self/fd/" + std::to_string(there) + "/item.txt"), "the item");
        close(there);
    });
}

// Into the Trash of the home folder's volume: here that is one volume for all.
void expectGoesToTheVolume(Script script) {
    RemovalSubject subject(Scenario::file);
    const RemovalReport report = runThrough(subject, script);
    EXPECT_TRUE(report.isGone) << report.sentence;
    EXPECT_EQ(report.place, ".Trash-" + std::to_string(geteuid()) + "/files/item.txt");
    EXPECT_THAT(subject.wholeInTrash(), ElementsAre(report.place));
}

TEST(RemovalCall, aHomeThatLeadsNowhere_leavesTheTrashOfTheVolume) {
    inPrivateNamespace([] {
        // Each folder on the way up from the data folder, to the root.
        const Which isOnTheWay = [hasBegun = false](const SystemCall& call) mutable {
            constexpr std::uint64_t flags = O_PATH | O_DIRECTORY | O_CLOEXEC;
            const bool isFolder =
                call.number == SYS_openat && call.arguments[2] == flags && call.text(1).starts_with("/");
            hasBegun = hasBegun || (isFolder && call.text(1).ends_with("/.local/share"));
            return hasBegun && isFolder;
        };
        expectGoesToTheVolume(Script().failAlways(isOnTheWay, ENOENT));
    });
}

TEST(RemovalCall, aHomeTrashThatCannotBeOpened_leavesTheTrashOfTheVolume) {
    inPrivateNamespace([] {
        const Which opensData = atEnding(SYS_openat, "/.local/share");
        const Which opensTrash = [](const SystemCall& call) {
            return call.number == SYS_openat && (call.arguments[2] & O_PATH) == 0 && call.text(1) == "Trash";
        };
        expectGoesToTheVolume(Script().fail(opensData, EACCES));
        expectGoesToTheVolume(Script().fail(on(SYS_statx, "/.local/share"), EIO));
        expectGoesToTheVolume(Script().fail(after(opensData, opensData), EMFILE));
        expectGoesToTheVolume(Script().fail(opensTrash, EMFILE));
    });
}

// --- The info file

TEST(RemovalCall, aNoteThatCannotBeWrittenWhole_keepsTheItem) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::file);
        const std::string full = "The disk is full, and Trash keeps a note of each item";
        for (const int error : {0, ENOSPC, EDQUOT}) {  // 0: not a byte was written, and no reason told
            expectStays(subject, Script().fail(on(SYS_write, ".trashinfo"), error), full);
        }
        expectStays(subject, Script().fail(on(SYS_write, ".trashinfo"), EIO), "the disk reported an error");
        expectStays(subject, Script().fail(on(SYS_fsync, ".trashinfo"), EIO), "could not be saved safely");
        expectStays(subject, Script().failClosing(on(SYS_close, ".trashinfo"), EIO),
                    "the disk reported an error");
        expectStays(subject, Script().fail(makesTheNote, EACCES), "you do not have permission");
        expectStays(subject, Script().fail(makesTheNote, ENOSPC), full);
    });
}

TEST(RemovalCall, whatIsInterrupted_isDoneAgain) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::file);
        expectGoes(subject, Script()
                                .fail(makesTheNote, EINTR)
                                .fail(on(SYS_write, ".trashinfo"), EINTR)
                                .fail(on(SYS_fsync, ".trashinfo"), EINTR)
                                .fail(moves, EINTR));
        RemovalSubject forGood(Scenario::fileForGood);
        expectGoes(
            forGood,
            Script().fail(at(SYS_unlinkat, "item.txt"), EINTR).fail(atEnding(SYS_unlinkat, ""), EINTR));
        RemovalSubject duplicate(Scenario::duplicate);
        expectGoes(duplicate, Script().fail(atBeginning(SYS_openat, "/proc/self/fd/"), EINTR));
        RemovalSubject tree(Scenario::treeForGood);
        expectGoes(
            tree,
            Script().fail(after(moves, any(SYS_getdents64)), EINTR).fail(at(SYS_unlinkat, "one"), EINTR));
    });
}

TEST(RemovalCall, aNoteThatCannotBeTakenBack_isAllThatIsLeftBehind) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::file);
        // Interrupted, it is tried again.
        expectStays(subject, Script().fail(moves, EIO).fail(removesTheNote, EINTR),
                    "the disk reported an error");
        Script script;
        script.fail(moves, EIO).fail(removesTheNote, EROFS);
        EXPECT_THAT(runThrough(subject, script).sentence, HasSubstr("the disk reported an error"));
        EXPECT_TRUE(subject.isWholeAtPlace());
        EXPECT_THAT(subject.newNotesWithoutItem(), SizeIs(1));
        EXPECT_EQ(subject.harm(), "");
    });
}

// How large a folder is can be measured at any time.
TEST(RemovalCall, aTableOfSizesThatCannotBeTold_isOfNoAccount) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::folder);
        expectGoes(subject, Script().fail(after(moves, any(SYS_fcntl)), EMFILE));
        EXPECT_FALSE(stands(subject.pathOf("home/.local/share/Trash/directorysizes")));
    });
}

TEST(RemovalCall, aTrashWithoutAFreeName_keepsTheItem) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::file);
        Script script;
        script.failAlways(makesTheNote, EEXIST);
        const RemovalReport report = runThrough(subject, script);
        EXPECT_THAT(report.sentence, HasSubstr("something of that name is already there."));
        EXPECT_EQ(script.steps.front().times, 4096);
        EXPECT_TRUE(subject.isWholeAtPlace());
        EXPECT_EQ(subject.harm(), "");
    });
}

TEST(RemovalCall, aTrashThatKeepsShortNames_getsThem) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::file);
        expectGoes(subject, Script().fail(makesTheNote, ENAMETOOLONG));
        expectStays(subject, Script().failAlways(makesTheNote, ENAMETOOLONG), "path is too long");
    });
}

// --- The move

TEST(RemovalCall, aMoveThatIsRefused_keepsTheItem) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::file);
        // The name cannot be taken without replacing, and cannot be replaced either.
        expectStays(subject, Script().failAlways(moves, EINVAL).failAlways(movesPlainly, EINVAL),
                    "could not be moved: ");
        expectStays(subject, Script().fail(moves, EACCES), "could not be moved: you do not have permission.");
        // Not without copying, into none of the Trashes that there are.
        expectStays(subject, Script().failAlways(moves, EXDEV), "No Trash on this volume");
        RemovalSubject folder(Scenario::folder);
        expectStays(folder, Script().failAlways(moves, EINVAL).failAlways(movesPlainly, EINVAL),
                    "holds the Trash itself");
        RemovalSubject forGood(Scenario::fileForGood);
        expectStays(forGood, Script().fail(moves, EXDEV), unsafeText);
        expectStays(forGood, Script().fail(moves, EIO), "could not be removed: the disk reported an error");
    });
}

TEST(RemovalCall, somethingMountedAtTheLastMoment_keepsTheItem) {
    inPrivateNamespace([] {
        for (const Scenario scenario : {Scenario::folder, Scenario::treeForGood}) {
            RemovalSubject subject(scenario);
            std::unique_ptr<Mounted> mounted;
            Script script;
            script.before(moves, [&](const SystemCall&) {
                mounted = std::make_unique<Mounted>("none", subject.url(), "tmpfs", 0, "size=1m");
            });
            const RemovalReport report = runThrough(subject, script);
            EXPECT_FALSE(report.isGone);
            EXPECT_THAT(report.sentence, HasSubstr(unsafeText));
            EXPECT_TRUE(fs::is_empty(subject.url()));
            mounted.reset();
            subject.look();
            EXPECT_TRUE(subject.isWholeAtPlace());
            EXPECT_EQ(subject.harm(), "");
        }
    });
}

// Where a name has to be taken first: what somebody else does to the taken name is not undone.
TEST(RemovalCall, aTakenNameThatSomebodyElseFills_isLeftToThem) {
    inPrivateNamespace([] {
        const auto failMove = [](Script& script, Act act) -> Script& {
            return script.fail(moves, EINVAL).beforeFailing(movesPlainly, EIO, std::move(act));
        };
        RemovalSubject subject(Scenario::file);
        const std::string taken = subject.pathOf(homeFiles) + "/item.txt";
        Script filled;
        failMove(filled, [&](const SystemCall&) { writeBytes(taken, "precious"); });
        EXPECT_THAT(runThrough(subject, filled).sentence, HasSubstr("could not be moved"));
        EXPECT_EQ(readBytes(taken), "precious");
        EXPECT_TRUE(subject.isWholeAtPlace());

        Script exchanged;
        failMove(exchanged, [&](const SystemCall&) {
            ASSERT_EQ(unlink(taken.c_str()), 0);
            ASSERT_EQ(symlink("precious", taken.c_str()), 0);
        });
        EXPECT_THAT(runThrough(subject, exchanged).sentence, HasSubstr("could not be moved"));
        EXPECT_EQ(fs::read_symlink(taken), "precious");
        EXPECT_TRUE(subject.isWholeAtPlace());

        Script gone;
        failMove(gone, [&](const SystemCall&) { ASSERT_EQ(unlink(taken.c_str()), 0); });
        EXPECT_THAT(runThrough(subject, gone).sentence, HasSubstr("could not be moved"));
        EXPECT_TRUE(subject.isWholeAtPlace());
        EXPECT_EQ(subject.harm(), "");

        RemovalSubject folder(Scenario::folder);
        Script full;
        failMove(full, [&](const SystemCall&) {
            writeBytes(folder.pathOf(homeFiles) + "/item.txt/inside", "precious");
        });
        EXPECT_THAT(runThrough(folder, full).sentence, HasSubstr("could not be moved"));
        EXPECT_EQ(readBytes(folder.pathOf(homeFiles) + "/item.txt/inside"), "precious");
        EXPECT_TRUE(folder.isWholeAtPlace());
    });
}

TEST(RemovalCall, aTakenFolder_isToldApartWhereNamesHaveToBeTaken) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::folder);
        const std::string stray = subject.pathOf(homeFiles) + "/item.txt";
        Script script;
        script.before(any(SYS_openat2), [&](const SystemCall&) { writeBytes(stray, "stray"); })
            .failAlways(moves, ENOSYS);
        expectGoes(subject, script);
        EXPECT_EQ(readBytes(stray), "stray");
    });
}

// --- What arrived

TEST(RemovalCall, whatIsAnotherItemWhereItArrived_isRestored) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::file);
        const std::string arrived = subject.pathOf(homeFiles) + "/item.txt";
        // Somebody takes it away from there.
        Script taken;
        taken.afterwards(moves, [&](const SystemCall&) {
            ASSERT_EQ(rename(arrived.c_str(), subject.pathOf("outside/taken").c_str()), 0);
        });
        EXPECT_THAT(runThrough(subject, taken).sentence, HasSubstr(unsafeText));
        EXPECT_EQ(readBytes(subject.pathOf("outside/taken")), "the item");
        EXPECT_FALSE(subject.isAtPlace());
        EXPECT_THAT(subject.newNotesWithoutItem(), IsEmpty());
        fs::remove(subject.pathOf("outside/taken"));

        // It shows itself a second time.
        std::unique_ptr<Mounted> mounted;
        Script twice;
        twice.afterwards(moves, [&](const SystemCall&) {
            mounted = std::make_unique<Mounted>(arrived, arrived, "none", MS_BIND, "");
        });
        const RemovalReport report = runThrough(subject, twice);
        mounted.reset();
        EXPECT_FALSE(report.isGone);
        EXPECT_THAT(report.sentence, HasSubstr("it is kept at “"));
        subject.look();
        EXPECT_THAT(subject.wholeInTrash(), ElementsAre(report.place));
        EXPECT_TRUE(subject.hasCompleteInfoFile(report.place));
    });
}

TEST(RemovalCall, whatCannotBeLookedAtWhereItArrived_isRestored) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::file);
        const auto afterTheMove = [](Which which) { return after(moves, std::move(which)); };
        expectStays(subject, Script().fail(afterTheMove(at(SYS_openat, "item.txt")), EMFILE), unsafeText);
        expectStays(subject, Script().fail(afterTheMove(any(SYS_statx)), EIO), unsafeText);
        // And then not even that can be told: it rests where it arrived, with its info file.
        Script script;
        script.fail(afterTheMove(any(SYS_statx)), EIO)
            .fail(after(afterTheMove(any(SYS_statx)), at(SYS_openat, "item.txt")), EIO);
        const RemovalReport report = runThrough(subject, script);
        EXPECT_EQ(report.place, std::string(homeFiles) + "/item.txt");
        EXPECT_THAT(subject.wholeInTrash(), ElementsAre(report.place));
        EXPECT_TRUE(subject.hasCompleteInfoFile(report.place));
    });
}

// --- Duplicates

// Between the move of the duplicate and the end, something happens to the copy that should stay.
TEST(RemovalCall, aCopyThatChangesMeanwhile_bringsTheDuplicateBack) {
    inPrivateNamespace([] {
        for (const char* mode : {"trash", "permanent"}) {
            RemovalSubject subject(Scenario::duplicate);
            const std::string keeper = subject.pathOf("root/keeper.txt");
            const auto touch = [&keeper](time_t seconds, long nanoseconds) {
                struct stat values{};
                ASSERT_EQ(stat(keeper.c_str(), &values), 0);
                const timespec times[] = {
                    values.st_atim,
                    {.tv_sec = values.st_mtim.tv_sec + seconds,
                     .tv_nsec = (values.st_mtim.tv_nsec + nanoseconds) % 1'000'000'000}};
                ASSERT_EQ(utimensat(AT_FDCWD, keeper.c_str(), times, 0), 0);
            };
            const std::vector<std::pair<const char*, std::function<void()>>> harms = {
                {"another name", [&] { ASSERT_EQ(link(keeper.c_str(), (keeper + "2").c_str()), 0); }},
                {"no name", [&] { ASSERT_EQ(unlink(keeper.c_str()), 0); }},
                {"another second", [&] { touch(-5, 0); }},
                {"another instant", [&] { touch(0, 1); }},
                {"other rights", [&] { ASSERT_EQ(chmod(keeper.c_str(), 0600), 0); }},
                {"other content", [&] { writeBytes(keeper, "THE ITEM"); }}};
            for (const auto& [name, harm] : harms) {
                SCOPED_TRACE(name);
                fs::remove(keeper + "2");
                expectStays(subject, Script().afterwards(moves, [&harm](const SystemCall&) { harm(); }),
                            changedText, mode);
            }
            fs::remove(keeper + "2");
            // It grows after it was read for the last time.
            SCOPED_TRACE("more content");
            expectStays(subject,
                        Script().before(after(moves, on(SYS_close, "keeper.txt")),
                                        [&](const SystemCall&) { fs::resize_file(keeper, 100); }),
                        changedText, mode);
            SCOPED_TRACE("nothing to be told of it");
            expectStays(subject,
                        Script().fail(after(after(moves, on(SYS_close, "keeper.txt")), any(SYS_statx)), EIO),
                        changedText, mode);
        }
    });
}

TEST(RemovalCall, aDuplicateThatChangesMeanwhile_isRestored) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::duplicate);
        Script script;
        script.afterwards(moves, [&](const SystemCall&) {
            writeBytes(subject.pathOf(homeFiles) + "/item.txt", "new item");
        });
        EXPECT_THAT(runThrough(subject, script).sentence, HasSubstr(changedText));
        EXPECT_EQ(readBytes(subject.url()), "new item");
        EXPECT_THAT(subject.newNotesWithoutItem(), IsEmpty());
    });
}

// It was open for writing all the time, and is written after it was read for the last time.
TEST(RemovalCall, aDuplicateThatAWriterHoldsOpen_isRestored) {
    inPrivateNamespace([] {
        for (const char* mode : {"trash", "permanent"}) {
            RemovalSubject subject(Scenario::duplicate);
            int writer = -1;
            Script script;
            script
                .before(any(SYS_openat2),
                        [&](const SystemCall&) {
                            writer = open(subject.url().c_str(), O_WRONLY | O_CLOEXEC);
                            ASSERT_GE(writer, 0);
                        })
                .before(after(moves, on(SYS_close, "item.txt")),
                        [&](const SystemCall&) { ASSERT_EQ(pwrite(writer, "THE", 3, 0), 3); });
            const RemovalReport report = runThrough(subject, script, mode);
            close(writer);
            EXPECT_FALSE(report.isGone);
            EXPECT_THAT(report.sentence, HasSubstr(changedText));
            EXPECT_EQ(readBytes(subject.url()), "THE item");
            EXPECT_TRUE(subject.privateFolders().empty());
        }
    });
}

TEST(RemovalCall, aDuplicateThatCannotBeReadAgain_isRestoredOrToldWhere) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::duplicate);
        const Which reads = after(moves, on(SYS_pread64, "/item.txt"));
        expectStays(subject, Script().fail(reads, EIO), "could not be read: the disk reported an error");
        Script script;
        script.fail(after(moves, on(SYS_pread64, "/item.txt")), EIO).fail(after(moves, moves), EEXIST);
        const RemovalReport report = runThrough(subject, script);
        EXPECT_EQ(report.place, std::string(homeFiles) + "/item.txt");
        EXPECT_THAT(report.sentence, HasSubstr(changedText));
        EXPECT_THAT(subject.wholeInTrash(), ElementsAre(report.place));
    });
}

// --- The folder beside the item

TEST(RemovalCall, whoseQuotaIsUsedUp_canRemoveForGood) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::fileForGood);
        expectGoes(subject, Script().fail(makesTheHolder, EDQUOT));
        expectGoes(subject, Script().fail(makesTheHolder, ENOSPC));
        expectStays(subject, Script().fail(makesTheHolder, EDQUOT).fail(any(SYS_fcntl), EMFILE),
                    "too many files are open");
        expectStays(subject, Script().fail(makesTheHolder, EACCES), "you do not have permission");
        // Where it does not go from there, it comes back to its name.
        expectStays(subject, Script().fail(makesTheHolder, ENOSPC).fail(atEnding(SYS_unlinkat, ""), EIO),
                    "the disk reported an error");
    });
}

TEST(RemovalCall, aHolderThatIsAnothers_isNotUsed) {
    require(Need::otherUsers);
    inPrivateNamespace([] {
        const auto giveAway = [](const std::string& path) {
            ASSERT_EQ(lchown(path.c_str(), 65534, 65534), 0);
        };
        RemovalSubject subject(Scenario::fileForGood);
        std::string made;
        const auto giveHolderAway = [&](const SystemCall& call) {
            made = call.descriptorPath(0) + "/" + call.text(1);
            giveAway(made);
        };
        expectStays(subject, Script().afterwards(makesTheHolder, giveHolderAway), unsafeText);
        EXPECT_FALSE(stands(made));
        // On some file systems everything belongs to somebody.
        RemovalSubject foreign(Scenario::fileForGood);
        expectStays(foreign,
                    Script()
                        .before(any(SYS_openat2), [&](const SystemCall&) { giveAway(foreign.url()); })
                        .afterwards(makesTheHolder, giveHolderAway),
                    unsafeText);
        // Exchanged for a link, or not to be looked at.
        expectStays(subject, Script().fail(after(makesTheHolder, any(SYS_openat2)), ELOOP), unsafeText);
        expectStays(subject, Script().fail(after(makesTheHolder, any(SYS_openat2)), EMFILE),
                    "too many files are open");
        expectStays(subject, Script().fail(after(makesTheHolder, any(SYS_statx)), EIO), unsafeText);
    });
}

// --- For good

TEST(RemovalCall, aFileThatCannotBeRemovedOrRestored_isToldWhere) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::fileForGood);
        expectStays(subject, Script().fail(at(SYS_unlinkat, "item.txt"), EIO), "the disk reported an error");
        Script script;
        script.beforeFailing(at(SYS_unlinkat, "item.txt"), EIO,
                             [&](const SystemCall&) { writeBytes(subject.url(), "another one"); });
        const RemovalReport report = runThrough(subject, script);
        EXPECT_EQ(readBytes(subject.url()), "another one");
        EXPECT_EQ(readBytes(subject.pathOf(report.place)), "the item");
        EXPECT_THAT(report.sentence, HasSubstr("it is kept at “"));
    });
}

TEST(RemovalCall, aFolderThatIsLeftByALink_isRefused) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::treeForGood);
        for (const int error : {ELOOP, EXDEV}) {
            expectStays(subject, Script().fail(after(moves, at(SYS_openat2, ".")), error), unsafeText);
        }
    });
}

TEST(RemovalCall, aNoteOfTheTrashThatCannotBeFound_stays) {
    inPrivateNamespace([] {
        const Which opensTrash = [](const SystemCall& call) {
            return call.number == SYS_openat2 && call.text(1).ends_with("/Trash");
        };
        RemovalSubject subject(Scenario::trashedForGood);
        for (const Which& which : {opensTrash, at(SYS_openat2, "files"), at(SYS_openat2, "info"),
                                   at(SYS_openat, "item.txt.trashinfo"), on(SYS_statx, "/item.txt.trashinfo"),
                                   after(moves, removesTheNote)}) {
            Script script;
            script.fail(which, EMFILE);
            EXPECT_TRUE(runThrough(subject, script).isGone);
            EXPECT_FALSE(subject.isAtPlace());
            EXPECT_TRUE(subject.hasItsOwnNote());
        }
    });
}

// --- Trees

// What is left of it is in its place, and nothing else is touched.
void expectStaysInPart(RemovalSubject& subject, Script script, const std::string& sentence) {
    const RemovalReport report = runThrough(subject, script);
    EXPECT_FALSE(report.isGone);
    EXPECT_THAT(report.sentence, HasSubstr(sentence));
    EXPECT_TRUE(subject.isAtPlace());
    EXPECT_TRUE(subject.privateFolders().empty());
}

TEST(RemovalCall, aTreeInWhichSomethingCannotBeRemoved_isRestoredWithTheRest) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::treeForGood);
        const std::string told = "the disk reported an error";
        expectStaysInPart(subject, Script().fail(at(SYS_unlinkat, "one"), EIO), told);
        EXPECT_TRUE(subject.isPartAtPlace());
        EXPECT_EQ(subject.harm(), "");
        expectStaysInPart(subject, Script().fail(at(SYS_unlinkat, "a"), EIO), told);
        // The owner of the folder has all rights already.
        expectStaysInPart(subject, Script().fail(at(SYS_unlinkat, "two"), EACCES),
                          "you do not have permission");
        expectStaysInPart(subject, Script().fail(after(moves, any(SYS_getdents64)), EIO), told);
        expectStaysInPart(subject, Script().fail(after(moves, any(SYS_lseek)), EIO), told);
        expectStaysInPart(subject, Script().fail(after(moves, at(SYS_openat2, "a")), EIO), told);
        expectStaysInPart(subject, Script().fail(after(moves, on(SYS_statx, "/a")), EIO), told);
        EXPECT_TRUE(subject.isPartAtPlace());
        EXPECT_EQ(subject.harm(), "");
    });
}

TEST(RemovalCall, aFolderInsideThatIsClosed_isOpenedByItsOwnerOrStays) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::treeForGood);
        const std::string told = "you do not have permission";
        const auto close = [&](const SystemCall&) { ASSERT_EQ(chmod((subject.url() + "/a").c_str(), 0), 0); };
        const auto enters = [] { return after(moves, at(SYS_openat2, "a")); };
        for (const int error : {EACCES, EPERM}) {
            expectGoes(subject, Script().before(any(SYS_openat2), close).fail(enters(), error));
        }
        // Its owner has all rights already, or it cannot be found, looked at or changed.
        expectStaysInPart(subject, Script().fail(enters(), EACCES), told);
        expectStaysInPart(subject, Script().failAlways(enters(), EACCES), told);
        expectStaysInPart(subject,
                          Script()
                              .before(any(SYS_openat2), close)
                              .fail(enters(), EACCES)
                              .fail(after(moves, on(SYS_statx, "/a")), EIO),
                          told);
        expectStaysInPart(
            subject,
            Script().before(any(SYS_openat2), close).fail(enters(), EACCES).fail(any(SYS_chmod), EPERM),
            told);
        // What lies in it cannot be removed, before and after.
        expectStaysInPart(
            subject, Script().before(any(SYS_openat2), close).failAlways(at(SYS_unlinkat, "three"), EACCES),
            told);
        EXPECT_EQ(subject.harm(), "");
    });
}

TEST(RemovalCall, aTreeThatOthersTakeThingsFrom_goes) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::treeForGood);
        const auto inside = [](const SystemCall& call) {
            return call.descriptorPath(0) + "/" + call.text(1);
        };
        // A file, a folder before it is entered, and one before it goes itself.
        expectGoes(subject, Script().before(at(SYS_unlinkat, "one"), [&](const SystemCall& call) {
            ASSERT_EQ(unlink(inside(call).c_str()), 0);
        }));
        expectGoes(subject, Script().before(after(moves, at(SYS_openat2, "a")), [&](const SystemCall& call) {
            ASSERT_EQ(rename(inside(call).c_str(), subject.pathOf("outside/a").c_str()), 0);
        }));
        EXPECT_EQ(readBytes(subject.pathOf("outside/a/b/four")), "4444");
        expectGoes(subject, Script().before(at(SYS_unlinkat, "empty"), [&](const SystemCall& call) {
            ASSERT_EQ(rmdir(inside(call).c_str()), 0);
        }));
        // A folder stands where a file was: it belongs to what goes.
        expectGoes(subject, Script().before(at(SYS_unlinkat, "one"), [&](const SystemCall& call) {
            ASSERT_EQ(unlink(inside(call).c_str()), 0);
            fs::create_directories(inside(call) + "/deeper");
        }));
    });
}

// Somebody goes on putting things there: it is given up, and what came last is in the item's place.
TEST(RemovalCall, aTreeThatIsFilledWithoutEnd_isGivenUp) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::treeForGood);
        int count = 0;
        const Which ends = [](const SystemCall& call) {
            return call.number == SYS_getdents64 && call.result == 0 &&
                   call.descriptorPath(0).ends_with("/a");
        };
        Script script;
        script.afterwards(after(moves, ends), [&](const SystemCall& call) {
            writeBytes(call.descriptorPath(0) + "/new" + std::to_string(count++), "new");
        });
        script.steps.front().goesOn = true;
        const RemovalReport report = runThrough(subject, script);
        EXPECT_FALSE(report.isGone);
        EXPECT_THAT(report.sentence, HasSubstr("the folder is not empty."));
        EXPECT_EQ(count, 16);
        EXPECT_EQ(readBytes(subject.url() + "/a/new15"), "new");
    });
}

// --- Trees deeper than there are descriptors to hold

void makeDeepTree(const std::string& folder) {
    constexpr int depth = 70;
    std::string path = folder;
    for (int level = 0; level < depth; ++level) {
        path += "/d";
    }
    fs::create_directories(path);
}

void expectDeepTreeStays(const std::function<void(RemovalSubject&, Script&)>& happen,
                         const std::string& told) {
    RemovalSubject subject(Scenario::treeForGood);
    Script script;
    script.before(any(SYS_openat2), [&](const SystemCall&) { makeDeepTree(subject.url()); });
    happen(subject, script);
    expectStaysInPart(subject, std::move(script), told);
    EXPECT_EQ(readBytes(subject.pathOf("bystander")), "bystander");
    EXPECT_EQ(readBytes(subject.pathOf("outside/item.txt")), "outside");
}

TEST(RemovalCall, aDeepTree_goesByTheWayBack) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::treeForGood);
        expectGoes(subject, Script().before(any(SYS_openat2),
                                            [&](const SystemCall&) { makeDeepTree(subject.url()); }));
    });
}

TEST(RemovalCall, aDeepTreeWithoutAWayBack_isRestored) {
    inPrivateNamespace([] {
        const Which up = at(SYS_openat, "..");
        expectDeepTreeStays([&](RemovalSubject&, Script& script) { script.fail(up, EMFILE); },
                            "too many files are open");
        expectDeepTreeStays(
            [&](RemovalSubject&, Script& script) { script.fail(after(up, any(SYS_statx)), EIO); },
            "the connection to its disk was lost.");
        // The folder below was carried to another place: its way back leads to where nothing may be removed.
        expectDeepTreeStays(
            [&](RemovalSubject& subject, Script& script) {
                script.before(up, [&subject](const SystemCall& call) {
                    ASSERT_EQ(rename(call.descriptorPath(0).c_str(), subject.pathOf("outside/d").c_str()), 0);
                });
            },
            "the connection to its disk was lost.");
    });
}

}  // namespace
}  // namespace larkfold::test
