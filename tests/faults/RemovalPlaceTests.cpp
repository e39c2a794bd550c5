// The places that a removal makes for itself, the private folder beside the item and the info file in the
// Trash, while one thing happens to them at one moment.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>

#include "faults/RemovalScript.h"

namespace larkfold::test {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char* homeTrash = "home/.local/share/Trash";
constexpr const char* openText = "Other users may write in the folder of this item";

// Where the private folder is made.
std::string madeBy(const SystemCall& call) {
    return call.descriptorPath(0) + "/" + call.text(1);
}

const Which looksAtTheHolder = [](const SystemCall& call) {
    return call.number == SYS_statx &&
           call.descriptorPath(0).find("/.larkfold-removing-") != std::string::npos;
};
const Which removesTheHolder = atBeginning(SYS_unlinkat, ".larkfold-removing-");

// What cannot be removed in the way of the folder itself: the item is whole in its place, and that is told.
RemovalReport expectStaysBesideAFolder(RemovalSubject& subject, Script script, const std::string& sentence) {
    RemovalReport report = runThrough(subject, script);
    EXPECT_FALSE(report.isGone);
    EXPECT_THAT(report.sentence, HasSubstr(sentence));
    EXPECT_EQ(report.place, "");
    EXPECT_TRUE(subject.isWholeAtPlace());
    EXPECT_EQ(subject.harm(), "");
    return report;
}

// --- The private folder, before the item comes

TEST(RemovalHolder, whoseReadingIsInterrupted_isReadAgain) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::fileForGood);
        expectGoes(subject, Script().fail(after(makesTheHolder, any(SYS_getdents64)), EINTR));
        EXPECT_EQ(subject.harm(), "");
    });
}

TEST(RemovalHolder, thatCannotBeRead_isNotUsed) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::fileForGood);
        expectStays(subject, Script().fail(after(makesTheHolder, any(SYS_getdents64)), EIO), unsafeText);
        EXPECT_EQ(subject.harm(), "");
    });
}

TEST(RemovalHolder, thatIsFilledBeforeItIsLookedAt_isNotUsedAndLeftAsItIs) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::fileForGood);
        std::string made;
        expectStaysBesideAFolder(subject,
                                 Script().afterwards(makesTheHolder,
                                                     [&](const SystemCall& call) {
                                                         made = madeBy(call);
                                                         writeBytes(made + "/theirs", "precious");
                                                     }),
                                 unsafeText);
        EXPECT_EQ(readBytes(made + "/theirs"), "precious");
        EXPECT_THAT(subject.privateFolders(),
                    testing::Each(testing::Field(&RemovalSubject::PrivateFolder::holdsAllOfIt, false)));
    });
}

TEST(RemovalHolder, onWhichSomethingIsMounted_isNotUsedAndWhatIsMountedStands) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::fileForGood);
        std::string made;
        std::unique_ptr<Mounted> mounted;
        Script script;
        script.afterwards(makesTheHolder, [&](const SystemCall& call) {
            made = madeBy(call);
            mounted = std::make_unique<Mounted>("none", made, "tmpfs", 0, "size=1m");
            writeBytes(made + "/theirs", "precious");
        });
        expectStaysBesideAFolder(subject, std::move(script), unsafeText);
        EXPECT_EQ(readBytes(made + "/theirs"), "precious");
        mounted.reset();
        EXPECT_TRUE(fs::is_empty(made));
    });
}

// What a file system does that keeps no rights: a folder is never the user's alone.
TEST(RemovalHolder, whichIsNotTheUsersAlone_isOnlyDoneWithoutWhereNobodyElseMayWrite) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::fileForGood);
        const auto keepNoRights = [](const SystemCall& call) {
            ASSERT_EQ(chmod(madeBy(call).c_str(), 0755), 0);
        };
        expectGoes(subject, Script().afterwards(makesTheHolder, keepNoRights));
        EXPECT_EQ(subject.harm(), "");
        const auto keepNoneAtAll = [&](const SystemCall& call) {
            keepNoRights(call);
            ASSERT_EQ(chmod(call.descriptorPath(0).c_str(), 0777), 0);
        };
        expectStays(subject, Script().afterwards(makesTheHolder, keepNoneAtAll), openText);
        expectStays(subject, Script().afterwards(makesTheHolder, keepNoneAtAll),
                    "Its file system keeps no rights. Nothing was changed.");
        EXPECT_EQ(subject.harm(), "");
    });
}

