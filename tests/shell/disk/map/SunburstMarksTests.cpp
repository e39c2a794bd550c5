// Hatching and outlines over what is marked: where they lie, and that they are seen on every colour.
#include <gtest/gtest.h>

#include <QImage>
#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <random>
#include <set>
#include <vector>

#include "shell/disk/map/SunburstMarks.h"
#include "shell/disk/map/SunburstPalette.h"
#include "shell/disk/map/SunburstTrees.h"

namespace larkfold {
namespace {

using test::densestTree;
using test::file;
using test::folder;
using test::randomTree;
using test::root;

constexpr double side = 360;

struct Marked {
    const SunburstLayout& layout;
    std::set<UUID> ids;
    double scale = 1;
    bool isRootCovered = false;

    SunburstRaster::View view() const {
        return {
            .centreX = side / 2 * scale, .centreY = side / 2 * scale, .side = side * scale, .scale = scale};
    }
    QImage picture() const {
        const int pixels = static_cast<int>(std::ceil(side * scale));
        QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::magenta);  // whatever was there must not shine through
        SunburstMarks(layout, ids, isRootCovered, view())
            .paint({.data = reinterpret_cast<std::uint32_t*>(image.bits()),
                    .width = image.width(),
                    .height = image.height(),
                    .stride = static_cast<std::size_t>(image.bytesPerLine()) / 4});
        return image;
    }
    // The drawn arc that holds the pixel's centre, by the layout's own search.
    const SunburstLayout::Arc* arcAt(int x, int y) const {
        const double px = (x + 0.5) / scale;
        const double py = (y + 0.5) / scale;
        const SunburstGeometry geometry = SunburstGeometry::inArea(side, side);
        const double radius = std::hypot(px - geometry.centreX, py - geometry.centreY);
        const int ring = geometry.positionOf(px, py).ring;
        if (ring < 0 || ring >= SunburstGeometry::ringCount || radius > geometry.outerRadius(ring)) {
            return nullptr;
        }
        const FileNode::Pointer node = layout.hitTest(geometry, px, py);
        const auto arc = node ? layout.arcOf(*node) : std::nullopt;
        return arc ? &layout.arcs()[*arc] : nullptr;
    }
    bool isCovered(const FileNode& node) const {
        return isRootCovered || ids.contains(node.id()) || SunburstMarks::markedAbove(node, ids) != nullptr;
    }
};

// Whether a whole period of the hatching lies within the arc on the pixel's row, away from the outline.
bool isDeepInside(const Marked& marks, const SunburstLayout::Arc& arc, int x, int y) {
    const int along = static_cast<int>(std::ceil((SunburstMarks::period * 0.71 + 4) * marks.scale));
    const int across = static_cast<int>(std::ceil(4 * marks.scale));
    for (const int offset : {-along, 0, along}) {
        for (const int rows : {-across, 0, across}) {
            if (marks.arcAt(x + offset, y + rows) != &arc) {
                return false;
            }
        }
    }
    return true;
}

void expectCoverOfTheMarkedAlone(const Marked& marks) {
    const QImage image = marks.picture();
    const int period = static_cast<int>(std::ceil(SunburstMarks::period * 1.4143 * marks.scale));
    int painted = 0;
    int deep = 0;
    for (int y = 0; y < image.height(); ++y) {
        const auto* row = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            const SunburstLayout::Arc* arc = marks.arcAt(x, y);
            const bool isCovered = arc != nullptr && marks.isCovered(*arc->node);
            if (qAlpha(row[x]) > 8) {  // of 255: an arc's end is a matter of rounding
                ASSERT_TRUE(isCovered) << x << ", " << y;
                ++painted;
            }
            if (isCovered && x % 7 == 0 && y % 7 == 0 && isDeepInside(marks, *arc, x, y)) {
                ++deep;
                bool hasDark = false;
                bool hasLight = false;
                bool hasFill = false;
                for (int along = 0; along <= period; ++along) {
                    const QRgb pixel = row[x - period / 2 + along];
                    hasDark |= qAlpha(pixel) > 200 && qRed(pixel) < 90;
                    hasLight |= qAlpha(pixel) > 200 && qRed(pixel) > 165;
                    hasFill |= qAlpha(pixel) == 0;
                }
                ASSERT_TRUE(hasDark && hasLight && hasFill) << x << ", " << y;
            }
        }
    }
    EXPECT_GT(painted, 500);
    EXPECT_GT(deep, 0);
}

class SunburstMarksAtScale : public testing::TestWithParam<double> {};

TEST_P(SunburstMarksAtScale, coverTheMarkedArcAndAllBelowIt_andNothingElse) {
    for (const std::uint64_t seed : std::initializer_list<std::uint64_t>{7, 11, 19}) {
        const FileNode::Pointer tree = randomTree(seed);
        const SunburstLayout layout(tree);
        Marked marks{.layout = layout, .ids = {}, .scale = GetParam()};
        std::mt19937_64 random(seed);
        for (std::size_t i = 1; i < layout.arcs().size(); ++i) {
            if (layout.arcs()[i].depth == 1 ? i == 1 : random() % 5 == 0) {
                marks.ids.insert(layout.arcs()[i].node->id());
            }
        }
        expectCoverOfTheMarkedAlone(marks);
    }
}

