#include "platform/OwnFiles.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>

#include "platform/Error.h"
#include "support/TemporaryTree.h"
#include "support/UnprivilegedUser.h"

namespace larkfold {
namespace {

using test::contentOf;
using test::TemporaryTree;

unsigned modeOf(const std::string& path) {
    struct stat values{};
    EXPECT_EQ(lstat(path.c_str(), &values), 0) << path;
    return values.st_mode & 07777;
}

int countIn(const std::string& folder) {
    int count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder)) {
        ++count;
    }
    return count;
}

// The errno that the call fails with; 0 where it succeeds.
template <typename Call>
int codeOf(Call call) {
    try {
        call();
        return 0;
    } catch (const SystemError& error) {
        return error.code();
    }
}

TEST(OwnFilesTest, writtenFileHoldsTheBytesAndIsTheUsersOnly) {
    const TemporaryTree tree;
    const std::string path = tree.path("a/b/store.json");
    const std::string bytes("one\0two\xFF", 8);
    own_files::writeFile(path, bytes);
    EXPECT_EQ(contentOf(path), bytes);
    EXPECT_EQ(modeOf(path), 0600u);
    EXPECT_EQ(modeOf(tree.path("a")), 0700u);
    EXPECT_EQ(countIn(tree.path("a/b")), 1) << "no temporary stays behind";
}

TEST(OwnFilesTest, theProcessesMaskDoesNotChangeTheMode) {
    const TemporaryTree tree;
    const mode_t old = umask(0777);
    own_files::writeFile(tree.path("store"), "x");
    umask(old);
    EXPECT_EQ(modeOf(tree.path("store")), 0600u);
}

