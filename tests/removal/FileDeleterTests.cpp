#include "removal/FileDeleter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "platform/OwnFiles.h"
#include "platform/Path.h"
#include "platform/SHA256.h"
#include "removal/CleanupHistoryStore.h"
#include "support/TemporaryTree.h"
#include "support/UnprivilegedUser.h"

namespace larkfold {
namespace {

using test::contentOf;
using test::TemporaryTree;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

constexpr const char* unsafeText =
    "This path is protected or outside the selected folder. Scan again before deleting.";
constexpr const char* changedText =
    "The duplicate or its retained copy changed or is unavailable. Scan for duplicates again.";

std::string sha256Of(const std::string& path) {
    return fileSHA256(path, {});
}

// Everything below a folder, by path: the content of files, and of links where they lead.
std::map<std::string, std::string> census(const std::string& folder) {
    namespace fs = std::filesystem;
    std::map<std::string, std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        const std::string path = entry.path().string();
        found[path] = entry.is_symlink()        ? "-> " + fs::read_symlink(entry.path()).string()
                      : entry.is_regular_file() ? "= " + contentOf(path)
                                                : "";
    }
    return found;
}

FileDeleter::Request requestWithin(const std::string& root, std::vector<std::string> urls, bool permanently) {
    return {.urls = std::move(urls),
            .permanently = permanently,
            .allowedRoots = {FileDeleter::AllowedRoot::at(root)},
            .duplicateVerifications = {},
            .source = "Test",
            .protectRunningApplications = false};
}

// A home folder of the test's own, which is also where the Trash is; its temporary folder lies on one file
// system.
class FileDeleterTest : public testing::Test {
protected:
    void SetUp() override {
        for (const char* name : {"HOME", "XDG_DATA_HOME"}) {
            const char* value = std::getenv(name);
            old_[name] = value == nullptr ? "" : value;
        }
        home = tree.folder("users/ada");
        setenv("HOME", home.c_str(), 1);
        unsetenv("XDG_DATA_HOME");
    }
    void TearDown() override {
        for (const auto& [name, value] : old_) {
            value.empty() ? unsetenv(name.c_str()) : setenv(name.c_str(), value.c_str(), 1);
        }
    }

    FileDeleter::Request request(std::vector<std::string> urls, bool permanently = false) const {
        return requestWithin(home, std::move(urls), permanently);
    }
    FileDeleter::DeletionResult remove(const FileDeleter::Request& asked, std::stop_token stop = {}) {
        FileDeleter gate(nullptr, [this] { return running; });
        return gate.deleteItems(asked, nullptr, std::move(stop));
    }
    std::string inHome(const std::string& relative) const { return "users/ada/" + relative; }
    std::string trash(const std::string& relative) const {
        return joinedPath(home, ".local/share/Trash/" + relative);
    }

