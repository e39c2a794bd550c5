// The Trash, rule by rule, on volumes of the test's own.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "faults/PrivateNamespace.h"
#include "platform/OwnFiles.h"
#include "platform/Path.h"
#include "platform/UserFiles.h"
#include "removal/FileDeleter.h"
#include "support/MachineRequirements.h"
#include "support/TemporaryTree.h"
#include "support/UnprivilegedUser.h"

namespace larkfold::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;

unsigned modeOf(const std::string& path) {
    struct stat values{};
    EXPECT_EQ(lstat(path.c_str(), &values), 0) << path;
    return values.st_mode & 07777U;
}

// Two volumes of memory: one with the home folder, one beside it. Made within a namespace of the test's own.
struct Volumes {
    Volumes() {
        home = joinedPath(homeVolume.path(), "home");
        own_files::createFolders(home);
        setenv("HOME", home.c_str(), 1);
        unsetenv("XDG_DATA_HOME");
    }

    struct Volume {
        explicit Volume(const std::string& relative, unsigned long flags = 0)
            : folder(tree.folder(relative)), mounted("tmpfs", folder, "tmpfs", flags, "size=16m,mode=0755") {}
        const std::string& path() const { return folder; }

        TemporaryTree tree;
        std::string folder;
        Mounted mounted;
    };

    std::string file(const std::string& path, const std::string& content = "content") const {
        own_files::createFolders(std::string(parentPath(path)));
        own_files::writeFile(path, content);
        return path;
    }

    static FileDeleter::DeletionResult remove(const std::string& path, bool permanently = false,
                                              const std::string& root = {}) {
        FileDeleter gate(nullptr);
        return gate.deleteItems({.urls = {path},
                                 .permanently = permanently,
                                 .allowedRoots = {FileDeleter::AllowedRoot::at(
                                     root.empty() ? std::string(parentPath(path)) : root)},
                                 .duplicateVerifications = {},
                                 .source = "Test",
                                 .protectRunningApplications = false},
                                nullptr, {});
    }
    // Where it went.
    static std::string trashPathOf(const std::string& path) {
        const auto result = remove(path);
        if (!result.failedDeletions.empty()) {
            return "failed: " + result.failedDeletions.front().description();
        }
        EXPECT_FALSE(own_files::exists(path));
        return result.operation.items.front().trashPath.value_or("nowhere");
    }
    static std::string own() { return ".Trash-" + std::to_string(geteuid()); }
    static std::string user() { return std::to_string(geteuid()); }

    Volume homeVolume{"home-volume"};
    Volume other{"other-volume"};
    std::string home;
};

void inVolumes(const std::function<void(const Volumes&)>& work) {
    inPrivateNamespace([&work] { work(Volumes()); });
}

TEST(TrashOfTheHome, isMadeForTheUserAlone_andTakesWhatLiesOnItsVolume) {
    inVolumes([](const Volumes& volumes) {
        const std::string path = volumes.file(joinedPath(volumes.homeVolume.path(), "elsewhere/x"));
        const std::string trash = joinedPath(volumes.home, ".local/share/Trash");
        EXPECT_EQ(Volumes::trashPathOf(path), trash + "/files/x");
        EXPECT_EQ(modeOf(trash), 0700U);
        EXPECT_EQ(modeOf(trash + "/files"), 0700U);
        EXPECT_EQ(modeOf(trash + "/info"), 0700U);
        EXPECT_EQ(modeOf(trash + "/info/x.trashinfo"), 0600U);
        // By its whole path, and when by the clock on the wall.
        EXPECT_THAT(contentOf(trash + "/info/x.trashinfo"),
                    MatchesRegex("\\[Trash Info\\]\nPath=" + path +
                                 "\nDeletionDate=[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\n"));
        EXPECT_FALSE(own_files::exists(joinedPath(volumes.homeVolume.path(), Volumes::own())));
    });
}

TEST(TrashOfTheHome, liesWhereTheEnvironmentSays) {
    inVolumes([](const Volumes& volumes) {
        const std::string data = joinedPath(volumes.other.path(), "data");
        setenv("XDG_DATA_HOME", data.c_str(), 1);
        EXPECT_EQ(Volumes::trashPathOf(volumes.file(joinedPath(volumes.other.path(), "x"))),
                  data + "/Trash/files/x");
    });
}