TEST(RemovalHolder, thatHasNoRoomAndWhoseFolderCannotBeLookedAt_keepsTheItem) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::fileForGood);
        expectStays(subject,
                    Script()
                        .fail(makesTheHolder, ENOSPC)
                        .fail(after(makesTheHolder, on(SYS_statx, "/root/folder")), EIO),
                    openText);
        EXPECT_EQ(subject.harm(), "");
    });
}

// --- The private folder, at the end

TEST(RemovalHolder, thatCannotBeOpenedAtTheEnd_isRemovedAllTheSame) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::fileForGood);
        expectStays(subject,
                    Script().fail(moves, EIO).fail(atBeginning(SYS_openat, ".larkfold-removing-"), EMFILE),
                    "the disk reported an error");
        EXPECT_EQ(subject.harm(), "");
    });
}

TEST(RemovalHolder, thatCannotBeComparedAtTheEnd_isRemovedAllTheSame) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::fileForGood);
        for (const Which& which :
             {after(moves, looksAtTheHolder), after(moves, after(looksAtTheHolder, looksAtTheHolder))}) {
            expectStays(subject, Script().fail(moves, EIO).fail(which, EIO), "the disk reported an error");
            EXPECT_EQ(subject.harm(), "");
        }
    });
}

TEST(RemovalHolder, thatSomebodyExchanges_leavesTheirFolderAlone) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::fileForGood);
        std::string made;
        const std::string elsewhere = subject.pathOf("outside/.larkfold-removing-carried");
        Script script;
        script.afterwards(makesTheHolder, [&](const SystemCall& call) { made = madeBy(call); })
            .beforeFailing(moves, EIO, [&](const SystemCall&) {
                ASSERT_EQ(rename(made.c_str(), elsewhere.c_str()), 0);
                ASSERT_EQ(mkdir(made.c_str(), 0700), 0);
            });
        expectStaysBesideAFolder(subject, std::move(script), "the disk reported an error");
        EXPECT_TRUE(fs::is_directory(made));
        EXPECT_TRUE(fs::is_empty(elsewhere));
    });
}

TEST(RemovalHolder, whoseRemovalIsInterrupted_isRemovedAgain_andStaysEmptyWhereThatFails) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::fileForGood);
        expectGoes(subject, Script().fail(removesTheHolder, EINTR));
        EXPECT_EQ(subject.harm(), "");
        Script script;
        script.fail(removesTheHolder, EIO);
        EXPECT_TRUE(runThrough(subject, script).isGone);
        EXPECT_FALSE(subject.isAtPlace());
        ASSERT_THAT(subject.privateFolders(), SizeIs(1));
        EXPECT_TRUE(subject.privateFolders().front().isEmpty);
        EXPECT_EQ(subject.harm(), "");
    });
}

// --- The info file

TEST(RemovalNote, thatCannotBeHeld_isTakenBackAndKeepsTheItem) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::file);
        for (const char* held : {"/Trash/info", ".trashinfo"}) {
            expectStays(subject, Script().fail(on(SYS_fcntl, held), EMFILE), "too many files are open");
            EXPECT_EQ(subject.harm(), "");
        }
    });
}

// It could be another program's as far as anybody can tell.
TEST(RemovalNote, thatCannotBeToldFromOthers_isLeftEmptyAndKeepsTheItem) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::file);
        Script script;
        script.fail(on(SYS_newfstatat, ".trashinfo"), EIO).fail(on(SYS_statx, ".trashinfo"), EIO);
        const RemovalReport report = runThrough(subject, script);
        EXPECT_FALSE(report.isGone);
        EXPECT_THAT(report.sentence, HasSubstr("the disk reported an error"));
        EXPECT_TRUE(subject.isWholeAtPlace());
        EXPECT_THAT(subject.wholeInTrash(), IsEmpty());
        ASSERT_THAT(subject.newNotesWithoutItem(), SizeIs(1));
        EXPECT_EQ(readBytes(subject.pathOf(subject.newNotesWithoutItem().front())), "");
        EXPECT_EQ(subject.harm(), "");
        // Told in the second way it is enough.
        expectGoes(subject, Script().fail(on(SYS_newfstatat, ".trashinfo"), EIO));
    });
}