    TemporaryTree tree;
    std::string home;
    std::vector<RunningApplication> running;

private:
    std::map<std::string, std::string> old_;
};

// --- What goes, and where

TEST_F(FileDeleterTest, aFile_movesToTrash_withANoteOfWhereItWas) {
    const std::string file = tree.file(inHome("letters/über 100% \"gut\".txt"), "Dear Ada");
    tree.file(inHome("letters/other.txt"), "stays");

    const auto result = remove(request({file}));

    EXPECT_THAT(result.successfulDeletions, ElementsAre(file));
    EXPECT_THAT(result.failedDeletions, IsEmpty());
    EXPECT_EQ(result.processedBytes, 8);
    ASSERT_THAT(result.operation.items, SizeIs(1));
    const CleanupOperation::Item& item = result.operation.items.front();
    EXPECT_EQ(item.originalPath, file);
    EXPECT_EQ(item.trashPath, trash("files/über 100% \"gut\".txt"));
    EXPECT_EQ(item.logicalBytes, 8);
    EXPECT_EQ(item.error, std::nullopt);
    EXPECT_EQ(contentOf(*item.trashPath), "Dear Ada");
    EXPECT_EQ(contentOf(tree.path(inHome("letters/other.txt"))), "stays");
    const std::string note = contentOf(trash("info/über 100% \"gut\".txt.trashinfo"));
    EXPECT_THAT(note, StartsWith("[Trash Info]\nPath=/"));
    EXPECT_THAT(note, HasSubstr("/letters/%C3%BCber%20100%25%20%22gut%22.txt\nDeletionDate=2"));
}

TEST_F(FileDeleterTest, aFolder_movesToTrashWhole_andIsMeasured) {
    const std::string folder = tree.folder(inHome("project"));
    tree.file(inHome("project/a/b/one"), "1234");
    tree.file(inHome("project/two"), "12");
    tree.link(inHome("project/dangling"), "nowhere");
    const auto before = census(folder);

    const auto result = remove(request({folder}));

    ASSERT_THAT(result.successfulDeletions, SizeIs(1));
    EXPECT_EQ(result.processedBytes, 4 + 2 + 7);
    std::map<std::string, std::string> after;
    for (const auto& [path, content] : census(trash("files/project"))) {
        after[folder + path.substr(trash("files/project").size())] = content;
    }
    EXPECT_EQ(after, before);
    EXPECT_THAT(contentOf(trash("directorysizes")), HasSubstr(" project\n"));
}

TEST_F(FileDeleterTest, permanently_removesWithoutATrace_andNothingElse) {
    const std::string file = tree.file(inHome("a.bin"), "12345");
    const std::string folder = tree.folder(inHome("folder"));
    tree.file(inHome("folder/deep/er/x"), "xx");
    const std::string outside = tree.file("outside/precious", "keep");
    tree.link(inHome("folder/leads-out"), tree.path("outside"));
    tree.file(inHome("b.bin"), "stays");
    tree.file(inHome("folder2/x"), "stays");

    const auto result = remove(request({file, folder}, true));

    EXPECT_THAT(result.successfulDeletions, SizeIs(2));
    EXPECT_EQ(result.operation.items.front().trashPath, std::nullopt);
    EXPECT_TRUE(result.operation.permanent);
    EXPECT_EQ(contentOf(outside), "keep");
    const std::map<std::string, std::string> left = {{tree.path(inHome("b.bin")), "= stays"},
                                                     {tree.path(inHome("folder2")), ""},
                                                     {tree.path(inHome("folder2/x")), "= stays"}};
    EXPECT_EQ(census(home), left);
}

TEST_F(FileDeleterTest, itemsOfOneName_allArrive_andAreToldApart) {
    std::vector<std::string> files;
    for (int number = 0; number < 40; ++number) {
        files.push_back(tree.file(inHome(std::to_string(number) + "/same.tar.gz"), std::to_string(number)));
    }
    const auto result = remove(request(files));
    ASSERT_THAT(result.operation.items, SizeIs(40));
    std::map<std::string, std::string> contents;
    for (const auto& item : result.operation.items) {
        ASSERT_TRUE(item.trashPath) << item.error.value_or("");
        contents[contentOf(*item.trashPath)] = item.originalPath;
        const std::string name(lastPathComponent(*item.trashPath));
        EXPECT_THAT(contentOf(trash("info/" + name + ".trashinfo")),
                    HasSubstr("Path=" + item.originalPath + "\n"));
    }
    EXPECT_THAT(contents, SizeIs(40));
}

TEST_F(FileDeleterTest, namesOfAllBytes_goThereUnharmed) {
    std::string all;
    for (int byte = 1; byte < 256; ++byte) {
        if (byte != '/') {
            all += static_cast<char>(byte);
        }
    }
    const std::vector<std::string> names = {
        all,   std::string(255, 'x'),           std::string("\xFF\xFE"), "line\nbreak", "..hidden", "-rf",
        "%41", std::string(85, '\xE2') + "\x82"};
    for (const std::string& name : names) {
        const std::string file = tree.file(inHome("names/") + name, name);
        const auto result = remove(request({file}));
        ASSERT_THAT(result.successfulDeletions, ElementsAre(file))
            << result.failedDeletions.front().description();
        EXPECT_EQ(contentOf(*result.operation.items.front().trashPath), name);
    }
    EXPECT_TRUE(std::filesystem::is_empty(tree.path(inHome("names"))));
}

TEST_F(FileDeleterTest, aPipeAndASocketsKind_goWithoutBeingOpened) {
    const std::string pipe = tree.fifo(inHome("pipe"));
    const std::string folder = tree.folder(inHome("folder"));
    tree.fifo(inHome("folder/pipe"));
    EXPECT_THAT(remove(request({pipe})).successfulDeletions, SizeIs(1));
    EXPECT_THAT(remove(request({folder}, true)).successfulDeletions, SizeIs(1));
    EXPECT_FALSE(own_files::exists(folder));
}

TEST_F(FileDeleterTest, aFolderAndAFileInIt_areOneItem) {
    const std::string folder = tree.folder(inHome("f"));
    const std::string file = tree.file(inHome("f/x"), "x");
    const auto result = remove(request({file, folder}));
    EXPECT_THAT(result.successfulDeletions, ElementsAre(folder));
    EXPECT_THAT(result.operation.items, SizeIs(1));
}

TEST_F(FileDeleterTest, noItems_leaveNoRecord) {
    CleanupHistoryStore history(tree.path("history.json"));
    FileDeleter gate(&history);
    const auto result = gate.deleteItems(request({}), nullptr, {});
    EXPECT_THAT(result.operation.items, IsEmpty());
    EXPECT_FALSE(own_files::exists(history.url()));
}

TEST_F(FileDeleterTest, volumesAndTimes_areRecorded) {
    const std::string file = tree.file(inHome("x"), "x");
    const auto result = remove(request({file, tree.path(inHome("missing"))}));
    ASSERT_THAT(result.operation.volumes, SizeIs(1));
    EXPECT_TRUE(isAtOrBelow(home, result.operation.volumes.front().path));
    EXPECT_TRUE(result.operation.volumes.front().before);
    EXPECT_TRUE(result.operation.freeSpaceChange());
    EXPECT_LE(result.operation.startedAt, result.operation.finishedAt);
    EXPECT_EQ(result.operation.source, "Test");
}

// --- What stays

class FileDeleterRefusalTest : public FileDeleterTest, public testing::WithParamInterface<bool> {
protected:
    void expectRefused(const std::string& path, const std::string& text, const FileDeleter::Request& asked) {
        const auto before = census(tree.root());
        const auto result = remove(asked);
        EXPECT_THAT(result.successfulDeletions, IsEmpty());
        ASSERT_THAT(result.failedDeletions, SizeIs(1));
        EXPECT_EQ(result.failedDeletions.front().url, path);
        EXPECT_EQ(result.failedDeletions.front().description(), text);
        EXPECT_EQ(result.operation.items.front().error, text);
        EXPECT_EQ(result.operation.items.front().logicalBytes, std::nullopt);
        EXPECT_EQ(result.processedBytes, 0);
        EXPECT_EQ(census(tree.root()), before);
    }
    void expectRefused(const std::string& path, const std::string& text) {
        expectRefused(path, text, request({path}, GetParam()));
    }
};

INSTANTIATE_TEST_SUITE_P(TrashAndForGood, FileDeleterRefusalTest, testing::Bool());

TEST_P(FileDeleterRefusalTest, replacedBySymlink_isRefusedAndTargetSurvives) {
    const std::string target = tree.file(inHome("target"), "precious");
    expectRefused(tree.link(inHome("link"), target), unsafeText);
    EXPECT_EQ(contentOf(target), "precious");
}

TEST_P(FileDeleterRefusalTest, danglingLink_isRefused) {
    expectRefused(tree.link(inHome("link"), "nowhere"), unsafeText);
}

TEST_P(FileDeleterRefusalTest, outsideOfTheRoots_isRefused) {
    expectRefused(tree.file("outside/x", "x"), unsafeText);
}

TEST_P(FileDeleterRefusalTest, throughALinkThatLeadsOut_isRefused) {
    tree.file("outside/x", "x");
    tree.link(inHome("way"), tree.path("outside"));
    expectRefused(tree.path(inHome("way/x")), unsafeText);
}

TEST_P(FileDeleterRefusalTest, throughALinkToAProtectedFolder_isRefused) {
    tree.file(inHome(".ssh/id"), "key");
    tree.link(inHome("way"), tree.path(inHome(".ssh")));
    expectRefused(tree.path(inHome("way/id")), unsafeText);
}

TEST_P(FileDeleterRefusalTest, theRootItself_isRefused) {
    FileDeleter::Request asked = request({tree.folder("area")}, GetParam());
    asked.allowedRoots = {FileDeleter::AllowedRoot::at(tree.path("area"))};
    expectRefused(tree.path("area"), unsafeText, asked);
}

TEST_P(FileDeleterRefusalTest, withOnlyTheRootOfTheDisk_everythingIsRefused) {
    FileDeleter::Request asked = request({tree.file(inHome("x"), "x")}, GetParam());
    asked.allowedRoots = {FileDeleter::AllowedRoot::at("/")};
    expectRefused(tree.path(inHome("x")), unsafeText, asked);
}

TEST_P(FileDeleterRefusalTest, keysAmongTheRoots_areStillRefused) {
    FileDeleter::Request asked = request({tree.file(inHome(".ssh/id"), "key")}, GetParam());
    asked.allowedRoots = {FileDeleter::AllowedRoot::at(home),
                          FileDeleter::AllowedRoot::at(tree.path(inHome(".ssh")))};
    expectRefused(tree.path(inHome(".ssh/id")), unsafeText, asked);
}

TEST_P(FileDeleterRefusalTest, vanished_tellsSo) {
    const std::string path = tree.path(inHome("gone"));
    expectRefused(path, "The size and dates of “" + path + "” could not be read: it is no longer there.");
}

TEST_P(FileDeleterRefusalTest, inAFolderThatIsGone_tellsSo) {
    const std::string path = tree.path(inHome("gone/x"));
    expectRefused(path, "The size and dates of “" + path + "” could not be read: it is no longer there.");
}

TEST_P(FileDeleterRefusalTest, throughALinkThatLeadsNowhere_tellsSo) {
    tree.link(inHome("way"), "gone");
    const std::string path = tree.path(inHome("way/x"));
    expectRefused(path, "The size and dates of “" + path + "” could not be read: it is no longer there.");
}

TEST_P(FileDeleterRefusalTest, throughLinksInACircle_isRefused) {
    tree.link(inHome("way"), "way");
    expectRefused(tree.path(inHome("way/x")), unsafeText);
}

TEST_P(FileDeleterRefusalTest, theRootOfTheDisk_isRefused) {
    FileDeleter::Request asked = request({"/"}, GetParam());
    asked.allowedRoots = {FileDeleter::AllowedRoot::at(home), FileDeleter::AllowedRoot::at("/")};
    expectRefused("/", unsafeText, asked);
}

TEST_P(FileDeleterRefusalTest, whereTheHomeFolderCannotBeTold_everythingIsRefused) {
    FileDeleter::Request asked = request({tree.file("area/x", "x")}, GetParam());
    asked.allowedRoots = {FileDeleter::AllowedRoot::at(tree.path("area"))};
    setenv("HOME", tree.link("circle", "circle").c_str(), 1);
    expectRefused(tree.path("area/x"), unsafeText, asked);
    EXPECT_FALSE(FileDeleter::isSafe(tree.path("area/x"), {tree.path("area")}));
}

TEST_P(FileDeleterRefusalTest, whatARunningApplicationOwns_isRefused) {
    running = {{.name = "Zoom", .bundleID = "us.zoom.xos"}};
    FileDeleter::Request asked = request({tree.file(inHome(".cache/ZOOM/x"), "x")}, GetParam());
    asked.protectRunningApplications = true;
    expectRefused(tree.path(inHome(".cache/ZOOM/x")), "Close Zoom before cleaning its files.", asked);
}

TEST_P(FileDeleterRefusalTest, linkOnTheWayWithinTheRoot_isLegal) {
    tree.file(inHome("real/x"), "x");
    tree.link(inHome("way"), "real");
    const std::string path = tree.path(inHome("way/x"));
    EXPECT_THAT(remove(request({path}, GetParam())).successfulDeletions, ElementsAre(path));
    EXPECT_FALSE(own_files::exists(tree.path(inHome("real/x"))));
    EXPECT_TRUE(own_files::exists(tree.path(inHome("way"))));
}

TEST_P(FileDeleterRefusalTest, aFileOfAFolderThatMayNotBeChanged_staysForAnOrdinaryUser) {
    const bool permanently = GetParam();
    test::asUnprivilegedUser([permanently](const std::string& userHome) {
        TemporaryTree own;
        const std::string file = own.file("locked/x", "x");
        ASSERT_EQ(chmod(own.path("locked").c_str(), 0555), 0);
        FileDeleter gate(nullptr);
        const auto result = gate.deleteItems(requestWithin(userHome, {file}, permanently), nullptr, {});
        ASSERT_THAT(result.failedDeletions, SizeIs(1));
        EXPECT_THAT(result.failedDeletions.front().description(), HasSubstr("you do not have permission."));
        // It failed at the removal itself, so its size is known.
        EXPECT_EQ(result.operation.items.front().logicalBytes, 1);
        EXPECT_EQ(contentOf(file), "x");
        EXPECT_THAT(census(own.path("locked")), SizeIs(1));
        chmod(own.path("locked").c_str(), 0755);
    });
}

TEST_P(FileDeleterRefusalTest, aFolderThatItsOwnerMayNotMove_staysUnchanged) {
    const bool permanently = GetParam();
    test::asUnprivilegedUser([permanently](const std::string& userHome) {
        TemporaryTree own;
        own.file("fixed/x", "x");
        const std::string folder = own.path("fixed");
        ASSERT_EQ(chmod(folder.c_str(), 0555), 0);
        FileDeleter gate(nullptr);
        const auto result = gate.deleteItems(requestWithin(userHome, {folder}, permanently), nullptr, {});
        EXPECT_THAT(result.failedDeletions, SizeIs(1));
        EXPECT_EQ(contentOf(own.path("fixed/x")), "x");
        struct stat values;
        ASSERT_EQ(stat(folder.c_str(), &values), 0);
        EXPECT_EQ(values.st_mode & 0777U, 0555U);
        chmod(folder.c_str(), 0755);
    });
}

// --- Folders that are hard to remove

TEST_F(FileDeleterTest, foldersInsideThatMayNotBeReadOrChanged_areRemovedForTheirOwner) {
    test::asUnprivilegedUser([](const std::string& userHome) {
        TemporaryTree own;
        own.file("f/unreadable/x", "x");
        own.file("f/fixed/deep/y", "y");
        ASSERT_EQ(chmod(own.path("f/unreadable").c_str(), 0), 0);
        ASSERT_EQ(chmod(own.path("f/fixed/deep").c_str(), 0555), 0);
        ASSERT_EQ(chmod(own.path("f/fixed").c_str(), 0555), 0);
        FileDeleter gate(nullptr);
        const auto result = gate.deleteItems(requestWithin(userHome, {own.path("f")}, true), nullptr, {});
        EXPECT_THAT(result.successfulDeletions, SizeIs(1));
        // A part could not be read, so nothing is known of the whole.
        EXPECT_EQ(result.operation.items.front().logicalBytes, std::nullopt);
        EXPECT_TRUE(result.operation.hasPartialMeasurement());
        EXPECT_THAT(census(own.root()), IsEmpty());
    });
}

TEST_F(FileDeleterTest, aDeepChain_isRemovedWithFewDescriptors) {
    const std::string folder = tree.folder(inHome("deep"));
    std::string path = folder;
    ASSERT_EQ(chdir(folder.c_str()), 0);
    for (int level = 0; level < 3000; ++level) {
        ASSERT_EQ(mkdir("d", 0700), 0);
        ASSERT_EQ(chdir("d"), 0);
    }
    ASSERT_EQ(chdir("/"), 0);
    EXPECT_THAT(remove(request({folder}, true)).successfulDeletions, SizeIs(1));
    EXPECT_FALSE(own_files::exists(folder));
}

// The names in such a folder can be read, and nothing behind them: nobody knows how large it is.
TEST_F(FileDeleterTest, aFolderWhoseContentsMayNotBeLookedAt_goesUnmeasured) {
    test::asUnprivilegedUser([](const std::string& userHome) {
        TemporaryTree own;
        for (const char* name : {"folder/closed/file", "other/closed/folder/x"}) {
            own.file(name, "x");
            const std::string top = own.path(std::string(name).substr(0, std::string(name).find('/')));
            ASSERT_EQ(chmod((top + "/closed").c_str(), 0400), 0);
            FileDeleter gate(nullptr);
            const auto result = gate.deleteItems(requestWithin(userHome, {top}, false), nullptr, {});
            ASSERT_THAT(result.successfulDeletions, ElementsAre(top));
            EXPECT_EQ(result.operation.items.front().logicalBytes, std::nullopt);
            const std::string trashed = *result.operation.items.front().trashPath;
            ASSERT_EQ(chmod((trashed + "/closed").c_str(), 0700), 0);
            EXPECT_EQ(contentOf(trashed + std::string(name).substr(std::string(name).find('/'))), "x");
        }
        EXPECT_FALSE(own_files::exists(joinedPath(userHome, ".local/share/Trash/directorysizes")));
    });
}

// --- The Trash and what lies in it

TEST_F(FileDeleterTest, twoFolders_areBothMeasuredForTheTrash) {
    tree.file(inHome("one/x"), "x");
    tree.file(inHome("two/x"), "x");
    const auto result = remove(request({tree.path(inHome("one")), tree.path(inHome("two"))}));
    EXPECT_THAT(result.successfulDeletions, SizeIs(2));
    EXPECT_THAT(contentOf(trash("directorysizes")), testing::AllOf(HasSubstr(" one\n"), HasSubstr(" two\n")));
}

TEST_F(FileDeleterTest, whatLiesInATrashWithoutNotes_goesForGood) {
    const std::string stray = tree.file(inHome(".local/share/Trash/files/x"), "x");
    EXPECT_THAT(remove(request({stray}, true)).successfulDeletions, ElementsAre(stray));
    EXPECT_FALSE(own_files::exists(stray));
}

TEST_F(FileDeleterTest, whatLiesInTheTrash_goesForGoodWithItsNote_andNotASecondTime) {
    const std::string one = tree.file(inHome("one"), "1");
    const std::string two = tree.file(inHome("two"), "2");
    ASSERT_THAT(remove(request({one, two})).successfulDeletions, SizeIs(2));

    const auto again = remove(request({trash("files/one")}));
    ASSERT_THAT(again.failedDeletions, SizeIs(1));
    EXPECT_EQ(again.failedDeletions.front().description(),
              "This item is in Trash already. To remove it for good, choose permanent deletion.");
    EXPECT_EQ(contentOf(trash("files/one")), "1");

    EXPECT_THAT(remove(request({trash("files/one")}, true)).successfulDeletions, SizeIs(1));
    EXPECT_FALSE(own_files::exists(trash("files/one")));
    EXPECT_FALSE(own_files::exists(trash("info/one.trashinfo")));
    EXPECT_EQ(contentOf(trash("files/two")), "2");
    EXPECT_TRUE(own_files::exists(trash("info/two.trashinfo")));
}

TEST_F(FileDeleterTest, theTrashItself_cannotGoThere) {
    tree.file(inHome(".local/share/Trash/files/x"), "x");
    const auto result = remove(request({trash("")}));
    ASSERT_THAT(result.failedDeletions, SizeIs(1));
    EXPECT_THAT(result.failedDeletions.front().description(), HasSubstr("holds the Trash itself"));
    EXPECT_EQ(contentOf(trash("files/x")), "x");
}

TEST_F(FileDeleterTest, strayFilesInTheTrash_areNeverReplaced) {
    tree.file(inHome(".local/share/Trash/files/x"), "stray");
    tree.link(inHome(".local/share/Trash/files/x.2"), "dangling");
    const std::string file = tree.file(inHome("x"), "new");
    const auto result = remove(request({file}));
    ASSERT_THAT(result.successfulDeletions, SizeIs(1));
    EXPECT_EQ(contentOf(trash("files/x")), "stray");
    EXPECT_EQ(std::filesystem::read_symlink(trash("files/x.2")), "dangling");
    EXPECT_EQ(contentOf(*result.operation.items.front().trashPath), "new");
    EXPECT_FALSE(own_files::exists(trash("info/x.trashinfo")));
}

// --- Duplicates

class FileDeleterDuplicateTest : public FileDeleterTest {
protected:
    void SetUp() override {
        FileDeleterTest::SetUp();
        keeper = tree.file(inHome("keeper"), "same");
        duplicate = tree.file(inHome("duplicate"), "same");
        asked = request({duplicate});
        asked.duplicateVerifications[duplicate] = {.keeper = keeper, .sha256 = sha256Of(keeper)};
    }
    void expectChanged() {
        const auto result = remove(asked);
        ASSERT_THAT(result.failedDeletions, testing::Not(IsEmpty()));
        EXPECT_EQ(result.failedDeletions.front().description(), changedText);
        EXPECT_TRUE(own_files::exists(duplicate));
    }