TEST(TrashOfTheHome, thatIsALink_takesNothing) {
    inVolumes([](const Volumes& volumes) {
        const std::string elsewhere = joinedPath(volumes.homeVolume.path(), "elsewhere");
        own_files::createFolders(joinedPath(elsewhere, "files"));
        own_files::createFolders(joinedPath(elsewhere, "info"));
        own_files::createFolders(joinedPath(volumes.home, ".local/share"));
        ASSERT_EQ(symlink(elsewhere.c_str(), joinedPath(volumes.home, ".local/share/Trash").c_str()), 0);
        const std::string path = volumes.file(joinedPath(volumes.home, "x"));
        // The volume has a Trash of its own all the same.
        EXPECT_EQ(Volumes::trashPathOf(path),
                  joinedPath(volumes.homeVolume.path(), Volumes::own() + "/files/x"));
        EXPECT_TRUE(std::filesystem::is_empty(joinedPath(elsewhere, "files")));
        EXPECT_TRUE(std::filesystem::is_empty(joinedPath(elsewhere, "info")));
    });
}

// Whatever is wrong with it, nothing goes there, and the volume has a Trash of its own all the same.
TEST(TrashOfTheHome, thatCannotBeUsed_takesNothing) {
    enum class Harm { fileForFiles, fileForInfo, mountAtFiles, mountAtInfo, circle };
    for (const Harm harm :
         {Harm::fileForFiles, Harm::fileForInfo, Harm::mountAtFiles, Harm::mountAtInfo, Harm::circle}) {
        inVolumes([&](const Volumes& volumes) {
            const std::string trash = joinedPath(volumes.home, ".local/share/Trash");
            std::optional<Mounted> mounted;
            if (harm == Harm::circle) {
                const std::string circle = joinedPath(volumes.home, "circle");
                ASSERT_EQ(symlink(circle.c_str(), circle.c_str()), 0);
                setenv("XDG_DATA_HOME", circle.c_str(), 1);
            } else {
                const std::string part =
                    trash + (harm == Harm::fileForFiles || harm == Harm::mountAtFiles ? "/files" : "/info");
                if (harm == Harm::fileForFiles || harm == Harm::fileForInfo) {
                    volumes.file(part);
                } else {
                    own_files::createFolders(part);
                    mounted.emplace("tmpfs", part, "tmpfs", 0, "size=1m");
                }
            }
            const std::string path = volumes.file(joinedPath(volumes.home, "x"));
            EXPECT_EQ(Volumes::trashPathOf(path),
                      joinedPath(volumes.homeVolume.path(), Volumes::own() + "/files/x"));
            EXPECT_FALSE(own_files::exists(trash + "/files/x"));
            EXPECT_FALSE(own_files::exists(trash + "/info/x.trashinfo"));
        });
    }
}

TEST(TrashOfTheHome, thatCannotBeTold_leavesAFolderToTheTrashOfItsVolume) {
    inVolumes([](const Volumes& volumes) {
        const std::string circle = joinedPath(volumes.home, "circle");
        ASSERT_EQ(symlink(circle.c_str(), circle.c_str()), 0);
        setenv("XDG_DATA_HOME", circle.c_str(), 1);
        const std::string folder = joinedPath(volumes.home, "folder");
        volumes.file(joinedPath(folder, "x"));
        const std::string trash = joinedPath(volumes.homeVolume.path(), Volumes::own());
        EXPECT_EQ(Volumes::trashPathOf(folder), trash + "/files/folder");
        EXPECT_EQ(contentOf(trash + "/files/folder/x"), "content");
        EXPECT_TRUE(own_files::exists(trash + "/info/folder.trashinfo"));
    });
}

// A file system that does not keep when an item was made: it is what it is without that.
TEST(TrashOfAVolume, thatKeepsNoTimesOfMaking_takesAnItem) {
    inVolumes([](const Volumes& volumes) {
        const std::string top = joinedPath(volumes.homeVolume.path(), "ramfs");
        own_files::createFolders(top);
        const Mounted mounted("none", top, "ramfs", 0, "mode=0755");
        const std::string path = volumes.file(joinedPath(top, "x"));
        EXPECT_EQ(DurableIdentity::ofFolder(top)->madeAt, std::nullopt);
        EXPECT_EQ(Volumes::trashPathOf(path), joinedPath(top, Volumes::own() + "/files/x"));
        EXPECT_EQ(contentOf(joinedPath(top, Volumes::own() + "/files/x")), "content");
    });
}

