#include "platform/FolderState.h"

#include <gtest/gtest.h>

#include <string>

#include "support/TemporaryTree.h"

namespace larkfold {
namespace {

using test::TemporaryTree;

TEST(FolderState, tellsWhatStandsThere) {
    TemporaryTree tree;
    tree.folder("empty");
    tree.file("full/file");
    tree.file("hidden/.only");
    tree.folder("folders/one");
    EXPECT_EQ(folderStateOf(tree.path("empty")), FolderState::empty);
    EXPECT_EQ(folderStateOf(tree.path("full")), FolderState::holdsItems);
    EXPECT_EQ(folderStateOf(tree.path("hidden")), FolderState::holdsItems);
    EXPECT_EQ(folderStateOf(tree.path("folders")), FolderState::holdsItems);
}

TEST(FolderState, whatIsNoFolderIsMissing) {
    TemporaryTree tree;
    tree.file("file");
    tree.fifo("pipe");
    tree.link("away", "nowhere");
    for (const char* name : {"file", "pipe", "away", "never", "file/below"}) {
        EXPECT_EQ(folderStateOf(tree.path(name)), FolderState::missing) << name;
    }
}

TEST(FolderState, aLinkStandsForTheFolderBehindIt) {
    TemporaryTree tree;
    tree.folder("empty");
    tree.file("full/file");
    tree.link("toEmpty", "empty");
    tree.link("toFull", "full");
    EXPECT_EQ(folderStateOf(tree.path("toEmpty")), FolderState::empty);
    EXPECT_EQ(folderStateOf(tree.path("toFull")), FolderState::holdsItems);
}

TEST(FolderState, whatCannotBeToldIsUnknown) {
    TemporaryTree tree;
    tree.link("round", "round");
    EXPECT_EQ(folderStateOf(tree.path("round")), FolderState::unknown);
    EXPECT_EQ(folderStateOf(tree.path(std::string(300, 'n'))), FolderState::unknown);
}

}  // namespace
}  // namespace larkfold
