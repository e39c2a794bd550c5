#include "platform/linux/walk/PathDescriptors.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "platform/OwnFiles.h"
#include "platform/linux/userfiles/FolderRemoval.h"
#include "support/TemporaryTree.h"

namespace larkfold::path_descriptors {
namespace {

using test::contentOf;
using test::TemporaryTree;

constexpr int place = O_PATH | O_DIRECTORY;

FileDescriptor folderAt(const std::string& path) {
    return FileDescriptor(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

TEST(OpenBelow, followsNoLink_andLeadsNowhereElse) {
    TemporaryTree tree;
    tree.file("inside/folder/x");
    tree.link("inside/way", "folder");
    tree.link("inside/out", "/");
    const FileDescriptor inside = folderAt(tree.path("inside"));
    EXPECT_TRUE(openBelow(inside.get(), "folder", place));
    EXPECT_TRUE(openBelow(inside.get(), "", place));
    for (const auto& [path, code] :
         {std::pair("way", ELOOP), std::pair("way/x", ELOOP), std::pair("out/usr", ELOOP),
          std::pair("../inside", EXDEV), std::pair("/", EXDEV), std::pair("gone", ENOENT),
          std::pair("folder/x", ENOTDIR)}) {
        EXPECT_FALSE(openBelow(inside.get(), path, place)) << path;
        EXPECT_EQ(errno, code) << path;
    }
    EXPECT_TRUE(openWithoutLinks("/", place));
    EXPECT_TRUE(openWithoutLinks(tree.path("inside/folder"), place));
    EXPECT_FALSE(openWithoutLinks(tree.path("inside/way"), place));
}

TEST(OpenBelow, reachesWhatLiesDeeperThanTheSystemTakesPaths) {
    TemporaryTree tree;
    const std::string name(200, 'n');
    FileDescriptor at = folderAt(tree.root());
    std::string path;
    for (int level = 0; level < 50; ++level) {
        ASSERT_EQ(mkdirat(at.get(), name.c_str(), 0700), 0);
        at = FileDescriptor(openat(at.get(), name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        path += (level == 0 ? "" : "/") + name;
    }
    const FileDescriptor root = folderAt(tree.root());
    const FileDescriptor deep = openBelow(root.get(), path, place);
    ASSERT_TRUE(deep);
    EXPECT_EQ(statusOf(deep.get())->identity, statusOf(at.get())->identity);
    EXPECT_EQ(currentPath(deep.get()), std::nullopt);  // too long to be told
    EXPECT_FALSE(openBelow(root.get(), "gone/" + path, place));
    EXPECT_EQ(errno, ENOENT);
}

TEST(OpenOnSameMount, opensFoldersUpAndDown_andNothingElse) {
    TemporaryTree tree;
    tree.file("top/folder/x");
    tree.link("top/way", "folder");
    tree.fifo("top/pipe");
    const FileDescriptor top = folderAt(tree.path("top"));
    const FileDescriptor folder = openOnSameMount(top.get(), "folder", O_RDONLY | O_DIRECTORY);
    EXPECT_EQ(identityOf(folder.get()), identityOf(folderAt(tree.path("top/folder")).get()));
    const FileDescriptor above = openOnSameMount(folder.get(), "..", O_RDONLY | O_DIRECTORY);
    EXPECT_EQ(identityOf(above.get()), identityOf(top.get()));
    for (const auto& [name, code] :
         {std::pair("way", ENOTDIR), std::pair("pipe", ENOTDIR), std::pair("gone", ENOENT)}) {
        EXPECT_FALSE(openOnSameMount(top.get(), name, O_RDONLY | O_DIRECTORY)) << name;
        EXPECT_EQ(errno, code) << name;
    }
    // Something is always mounted there.
    const FileDescriptor all = folderAt("/");
    EXPECT_FALSE(openOnSameMount(all.get(), "proc", O_RDONLY | O_DIRECTORY));
    EXPECT_EQ(errno, EXDEV);
}

TEST(PlaceOf, tellsWhatAnItemIs_andNothingOfNone) {
    TemporaryTree tree;
    const FileDescriptor file(open(tree.file("x", "12345").c_str(), O_RDONLY | O_CLOEXEC));
    const auto told = statusOf(file.get());
    ASSERT_TRUE(told);
    EXPECT_EQ(told->size, 5);
    EXPECT_EQ(told->links, 1U);
    EXPECT_TRUE(S_ISREG(told->mode));
    EXPECT_EQ(statusOf(-1), std::nullopt);
    EXPECT_EQ(currentPath(-1), std::nullopt);
    EXPECT_EQ(currentPath(file.get()), tree.path("x"));
    EXPECT_FALSE(openAgain(-1, O_RDONLY));
}

TEST(MoveWithoutReplacing, movesOntoNothingOnly) {
    TemporaryTree tree;
    tree.file("x", "mine");
    tree.file("taken", "theirs");
    tree.link("dangling", "nowhere");
    tree.folder("folder");
    const FileDescriptor root = folderAt(tree.root());
    const auto move = [&](const char* from, const char* to, bool isDirectory) {
        return moveWithoutReplacing(root.get(), from, root.get(), to, isDirectory);
    };
    EXPECT_EQ(move("x", "taken", false), EEXIST);
    EXPECT_EQ(move("x", "dangling", false), EEXIST);
    EXPECT_EQ(move("x", "folder", false), EEXIST);
    EXPECT_EQ(move("gone", "new", false), ENOENT);
    EXPECT_EQ(contentOf(tree.path("taken")), "theirs");
    EXPECT_EQ(move("x", "new", false), 0);
    EXPECT_EQ(contentOf(tree.path("new")), "mine");
    // Into itself: what was to take the name's place for the time being is gone again.
    EXPECT_EQ(move("folder", "folder/inside", true), EINVAL);
    EXPECT_FALSE(own_files::exists(tree.path("folder/inside")));
}

TEST(EmptyFolder, takesWhatIsInTheFolderThatIsHeld_whereverItIsAndNothingElse) {
    TemporaryTree tree;
    tree.file("folder/inside/file", "x");
    tree.file("folder/file", "x");
    const FileDescriptor held = folderAt(tree.path("folder"));
    std::filesystem::rename(tree.path("folder"), tree.path("moved"));
    tree.file("folder/file", "another one");
    const Emptied emptied = emptyFolder(held.get(), [] { return true; });
    EXPECT_EQ(emptied.problem, 0);
    EXPECT_TRUE(emptied.hasBegun);
    EXPECT_TRUE(std::filesystem::is_empty(tree.path("moved")));
    EXPECT_EQ(contentOf(tree.path("folder/file")), "another one");
}

TEST(EmptyFolder, whatIsNoFolder_staysAndIsTold) {
    TemporaryTree tree;
    const FileDescriptor file(::open(tree.file("file", "x").c_str(), O_PATH | O_CLOEXEC));
    const Emptied emptied = emptyFolder(file.get(), [] { return true; });
    EXPECT_EQ(emptied.problem, ENOTDIR);
    EXPECT_FALSE(emptied.hasBegun);
    EXPECT_EQ(contentOf(tree.path("file")), "x");
}

TEST(EmptyFolder, whereTheLastQuestionIsDenied_allOfItStands) {
    TemporaryTree tree;
    tree.file("folder/inside/file", "x");
    tree.file("folder/file", "y");
    const FileDescriptor held = folderAt(tree.path("folder"));
    const Emptied emptied = emptyFolder(held.get(), [] { return false; });
    EXPECT_EQ(emptied.problem, EXDEV);
    EXPECT_FALSE(emptied.hasBegun);
    EXPECT_EQ(contentOf(tree.path("folder/inside/file")), "x");
    EXPECT_EQ(contentOf(tree.path("folder/file")), "y");
}

}  // namespace
}  // namespace larkfold::path_descriptors