TEST(TrashOfAVolume, isMadeAtItsTop_andNotesThePathBelowIt) {
    inVolumes([](const Volumes& volumes) {
        const std::string top = volumes.other.path();
        const std::string trash = joinedPath(top, Volumes::own());
        EXPECT_EQ(Volumes::trashPathOf(volumes.file(joinedPath(top, "a b/x"))), trash + "/files/x");
        EXPECT_EQ(modeOf(trash), 0700U);
        EXPECT_EQ(modeOf(trash + "/files"), 0700U);
        EXPECT_THAT(contentOf(trash + "/info/x.trashinfo"), HasSubstr("\nPath=a%20b/x\n"));
        EXPECT_FALSE(own_files::exists(joinedPath(volumes.home, ".local")));
    });
}

TEST(TrashOfAVolume, thatTheAdministratorMade_isTakenFirst) {
    inVolumes([](const Volumes& volumes) {
        const std::string shared = joinedPath(volumes.other.path(), ".Trash");
        own_files::createFolders(shared);
        ASSERT_EQ(chmod(shared.c_str(), 01777), 0);
        EXPECT_EQ(Volumes::trashPathOf(volumes.file(joinedPath(volumes.other.path(), "x"))),
                  shared + "/" + Volumes::user() + "/files/x");
        EXPECT_EQ(modeOf(shared + "/" + Volumes::user()), 0700U);
        EXPECT_THAT(contentOf(shared + "/" + Volumes::user() + "/info/x.trashinfo"), HasSubstr("\nPath=x\n"));
    });
}

TEST(TrashOfAVolume, thatTheAdministratorMade_countsOnlyWithTheStickyBit) {
    inVolumes([](const Volumes& volumes) {
        const std::string shared = joinedPath(volumes.other.path(), ".Trash");
        own_files::createFolders(shared);
        ASSERT_EQ(chmod(shared.c_str(), 0777), 0);
        EXPECT_EQ(Volumes::trashPathOf(volumes.file(joinedPath(volumes.other.path(), "x"))),
                  joinedPath(volumes.other.path(), Volumes::own() + "/files/x"));
        EXPECT_TRUE(std::filesystem::is_empty(shared));
    });
}

TEST(TrashOfAVolume, thatIsALink_isNotTaken) {
    inVolumes([](const Volumes& volumes) {
        const std::string top = volumes.other.path();
        const std::string elsewhere = joinedPath(top, "elsewhere");
        own_files::createFolders(elsewhere);
        ASSERT_EQ(chmod(elsewhere.c_str(), 01777), 0);
        ASSERT_EQ(symlink(elsewhere.c_str(), joinedPath(top, ".Trash").c_str()), 0);
        EXPECT_EQ(Volumes::trashPathOf(volumes.file(joinedPath(top, "x"))),
                  joinedPath(top, Volumes::own() + "/files/x"));
        EXPECT_TRUE(std::filesystem::is_empty(elsewhere));
    });
}

TEST(TrashOfAVolume, whoseUsersFolderIsALink_isNotTaken) {
    inVolumes([](const Volumes& volumes) {
        const std::string top = volumes.other.path();
        const std::string elsewhere = joinedPath(top, "elsewhere");
        const std::string shared = joinedPath(top, ".Trash");
        own_files::createFolders(elsewhere);
        own_files::createFolders(shared);
        ASSERT_EQ(chmod(shared.c_str(), 01777), 0);
        ASSERT_EQ(symlink(elsewhere.c_str(), joinedPath(shared, Volumes::user()).c_str()), 0);
        EXPECT_EQ(Volumes::trashPathOf(volumes.file(joinedPath(top, "x"))),
                  joinedPath(top, Volumes::own() + "/files/x"));
        EXPECT_TRUE(std::filesystem::is_empty(elsewhere));
    });
}

TEST(TrashOfAVolume, whereNoneCanBeUsed_theItemStays_andTheReasonIsTold) {
    inVolumes([](const Volumes& volumes) {
        const std::string top = volumes.other.path();
        const std::string elsewhere = joinedPath(top, "elsewhere");
        own_files::createFolders(elsewhere);
        ASSERT_EQ(symlink(elsewhere.c_str(), joinedPath(top, Volumes::own()).c_str()), 0);
        const std::string path = volumes.file(joinedPath(top, "x"));
        const auto result = Volumes::remove(path);
        ASSERT_THAT(result.failedDeletions, SizeIs(1));
        EXPECT_EQ(result.failedDeletions.front().description(),
                  "No Trash on this volume can take this item, so it stays where it is. “" +
                      joinedPath(top, Volumes::own()) + "” is a link or no folder, so it is not used.");
        EXPECT_EQ(contentOf(path), "content");
        EXPECT_TRUE(std::filesystem::is_empty(elsewhere));
    });
}