TEST(RemovalNote, inATrashThatHoldsOtherFilesByNow_staysWhereTheItemGoes) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::trashedForGood);
        const std::string files = subject.pathOf(homeFiles);
        Script script;
        script.before(at(SYS_openat2, "files"), [&](const SystemCall&) {
            ASSERT_EQ(rename(files.c_str(), (files + "-before").c_str()), 0);
            fs::create_directory(files);
            writeBytes(files + "/item.txt", "another one");
        });
        EXPECT_TRUE(runThrough(subject, script).isGone);
        EXPECT_FALSE(stands(files + "-before/item.txt"));
        EXPECT_EQ(readBytes(files + "-before/old"), "trashed long ago");
        EXPECT_EQ(readBytes(files + "/item.txt"), "another one");
        EXPECT_TRUE(subject.hasItsOwnNote());
        EXPECT_TRUE(subject.privateFolders().empty());
    });
}

TEST(RemovalNote, thatIsAFolder_isNoNoteAndStays) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::trashedForGood);
        const std::string infoFile = subject.pathOf(homeTrash) + "/info/item.txt.trashinfo";
        Script script;
        script.before(any(SYS_openat2), [&](const SystemCall&) {
            ASSERT_EQ(unlink(infoFile.c_str()), 0);
            fs::create_directory(infoFile);
            writeBytes(infoFile + "/inside", "precious");
        });
        EXPECT_TRUE(runThrough(subject, script).isGone);
        EXPECT_FALSE(subject.isAtPlace());
        EXPECT_EQ(readBytes(infoFile + "/inside"), "precious");
        EXPECT_TRUE(subject.privateFolders().empty());
        EXPECT_EQ(subject.harm(), "");
    });
}

TEST(RemovalNote, thatIsGoneWhereItIsToBeTakenBack_isOfNoAccount) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::file);
        const std::string infoFile = subject.pathOf(homeTrash) + "/info/item.txt.trashinfo";
        expectStays(subject,
                    Script().beforeFailing(
                        moves, EIO, [&](const SystemCall&) { ASSERT_EQ(unlink(infoFile.c_str()), 0); }),
                    "the disk reported an error");
        EXPECT_EQ(subject.harm(), "");
    });
}

TEST(RemovalNote, thatIsDeletedAfterTheMove_isWrittenAgain) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::file);
        const std::string infoFile = subject.pathOf(homeTrash) + "/info/item.txt.trashinfo";
        expectGoes(subject, Script().afterwards(
                                moves, [&](const SystemCall&) { ASSERT_EQ(unlink(infoFile.c_str()), 0); }));
        EXPECT_EQ(subject.harm(), "");
    });
}

TEST(RemovalNote, overWhichAnotherFileLies_isLeftToThatAndTheItemGoesUnderAnotherName) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::file);
        const std::string infoFile = subject.pathOf(homeTrash) + "/info/item.txt.trashinfo";
        Script script;
        script.afterwards(moves, [&](const SystemCall&) {
            writeBytes(subject.pathOf("outside/theirs"), "another program's");
            ASSERT_EQ(rename(subject.pathOf("outside/theirs").c_str(), infoFile.c_str()), 0);
        });
        const RemovalReport report = runThrough(subject, script);
        EXPECT_TRUE(report.isGone) << report.sentence;
        EXPECT_FALSE(subject.isAtPlace());
        EXPECT_THAT(subject.wholeInTrash(), ElementsAre(report.place));
        EXPECT_NE(report.place, std::string(homeFiles) + "/item.txt");
        EXPECT_TRUE(subject.hasCompleteInfoFile(report.place));
        EXPECT_EQ(readBytes(infoFile), "another program's");
        EXPECT_EQ(subject.harm(), "");
    });
}

TEST(RemovalNote, whoseFolderIsExchangedAfterTheMove_isTakenBackFromThereAndWrittenInTheNewOne) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::file);
        const std::string info = subject.pathOf(homeTrash) + "/info";
        Script script;
        script.afterwards(moves, [&](const SystemCall&) {
            ASSERT_EQ(rename(info.c_str(), (info + "-before").c_str()), 0);
            fs::create_directory(info);
        });
        const RemovalReport report = runThrough(subject, script);
        EXPECT_TRUE(report.isGone) << report.sentence;
        EXPECT_FALSE(subject.isAtPlace());
        EXPECT_THAT(subject.wholeInTrash(), ElementsAre(report.place));
        EXPECT_TRUE(subject.hasCompleteInfoFile(report.place));
        EXPECT_FALSE(stands(info + "-before/item.txt.trashinfo"));
        EXPECT_TRUE(stands(info + "-before/old.trashinfo"));
    });
}

// --- Names that have to be taken first

