#include "disk/FileNode.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "disk/ScanResult.h"
#include "platform/Collation.h"

namespace larkfold {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr int deepest = 100'000;

FileNode::Pointer file(std::string_view name, std::int64_t size = 1) {
    return FileNode::makeFile(name, size, size, std::nullopt);
}

FileNode::Pointer add(const FileNode::Pointer& parent, FileNode::Pointer child) {
    parent->appendChild(child);
    return child;
}

std::vector<std::string> namesOf(const std::vector<FileNode::Pointer>& nodes) {
    std::vector<std::string> names;
    for (const auto& node : nodes) {
        names.emplace_back(node->name());
    }
    return names;
}

// A chain of folders below `root`, each with one file of one byte beside the next folder. Returns the last
// folder.
FileNode::Pointer addChain(const FileNode::Pointer& root, int depth) {
    FileNode::Pointer folder = root;
    for (int level = 0; level < depth; ++level) {
        folder->appendChild(file("f"));
        folder = add(folder, FileNode::makeDirectory("d"));
    }
    return folder;
}

// Values

TEST(FileNode, eachKindHasItsOwnValues) {
    const Date date = dateFromSecondsSince1970(1'700'000'000.25);
    const auto folder = FileNode::makeDirectory("folder", 7);
    EXPECT_TRUE(folder->isDirectory());
    EXPECT_FALSE(folder->isAggregate());
    EXPECT_EQ(folder->size(), 7);
    EXPECT_EQ(folder->logicalSize(), 0);
    EXPECT_EQ(folder->modifiedAt(), std::nullopt);
    EXPECT_EQ(folder->representedFileCount(), 0);

    const auto leaf = FileNode::makeFile("leaf", 4096, 12, date);
    EXPECT_FALSE(leaf->isDirectory());
    EXPECT_FALSE(leaf->isAggregate());
    EXPECT_EQ(leaf->size(), 4096);
    EXPECT_EQ(leaf->logicalSize(), 12);
    EXPECT_EQ(leaf->modifiedAt(), date);
    EXPECT_EQ(leaf->representedFileCount(), 1);
    EXPECT_THAT(leaf->children(), IsEmpty());
    EXPECT_EQ(FileNode::makeFile("undated", 1, 1, std::nullopt)->modifiedAt(), std::nullopt);

    const auto summary = FileNode::makeAggregate(FileNode::SummaryOrigin::scan, 8192, 3);
    EXPECT_FALSE(summary->isDirectory());
    EXPECT_TRUE(summary->isAggregate());
    EXPECT_EQ(summary->size(), 8192);
    EXPECT_EQ(summary->logicalSize(), 8192);
    EXPECT_EQ(summary->modifiedAt(), std::nullopt);
    EXPECT_EQ(summary->representedFileCount(), 3);
    EXPECT_THAT(summary->children(), IsEmpty());

    for (const auto& node : {folder, leaf, summary}) {
        EXPECT_FALSE(node->isExpanded());
        EXPECT_FALSE(node->isSelected());
        EXPECT_EQ(node->parent(), nullptr);
    }
}

TEST(FileNode, summariesAreNamedAfterTheirMakerAndGroupTheirCount) {
    EXPECT_EQ(FileNode::makeAggregate(FileNode::SummaryOrigin::scan, 0, 7)->name(),
              "Other scanned files (7)");
    EXPECT_EQ(FileNode::makeAggregate(FileNode::SummaryOrigin::index, 0, 7)->name(),
              "Other indexed files (7)");
    EXPECT_EQ(FileNode::makeAggregate(FileNode::SummaryOrigin::index, 0, 1'234'567)->name(),
              "Other indexed files (" + groupedCount(1'234'567) + ")");
}

TEST(FileNode, equalityIsTheIdentifiersAlone) {
    const auto one = file("same");
    const auto other = file("same");
    EXPECT_TRUE(*one == *one);
    EXPECT_FALSE(*one == *other);
}

TEST(FileNode, viewStateIsKept) {
    const auto node = file("x");
    node->setExpanded(true);
    EXPECT_TRUE(node->isExpanded());
    EXPECT_FALSE(node->isSelected());
    node->setSelected(true);
    node->setExpanded(false);
    EXPECT_FALSE(node->isExpanded());
    EXPECT_TRUE(node->isSelected());
}

// Paths

TEST(FileNode, pathsFollowFromTheChainOfParents) {
    const auto root = FileNode::makeRoot("/r", "r");
    const auto folder = add(root, FileNode::makeDirectory("a b"));
    const auto leaf = add(folder, file("c.txt"));
    const auto summary = add(folder, FileNode::makeAggregate(FileNode::SummaryOrigin::scan, 1, 1));
    EXPECT_EQ(root->url(), "/r");
    EXPECT_EQ(folder->url(), "/r/a b");
    EXPECT_EQ(leaf->url(), "/r/a b/c.txt");
    EXPECT_EQ(summary->url(), "/r/a b") << "a summary has its folder's path";
    EXPECT_EQ(leaf->parent(), folder);
    EXPECT_EQ(leaf->urlName(), "c.txt");
    EXPECT_EQ(summary->urlName(), "a b");
}

TEST(FileNode, theSystemsRootHasADisplayNameAndNoDoubledSlash) {
    const auto root = FileNode::makeRoot("/", "Startup Disk");
    const auto folder = add(root, FileNode::makeDirectory("usr"));
    const auto summary = add(root, FileNode::makeAggregate(FileNode::SummaryOrigin::scan, 1, 1));
    EXPECT_EQ(root->name(), "Startup Disk");
    EXPECT_EQ(root->url(), "/");
    EXPECT_EQ(root->urlName(), "/");
    EXPECT_EQ(folder->url(), "/usr");
    EXPECT_EQ(add(folder, file("x"))->url(), "/usr/x");
    EXPECT_EQ(summary->url(), "/");
}

TEST(FileNode, namesOfAnyBytesComeBackUnchanged) {
    const auto root = FileNode::makeRoot("/r\xFF", "r\xFF");
    for (const std::string& name :
         {std::string("\xC3\x28"), std::string("a\nb"), std::string("'\"%"), std::string(255, '\xFE')}) {
        const auto leaf = add(root, file(name));
        EXPECT_EQ(leaf->name(), name);
        EXPECT_EQ(leaf->url(), "/r\xFF/" + name);
    }
}

TEST(FileNode, aRootIsTakenAsItWasGiven) {
    const auto root = FileNode::makeRoot("/r/", "r");
    const auto leaf = add(root, file("x"));
    EXPECT_EQ(root->url(), "/r/");
    EXPECT_EQ(leaf->url(), "/r/x");
}

TEST(FileNode, aChildMayBeAppendedBeforeItsParentHasOne) {
    const auto folder = FileNode::makeDirectory("a");
    const auto leaf = add(folder, file("b"));
    EXPECT_EQ(leaf->url(), "a/b") << "there is no root yet";
    const auto root = FileNode::makeRoot("/r", "r");
    root->appendChild(folder);
    EXPECT_EQ(leaf->url(), "/r/a/b");
}

TEST(FileNode, aDetachedFileKeepsThePathItWasMadeWith) {
    const auto leaf = FileNode::makeDetachedFile("/elsewhere/x", 1, 1, std::nullopt);
    EXPECT_EQ(leaf->url(), "/elsewhere/x");
    EXPECT_EQ(leaf->name(), "x");
    const auto root = FileNode::makeRoot("/r", "r");
    root->appendChild(leaf);
    EXPECT_EQ(leaf->url(), "/elsewhere/x") << "the path of a node never changes";
    EXPECT_EQ(leaf->parent(), root);
    EXPECT_EQ(FileNode::makeDetachedFile("/a/b", "other", 1, 1, std::nullopt)->name(), "other");
}

// Ownership

TEST(FileNode, aChildKnowsItsParentOnlyAsLongAsThatLives) {
    auto root = FileNode::makeRoot("/r", "r");
    const auto leaf = add(add(root, FileNode::makeDirectory("a")), file("b"));
    ASSERT_NE(leaf->parent(), nullptr);
    root.reset();
    EXPECT_EQ(leaf->parent(), nullptr) << "the folder went with the tree";
    EXPECT_EQ(leaf->url(), "/r/a/b") << "and the survivor took its path along";
}

TEST(FileNode, aSurvivingFolderKeepsItsSubtreeWhenTheTreeGoes) {
    auto root = FileNode::makeRoot("/r", "r");
    const auto folder = add(root, FileNode::makeDirectory("a"));
    add(root, FileNode::makeDirectory("gone"))->appendChild(file("x"));
    const std::weak_ptr<FileNode> gone = root->children()[1];
    const auto leaf = add(folder, file("b"));
    const auto summary = add(folder, FileNode::makeAggregate(FileNode::SummaryOrigin::scan, 1, 1));
    root.reset();
    EXPECT_TRUE(gone.expired());
    EXPECT_EQ(folder->parent(), nullptr);
    EXPECT_EQ(leaf->parent(), folder);
    EXPECT_EQ(leaf->url(), "/r/a/b");
    EXPECT_EQ(summary->url(), "/r/a");
}

TEST(FileNode, aSummaryThatSurvivesKeepsItsFoldersPath) {
    auto root = FileNode::makeRoot("/r", "r.app");
    const auto summary = add(root, FileNode::makeAggregate(FileNode::SummaryOrigin::scan, 1, 1));
    root.reset();
    EXPECT_EQ(summary->url(), "/r");
}

TEST(FileNode, takenChildrenHaveNoParentAndTheirPaths) {
    const auto root = FileNode::makeRoot("/r", "r");
    const auto folder = add(root, FileNode::makeDirectory("a"));
    folder->appendChild(file("b"));
    folder->appendChild(FileNode::makeAggregate(FileNode::SummaryOrigin::index, 2, 2));
    const auto taken = folder->takeChildren();
    EXPECT_THAT(folder->children(), IsEmpty());
    ASSERT_EQ(taken.size(), 2u);
    EXPECT_EQ(taken[0]->parent(), nullptr);
    EXPECT_EQ(taken[0]->url(), "/r/a/b");
    EXPECT_EQ(taken[1]->url(), "/r/a");
}

TEST(FileNode, replacedChildrenKeepTheirPathsAndTheNewOnesGetTheParent) {
    const auto root = FileNode::makeRoot("/r", "r");
    const auto folder = add(root, FileNode::makeDirectory("a"));
    const auto dropped = add(folder, FileNode::makeDirectory("old"));
    const auto below = add(dropped, file("x"));
    const auto kept = add(folder, file("kept"));

    const auto loadedRoot = FileNode::makeRoot("/r/a", "a");
    const auto loaded = add(loadedRoot, FileNode::makeDirectory("new"));
    const auto loadedBelow = add(loaded, file("y"));
    auto children = loadedRoot->takeChildren();
    children.push_back(kept);
    folder->replaceChildren(std::move(children));

    EXPECT_THAT(namesOf(folder->children()), ElementsAre("new", "kept"));
    EXPECT_EQ(loaded->parent(), folder);
    EXPECT_EQ(loadedBelow->url(), "/r/a/new/y");
    EXPECT_EQ(kept->parent(), folder);
    EXPECT_EQ(kept->url(), "/r/a/kept");
    EXPECT_EQ(dropped->parent(), nullptr);
    EXPECT_EQ(below->url(), "/r/a/old/x");
}

TEST(FileNode, whatIsDroppedWithItsFolderKeepsItsPathWhenHeldAlone) {
    const auto root = FileNode::makeRoot("/r", "r");
    const auto below = add(add(root, FileNode::makeDirectory("old")), file("x"));
    root->replaceChildren({});
    EXPECT_EQ(below->parent(), nullptr);
    EXPECT_EQ(below->url(), "/r/old/x");
}

// Totals and order

TEST(FileNode, recalculatedSizesAreTheSumsOfTheChildrenAlone) {
    const auto root = FileNode::makeRoot("/r", "r");
    root->setSize(999);
    const auto folder =
        add(root, FileNode::makeDirectory("a", 4096));  // what its own entry takes is worth nothing
    const auto empty = add(root, FileNode::makeDirectory("empty", 4096));
    folder->appendChild(file("b", 10));
    folder->appendChild(file("c", 20));
    folder->appendChild(FileNode::makeAggregate(FileNode::SummaryOrigin::scan, 300, 5));
    root->appendChild(file("d", 4000));
    EXPECT_EQ(root->recalculateSize(), 4330);
    EXPECT_EQ(root->size(), 4330);
    EXPECT_EQ(folder->size(), 330);
    EXPECT_EQ(empty->size(), 0);
    EXPECT_EQ(file("leaf", 5)->recalculateSize(), 5);
}

TEST(FileNode, aFolderThatHoldsOnlyASummaryHasItsSizeAndCount) {
    const auto folder = FileNode::makeRoot("/r", "r");
    folder->appendChild(FileNode::makeAggregate(FileNode::SummaryOrigin::scan, 8192, 17));
    EXPECT_EQ(folder->recalculateSize(), 8192);
    EXPECT_EQ(ScanResult::countNodes(*folder), (ScanResult::NodeCounts{.files = 17, .directories = 1}));
    EXPECT_THAT(folder->allFileNodes(), IsEmpty());
}

TEST(FileNode, sumsOfHostileSizesStayInRange) {
    constexpr auto most = std::numeric_limits<std::int64_t>::max();
    constexpr auto least = std::numeric_limits<std::int64_t>::min();
    const auto root = FileNode::makeRoot("/r", "r");
    root->appendChild(file("a", most));
    root->appendChild(file("b", most));
    EXPECT_EQ(root->recalculateSize(), most);
    root->replaceChildren({file("a", least), file("b", -1)});
    EXPECT_EQ(root->recalculateSize(), least);
    root->replaceChildren({FileNode::makeAggregate(FileNode::SummaryOrigin::index, 0, most), file("b", 1)});
    EXPECT_EQ(ScanResult::countNodes(*root).files, most);
}

TEST(FileNode, childrenAreSortedBySizeDescendingAtEachLevelAndTiesKeepTheirOrder) {
    const auto root = FileNode::makeRoot("/r", "r");
    const auto folder = add(root, FileNode::makeDirectory("small folder", 2));
    for (const auto& [name, size] : {std::pair{"t1", 5}, {"big", 9}, {"t2", 5}, {"none", 0}, {"t3", 5}}) {
        root->appendChild(file(name, size));
        folder->appendChild(file(name, size));
    }
    root->sortChildrenBySize();
    EXPECT_THAT(namesOf(root->children()), ElementsAre("big", "t1", "t2", "t3", "small folder", "none"));
    EXPECT_THAT(namesOf(folder->children()), ElementsAre("big", "t1", "t2", "t3", "none"));
    root->sortChildrenBySize();
    EXPECT_THAT(namesOf(root->children()), ElementsAre("big", "t1", "t2", "t3", "small folder", "none"));
}

// Search and lists

TEST(FileNode, findNodeFindsItselfAndWhatLiesBelow) {
    const auto root = FileNode::makeRoot("/r", "r");
    const auto folder = add(root, FileNode::makeDirectory("a"));
    const auto leaf = add(folder, file("b"));
    EXPECT_EQ(root->findNode(root->id()), root);
    EXPECT_EQ(root->findNode(folder->id()), folder);
    EXPECT_EQ(root->findNode(leaf->id()), leaf);
    EXPECT_EQ(leaf->findNode(leaf->id()), leaf);
    EXPECT_EQ(leaf->findNode(root->id()), nullptr) << "what lies above is not below";
    EXPECT_EQ(root->findNode(UUID::make()), nullptr);
}

TEST(FileNode, allFileNodesAreTheRealFilesDepthFirst) {
    const auto root = FileNode::makeRoot("/r", "r");
    root->appendChild(file("1"));
    const auto folder = add(root, FileNode::makeDirectory("a"));
    folder->appendChild(file("2"));
    folder->appendChild(FileNode::makeAggregate(FileNode::SummaryOrigin::scan, 1, 9));
    folder->appendChild(file("3"));
    root->appendChild(file("4"));
    EXPECT_THAT(namesOf(root->allFileNodes()), ElementsAre("1", "2", "3", "4"));
}

TEST(FileNode, allFileNodesOfASummaryAreNoneAndOfAFileItself) {
    EXPECT_THAT(FileNode::makeAggregate(FileNode::SummaryOrigin::scan, 1, 9)->allFileNodes(), IsEmpty());
    const auto leaf = file("x");
    EXPECT_THAT(leaf->allFileNodes(), ElementsAre(leaf));
}

TEST(FileNode, eachNodeIsVisitedOnceParentsFirst) {
    const auto root = FileNode::makeRoot("/r", "r");
    const auto folder = add(root, FileNode::makeDirectory("a"));
    folder->appendChild(file("b"));
    folder->appendChild(FileNode::makeDirectory("c"));
    root->appendChild(file("d"));
    std::vector<std::string> visited;
    root->forEachNode([&](const FileNode& node) { visited.emplace_back(node.name()); });
    EXPECT_THAT(visited, ElementsAre("r", "a", "b", "c", "d"));
}

// Removal from the tree

TEST(FileNode, removingAChildSumsEachFolderAbove) {
    const auto root = FileNode::makeRoot("/r", "r");
    const auto folder = add(root, FileNode::makeDirectory("a"));
    const auto inner = add(folder, FileNode::makeDirectory("b"));
    const auto leaf = add(inner, file("c", 100));
    inner->appendChild(file("d", 7));
    root->appendChild(file("e", 1000));
    root->recalculateSize();
    inner->removeChild(*leaf);
    EXPECT_THAT(namesOf(inner->children()), ElementsAre("d"));
    EXPECT_EQ(inner->size(), 7);
    EXPECT_EQ(folder->size(), 7);
    EXPECT_EQ(root->size(), 1007);
    EXPECT_EQ(leaf->parent(), nullptr);
    EXPECT_EQ(leaf->url(), "/r/a/b/c");
}

TEST(FileNode, removingWhatIsNoChildChangesNoListButSumsAnew) {
    const auto root = FileNode::makeRoot("/r", "r");
    const auto folder = add(root, FileNode::makeDirectory("a"));
    const auto inner = add(folder, FileNode::makeDirectory("b", 40));
    const auto leaf = add(folder, file("c", 2));
    inner->appendChild(file("below", 1));
    folder->removeChild(*root);
    EXPECT_THAT(namesOf(root->children()), ElementsAre("a"));
    EXPECT_THAT(namesOf(folder->children()), ElementsAre("b", "c"));
    EXPECT_EQ(folder->size(), 42)
        << "over the present sizes of the direct children: nothing is summed downward";
    EXPECT_EQ(root->size(), 42);
    EXPECT_EQ(inner->size(), 40);
    EXPECT_EQ(leaf->parent(), folder);

    leaf->removeChild(*inner);
    EXPECT_EQ(leaf->size(), 2) << "a file is not summed";
    EXPECT_EQ(folder->size(), 42);
}

TEST(FileNode, everyEntryWithTheIdentifierIsRemovedAndTheOthersKeepTheirOrder) {
    const auto root = FileNode::makeRoot("/r", "r");
    for (const char* name : {"1", "2", "3", "4"}) {
        root->appendChild(file(name));
    }
    root->removeChild(*root->children()[1]);  // nobody else holds it: it dies meanwhile
    EXPECT_THAT(namesOf(root->children()), ElementsAre("1", "3", "4"));
    EXPECT_EQ(root->size(), 3);
}

TEST(FileNode, aRemovedFolderLeavesItsHeldDescendantsTheirPaths) {
    const auto root = FileNode::makeRoot("/r", "r");
    const auto leaf = add(add(root, FileNode::makeDirectory("a")), file("b"));
    root->removeChild(*root->children()[0]);
    EXPECT_EQ(leaf->url(), "/r/a/b");
    EXPECT_EQ(leaf->parent(), nullptr);
}

// Depth: the call stack would not bear any of these.

TEST(FileNode, everyOperationBearsATreeAHundredThousandDeep) {
    auto root = FileNode::makeRoot("/r", "r");
    const auto last = addChain(root, deepest);
    EXPECT_EQ(root->recalculateSize(), deepest);
    root->sortChildrenBySize();
    EXPECT_EQ(root->findNode(last->id()), last);
    EXPECT_EQ(root->allFileNodes().size(), static_cast<std::size_t>(deepest));
    EXPECT_EQ(ScanResult::countNodes(*root),
              (ScanResult::NodeCounts{.files = deepest, .directories = deepest + 1}));
    EXPECT_EQ(last->url().size(), std::string("/r").size() + std::size_t{deepest} * 2);
    last->appendChild(file("x", 5));
    last->removeChild(*last->children()[0]);
    EXPECT_EQ(root->size(), deepest);
    const std::weak_ptr<FileNode> gone = last->parent();
    root.reset();
    EXPECT_TRUE(gone.expired());
    EXPECT_TRUE(last->url().starts_with("/r/d/d/d/")) << "the survivor at the bottom took its path along";
    EXPECT_EQ(last->url().size(), std::string("/r").size() + std::size_t{deepest} * 2);
}

TEST(FileNode, aDeepChainEndsWhereverItIsCut) {
    auto root = FileNode::makeRoot("/r", "r");
    const auto last = addChain(root, deepest);
    FileNode::Pointer middle = last;
    for (int level = 0; level < deepest / 2; ++level) {
        middle = middle->parent();
    }
    root->replaceChildren({});
    EXPECT_EQ(middle->parent(), nullptr);
    EXPECT_EQ(last->url().size(), std::string("/r").size() + std::size_t{deepest} * 2);
    middle->takeChildren();
    EXPECT_EQ(last->parent(), nullptr);
    EXPECT_TRUE(last->url().starts_with("/r/d/d/d/"));
}

// Classification

TEST(FileNode, theKindIsThatOfThePathsExtension) {
    const auto root = FileNode::makeRoot("/x/Tool.app", "A display name.zip");
    EXPECT_EQ(root->fileKind(), FileKind::application);
    EXPECT_EQ(add(root, file("a.JPG"))->fileKind(), FileKind::image);
    EXPECT_EQ(add(root, FileNode::makeAggregate(FileNode::SummaryOrigin::scan, 1, 1))->fileKind(),
              FileKind::application)
        << "a summary has its folder's path";
    const auto folder = add(root, FileNode::makeDirectory("b.zip"));
    EXPECT_EQ(folder->fileKind(), FileKind::archive);
    const auto taken = root->takeChildren();
    EXPECT_EQ(taken[1]->fileKind(), FileKind::application);
    EXPECT_EQ(FileNode::makeAggregate(FileNode::SummaryOrigin::scan, 1, 1)->fileKind(), FileKind::other);
}

// The filter

class FileNodeMatches : public testing::Test {
protected:
    const Date now = dateFromSecondsSince1970(1'000'000'000);
    const FileNode::Pointer root = FileNode::makeRoot("/Data", "Data");
    const FileNode::Pointer folder = add(root, FileNode::makeDirectory("Folder.png", 50));
    const FileNode::Pointer summary =
        add(root, FileNode::makeAggregate(FileNode::SummaryOrigin::scan, 100, 3));
    const FileNode::Pointer photo =
        add(folder, FileNode::makeFile("Photo.JPG", 100, 90, now - Seconds(10 * 86'400.0)));
    const FileNode::Pointer undated = add(folder, FileNode::makeFile("notes", 100, 90, std::nullopt));
};

TEST_F(FileNodeMatches, everythingPassesWithoutAFilter) {
    for (const auto& node : {root, folder, summary, photo, undated}) {
        EXPECT_TRUE(node->matches({}, now)) << node->name();
    }
}

TEST_F(FileNodeMatches, theMinimumSizeItselfPasses) {
    EXPECT_TRUE(photo->matches({.minimumSize = 100}, now));
    EXPECT_FALSE(photo->matches({.minimumSize = 101}, now));
    EXPECT_FALSE(folder->matches({.minimumSize = 51}, now));
}

TEST_F(FileNodeMatches, extensionsAreTrimmedAndLowered) {
    const FileListFilter filter{.extensionFilter = " .JPG, ,png "};
    EXPECT_TRUE(photo->matches(filter, now));
    EXPECT_TRUE(FileNode::makeFile("a.Png", 1, 1, std::nullopt)->matches(filter, now));
    EXPECT_FALSE(FileNode::makeFile("a.gif", 1, 1, std::nullopt)->matches(filter, now));
    EXPECT_FALSE(undated->matches(filter, now)) << "no extension is in no set";
    EXPECT_TRUE(photo->matches({.extensionFilter = "gif,\n\t..jpg.\xC2\xA0"}, now));
    EXPECT_FALSE(photo->matches({.extensionFilter = "peg"}, now));
    EXPECT_TRUE(FileNode::makeDetachedFile("/x/a.png", "b.gif", 1, 1, std::nullopt)->matches(filter, now))
        << "the path's extension counts, not the display name's";
}

TEST_F(FileNodeMatches, blanksWithinTheDotsBelongToTheExtension) {
    EXPECT_FALSE(photo->matches({.extensionFilter = ". jpg"}, now))
        << "blanks go first, then dots, and no blanks again";
    EXPECT_TRUE(FileNode::makeFile("a. jpg", 1, 1, std::nullopt)->matches({.extensionFilter = ". jpg"}, now));
}

TEST_F(FileNodeMatches, anExtensionFilterThatNamesNoneIsNone) {
    for (const char* filter : {"", " ", ",", " . , .. ,"}) {
        EXPECT_TRUE(folder->matches({.extensionFilter = filter}, now)) << filter;
        EXPECT_TRUE(undated->matches({.extensionFilter = filter}, now)) << filter;
    }
}

TEST_F(FileNodeMatches, foldersAndSummariesNeverPassAnExtensionFilter) {
    EXPECT_FALSE(folder->matches({.extensionFilter = "png"}, now));
    const auto summaryOfPng = add(folder, FileNode::makeAggregate(FileNode::SummaryOrigin::scan, 1, 1));
    EXPECT_FALSE(summaryOfPng->matches({.extensionFilter = "png"}, now));
}

TEST_F(FileNodeMatches, theLocationIsAnyPartOfThePathInAnyCase) {
    EXPECT_TRUE(photo->matches({.locationFilter = "data/folder"}, now));
    EXPECT_TRUE(photo->matches({.locationFilter = "PHOTO"}, now));
    EXPECT_FALSE(photo->matches({.locationFilter = "elsewhere"}, now));
    EXPECT_TRUE(folder->matches({.locationFilter = "data"}, now));
    EXPECT_FALSE(photo->matches({.locationFilter = " "}, now)) << "a blank is a text to look for";
}

TEST_F(FileNodeMatches, olderThanTakesWhatWasModifiedBeforeAndRefusesWhatIsUndated) {
    EXPECT_TRUE(photo->matches({.olderThanDays = 9}, now));
    EXPECT_FALSE(photo->matches({.olderThanDays = 10}, now)) << "not before that moment";
    EXPECT_FALSE(photo->matches({.olderThanDays = 11}, now));
    EXPECT_FALSE(undated->matches({.olderThanDays = 1}, now));
    EXPECT_FALSE(folder->matches({.olderThanDays = 1}, now));
    EXPECT_TRUE(undated->matches({.olderThanDays = 0}, now));
    EXPECT_TRUE(undated->matches({.olderThanDays = -1}, now));
}

TEST_F(FileNodeMatches, everyPartOfTheFilterHasToHold) {
    const FileListFilter all{
        .minimumSize = 100, .extensionFilter = "jpg", .locationFilter = "folder", .olderThanDays = 5};
    EXPECT_TRUE(photo->matches(all, now));
    auto other = all;
    other.minimumSize = 101;
    EXPECT_FALSE(photo->matches(other, now));
    other = all;
    other.locationFilter = "nowhere";
    EXPECT_FALSE(photo->matches(other, now));
    other = all;
    other.olderThanDays = 20;
    EXPECT_FALSE(photo->matches(other, now));
}

TEST_F(FileNodeMatches, oneMatcherServesManyNodes) {
    const FileListMatcher matcher({.extensionFilter = "jpg", .locationFilter = "folder"}, now);
    EXPECT_TRUE(matcher.accepts(*photo));
    EXPECT_FALSE(matcher.accepts(*undated));
    EXPECT_FALSE(matcher.accepts(*summary));
    EXPECT_TRUE(matcher.accepts(*photo));
}

}  // namespace
}  // namespace larkfold