TEST(TrashOfAVolume, ofAnotherUser_isNotTaken) {
    require(Need::otherUsers);
    inVolumes([](const Volumes& volumes) {
        const std::string top = volumes.other.path();
        own_files::createFolders(joinedPath(top, Volumes::own()));
        ASSERT_EQ(chown(joinedPath(top, Volumes::own()).c_str(), 65534, 65534), 0);
        const std::string path = volumes.file(joinedPath(top, "x"));
        const auto result = Volumes::remove(path);
        ASSERT_THAT(result.failedDeletions, SizeIs(1));
        EXPECT_THAT(result.failedDeletions.front().description(), HasSubstr("belongs to another user"));
        EXPECT_EQ(contentOf(path), "content");
    });
}

TEST(TrashOfAVolume, thatTheAdministratorMade_isNotTakenWhereTheUsersFolderIsAnothers) {
    require(Need::otherUsers);
    inVolumes([](const Volumes& volumes) {
        const std::string shared = joinedPath(volumes.other.path(), ".Trash");
        const std::string users = joinedPath(shared, Volumes::user());
        own_files::createFolders(users);
        ASSERT_EQ(chmod(shared.c_str(), 01777), 0);
        ASSERT_EQ(chown(users.c_str(), 65534, 65534), 0);
        EXPECT_EQ(Volumes::trashPathOf(volumes.file(joinedPath(volumes.other.path(), "x"))),
                  joinedPath(volumes.other.path(), Volumes::own() + "/files/x"));
        EXPECT_TRUE(std::filesystem::is_empty(users));
    });
}

TEST(TrashOfAVolume, thatIsReadOnly_leavesTheItem) {
    inVolumes([](const Volumes& volumes) {
        const std::string path = volumes.file(joinedPath(volumes.other.path(), "x"));
        ASSERT_EQ(mount("", volumes.other.path().c_str(), "", MS_REMOUNT | MS_RDONLY, ""), 0);
        for (const bool permanently : {false, true}) {
            const auto result = Volumes::remove(path, permanently);
            ASSERT_THAT(result.failedDeletions, SizeIs(1));
            EXPECT_THAT(result.failedDeletions.front().description(), HasSubstr("the disk is read-only."));
            EXPECT_EQ(contentOf(path), "content");
        }
    });
}

// The same file system by another way: the device is that of the home folder, and yet nothing can be renamed
// there.
TEST(TrashOfAVolume, ofABindMount_isItsOwn) {
    inVolumes([](const Volumes& volumes) {
        const std::string source = joinedPath(volumes.homeVolume.path(), "shared");
        const std::string bound = joinedPath(volumes.other.path(), "bound");
        volumes.file(joinedPath(source, "x"));
        own_files::createFolders(bound);
        const Mounted mounted(source, bound, "", MS_BIND, "");
        EXPECT_EQ(Volumes::trashPathOf(joinedPath(bound, "x")),
                  joinedPath(bound, Volumes::own() + "/files/x"));
        EXPECT_EQ(contentOf(joinedPath(source, Volumes::own() + "/files/x")), "content");
    });
}

TEST(TrashOfAVolume, whatLiesInIt_goesForGoodWithItsNote) {
    inVolumes([](const Volumes& volumes) {
        const std::string trash = joinedPath(volumes.other.path(), Volumes::own());
        Volumes::trashPathOf(volumes.file(joinedPath(volumes.other.path(), "x")));
        EXPECT_THAT(Volumes::remove(trash + "/files/x").failedDeletions, SizeIs(1));
        EXPECT_THAT(Volumes::remove(trash + "/files/x", true).failedDeletions, IsEmpty());
        EXPECT_TRUE(std::filesystem::is_empty(trash + "/files"));
        EXPECT_TRUE(std::filesystem::is_empty(trash + "/info"));
    });
}