TEST(RemovalPlaceholder, whoseNameIsTaken_isMadeUnderAnother) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::file);
        const std::string stray = subject.pathOf(homeFiles) + "/item.txt";
        Script script;
        script.before(any(SYS_openat2), [&](const SystemCall&) { writeBytes(stray, "stray"); })
            .failAlways(moves, ENOSYS);
        expectGoes(subject, std::move(script));
        EXPECT_EQ(readBytes(stray), "stray");
        EXPECT_EQ(subject.harm(), "");
    });
}

TEST(RemovalPlaceholder, whoseReplacementIsInterrupted_isReplacedAgain) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::file);
        expectGoes(subject, Script().failAlways(moves, ENOSYS).fail(movesPlainly, EINTR));
        EXPECT_EQ(subject.harm(), "");
    });
}

// --- What is mounted in what arrived

TEST(RemovalMount, thatComesIntoTheFolderAfterTheMove_bringsItBackWithTheMount) {
    inPrivateNamespace([] {
        for (const Scenario scenario : {Scenario::folder, Scenario::treeForGood}) {
            RemovalSubject subject(scenario);
            bool isMounted = false;
            Script script;
            script.afterwards(moves, [&](const SystemCall& call) {
                const std::string inner = call.descriptorPath(2) + "/" + call.text(3) + "/empty";
                ASSERT_EQ(mount("none", inner.c_str(), "tmpfs", 0, "size=1m"), 0);
                isMounted = true;
                writeBytes(inner + "/theirs", "precious");
            });
            const RemovalReport report = runThrough(subject, script);
            EXPECT_FALSE(report.isGone);
            EXPECT_THAT(report.sentence, HasSubstr(unsafeText));
            EXPECT_EQ(report.place, "");
            ASSERT_TRUE(isMounted);
            EXPECT_EQ(readBytes(subject.url() + "/empty/theirs"), "precious");
            ASSERT_EQ(umount2((subject.url() + "/empty").c_str(), MNT_DETACH), 0);
            subject.look();
            EXPECT_TRUE(subject.isWholeAtPlace());
            EXPECT_TRUE(subject.privateFolders().empty());
            EXPECT_THAT(subject.newNotesWithoutItem(), IsEmpty());
            EXPECT_EQ(subject.harm(), "");
        }
    });
}

// --- The Trash that is another one by now

TEST(RemovalTrash, exchangedAfterTheMove_theItemGoesIntoTheNewOneBesideWhatLiesThere) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::file);
        const std::string trash = subject.pathOf(homeTrash);
        Script script;
        script.afterwards(moves, [&](const SystemCall&) {
            ASSERT_EQ(rename(trash.c_str(), (trash + "-before").c_str()), 0);
            fs::create_directories(trash + "/files");
            writeBytes(trash + "/files/item.txt", "another one");
        });
        const RemovalReport report = runThrough(subject, script);
        EXPECT_TRUE(report.isGone) << report.sentence;
        EXPECT_FALSE(subject.isAtPlace());
        EXPECT_THAT(subject.wholeInTrash(), ElementsAre(report.place));
        EXPECT_NE(report.place, std::string(homeFiles) + "/item.txt");
        EXPECT_TRUE(subject.hasCompleteInfoFile(report.place));
        EXPECT_EQ(readBytes(trash + "/files/item.txt"), "another one");
        // Nothing of it is left in the one before, and what lay there lies there.
        EXPECT_FALSE(stands(trash + "-before/files/item.txt"));
        EXPECT_FALSE(stands(trash + "-before/info/item.txt.trashinfo"));
        EXPECT_EQ(readBytes(trash + "-before/files/old"), "trashed long ago");
        EXPECT_TRUE(stands(trash + "-before/info/old.trashinfo"));
    });
}

TEST(RemovalTrash, exchangedAfterTheMoveWhileTheNameWasTaken_keepsTheItemAndTellsWhere) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::file);
        const std::string trash = subject.pathOf(homeTrash);
        Script script;
        script.afterwards(moves, [&](const SystemCall&) {
            ASSERT_EQ(rename(trash.c_str(), (trash + "-before").c_str()), 0);
            writeBytes(subject.url(), "another one");
        });
        const RemovalReport report = runThrough(subject, script);
        EXPECT_FALSE(report.isGone);
        EXPECT_THAT(report.sentence, HasSubstr("it is kept at “"));
        EXPECT_EQ(report.place, std::string(homeTrash) + "-before/files/item.txt");
        EXPECT_EQ(readBytes(subject.pathOf(report.place)), "the item");
        EXPECT_TRUE(stands(trash + "-before/info/item.txt.trashinfo")) << "with its info file";
        EXPECT_EQ(readBytes(subject.url()), "another one");
    });
}

