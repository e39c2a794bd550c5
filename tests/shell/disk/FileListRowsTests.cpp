#include "shell/disk/FileListRows.h"

#include <gtest/gtest.h>

#include <set>

namespace larkfold {
namespace {

using enum FileListColumn;

const Date today = dateFromSecondsSince1970(1'800'000'000);

Date daysAgo(double days) {
    return today - Seconds(days * 86'400);
}

FileNode::Pointer file(std::string_view name, std::int64_t size, double ageInDays = 1) {
    return FileNode::makeFile(name, size, size, daysAgo(ageInDays));
}

FileNode::Pointer folder(std::string_view name, std::vector<FileNode::Pointer> children) {
    auto node = FileNode::makeDirectory(name);
    for (auto& child : children) {
        node->appendChild(std::move(child));
    }
    return node;
}

FileNode::Pointer tree(std::vector<FileNode::Pointer> children) {
    auto root = FileNode::makeRoot("/data/Projects", "Projects");
    for (auto& child : children) {
        root->appendChild(std::move(child));
    }
    root->recalculateSize();
    root->sortChildrenBySize();
    return root;
}

FileNode::Pointer mixedTree() {
    return tree({folder("photos", {file("one.jpg", 40), file("two.png", 30)}), file("film.mov", 50),
                 file("letter.pdf", 20), FileNode::makeAggregate(FileNode::SummaryOrigin::scan, 10, 12),
                 folder("empty", {})});
}

std::vector<std::string> names(const FileNode::Pointer& root, const FileListQuery& query) {
    FileListRows rows;
    rows.setRoot(root);
    rows.update(query, today);
    std::vector<std::string> result;
    for (const auto& node : rows.rows()) {
        result.emplace_back(node->name());
    }
    return result;
}

FileListQuery sortedBy(std::vector<FileListComparator> order) {
    return {.sortOrder = std::move(order)};
}

template <typename Value, typename Given>
FileListQuery filteredBy(Value FileListFilter::* field, Given value) {
    FileListQuery query;
    query.filter.*field = value;
    return query;
}

using Names = std::vector<std::string>;

TEST(FileListRows, withoutARoot_thereAreNoRows) {
    EXPECT_EQ(names(nullptr, {}), Names());
}

TEST(FileListRows, withoutAFilter_directoriesAndSummariesAreListed_byDescendingSize) {
    EXPECT_EQ(names(mixedTree(), {}),
              (Names{"photos", "film.mov", "letter.pdf", "Other scanned files (12)", "empty"}));
}

TEST(FileListRows, anExtensionFilter_hidesDirectoriesAndSummaries) {
    EXPECT_EQ(names(mixedTree(), filteredBy(&FileListFilter::extensionFilter, " .PDF, ,mov")),
              (Names{"film.mov", "letter.pdf"}));
}

TEST(FileListRows, subfolders_listEveryNodeBelowTheRoot_andNotTheRoot) {
    EXPECT_EQ(names(mixedTree(), {.searchSubfolders = true}),
              (Names{"photos", "film.mov", "one.jpg", "two.png", "letter.pdf", "Other scanned files (12)",
                     "empty"}));
}

TEST(FileListRows, subfolders_reachTheBottomOfAVeryDeepTree) {
    auto root = FileNode::makeRoot("/data", "data");
    FileNode::Pointer bottom = root;
    for (int level = 0; level < 100'000; ++level) {
        auto next = FileNode::makeDirectory("d");
        bottom->appendChild(next);
        bottom = next;
    }
    bottom->appendChild(file("treasure.zip", 1));
    EXPECT_EQ(names(root, {.searchText = "treasure", .searchSubfolders = true}), Names{"treasure.zip"});
}

TEST(FileListRows, aSearch_ignoresCaseAlsoBeyondASCII) {
    const auto root = tree({file("Überblick.txt", 2), file("LETTER.txt", 1), file("other", 3)});
    EXPECT_EQ(names(root, {.searchText = "über"}), Names{"Überblick.txt"});
    EXPECT_EQ(names(root, {.searchText = "letter"}), Names{"LETTER.txt"});
    EXPECT_EQ(names(root, {.searchText = "nowhere"}), Names());
}

TEST(FileListRows, aSearch_looksAtNamesAndNotAtPaths) {
    EXPECT_EQ(names(mixedTree(), {.searchText = "projects"}), Names());
    EXPECT_EQ(names(mixedTree(), filteredBy(&FileListFilter::locationFilter, "PROJECTS/letter")),
              Names{"letter.pdf"});
}

TEST(FileListRows, minimumSize_keepsWhatIsExactlyThatLarge) {
    EXPECT_EQ(names(mixedTree(), filteredBy(&FileListFilter::minimumSize, 20)),
              (Names{"photos", "film.mov", "letter.pdf"}));
    EXPECT_EQ(names(mixedTree(), filteredBy(&FileListFilter::minimumSize, 21)),
              (Names{"photos", "film.mov"}));
}

TEST(FileListRows, age_isCountedFromTheGivenTime_andHidesWhatHasNoDate) {
    const auto root =
        tree({file("old.txt", 3, 31), file("edge.txt", 2, 30), file("new.txt", 1, 2), folder("dir", {})});
    EXPECT_EQ(names(root, filteredBy(&FileListFilter::olderThanDays, 30)), Names{"old.txt"});
    EXPECT_EQ(names(root, filteredBy(&FileListFilter::olderThanDays, 1)),
              (Names{"old.txt", "edge.txt", "new.txt"}));
}

TEST(FileListRows, names_areOrderedByTheLanguage_withNumbersByTheirValue) {
    const auto root =
        tree({file("file10", 1), file("File2", 2), file("ärger", 3), file("Zebra", 4), file("apple", 5)});
    EXPECT_EQ(names(root, sortedBy({{name, false}})), (Names{"apple", "ärger", "File2", "file10", "Zebra"}));
    EXPECT_EQ(names(root, sortedBy({{name, true}})), (Names{"Zebra", "file10", "File2", "ärger", "apple"}));
}

TEST(FileListRows, longNamesThatBeginAlike_areStillOrdered) {
    const std::string common(200, 'x');
    const auto root = tree({file(common + "b", 3), file(common + "c", 1), file(common + "a", 2)});
    EXPECT_EQ(names(root, sortedBy({{name, false}})), (Names{common + "a", common + "b", common + "c"}));
    EXPECT_EQ(names(root, sortedBy({{name, true}})), (Names{common + "c", common + "b", common + "a"}));
}

TEST(FileListRows, items_countDirectChildren_andFilesStandBelowEmptyFolders) {
    EXPECT_EQ(names(mixedTree(), sortedBy({{items, true}, {name, false}})),
              (Names{"photos", "empty", "film.mov", "letter.pdf", "Other scanned files (12)"}));
}

TEST(FileListRows, ties_followTheEarlierOrder) {
    const auto root = tree({file("b.pdf", 1), file("a.pdf", 1), file("c.mov", 1), file("d.mov", 2)});
    EXPECT_EQ(names(root, sortedBy({{type, false}, {name, false}})),
              (Names{"a.pdf", "b.pdf", "c.mov", "d.mov"}));
    EXPECT_EQ(names(root, sortedBy({{type, false}, {name, true}})),
              (Names{"b.pdf", "a.pdf", "d.mov", "c.mov"}));
    EXPECT_EQ(names(root, sortedBy({{type, false}, {size, false}, {name, false}})),
              (Names{"a.pdf", "b.pdf", "c.mov", "d.mov"}));
    EXPECT_EQ(names(root, sortedBy({{size, true}, {name, true}})),
              (Names{"d.mov", "c.mov", "b.pdf", "a.pdf"}));
    EXPECT_EQ(names(root, sortedBy({{size, true}, {type, true}, {name, false}})),
              (Names{"d.mov", "c.mov", "a.pdf", "b.pdf"}));
    // Nothing tells the two documents apart but the tree itself.
    EXPECT_EQ(names(root, sortedBy({{size, true}, {type, true}})),
              (Names{"d.mov", "c.mov", "b.pdf", "a.pdf"}));
}

TEST(FileListRows, typeWords_areDistinctInTheirFirstEightLetters) {
    // The sort looks at no more of them.
    std::set<std::string> beginnings;
    const auto root =
        tree({folder("d", {}), FileNode::makeAggregate(FileNode::SummaryOrigin::scan, 1, 1), file("a.jpg", 1),
              file("a.mov", 1), file("a.mp3", 1), file("a.pdf", 1), file("a.zip", 1), file("a.cpp", 1),
              file("a.exe", 1), file("a.log", 1), file("a", 1)});
    for (const auto& node : root->children()) {
        beginnings.insert(std::string(fileListTypeWord(*node).substr(0, 8)));
    }
    EXPECT_EQ(beginnings.size(), 11u);
}

TEST(FileListRows, anUpdateAfterTheTreeChanged_showsTheChange_onceToldOfIt) {
    const auto root = mixedTree();
    FileListRows rows;
    rows.setRoot(root);
    rows.update({}, today);
    ASSERT_EQ(rows.rows().size(), 5u);
    root->removeChild(*rows.rows()[1]);
    rows.setRoot(root);
    rows.update({}, today);
    EXPECT_EQ(rows.rows().size(), 4u);
}

TEST(FileListRows, summaries_areNoticedAtAnyDepth) {
    const auto summary = [] { return FileNode::makeAggregate(FileNode::SummaryOrigin::index, 1, 1); };
    const auto holds = [](const FileNode::Pointer& root) {
        FileListRows rows;
        rows.setRoot(root);
        return rows.holdsSummaries();
    };
    EXPECT_TRUE(holds(tree({summary()})));
    EXPECT_TRUE(holds(tree({folder("summarized", {summary()})})));
    EXPECT_TRUE(holds(tree({file("a", 1), folder("one", {folder("two", {folder("three", {summary()})})})})));
    EXPECT_FALSE(holds(tree({folder("plain", {file("a", 1)}), file("b", 2)})));
    EXPECT_FALSE(holds(nullptr));

    // As deep as a tree may be, with the summary at its end and without.
    const auto root = tree({});
    FileNode::Pointer last = root;
    for (int depth = 0; depth < 100'000; ++depth) {
        const auto next = FileNode::makeDirectory("d");
        last->appendChild(next);
        last = next;
    }
    EXPECT_FALSE(holds(root));
    last->appendChild(summary());
    EXPECT_TRUE(holds(root));
}

TEST(FileListRows, whatIsLookedThrough_isCountedBesideWhatThereIs) {
    using Looked = FileListRows::Looked;
    const auto root = tree(
        {file("a", 1), FileNode::makeAggregate(FileNode::SummaryOrigin::scan, 5, 40), file("b", 1),
         folder("inner", {file("c", 1), FileNode::makeAggregate(FileNode::SummaryOrigin::index, 5, 500)})});
    FileListRows rows;
    rows.setRoot(root);
    rows.update({}, today);
    EXPECT_EQ(rows.looked(), (Looked{.loadedFiles = 2, .allFiles = 42}));
    rows.update({.searchText = "nowhere"}, today);
    EXPECT_EQ(rows.looked(), (Looked{.loadedFiles = 2, .allFiles = 42}));
    rows.update({.searchText = "nowhere", .searchSubfolders = true}, today);
    EXPECT_EQ(rows.looked(), (Looked{.loadedFiles = 3, .allFiles = 543}));
    rows.setRoot(tree({file("a", 1)}));
    rows.update({}, today);
    EXPECT_EQ(rows.looked(), (Looked{.loadedFiles = 1, .allFiles = 1}));
    rows.setRoot(nullptr);
    rows.update({}, today);
    EXPECT_EQ(rows.looked(), Looked{});
}

TEST(FileListRows, namesPreparedInSlices_giveTheSameOrderAndNoOtherRows) {
    std::vector<FileNode::Pointer> children;
    for (const char* name : {"file10", "File2", "file02", "Überblick", "uberblick", "\xFF", "résumé.pdf",
                             "a.jpg", "z.jpg", "B.jpg", "file2.txt", "", "10", "9"}) {
        children.push_back(file(name, 1));
    }
    const auto root = tree({folder("inner", children), file("outer", 1), file("Another", 2)});
    for (const bool searchSubfolders : {false, true}) {
        for (const auto& order : {sortedBy({{name, false}}), sortedBy({{type, false}, {name, false}}),
                                  sortedBy({{size, false}, {name, true}})}) {
            FileListQuery query = order;
            query.searchSubfolders = searchSubfolders;
            FileListRows rows;
            rows.setRoot(root);
            rows.update({.searchText = "e", .searchSubfolders = searchSubfolders}, today);
            const std::vector<FileNode::Pointer> before = rows.rows();
            std::size_t slices = 1;
            while (rows.prepareNames(2)) {
                ++slices;
            }
            EXPECT_EQ(slices, (rows.entryCount() + 1) / 2);
            EXPECT_FALSE(rows.prepareNames(2)) << "nothing is left";
            EXPECT_EQ(rows.rows(), before);
            rows.update(query, today);
            std::vector<std::string> prepared;
            for (const auto& node : rows.rows()) {
                prepared.emplace_back(node->name());
            }
            EXPECT_EQ(prepared, names(root, query));
        }
    }
    FileListRows none;
    EXPECT_FALSE(none.prepareNames(1));
}

TEST(FileListRows, namesThatAreNotText_areListedAndSorted) {
    const auto root = tree({file("b\xFF\xFE", 1), file("a\n'quote", 2), file(std::string(255, 'n'), 3)});
    EXPECT_EQ(names(root, sortedBy({{name, false}})).size(), 3u);
    EXPECT_EQ(names(root, {.searchText = "quote"}), Names{"a\n'quote"});
}

}  // namespace
}  // namespace larkfold
