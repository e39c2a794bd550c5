#include "platform/linux/userfiles/Trash.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "platform/OwnFiles.h"
#include "platform/linux/calls/FileDescriptor.h"
#include "support/TemporaryTree.h"

namespace larkfold::trash {
namespace {

using test::contentOf;
using test::TemporaryTree;

Folder folderAt(const std::string& path, const std::string& top) {
    return {path, top, FileDescriptor(), FileDescriptor(), FileDescriptor()};
}

TEST(TrashInfoFile, tellsTheWholePath_orWhatLiesBelowTheTopOfTheVolume) {
    const auto pathIn = [](const std::string& top, const std::string& path) {
        const std::string text = infoFileFor(folderAt("/t", top), path, 0);
        const std::size_t from = text.find("Path=") + 5;
        return text.substr(from, text.find('\n', from) - from);
    };
    EXPECT_EQ(pathIn("", "/home/ada/x"), "/home/ada/x");
    EXPECT_EQ(pathIn("/media/stick", "/media/stick/a/x"), "a/x");
    EXPECT_EQ(pathIn("/", "/srv/x"), "srv/x");
    EXPECT_EQ(pathIn("/media/stick", "/elsewhere/x"), "/elsewhere/x");
    EXPECT_EQ(pathIn("", "/\n%é~-_.AZaz09 \xFF"), "/%0A%25%C3%A9~-_.AZaz09%20%FF");
}

TEST(TrashName, isShortEnoughForItsInfoFile_andKeepsTheEnding) {
    EXPECT_EQ(nameFor("a.txt", 0, longestName), "a.txt");
    EXPECT_EQ(nameFor("a.txt", 1, longestName), "a.2.txt");
    EXPECT_EQ(nameFor("a", 4, longestName), "a.5");
    EXPECT_EQ(nameFor(".hidden", 1, longestName), ".hidden.2");
    const std::string longName = std::string(251, 'x') + ".txt";
    EXPECT_EQ(nameFor(longName, 0, longestName), std::string(241, 'x') + ".txt");
    EXPECT_EQ(nameFor(longName, 99, longestName), std::string(237, 'x') + ".100.txt");
    // Nobody's ending is as long as that.
    const std::string noEnding = "x." + std::string(253, 'y');
    EXPECT_EQ(nameFor(noEnding, 0, longestName), "x." + std::string(243, 'y'));
}

TEST(TrashName, isNotCutWithinACharacter_whereItIsText) {
    std::string umlauts;
    for (int index = 0; index < 127; ++index) {
        umlauts += "ü";
    }
    // 245 bytes would end within the 123rd.
    EXPECT_EQ(nameFor(umlauts, 0, longestName).size(), 244U);
    const std::string noText(255, '\x80');
    EXPECT_EQ(nameFor(noText, 0, longestName).size(), 241U);
    EXPECT_EQ(nameFor("\x80\x80", 0, infoFileSuffix.size() + 1), "\x80");
}

TEST(TrashMembership, isToldByTheFoldersOfATrash) {
    const auto tell = [](const std::string& path, const std::optional<std::string>& mount = "/media/stick") {
        const Membership membership = membershipOf(path, "/home/ada/.local/share/Trash", mount);
        return std::string(membership.isInside ? "inside" : "outside") +
               (membership.isItem ? ", an item" : "");
    };
    EXPECT_EQ(tell("/home/ada/.local/share/Trash/files/x"), "inside, an item");
    EXPECT_EQ(tell("/home/ada/.local/share/Trash/files/x/deeper"), "inside");
    EXPECT_EQ(tell("/home/ada/.local/share/Trash/info/x.trashinfo"), "inside");
    EXPECT_EQ(tell("/home/ada/.local/share/Trash/files"), "outside");
    EXPECT_EQ(tell("/home/ada/.local/share/Trash/info"), "outside");
    EXPECT_EQ(tell("/home/ada/.local/share/Trash"), "outside");
    EXPECT_EQ(tell("/media/stick/.Trash-1000/files/x"), "inside, an item");
    EXPECT_EQ(tell("/media/stick/.Trash/1000/files/x"), "inside, an item");
    EXPECT_EQ(tell("/media/stick/.Trash/1000/info/x"), "inside");
    EXPECT_EQ(tell("/media/stick/.Trash-1000"), "outside");
    EXPECT_EQ(tell("/media/stick/.Trash-/files/x"), "outside");
    EXPECT_EQ(tell("/media/stick/.Trash-abc/files/x"), "outside");
    EXPECT_EQ(tell("/media/stick/.Trash/mine/files/x"), "outside");
    EXPECT_EQ(tell("/media/stick/deep/.Trash-1000/files/x"), "outside");
    EXPECT_EQ(tell("/media/stick"), "outside");
    EXPECT_EQ(tell("/media/other/.Trash-1000/files/x"), "outside");
    EXPECT_EQ(tell("/.Trash-1000/files/x", "/"), "inside, an item");
    EXPECT_EQ(tell("/.Trash-1000/files/x", std::nullopt), "outside");
    EXPECT_FALSE(membershipOf("/x", std::nullopt, std::nullopt).isInside);
}

class SizesOfATrash : public testing::Test {
protected:
    std::string noted(const std::string& table, const std::vector<FolderSize>& sizes) {
        tree_.file("directorysizes", table);
        noteSizes(FileDescriptor(open(tree_.root().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)), sizes);
        return contentOf(tree_.path("directorysizes"));
    }

    TemporaryTree tree_;
};

TEST_F(SizesOfATrash, keepTheRowsOfWhatIsStillThere_andNothingElse) {
    tree_.folder("files/a b");
    tree_.folder("files/new");
    EXPECT_EQ(noted("10 20 a%20b\n30 40 gone\nno row\n50\n50 60 \n70 80 bad%2\n70 80 bad%zz\n70 80 up%2F..\n",
                    {{"new", 4096, 7}}),
              "10 20 a%20b\n4096 7 new\n");
}

TEST_F(SizesOfATrash, takeTheNewerFigure_andALastLineWithoutAnEnd) {
    tree_.folder("files/x");
    tree_.folder("files/y");
    EXPECT_EQ(noted("1 2 x\n3 4 y", {{"x", 5, 6}}), "5 6 x\n3 4 y\n");
}

TEST_F(SizesOfATrash, beginWhereThereAreNone) {
    tree_.folder("files/x");
    noteSizes(FileDescriptor(open(tree_.root().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)), {{"x", 5, 6}});
    EXPECT_EQ(contentOf(tree_.path("directorysizes")), "5 6 x\n");
}

TEST_F(SizesOfATrash, thatCannotBeWritten_areOfNoAccount) {
    tree_.folder("directorysizes/in the way");
    noteSizes(FileDescriptor(open(tree_.root().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)), {{"x", 5, 6}});
    EXPECT_TRUE(own_files::exists(tree_.path("directorysizes/in the way")));
}

}  // namespace
}  // namespace larkfold::trash
