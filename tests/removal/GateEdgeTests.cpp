// Edges of the gate that its ordinary runs do not come to.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "platform/OwnFiles.h"
#include "platform/SHA256.h"
#include "platform/UserFiles.h"
#include "removal/FileDeleter.h"
#include "support/TemporaryTree.h"

namespace larkfold {
namespace {

using test::contentOf;
using test::TemporaryTree;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using user_files::Refusal;

FileDeleter::Request request(const TemporaryTree& tree, const std::string& url) {
    return {.urls = {url},
            .permanently = true,
            .allowedRoots = {FileDeleter::AllowedRoot::at(tree.root())},
            .duplicateVerifications = {},
            .source = "Test",
            .protectRunningApplications = false};
}

TEST(GateEdge, whatNoRunningApplicationOwns_goes) {
    TemporaryTree tree;
    FileDeleter gate(
        nullptr, [] { return std::vector<RunningApplication>{{.name = "Zoom", .bundleID = "us.zoom.xos"}}; });
    FileDeleter::Request asked = request(tree, tree.file("letters/x", "x"));
    asked.protectRunningApplications = true;
    EXPECT_THAT(gate.deleteItems(asked, nullptr, {}).successfulDeletions,
                ElementsAre(tree.path("letters/x")));
}

TEST(GateEdge, whatLiesInARootOfWhichNothingWasKnown_stays) {
    TemporaryTree tree;
    const std::string file = tree.file("letters/x", "x");
    FileDeleter gate(nullptr);
    FileDeleter::Request asked = request(tree, file);
    asked.allowedRoots.front().identity.reset();
    for (const bool permanently : {false, true}) {
        asked.permanently = permanently;
        const auto result = gate.deleteItems(asked, nullptr, {});
        ASSERT_THAT(result.failedDeletions, SizeIs(1));
        EXPECT_THAT(result.failedDeletions.front().description(), HasSubstr("outside the selected folder"));
        EXPECT_EQ(contentOf(file), "x");
    }
}

// The copy that stays was last changed long before: its times are proof enough that nobody changes it.
TEST(GateEdge, aCopyLeftAloneForLong_provesADuplicate) {
    const std::string old = "/usr/share/common-licenses/GPL-2";
    ASSERT_TRUE(own_files::exists(old));
    user_files::Session session({});
    ASSERT_TRUE(user_files::RetainedCopy::hold(session, old).hadSettled());
    TemporaryTree tree;
    const std::string copy = tree.file("copy", contentOf(old));
    FileDeleter gate(nullptr);
    FileDeleter::Request asked = request(tree, copy);
    asked.duplicateVerifications[copy] = {.keeper = old, .sha256 = fileSHA256(old, {})};
    const auto result = gate.deleteItems(asked, nullptr, {});
    EXPECT_THAT(result.successfulDeletions, ElementsAre(copy));
    EXPECT_TRUE(own_files::exists(old));
}

TEST(GateEdge, aCopyWrittenOnlyNow_hasNotSettled) {
    TemporaryTree tree;
    user_files::Session session({});
    EXPECT_FALSE(user_files::RetainedCopy::hold(session, tree.file("x", "x")).hadSettled());
}

TEST(GateEdge, aCopyInAFolderThatIsGone_keepsTheDuplicate) {
    TemporaryTree tree;
    const std::string copy = tree.file("copy", "same");
    FileDeleter gate(nullptr);
    FileDeleter::Request asked = request(tree, copy);
    asked.duplicateVerifications[copy] = {.keeper = tree.path("gone/keeper"), .sha256 = fileSHA256(copy, {})};
    const auto result = gate.deleteItems(asked, nullptr, {});
    ASSERT_THAT(result.failedDeletions, SizeIs(1));
    EXPECT_THAT(result.failedDeletions.front().description(), HasSubstr("it is no longer there"));
    EXPECT_EQ(contentOf(copy), "same");
}

// Two files in two folders of the same name and content are two, also where only the folder tells them apart.
TEST(GateEdge, aCopyOfTheSameNameInAnotherFolder_provesADuplicate) {
    TemporaryTree tree;
    const std::string copy = tree.file("here/x", "same");
    const std::string keeper = tree.file("there/x", "same");
    FileDeleter gate(nullptr);
    FileDeleter::Request asked = request(tree, copy);
    asked.duplicateVerifications[copy] = {.keeper = keeper, .sha256 = fileSHA256(copy, {})};
    EXPECT_THAT(gate.deleteItems(asked, nullptr, {}).successfulDeletions, ElementsAre(copy));
    EXPECT_EQ(contentOf(keeper), "same");
}

TEST(GateEdge, foldersThatOnlyLookLikeAVolumesTrash_mayGo) {
    TemporaryTree tree;
    for (const char* folder : {".Trash-/files", ".Trash-x1/info", "1000/files", ".Trash/x/files"}) {
        EXPECT_TRUE(FileDeleter::isSafe(tree.folder(folder), {tree.root()})) << folder;
    }
    for (const char* folder : {".Trash-1000/files", ".Trash/1000/info"}) {
        EXPECT_FALSE(FileDeleter::isSafe(tree.folder(folder), {tree.root()})) << folder;
    }
}

TEST(GateEdge, eachRefusal_tellsWhyAndWhereTheItemRests) {
    EXPECT_EQ(Refusal(Refusal::Reason::unsafePath).description(),
              "Another item stands at this path now, or it leads somewhere else.");
    EXPECT_EQ(
        Refusal(Refusal::Reason::disproved, {}, "/t/x").description(),
        "The item or what it was compared with has changed. It could not be put back in its place; it is "
        "kept at “/t/x”.");
    EXPECT_THAT(Refusal(Refusal::Reason::noTrash, "“/v” is full.").description(),
                HasSubstr("stays where it is. “/v” is full."));
}

}  // namespace
}  // namespace larkfold
