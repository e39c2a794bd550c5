#include "disk/RemovalMarks.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace larkfold {
namespace {

// What marks come to, by a walk that ends at each marked folder.
RemovalMarks::Totals byAWalk(const FileNode& root, const RemovalMarks& marks) {
    RemovalMarks::Totals totals;
    std::vector<const FileNode*> pending{&root};
    while (!pending.empty()) {
        const FileNode* node = pending.back();
        pending.pop_back();
        if (node != &root && marks.contains(node->id())) {
            ++totals.items;
            totals.bytes += node->size();
            continue;
        }
        for (const auto& child : node->children()) {
            pending.push_back(child.get());
        }
    }
    return totals;
}

class RemovalMarksTest : public testing::Test {
protected:
    RemovalMarksTest() {
        // Four levels of folders, each with two files.
        std::vector<FileNode::Pointer> level{root};
        std::int64_t size = 1;
        for (int depth = 0; depth < 4; ++depth) {
            std::vector<FileNode::Pointer> next;
            for (const auto& folder : level) {
                for (int number = 0; number < 2; ++number) {
                    const std::string name = std::to_string(number);
                    ++size;
                    folder->appendChild(FileNode::makeFile("file" + name, size, size, std::nullopt));
                    next.push_back(FileNode::makeDirectory("folder" + name));
                    folder->appendChild(next.back());
                }
            }
            level = next;
        }
        root->recalculateSize();
        root->forEachNode([this](const FileNode& node) {
            if (&node != root.get()) {
                all.push_back(std::const_pointer_cast<FileNode>(node.shared_from_this()));
            }
        });
        marks.begin(root);
    }

    FileNode::Pointer root = FileNode::makeRoot("/home/anna", "anna");
    std::vector<FileNode::Pointer> all;
    RemovalMarks marks;
};

TEST_F(RemovalMarksTest, whateverIsMarkedInWhateverOrder_theTotalsAreThoseOfAWalk) {
    std::mt19937 random(20'260'101);
    for (int step = 0; step < 5'000; ++step) {
        const FileNode::Pointer& node = all[random() % all.size()];
        if (!marks.erase(node->id())) {
            EXPECT_TRUE(marks.insert(node));
        }
        ASSERT_EQ(marks.totals(), byAWalk(*root, marks)) << "step " << step;
        ASSERT_EQ(marks.ids().size(), marks.nodes().size());
    }
}

TEST_F(RemovalMarksTest, aMarkCountsOnceAndIsTakenAwayOnce) {
    EXPECT_TRUE(marks.insert(all[0]));
    EXPECT_FALSE(marks.insert(all[0]));
    EXPECT_EQ(marks.totals().items, 1);
    EXPECT_TRUE(marks.erase(all[0]->id()));
    EXPECT_FALSE(marks.erase(all[0]->id()));
    EXPECT_EQ(marks.totals(), RemovalMarks::Totals());
}

TEST_F(RemovalMarksTest, afterACountAnewReplacedNodesDoNotCountAndSizesAreThoseOfNow) {
    const FileNode::Pointer folder = root->children()[1];
    ASSERT_TRUE(folder->isDirectory());
    const FileNode::Pointer inside = folder->children()[0];
    const FileNode::Pointer beside = root->children()[0];
    marks.insert(inside);
    marks.insert(beside);
    folder->replaceChildren({});
    beside->setSize(1'000);
    EXPECT_FALSE(marks.isInTree(*inside));
    EXPECT_TRUE(marks.isInTree(*beside));
    marks.recount();
    EXPECT_EQ(marks.totals(), (RemovalMarks::Totals{.items = 1, .bytes = 1'000}));
    EXPECT_EQ(marks.ids().size(), 2u) << "it stays marked, as a node that nobody sees";
}

TEST_F(RemovalMarksTest, withoutATreeNothingCounts) {
    marks.begin(nullptr);
    marks.insert(all[0]);
    EXPECT_EQ(marks.totals(), RemovalMarks::Totals());
}

}  // namespace
}  // namespace larkfold