// It can be put back no more, and not even the system tells where it is: its usual path is told.
TEST(RemovalTrash, whereTheSystemTellsNoPath_theUsualOneIsTold) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::file);
        const Which looks = after(moves, any(SYS_statx));
        Script script;
        script.fail(after(moves, any(SYS_statx)), EIO)
            .fail(after(looks, at(SYS_openat, "item.txt")), EIO)
            .fail(after(moves, any(SYS_readlink)), EACCES);
        const RemovalReport report = runThrough(subject, script);
        EXPECT_FALSE(report.isGone);
        EXPECT_EQ(report.place, std::string(homeFiles) + "/item.txt");
        EXPECT_THAT(subject.wholeInTrash(), ElementsAre(report.place));
        EXPECT_TRUE(subject.hasCompleteInfoFile(report.place));
        EXPECT_EQ(subject.harm(), "");
    });
}

// While it is asked what is mounted in the folder that arrived, the Trash around it bears another name.
TEST(RemovalTrash, thatIsRenamedWhileTheMountsAreRead_isAskedForAgain) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::folder);
        const std::string trash = subject.pathOf(homeTrash);
        const Which asksForThePath = after(moves, any(SYS_readlink));
        Script script;
        script
            .afterwards(asksForThePath,
                        [&](const SystemCall&) {
                            ASSERT_EQ(rename(trash.c_str(), (trash + "-meanwhile").c_str()), 0);
                        })
            .afterwards(asksForThePath, [&](const SystemCall&) {
                ASSERT_EQ(rename((trash + "-meanwhile").c_str(), trash.c_str()), 0);
            });
        expectGoes(subject, std::move(script));
        EXPECT_EQ(subject.harm(), "");
    });
}

// --- Duplicates, recorded as they go

TEST(RemovalOfACopy, forGoodAndRecorded_goesWhereNothingChanged) {
    inPrivateNamespace([] {
        RemovalSubject subject(Scenario::duplicate, true);
        expectGoes(subject, Script(), "permanent");
        EXPECT_EQ(readBytes(subject.pathOf("root/keeper.txt")), "the item");
        EXPECT_THAT(subject.journals(), IsEmpty());
        EXPECT_EQ(subject.harm(), "");
    });
}

// After both were read for the last time, and before the last look at them.
TEST(RemovalOfACopy, whoseOtherCopyChangesBeforeTheLastLook_isRestored) {
    inPrivateNamespace([] {
        for (const bool isRecorded : {false, true}) {
            RemovalSubject subject(Scenario::duplicate, isRecorded);
            const std::string keeper = subject.pathOf("root/keeper.txt");
            const Which looksAtIt =
                after(after(moves, on(SYS_close, "keeper.txt")), on(SYS_statx, "keeper.txt"));
            expectStays(subject,
                        Script().afterwards(looksAtIt,
                                            [&](const SystemCall&) { writeBytes(keeper, "something else"); }),
                        changedText, "permanent");
            EXPECT_EQ(readBytes(keeper), "something else");
            EXPECT_THAT(subject.journals(), IsEmpty());
        }
    });
}

TEST(RemovalOfACopy, whichCannotBeLookedAtForTheLastTime_isRestored) {
    inPrivateNamespace([] {
        const Which looksAtTheKeeper =
            after(after(moves, on(SYS_close, "keeper.txt")), on(SYS_statx, "keeper.txt"));
        const Which looksAtIt = after(looksAtTheKeeper, on(SYS_statx, "item.txt"));
        RemovalSubject subject(Scenario::duplicate);
        expectStays(subject, Script().fail(looksAtIt, EIO), changedText, "permanent");
        EXPECT_EQ(subject.harm(), "");
        // In the Trash it is looked at once before, by its path.
        RemovalSubject trashed(Scenario::duplicate);
        const Which looksAtThatKeeper =
            after(after(moves, on(SYS_close, "keeper.txt")), on(SYS_statx, "keeper.txt"));
        expectStays(
            trashed,
            Script().fail(
                after(after(looksAtThatKeeper, on(SYS_statx, "item.txt")), on(SYS_statx, "item.txt")), EIO),
            changedText);
        EXPECT_EQ(trashed.harm(), "");
    });
}

}  // namespace
}  // namespace larkfold::test
