// Where the arcs lie and what the pointer finds.
//
// The layout searches by halves in sums that it keeps. What it must find is written here a second time, in
// the plainest way: by walking down from the root and adding up at every step.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <vector>

#include "shell/disk/map/SunburstGeometry.h"
#include "shell/disk/map/SunburstLayout.h"
#include "shell/disk/map/SunburstPalette.h"
#include "shell/disk/map/SunburstTrees.h"
#include "support/Sanitized.h"

namespace larkfold {
namespace {

using test::file;
using test::folder;
using test::randomTree;
using test::root;

std::vector<FileNode::Pointer> inOrder(const FileNode& node) {
    std::vector<FileNode::Pointer> children = node.children();
    std::stable_sort(children.begin(), children.end(),
                     [](const auto& a, const auto& b) { return a->size() > b->size(); });
    return children;
}

struct PlainArc {
    const FileNode* node;
    double start;
    double end;
    int depth;
    std::size_t colour;
};

void drawPlainly(const FileNode& node, int depth, std::size_t colour, double start, double end,
                 std::vector<PlainArc>& arcs) {
    if (depth >= 5 || node.size() <= 0) {
        return;
    }
    arcs.push_back({&node, start, end, depth, colour});
    if (!node.isDirectory()) {
        return;
    }
    double running = start;
    const auto children = inOrder(node);
    for (std::size_t i = 0; i < children.size(); ++i) {
        if (children[i]->size() <= 0) {
            continue;
        }
        const double angle =
            static_cast<double>(children[i]->size()) / static_cast<double>(node.size()) * (end - start);
        if (angle > 0.5) {
            drawPlainly(*children[i], depth + 1, (colour + i) % 13, running, running + angle, arcs);
        }
        running += angle;
    }
}

const FileNode* findPlainly(const FileNode& node, int depth, int wanted, double angle, double start,
                            double end) {
    if (depth == wanted) {
        return start <= angle && end > angle ? &node : nullptr;
    }
    if (!node.isDirectory() || node.size() <= 0) {
        return nullptr;
    }
    double running = start;
    for (const FileNode::Pointer& child : inOrder(node)) {
        if (child->size() <= 0) {
            continue;
        }
        const double share =
            static_cast<double>(child->size()) / static_cast<double>(node.size()) * (end - start);
        if (running <= angle && running + share > angle) {
            return findPlainly(*child, depth + 1, wanted, angle, running, running + share);
        }
        running += share;
    }
    return nullptr;
}

const FileNode* hitPlainly(const FileNode& tree, double side, double centreX, double centreY, double px,
                           double py) {
    const double x = px - centreX;
    const double y = py - centreY;
    const double r = std::sqrt(x * x + y * y);
    if (r < 0.12 * side) {
        return &tree;
    }
    const double ringWidth = (0.5 * side - 0.12 * side) / 5;
    const int ring = static_cast<int>((r - 0.12 * side) / ringWidth);
    if (ring >= 5) {
        return nullptr;
    }
    double angle = std::atan2(y, x) * 180 / std::numbers::pi + 90;
    if (angle < 0) {
        angle += 360;
    }
    return findPlainly(tree, 0, ring, angle, 0.0, 360.0);
}

std::pair<double, double> pointAt(const SunburstGeometry& geometry, int ring, double angle) {
    const double radius = geometry.innerRadius(ring) + geometry.ringWidth() / 2;
    const double radians = (angle - 90) * std::numbers::pi / 180;
    return {geometry.centreX + radius * std::cos(radians), geometry.centreY + radius * std::sin(radians)};
}

class SunburstLayoutOfRandomTree : public testing::TestWithParam<int> {
protected:
    FileNode::Pointer tree_ = randomTree(static_cast<std::uint64_t>(GetParam()), GetParam() % 3 == 0);
};

TEST_P(SunburstLayoutOfRandomTree, hasTheArcsOfAPlainDrawing) {
    std::vector<PlainArc> expected;
    drawPlainly(*tree_, 0, 0, 0.0, 360.0, expected);
    const SunburstLayout layout(tree_);
    ASSERT_EQ(layout.arcs().size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const SunburstLayout::Arc& arc = layout.arcs()[i];
        EXPECT_EQ(arc.node.get(), expected[i].node);
        EXPECT_EQ(arc.start, expected[i].start);
        EXPECT_EQ(arc.end, expected[i].end);
        EXPECT_EQ(arc.depth, expected[i].depth);
        EXPECT_EQ(arc.colour % 13, expected[i].colour);
        EXPECT_EQ(layout.arcOf(*arc.node), i);
        if (arc.depth > 0) {
            EXPECT_EQ(layout.arcs()[arc.parent].node, arc.node->parent());
        }
    }
}

TEST_P(SunburstLayoutOfRandomTree, findsAtRandomPointsWhatAPlainWalkFinds) {
    const SunburstLayout layout(tree_);
    const SunburstGeometry geometry = SunburstGeometry::inArea(517, 433);
    std::mt19937_64 random(99);
    int hits = 0;
    for (int i = 0; i < 3000; ++i) {
        const double x = static_cast<double>(random() % 5'300'000) / 10'000 - 5;
        const double y = static_cast<double>(random() % 4'500'000) / 10'000 - 5;
        const FileNode* const expected =
            hitPlainly(*tree_, geometry.side, geometry.centreX, geometry.centreY, x, y);
        ASSERT_EQ(layout.hitTest(geometry, x, y).get(), expected) << x << ", " << y;
        hits += expected != nullptr;
    }
    EXPECT_GT(hits, 300);
}

TEST_P(SunburstLayoutOfRandomTree, findsOnAndAroundEveryBoundaryWhatAPlainWalkFinds) {
    const SunburstLayout layout(tree_);
    for (const SunburstLayout::Arc& arc : layout.arcs()) {
        for (const double bound : {arc.start, arc.end}) {
            for (const double angle : {bound, std::nextafter(bound, -1.0), std::nextafter(bound, 400.0)}) {
                for (int ring = 0; ring < 5; ++ring) {
                    const FileNode* const expected =
                        angle < 0 ? nullptr : findPlainly(*tree_, 0, ring, angle, 0.0, 360.0);
                    ASSERT_EQ(layout.nodeAt(ring, angle).get(), expected) << angle << " in ring " << ring;
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, SunburstLayoutOfRandomTree, testing::Range(0, 40));

TEST(SunburstLayout, emptyRootHasNoArcsAndOnlyItsDiscAndFirstRingAreHit) {
    const FileNode::Pointer tree = root({file("a", 0)});
    const SunburstLayout layout(tree);
    EXPECT_TRUE(layout.arcs().empty());
    const SunburstGeometry geometry = SunburstGeometry::inArea(200, 200);
    EXPECT_EQ(layout.hitTest(geometry, 100, 100), tree);
    EXPECT_EQ(layout.nodeAt(0, 10), tree);
    EXPECT_EQ(layout.nodeAt(1, 10), nullptr);
}

TEST(SunburstLayout, withoutTreeNothingIsDrawnOrHit) {
    const SunburstLayout layout;
    EXPECT_TRUE(layout.arcs().empty());
    EXPECT_EQ(layout.hitTest(SunburstGeometry::inArea(200, 200), 100, 100), nullptr);
    EXPECT_EQ(SunburstLayout(nullptr).nodeAt(0, 0), nullptr);
}

TEST(SunburstLayout, singleChildIsAFullCircleInTheFirstColour) {
    const SunburstLayout layout(root({file("a", 7)}));
    ASSERT_EQ(layout.arcs().size(), 2u);
    EXPECT_EQ(layout.arcs()[1].depth, 1);
    EXPECT_EQ(layout.arcs()[1].colour, 0u);
    EXPECT_EQ(layout.arcs()[1].start, 0.0);
    EXPECT_EQ(layout.arcs()[1].end, 360.0);
    EXPECT_TRUE(layout.arcs()[1].isFullCircle());
}

TEST(SunburstLayout, fourteenthChildHasTheColourOfTheFirst) {
    std::vector<FileNode::Pointer> children;
    for (int i = 0; i < 14; ++i) {
        children.push_back(file("f" + std::to_string(i), 100));
    }
    const SunburstLayout layout(root(std::move(children)));
    ASSERT_EQ(layout.arcs().size(), 15u);
    EXPECT_EQ(SunburstPalette::arc(layout.arcs()[14].colour, 1),
              SunburstPalette::arc(layout.arcs()[1].colour, 1));
    EXPECT_NE(SunburstPalette::arc(layout.arcs()[13].colour, 1),
              SunburstPalette::arc(layout.arcs()[1].colour, 1));
}

TEST(SunburstLayout, childOfExactlyHalfADegreeIsNotDrawnAndTheOthersKeepTheirAngles) {
    // Of 720: the narrow one has 0.5 degrees, the last one half of that.
    const FileNode::Pointer tree =
        root({folder("wide", {file("x", 7'185)}), file("narrow", 10), file("rest", 5)});
    ASSERT_EQ(tree->size(), 7'200);
    const SunburstLayout layout(tree);
    ASSERT_EQ(layout.arcs().size(), 3u);
    EXPECT_EQ(layout.arcs()[1].end, 359.25);
    EXPECT_EQ(layout.nodeAt(1, 359.5)->name(), "narrow");  // found where nothing is drawn
    EXPECT_EQ(layout.nodeAt(1, 359.9)->name(), "rest");
}

TEST(SunburstLayout, childrenAfterANarrowOneOfAnotherOrderStartWhereItEnds) {
    // Not in order: the sizes decide, not the places in the list.
    const SunburstLayout layout(root({file("small", 1), file("large", 2), file("small too", 1)}));
    ASSERT_EQ(layout.arcs().size(), 4u);
    EXPECT_EQ(layout.arcs()[1].node->name(), "large");
    EXPECT_EQ(layout.arcs()[2].node->name(), "small");
    EXPECT_EQ(layout.arcs()[2].start, 180.0);
    EXPECT_EQ(layout.arcs()[3].node->name(), "small too");
    EXPECT_EQ(layout.arcs()[3].colour, 2u);
}

TEST(SunburstLayout, pointOnABoundaryBelongsToTheLaterArc) {
    const SunburstLayout layout(root({file("first", 3), file("second", 1)}));
    EXPECT_EQ(layout.nodeAt(1, 270.0)->name(), "second");
    EXPECT_EQ(layout.nodeAt(1, std::nextafter(270.0, 0.0))->name(), "first");
    EXPECT_EQ(layout.nodeAt(1, 0.0)->name(), "first");
}

TEST(SunburstLayout, justBeforeTheTopIsHit) {
    const FileNode::Pointer tree = root({file("first", 3), file("second", 1)});
    const SunburstLayout layout(tree);
    const SunburstGeometry geometry = SunburstGeometry::inArea(600, 600);
    const auto [x, y] = pointAt(geometry, 1, 359.9);
    EXPECT_NEAR(geometry.positionOf(x, y).angle, 359.9, 1e-9);
    EXPECT_EQ(layout.hitTest(geometry, x, y)->name(), "second");
}

TEST(SunburstLayout, treeOfFiveLevelsEndsWithTheLastRing) {
    const FileNode::Pointer tree =
        root({folder("1", {folder("2", {folder("3", {folder("4", {folder("5", {file("6", 10)})})})})})});
    const SunburstLayout layout(tree);
    EXPECT_EQ(layout.arcs().size(), 5u);
    EXPECT_EQ(layout.nodeAt(4, 100)->name(), "4");
    EXPECT_EQ(layout.nodeAt(5, 100), nullptr);
    EXPECT_EQ(layout.nodeAt(-1, 100), nullptr);
}

TEST(SunburstLayout, folderOfFiftyThousandChildrenIsSearchedLikeAPlainWalk) {
    const auto crowd = [](std::int64_t largest) {
        std::vector<FileNode::Pointer> children;
        for (std::int64_t i = 0; i < 50'000; ++i) {
            children.push_back(file("f", largest - i));
        }
        return folder("crowd", std::move(children));
    };
    const FileNode::Pointer tree = root({crowd(60'000), crowd(50'001), crowd(50'000), file("last", 3)});
    const SunburstLayout layout(tree);
    std::mt19937_64 random(3);
    for (int i = 0; i < (test::isSanitized ? 20 : 200); ++i) {
        const double angle = static_cast<double>(random() % 360'000'000) / 1'000'000;
        ASSERT_EQ(layout.nodeAt(2, angle).get(), findPlainly(*tree, 0, 2, angle, 0.0, 360.0)) << angle;
    }
}

TEST(SunburstLayout, treeThatChangedUnderItGivesNothingAndNoNodeThatIsGone) {
    FileNode::Pointer tree = root({folder("a", {file("x", 10), file("y", 5)}), file("b", 10)});
    const SunburstLayout layout(tree);
    EXPECT_EQ(layout.nodeAt(2, 10)->name(), "x");
    const FileNode::Pointer folderA = tree->children()[0];
    folderA->replaceChildren({});
    EXPECT_EQ(layout.nodeAt(2, 10), nullptr);
    const std::weak_ptr<FileNode> watched = folderA->shared_from_this();
    tree->takeChildren();
    tree.reset();
    EXPECT_EQ(layout.nodeAt(1, 10), nullptr);
    EXPECT_EQ(layout.arcs()[1].node, folderA);  // kept alive for as long as the layout stands
}

TEST(SunburstLayout, sizesThatDoNotAddUpYetAreWalkedLikeThePlainWalk) {
    // In the middle of a change a folder can be smaller than its children together.
    const FileNode::Pointer tree = root({folder("a", {file("x", 10), file("y", 5)}), file("b", 10)});
    tree->children()[0]->setSize(12);
    tree->setSize(20);
    const SunburstLayout layout(tree);
    for (double angle = 0; angle < 360; angle += 0.37) {
        for (int ring = 0; ring < 5; ++ring) {
            ASSERT_EQ(layout.nodeAt(ring, angle).get(), findPlainly(*tree, 0, ring, angle, 0.0, 360.0));
        }
    }
}

TEST(SunburstLayout, firstChildrenComeInOrderOfSizeAndKeepTiesAsTheyStood) {
    const FileNode::Pointer tree =
        root({file("a", 1), file("b", 5), file("c", 1), file("d", 0), file("e", 9)});
    const auto names = [&](std::size_t limit) {
        std::string joined;
        for (const FileNode::Pointer& child : SunburstLayout::firstChildren(*tree, limit)) {
            joined += child->name();
        }
        return joined;
    };
    EXPECT_EQ(names(8), "ebacd");
    EXPECT_EQ(names(2), "eb");
}

TEST(SunburstGeometry, placesPointsInRingsOfOneWidthWithTheGapOutside) {
    const SunburstGeometry geometry = SunburstGeometry::inArea(900, 600);
    EXPECT_EQ(geometry.centreX, 450);
    EXPECT_EQ(geometry.centreY, 300);
    EXPECT_DOUBLE_EQ(geometry.discRadius(), 72);
    EXPECT_DOUBLE_EQ(geometry.ringWidth(), 45.6);
    EXPECT_DOUBLE_EQ(geometry.innerRadius(4), 254.4);
    EXPECT_DOUBLE_EQ(geometry.outerRadius(4), 299);
    EXPECT_EQ(geometry.positionOf(450, 300 - 71.9).ring, -1);
    EXPECT_EQ(geometry.positionOf(450, 300 - 72.1).ring, 0);
    EXPECT_EQ(geometry.positionOf(450, 300 - 299.5).ring, 4);  // the gap belongs to the ring within
    EXPECT_EQ(geometry.positionOf(450, 300 - 300.1).ring, 5);
    EXPECT_EQ(geometry.positionOf(0, 0).ring, 5);
    EXPECT_DOUBLE_EQ(geometry.positionOf(450, 200).angle, 0);
    EXPECT_DOUBLE_EQ(geometry.positionOf(550, 300).angle, 90);
    EXPECT_DOUBLE_EQ(geometry.positionOf(450, 400).angle, 180);
    EXPECT_DOUBLE_EQ(geometry.positionOf(350, 300).angle, 270);
}

TEST(SunburstGeometry, areaWithoutExtentIsHitByNothing) {
    const SunburstGeometry geometry = SunburstGeometry::inArea(0, 100);
    EXPECT_EQ(geometry.positionOf(0, 50).ring, 5);
    EXPECT_EQ(geometry.positionOf(3, 3).ring, 5);
}

TEST(SunburstGeometry, anglesAreNeverNegative) {
    const SunburstGeometry geometry = SunburstGeometry::inArea(600, 600);
    for (int i = 0; i < 3600; ++i) {
        const auto [x, y] = pointAt(geometry, 2, i / 10.0);
        EXPECT_GE(geometry.positionOf(x, y).angle, 0);
        EXPECT_NEAR(std::remainder(geometry.positionOf(x, y).angle - i / 10.0, 360), 0, 1e-9);
    }
}

TEST(SunburstPalette, opacityFallsWithTheRingDownToItsCap) {
    EXPECT_DOUBLE_EQ(SunburstPalette::opacity(0), 1.0);
    EXPECT_DOUBLE_EQ(SunburstPalette::opacity(4), 0.68);
    EXPECT_DOUBLE_EQ(SunburstPalette::opacity(5), 0.6);
    EXPECT_DOUBLE_EQ(SunburstPalette::opacity(9), 0.6);
}

TEST(SunburstPalette, coloursAreThoseOfTheirHues) {
    EXPECT_EQ(SunburstPalette::hues.size(), 13u);
    const SunburstColour red = SunburstPalette::arc(0, 0);
    EXPECT_DOUBLE_EQ(red.red, 0.9);
    EXPECT_NEAR(red.green, 0.27, 1e-12);
    EXPECT_NEAR(red.blue, 0.27, 1e-12);
    EXPECT_DOUBLE_EQ(red.opacity, 1.0);
    const SunburstColour cyan = SunburstPalette::arc(7, 1);  // hue 0.5
    EXPECT_NEAR(cyan.red, 0.27, 1e-12);
    EXPECT_NEAR(cyan.green, 0.9, 1e-12);
    EXPECT_DOUBLE_EQ(cyan.blue, 0.9);
    EXPECT_DOUBLE_EQ(cyan.opacity, 0.92);
}

TEST(SunburstPalette, pointerRaisesTheBrightnessUpToOne) {
    EXPECT_DOUBLE_EQ(SunburstPalette::arc(0, 0, true).red, 1.0);
    EXPECT_NEAR(SunburstPalette::arc(0, 0, true).green, 0.3, 1e-12);
    EXPECT_DOUBLE_EQ(SunburstPalette::arc(0, 3, true).opacity, SunburstPalette::opacity(3));
}

}  // namespace
}  // namespace larkfold