TEST_P(SunburstMarksAtScale, coverAllWhereAFolderAboveTheRootIsMarked) {
    const FileNode::Pointer inner =
        folder("inner", {folder("a", {file("b", 60), file("c", 30)}), file("d", 10)});
    const FileNode::Pointer outer = folder("outer", {inner});
    const FileNode::Pointer top = root({outer});
    const SunburstLayout layout(inner);
    const std::set<UUID> ids{outer->id()};
    ASSERT_EQ(SunburstMarks::markedAbove(*inner, ids), outer);
    expectCoverOfTheMarkedAlone({.layout = layout, .ids = ids, .scale = GetParam(), .isRootCovered = true});
}

// Of arcs hardly wider than what is drawn, every second one.
TEST_P(SunburstMarksAtScale, keepWithinTheNarrowestArcs) {
    const FileNode::Pointer tree = densestTree(700);
    const SunburstLayout layout(tree);
    Marked marks{.layout = layout, .ids = {}, .scale = GetParam()};
    for (std::size_t i = 0; i < tree->children().size(); i += 2) {
        marks.ids.insert(tree->children()[i]->id());
    }
    const QImage image = marks.picture();
    int painted = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (qAlpha(image.pixel(x, y)) > 8) {
                ++painted;
                const SunburstLayout::Arc* arc = marks.arcAt(x, y);
                ASSERT_TRUE(arc != nullptr && marks.isCovered(*arc->node)) << x << ", " << y;
            }
        }
    }
    EXPECT_GT(painted, 5'000);
}

INSTANTIATE_TEST_SUITE_P(Scales, SunburstMarksAtScale, testing::Values(1.0, 1.5, 2.0));

TEST(SunburstMarks, withoutMarksAreNothing) {
    const SunburstLayout layout(randomTree(7));
    EXPECT_TRUE(SunburstMarks(layout, {}, false, {.side = side}).isEmpty());
    EXPECT_TRUE(SunburstMarks(layout, {UUID::make()}, false, {.side = side}).isEmpty());
    const QImage image = Marked{.layout = layout, .ids = {UUID::make()}}.picture();
    EXPECT_EQ(image.pixel(90, 180), 0u);
    EXPECT_EQ(image.pixel(0, 0), 0u);
}

// A line lies along both edges of a marked arc, light outside and dark within.
TEST(SunburstMarks, outlineTheMarkedArc) {
    const FileNode::Pointer tree = root({file("a", 60), file("b", 40)});
    const SunburstLayout layout(tree);
    const Marked marks{.layout = layout, .ids = {tree->children()[0]->id()}, .scale = 2};
    const QImage image = marks.picture();
    const SunburstGeometry geometry{.side = side * 2};
    const double outer = geometry.innerRadius(1) + geometry.ringWidth() - 2;
    // Level with the centre on the right, where the arc of "a" lies and rows cross its edge squarely.
    const auto pixel = [&](double inside) {
        return image.pixel(static_cast<int>(side + outer - inside), static_cast<int>(side));
    };
    EXPECT_GT(qRed(pixel(1.5)), 230);
    EXPECT_GT(qAlpha(pixel(1.5)), 230);
    EXPECT_LT(qRed(pixel(4)), 60);
    EXPECT_GT(qAlpha(pixel(4)), 230);
}

double linear(double component) {
    return component <= 0.04045 ? component / 12.92 : std::pow((component + 0.055) / 1.055, 2.4);
}

double luminance(const SunburstColour& colour) {
    return 0.2126 * linear(colour.red) + 0.7152 * linear(colour.green) + 0.0722 * linear(colour.blue);
}

double contrast(const SunburstColour& a, const SunburstColour& b) {
    const double first = luminance(a);
    const double second = luminance(b);
    return (std::max(first, second) + 0.05) / (std::min(first, second) + 0.05);
}

SunburstColour onto(const SunburstColour& colour, const SunburstColour& surface) {
    const auto mix = [&](double over, double below) {
        return over * colour.opacity + below * (1 - colour.opacity);
    };
    return {.red = mix(colour.red, surface.red),
            .green = mix(colour.green, surface.green),
            .blue = mix(colour.blue, surface.blue),
            .opacity = 1};
}

TEST(SunburstMarks, haveATone_thatIsSeenOnEachColourOfTheMap_inLightAndDark) {
    constexpr SunburstColour light{.red = 1, .green = 1, .blue = 1, .opacity = 1};
    constexpr SunburstColour dark{
        .red = 0x1e / 255.0, .green = 0x21 / 255.0, .blue = 0x28 / 255.0, .opacity = 1};
    std::vector<SunburstColour> fills{SunburstPalette::marked()};
    for (std::size_t hue = 0; hue < SunburstPalette::hues.size(); ++hue) {
        for (int depth = 0; depth < SunburstGeometry::ringCount; ++depth) {
            fills.push_back(SunburstPalette::arc(hue, depth));
            fills.push_back(SunburstPalette::arc(hue, depth, true));
        }
    }
    for (const SunburstColour& surface : {light, dark}) {
        for (const SunburstColour& fill : fills) {
            const SunburstColour seen = onto(fill, surface);
            EXPECT_GE(std::max(contrast(seen, SunburstPalette::hatchDark()),
                               contrast(seen, SunburstPalette::hatchLight())),
                      3.0);
        }
    }
}

}  // namespace
}  // namespace larkfold