    std::string keeper;
    std::string duplicate;
    FileDeleter::Request asked;
};

TEST_F(FileDeleterDuplicateTest, provedByBothContents_goes) {
    EXPECT_THAT(remove(asked).successfulDeletions, ElementsAre(duplicate));
    EXPECT_EQ(contentOf(keeper), "same");
}

TEST_F(FileDeleterDuplicateTest, anEditedKeeper_keepsIt) {
    tree.file(inHome("keeper"), "edited");
    expectChanged();
}

TEST_F(FileDeleterDuplicateTest, anEditedDuplicate_stays) {
    tree.file(inHome("duplicate"), "edit");
    expectChanged();
}

TEST_F(FileDeleterDuplicateTest, aKeeperThatGoesItself_keepsIt) {
    asked.urls = {duplicate, keeper};
    const auto result = remove(asked);
    ASSERT_THAT(result.failedDeletions, SizeIs(1));
    EXPECT_EQ(result.failedDeletions.front().url, duplicate);
    EXPECT_EQ(result.failedDeletions.front().description(), changedText);
}

TEST_F(FileDeleterDuplicateTest, aKeeperInAFolderThatGoes_keepsIt) {
    const std::string inside = tree.file(inHome("folder/keeper"), "same");
    asked.duplicateVerifications[duplicate].keeper = inside;
    asked.urls = {duplicate, tree.path(inHome("folder"))};
    const auto result = remove(asked);
    EXPECT_EQ(contentOf(duplicate), "same");
}

TEST_F(FileDeleterDuplicateTest, theSameFileByAnotherWay_isNoKeeper) {
    tree.link("way", home);
    asked.duplicateVerifications[duplicate].keeper = tree.path("way/duplicate");
    expectChanged();
}

TEST_F(FileDeleterDuplicateTest, aLinkIsNoKeeper) {
    asked.duplicateVerifications[duplicate].keeper = tree.link(inHome("link"), keeper);
    expectChanged();
}

TEST_F(FileDeleterDuplicateTest, aMissingKeeper_tellsSo) {
    asked.duplicateVerifications[duplicate].keeper = tree.path(inHome("missing"));
    const auto result = remove(asked);
    ASSERT_THAT(result.failedDeletions, SizeIs(1));
    EXPECT_THAT(result.failedDeletions.front().description(), HasSubstr("it is no longer there."));
    EXPECT_EQ(contentOf(duplicate), "same");
}

TEST_F(FileDeleterDuplicateTest, aFolderOrAPipeInItsPlace_stays) {
    ASSERT_EQ(unlink(duplicate.c_str()), 0);
    tree.file(inHome("duplicate/precious"), "x");
    auto result = remove(asked);
    ASSERT_THAT(result.failedDeletions, SizeIs(1));
    EXPECT_THAT(result.failedDeletions.front().description(), HasSubstr("a folder stands in its place."));
    EXPECT_EQ(contentOf(tree.path(inHome("duplicate/precious"))), "x");

    std::filesystem::remove_all(duplicate);
    tree.fifo(inHome("duplicate"));
    result = remove(asked);  // comes back: nobody opens the other end
    ASSERT_THAT(result.failedDeletions, SizeIs(1));
    EXPECT_THAT(result.failedDeletions.front().description(), HasSubstr("could not be read: "));
    EXPECT_TRUE(own_files::exists(duplicate));
}

TEST_F(FileDeleterDuplicateTest, whatMayNotBeRead_stays) {
    const std::string sha256 = sha256Of(keeper);
    test::asUnprivilegedUser([&sha256](const std::string& userHome) {
        TemporaryTree own;
        const std::string copy = own.file("copy", "same");
        const std::string stays = own.file("stays", "same");
        ASSERT_EQ(chmod(copy.c_str(), 0), 0);
        FileDeleter::Request request = requestWithin(userHome, {copy}, false);
        request.duplicateVerifications[copy] = {.keeper = stays, .sha256 = sha256};
        FileDeleter gate(nullptr);
        const auto result = gate.deleteItems(request, nullptr, {});
        ASSERT_THAT(result.failedDeletions, SizeIs(1));
        EXPECT_THAT(result.failedDeletions.front().description(), HasSubstr("you do not have permission."));
        EXPECT_TRUE(own_files::exists(copy));
    });
}

TEST_F(FileDeleterDuplicateTest, aHardLinkOfTheSameNameInAnotherFolder_goes) {
    tree.folder(inHome("there"));
    const std::string other = tree.path(inHome("there/duplicate"));
    ASSERT_EQ(link(duplicate.c_str(), other.c_str()), 0);
    asked.duplicateVerifications[duplicate].keeper = other;
    EXPECT_THAT(remove(asked).successfulDeletions, ElementsAre(duplicate));
    EXPECT_EQ(contentOf(other), "same");
}

TEST_F(FileDeleterDuplicateTest, aKeeperBehindALink_isFollowedThere) {
    tree.link("way", home);
    asked.duplicateVerifications[duplicate].keeper = tree.path("way/keeper");
    EXPECT_THAT(remove(asked).successfulDeletions, ElementsAre(duplicate));
    EXPECT_EQ(contentOf(keeper), "same");
}

TEST_F(FileDeleterDuplicateTest, aHardLinkOfTheKeeper_goes) {
    ASSERT_EQ(unlink(duplicate.c_str()), 0);
    ASSERT_EQ(link(keeper.c_str(), duplicate.c_str()), 0);
    EXPECT_THAT(remove(asked).successfulDeletions, ElementsAre(duplicate));
    EXPECT_EQ(contentOf(keeper), "same");
}

// --- The run

TEST_F(FileDeleterTest, cancelled_nothingMoreGoes_andTheRecordNamesEveryItem) {
    CleanupHistoryStore history(tree.path("history.json"));
    std::vector<std::string> files;
    for (int number = 0; number < 5; ++number) {
        files.push_back(tree.file(inHome(std::to_string(number)), "x"));
    }
    std::stop_source source;
    FileDeleter gate(&history);
    std::vector<std::int64_t> reported;
    const auto result = gate.deleteItems(
        request(files),
        [&](std::int64_t completed, std::int64_t total) {
            EXPECT_EQ(total, 5);
            reported.push_back(completed);
            if (completed == 2) {
                source.request_stop();
            }
        },
        source.get_token());
    EXPECT_THAT(reported, ElementsAre(1, 2, 3, 4, 5));
    EXPECT_THAT(result.successfulDeletions, ElementsAre(files[0], files[1]));
    ASSERT_THAT(result.failedDeletions, SizeIs(3));
    EXPECT_TRUE(result.failedDeletions.front().isCancelled());
    EXPECT_EQ(result.operation.items[2].error, "The operation was cancelled.");
    ASSERT_THAT(history.load(), SizeIs(1));
    EXPECT_THAT(history.load().front().items, SizeIs(5));
    EXPECT_EQ(contentOf(files[4]), "x");
}

TEST_F(FileDeleterTest, aHistoryThatCannotBeWritten_doesNotUndoTheRemoval) {
    CleanupHistoryStore history(tree.file("history.json", "no JSON"));
    FileDeleter gate(&history);
    const std::string file = tree.file(inHome("x"), "x");
    const auto result = gate.deleteItems(request({file}), nullptr, {});
    EXPECT_THAT(result.successfulDeletions, ElementsAre(file));
    ASSERT_TRUE(result.historyError);
    EXPECT_THAT(*result.historyError, StartsWith("Cleanup finished, but its history could not be saved: "));
    EXPECT_EQ(contentOf(history.url()), "no JSON");
}

TEST_F(FileDeleterTest, oneFailure_doesNotTouchTheOthers) {
    const std::string good = tree.file(inHome("good"), "x");
    const std::string link = tree.link(inHome("link"), good);
    const std::string more = tree.file(inHome("more"), "yy");
    const auto result = remove(request({good, link, more}));
    EXPECT_THAT(result.successfulDeletions, testing::UnorderedElementsAre(good, more));
    EXPECT_THAT(result.failedDeletions, SizeIs(1));
    EXPECT_EQ(result.operation.succeededCount(), 2);
    EXPECT_EQ(result.operation.dataProcessed(), 3);
}

}  // namespace
}  // namespace larkfold