TEST(OwnFilesTest, writingReplacesTheOldContentWhole) {
    TemporaryTree tree;
    const std::string path = tree.file("store", std::string(10'000, 'o'));
    own_files::writeFile(path, "new");
    EXPECT_EQ(contentOf(path), "new");
    own_files::writeFile(path, "");
    EXPECT_EQ(contentOf(path), "");
}

TEST(OwnFilesTest, writingOverAFolderFailsAndLeavesNoTemporary) {
    TemporaryTree tree;
    tree.file("store/inside", "x");
    EXPECT_NE(codeOf([&] { own_files::writeFile(tree.path("store"), "new"); }), 0);
    EXPECT_EQ(contentOf(tree.path("store/inside")), "x");
    EXPECT_EQ(countIn(tree.root()), 1);
}

TEST(OwnFilesTest, readsWhatIsThereUpToTheLimit) {
    TemporaryTree tree;
    const std::string path = tree.file("store", "12345");
    EXPECT_EQ(own_files::readFile(path, 5), "12345");
    EXPECT_EQ(own_files::readFile(path, std::numeric_limits<std::size_t>::max()), "12345");
    EXPECT_EQ(codeOf([&] { own_files::readFile(path, 4); }), EFBIG);
    EXPECT_EQ(own_files::readFile(tree.file("empty"), 0), "");
    EXPECT_EQ(own_files::readFile("/proc/self/comm", 100).empty(), false) << "a file that says it is empty";
}

TEST(OwnFilesTest, readingAnythingButAFileFailsWithoutWaiting) {
    TemporaryTree tree;
    EXPECT_EQ(codeOf([&] { own_files::readFile(tree.path("missing"), 10); }), ENOENT);
    EXPECT_EQ(codeOf([&] { own_files::readFile(tree.folder("folder"), 10); }), EISDIR);
    EXPECT_EQ(codeOf([&] { own_files::readFile(tree.fifo("pipe"), 10); }), EINVAL);
    EXPECT_EQ(codeOf([&] { own_files::readFile("/dev/zero", 10); }), EINVAL);
}

TEST(OwnFilesTest, existsSeesADanglingLink) {
    TemporaryTree tree;
    EXPECT_TRUE(own_files::exists(tree.link("dangling", "nowhere")));
    EXPECT_TRUE(own_files::exists(tree.file("file")));
    EXPECT_FALSE(own_files::exists(tree.path("missing")));
    EXPECT_FALSE(own_files::exists(tree.path("file/below")));
}

TEST(OwnFilesTest, removesOneFileAndNeverAFolder) {
    TemporaryTree tree;
    const std::string target = tree.file("target", "x");
    own_files::removeFile(tree.link("link", "target"));
    EXPECT_TRUE(own_files::exists(target)) << "the link goes, not what it leads to";
    own_files::removeFile(target);
    EXPECT_FALSE(own_files::exists(target));
    own_files::removeFile(target);  // missing is no failure
    EXPECT_NE(codeOf([&] { own_files::removeFile(tree.folder("folder")); }), 0);
    EXPECT_TRUE(own_files::exists(tree.path("folder")));
}

TEST(OwnFilesTest, replacingTakesThePlaceWhetherOrNotAFileStandsThere) {
    TemporaryTree tree;
    own_files::replaceFile(tree.file("new", "1"), tree.path("target"));
    EXPECT_EQ(contentOf(tree.path("target")), "1");
    own_files::replaceFile(tree.file("new", "2"), tree.path("target"));
    EXPECT_EQ(contentOf(tree.path("target")), "2");
    EXPECT_FALSE(own_files::exists(tree.path("new")));
}

TEST(OwnFilesTest, replacingByAMissingFileLeavesTheTarget) {
    TemporaryTree tree;
    const std::string target = tree.file("target", "old");
    EXPECT_EQ(codeOf([&] { own_files::replaceFile(tree.path("missing"), target); }), ENOENT);
    EXPECT_EQ(contentOf(target), "old");
}

TEST(OwnFilesTest, movingAsideReplacesNothing) {
    TemporaryTree tree;
    const std::string file = tree.file("store", "damaged");
    const std::string taken = tree.file("store.damaged", "earlier");
    EXPECT_EQ(codeOf([&] { own_files::moveAside(file, taken); }), EEXIST);
    EXPECT_EQ(contentOf(taken), "earlier");
    EXPECT_EQ(contentOf(file), "damaged");
    own_files::moveAside(file, tree.path("free"));
    EXPECT_EQ(contentOf(tree.path("free")), "damaged");
}

TEST(OwnFilesTest, foldersAreMadeWithTheirParents) {
    TemporaryTree tree;
    own_files::createFolders(tree.path("a/b/c"));
    own_files::createFolders(tree.path("a/b/c"));
    EXPECT_EQ(modeOf(tree.path("a/b/c")), 0700u);
    tree.file("file");
    EXPECT_EQ(codeOf([&] { own_files::createFolders(tree.path("file")); }), ENOTDIR);
    EXPECT_EQ(codeOf([&] { own_files::createFolders(tree.path("file/below")); }), ENOTDIR);
    tree.link("link", "a");
    own_files::createFolders(tree.path("link/d"));
    EXPECT_EQ(modeOf(tree.path("a/d")), 0700u);
}

TEST(OwnFilesTest, permissionsAreSet) {
    TemporaryTree tree;
    const std::string path = tree.file("file");
    own_files::setPermissions(path, 0400);
    EXPECT_EQ(modeOf(path), 0400u);
    EXPECT_EQ(codeOf([&] { own_files::setPermissions(tree.path("missing"), 0600); }), ENOENT);
}

TEST(OwnFilesTest, lackOfPermissionIsToldAsSuch) {
    test::asUnprivilegedUser([](const std::string&) {
        TemporaryTree tree;
        const std::string path = tree.file("closed/store", "old");
        own_files::setPermissions(tree.path("closed"), 0500);
        try {
            own_files::writeFile(path, "new");
            ADD_FAILURE() << "a folder that may not be written took a file";
        } catch (const SystemError& error) {
            EXPECT_TRUE(error.isPermissionFailure());
        }
        EXPECT_EQ(contentOf(path), "old");
        own_files::setPermissions(tree.path("closed"), 0000);
        EXPECT_EQ(codeOf([&] { own_files::exists(path); }), EACCES) << "unknown is not the same as missing";
        EXPECT_EQ(codeOf([&] { own_files::readFile(path, 10); }), EACCES);
    });
}

TEST(OwnFiles, aCacheIsReplacedAsAWhole_andLeavesNoTemporary) {
    TemporaryTree tree;
    own_files::writeCache(tree.path("cache"), "first");
    own_files::writeCache(tree.path("cache"), "second");
    EXPECT_EQ(contentOf(tree.path("cache")), "second");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(tree.root()), {}), 1);
    EXPECT_THROW(own_files::writeCache(tree.path("missing/cache"), "x"), SystemError);
    tree.folder("taken");
    EXPECT_THROW(own_files::writeCache(tree.path("taken"), "x"), SystemError);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(tree.root()), {}), 2);
}

}  // namespace
}  // namespace larkfold