TEST(TrashOfAVolume, itself_cannotGoThere) {
    inVolumes([](const Volumes& volumes) {
        const std::string trash = joinedPath(volumes.other.path(), Volumes::own());
        Volumes::trashPathOf(volumes.file(joinedPath(volumes.other.path(), "x")));
        const auto result = Volumes::remove(trash);
        ASSERT_THAT(result.failedDeletions, SizeIs(1));
        EXPECT_THAT(result.failedDeletions.front().description(), HasSubstr("holds the Trash itself"));
        EXPECT_EQ(contentOf(trash + "/files/x"), "content");
    });
}

TEST(SizesOfTheTrash, tellWhatAFolderTakes_andForgetWhatHasGone) {
    inVolumes([](const Volumes& volumes) {
        const std::string folder = joinedPath(volumes.homeVolume.path(), "a b");
        volumes.file(joinedPath(folder, "deep/x"), std::string(10'000, 'x'));
        const std::string trash = joinedPath(volumes.home, ".local/share/Trash");
        volumes.file(trash + "/directorysizes", "4096 1700000000 gone\n1 2\nno row at all\n");
        ASSERT_EQ(Volumes::trashPathOf(folder), trash + "/files/a b");
        // Three pages of content; this kind of file system keeps folders elsewhere.
        EXPECT_THAT(contentOf(trash + "/directorysizes"), MatchesRegex("12288 [0-9]+ a%20b\n"));
        struct stat infoFile{};
        ASSERT_EQ(stat((trash + "/info/a b.trashinfo").c_str(), &infoFile), 0);
        EXPECT_THAT(contentOf(trash + "/directorysizes"),
                    HasSubstr(" " + std::to_string(infoFile.st_mtime) + " "));
    });
}

// --- Mounts

TEST(Mounts, belowAFolder_keepIt) {
    inVolumes([](const Volumes& volumes) {
        const std::string folder = joinedPath(volumes.homeVolume.path(), "folder");
        const std::string inner = joinedPath(folder, "deep/mount");
        volumes.file(joinedPath(folder, "x"));
        own_files::createFolders(inner);
        const Mounted mounted("tmpfs", inner, "tmpfs", 0, "size=1m");
        volumes.file(joinedPath(inner, "precious"));
        for (const bool permanently : {false, true}) {
            const auto result = Volumes::remove(folder, permanently);
            ASSERT_THAT(result.failedDeletions, SizeIs(1));
            EXPECT_THAT(result.failedDeletions.front().description(), HasSubstr("protected or outside"));
            EXPECT_EQ(contentOf(joinedPath(inner, "precious")), "content");
            EXPECT_EQ(contentOf(joinedPath(folder, "x")), "content");
        }
    });
}

TEST(Mounts, themselves_stay) {
    inVolumes([](const Volumes& volumes) {
        const std::string precious = volumes.file(joinedPath(volumes.other.path(), "precious"));
        const std::string file = volumes.file(joinedPath(volumes.homeVolume.path(), "file"));
        const Mounted overFile(precious, file, "", MS_BIND, "");
        for (const bool permanently : {false, true}) {
            EXPECT_THAT(Volumes::remove(volumes.other.path(), permanently).failedDeletions, SizeIs(1));
            EXPECT_THAT(Volumes::remove(file, permanently).failedDeletions, SizeIs(1));
        }
        EXPECT_EQ(contentOf(precious), "content");
    });
}

// Whoever holds an item without asking what it is: a mount is not taken away from under its folder.
TEST(Mounts, thatAreHeldWithoutAQuestion_stay) {
    inVolumes([](const Volumes& volumes) {
        const std::string precious = volumes.file(joinedPath(volumes.other.path(), "precious"));
        const std::string file = volumes.file(joinedPath(volumes.homeVolume.path(), "folder/file"), "below");
        std::optional<Mounted> overFile(std::in_place, precious, file, "", MS_BIND, "");
        user_files::Session session({{.path = volumes.homeVolume.path(),
                                      .identity = DurableIdentity::ofFolder(volumes.homeVolume.path())}});
        try {
            user_files::HeldItem::hold(session, file, [](const std::string&) {
                return true;
            }).removePermanently({}, {.stagingName = ".larkfold-removing-test", .announce = {}});
            ADD_FAILURE() << "it went";
        } catch (const user_files::Refusal& refusal) {
            EXPECT_EQ(refusal.reason(), user_files::Refusal::Reason::unsafePath);
        }
        EXPECT_EQ(contentOf(precious), "content");
        overFile.reset();
        EXPECT_EQ(contentOf(file), "below");
        using Iterator = std::filesystem::directory_iterator;
        EXPECT_EQ(std::distance(Iterator(parentPath(file)), Iterator()), 1) << "no private folder is left";
    });
}

// The run is told of it at once: what was no mount when it began is one when its turn comes.
TEST(Mounts, thatComeInTheMiddleOfARun_keepTheFolder) {
    inVolumes([](const Volumes& volumes) {
        const std::string one = joinedPath(volumes.homeVolume.path(), "1");
        const std::string two = joinedPath(volumes.homeVolume.path(), "22");
        volumes.file(joinedPath(one, "x"));
        own_files::createFolders(joinedPath(two, "inner"));
        std::optional<Mounted> mounted;
        FileDeleter gate(nullptr);
        const auto result = gate.deleteItems(
            {.urls = {one, two},
             .permanently = true,
             .allowedRoots = {FileDeleter::AllowedRoot::at(volumes.homeVolume.path())},
             .duplicateVerifications = {},
             .source = "Test",
             .protectRunningApplications = false},
            [&](std::int64_t completed, std::int64_t) {
                if (completed == 1) {
                    mounted.emplace("tmpfs", joinedPath(two, "inner"), "tmpfs", 0, "size=1m");
                    volumes.file(joinedPath(two, "inner/precious"));
                }
            },
            {});
        EXPECT_EQ(result.successfulDeletions, std::vector<std::string>{one});
        ASSERT_THAT(result.failedDeletions, SizeIs(1));
        EXPECT_THAT(result.failedDeletions.front().description(), HasSubstr("protected or outside"));
        EXPECT_EQ(contentOf(joinedPath(two, "inner/precious")), "content");
    });
}

// --- Who does not answer

// In its top folder, that itself, below a link, and where the copy that should stay lies there.
TEST(DeadVolume, keepsItsItems_andNobodyWaitsForIt) {
    inVolumes([](const Volumes& volumes) {
        const std::string top = joinedPath(volumes.homeVolume.path(), "dead");
        const std::string link = joinedPath(volumes.homeVolume.path(), "link");
        const std::string copy = volumes.file(joinedPath(volumes.homeVolume.path(), "copy"));
        own_files::createFolders(top);
        ASSERT_EQ(symlink(top.c_str(), link.c_str()), 0);
        const DeadMount dead(top);
        for (const std::string& path : {joinedPath(top, "x"), top, joinedPath(link, "x"), copy}) {
            FileDeleter::Request request{
                .urls = {path},
                .permanently = true,
                .allowedRoots = {FileDeleter::AllowedRoot::at(volumes.homeVolume.path())},
                .duplicateVerifications = {},
                .source = "Test",
                .protectRunningApplications = false};
            if (path == copy) {
                request.duplicateVerifications[path] = {.keeper = joinedPath(top, "keeper"), .sha256 = ""};
            }
            FileDeleter gate(nullptr);
            const auto result = gate.deleteItems(request, nullptr, {});
            ASSERT_THAT(result.failedDeletions, SizeIs(1)) << path;
            EXPECT_THAT(result.failedDeletions.front().description(), HasSubstr("did not answer in time"))
                << path;
        }
        EXPECT_EQ(contentOf(copy), "content");
    });
}

// A root on it is asked for once, and no item in it is touched; another root of the same run is as good as
// ever.
TEST(DeadVolume, thatIsARoot_keepsItsItemsAndHoldsUpNoOthers) {
    inVolumes([](const Volumes& volumes) {
        const std::string top = joinedPath(volumes.homeVolume.path(), "dead");
        const std::string other = volumes.file(joinedPath(volumes.home, "other"));
        own_files::createFolders(top);
        const auto chosen = FileDeleter::AllowedRoot::at(top);
        const DeadMount dead(top);
        FileDeleter gate(nullptr);
        const auto result =
            gate.deleteItems({.urls = {joinedPath(top, "x"), other},
                              .permanently = true,
                              .allowedRoots = {chosen, FileDeleter::AllowedRoot::at(volumes.home)},
                              .duplicateVerifications = {},
                              .source = "Test",
                              .protectRunningApplications = false},
                             nullptr, {});
        ASSERT_THAT(result.failedDeletions, SizeIs(1));
        EXPECT_THAT(result.failedDeletions.front().description(), HasSubstr("did not answer in time"));
        EXPECT_EQ(result.successfulDeletions, std::vector<std::string>{other});
    });
}

// It answers, and says that it cannot tell what it is: that is the answer.
TEST(VolumeOfAProgram, thatIsARootAndCannotBeLookedAt_isToldAsThat) {
    inVolumes([](const Volumes& volumes) {
        const std::string top = joinedPath(volumes.homeVolume.path(), "program");
        own_files::createFolders(top);
        const auto chosen = FileDeleter::AllowedRoot::at(top);
        const DeadMount served(top, DeadMount::Greeting::answered);
        const std::jthread server([&served] { served.denyUntilUnmounted(); });
        FileDeleter gate(nullptr);
        const auto result = gate.deleteItems({.urls = {joinedPath(top, "x")},
                                              .permanently = true,
                                              .allowedRoots = {chosen},
                                              .duplicateVerifications = {},
                                              .source = "Test",
                                              .protectRunningApplications = false},
                                             nullptr, {});
        ASSERT_THAT(result.failedDeletions, SizeIs(1));
        EXPECT_THAT(result.failedDeletions.front().description(), HasSubstr("could not be read: "));
        EXPECT_THAT(result.failedDeletions.front().description(),
                    testing::Not(HasSubstr("did not answer in time")));
        umount2(top.c_str(), MNT_DETACH);
    });
}

// A network volume that does answer is asked like any other.
TEST(EmptyVolumeOfAProgram, tellsThatNothingIsThere) {
    inVolumes([](const Volumes& volumes) {
        const std::string top = joinedPath(volumes.homeVolume.path(), "empty");
        own_files::createFolders(top);
        const DeadMount served(top, DeadMount::Greeting::answered);
        const std::jthread server([&served] { served.denyUntilUnmounted(); });
        // Within a root that is another volume: this one tells nothing of itself either.
        const auto result = Volumes::remove(joinedPath(top, "x"), false, volumes.homeVolume.path());
        ASSERT_THAT(result.failedDeletions, SizeIs(1));
        EXPECT_THAT(result.failedDeletions.front().description(), HasSubstr("it is no longer there"));
        umount2(top.c_str(), MNT_DETACH);
    });
}

// --- What cannot be changed

TEST(Immutable, item_staysUnchanged) {
    require(Need::immutableFiles);
    TemporaryTree tree;
    const std::string file = tree.file("x", "content");
    const auto setFlag = [&file](const char* flag) {
        return std::system(("chattr " + std::string(flag) + " '" + file + "'").c_str());
    };
    ASSERT_EQ(setFlag("+i"), 0);
    for (const bool permanently : {false, true}) {
        const auto result = Volumes::remove(file, permanently);
        ASSERT_THAT(result.failedDeletions, SizeIs(1));
        EXPECT_THAT(result.failedDeletions.front().description(), HasSubstr("you do not have permission."));
        EXPECT_EQ(contentOf(file), "content");
        using Iterator = std::filesystem::directory_iterator;
        EXPECT_EQ(std::distance(Iterator(tree.root()), Iterator()), 1);
    }
    setFlag("-i");
}

// In a folder where everybody may write and nobody may take away what is another's.
TEST(ForeignOwned, item_staysUnchanged) {
    require(Need::otherUsers);
    // The test's own temporary folder lets nobody else in.
    const std::string usual = std::getenv("TMPDIR") == nullptr ? "/tmp" : std::getenv("TMPDIR");
    setenv("TMPDIR", "/tmp", 1);
    TemporaryTree tree;
    setenv("TMPDIR", usual.c_str(), 1);
    const std::string file = tree.file("shared/x", "content");
    ASSERT_EQ(chmod(tree.path("shared").c_str(), 01777), 0);
    ASSERT_EQ(chmod(tree.root().c_str(), 0755), 0);
    ASSERT_EQ(chmod(file.c_str(), 0644), 0);
    asUnprivilegedUser([&](const std::string&) {
        for (const bool permanently : {false, true}) {
            const auto result = Volumes::remove(file, permanently);
            ASSERT_THAT(result.failedDeletions, SizeIs(1));
            EXPECT_EQ(contentOf(file), "content");
        }
    });
    using Iterator = std::filesystem::directory_iterator;
    EXPECT_EQ(std::distance(Iterator(tree.path("shared")), Iterator()), 1);
}

}  // namespace
}  // namespace larkfold::test
