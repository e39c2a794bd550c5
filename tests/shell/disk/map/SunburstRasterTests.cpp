// The picture of the map against the toolkit's own painter, which draws arc after arc.
#include <gtest/gtest.h>

#include <QImage>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "shell/disk/map/SunburstRaster.h"
#include "shell/disk/map/SunburstReference.h"
#include "shell/disk/map/SunburstTrees.h"

namespace larkfold {
namespace {

using test::densestTree;
using test::file;
using test::folder;
using test::randomTree;
using test::root;

constexpr SunburstColour accent{.red = 0.17, .green = 0.39, .blue = 0.91, .opacity = 0.8};

SunburstRaster::Pixels pixelsOf(QImage& image) {
    return {.data = reinterpret_cast<std::uint32_t*>(image.bits()),
            .width = image.width(),
            .height = image.height(),
            .stride = static_cast<std::size_t>(image.bytesPerLine()) / 4};
}

SunburstRaster::View viewOf(const SunburstGeometry& geometry, double scale) {
    return {.centreX = geometry.centreX * scale,
            .centreY = geometry.centreY * scale,
            .side = geometry.side * scale,
            .scale = scale};
}

QImage rasterised(const SunburstLayout& layout, const SunburstGeometry& geometry, double scale, int width,
                  int height, const std::set<UUID>& marked = {}) {
    QImage image(width, height, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::magenta);  // whatever was there must not shine through
    SunburstRaster(layout, marked, viewOf(geometry, scale), accent).paint(pixelsOf(image));
    return image;
}

struct Difference {
    double mean = 0;  // over the channels of the pixels that either picture touches, of 255
    int max = 0;
    double beyond24 = 0;  // the share of touched pixels with a channel off by more than 24
};

Difference compare(const QImage& a, const QImage& b, const char* name) {
    std::int64_t sum = 0;
    std::int64_t touched = 0;
    std::int64_t far = 0;
    Difference difference;
    for (int y = 0; y < a.height(); ++y) {
        const auto* rowA = reinterpret_cast<const QRgb*>(a.constScanLine(y));
        const auto* rowB = reinterpret_cast<const QRgb*>(b.constScanLine(y));
        for (int x = 0; x < a.width(); ++x) {
            if (rowA[x] == 0 && rowB[x] == 0) {
                continue;
            }
            ++touched;
            int worst = 0;
            for (int shift = 0; shift < 32; shift += 8) {
                const int d = std::abs(static_cast<int>(rowA[x] >> shift & 255) -
                                       static_cast<int>(rowB[x] >> shift & 255));
                sum += d;
                worst = std::max(worst, d);
            }
            far += worst > 24;
            difference.max = std::max(difference.max, worst);
        }
    }
    difference.mean = touched == 0 ? 0 : static_cast<double>(sum) / static_cast<double>(4 * touched);
    difference.beyond24 = touched == 0 ? 0 : static_cast<double>(far) / static_cast<double>(touched);
    if (std::getenv("LARKFOLD_KEEP_PICTURES") != nullptr) {
        a.save(QString("%1-raster.png").arg(name));
        b.save(QString("%1-painter.png").arg(name));
        std::printf("%s: mean %.3f, max %d, beyond 24: %.5f\n", name, difference.mean, difference.max,
                    difference.beyond24);
    }
    return difference;
}

struct Case {
    const char* name;
    FileNode::Pointer tree;
    double width;
    double height;
    double scale;
};

class SunburstPicture : public testing::TestWithParam<int> {};

Case caseOf(int index) {
    switch (index) {
        case 0:
            return {"random", randomTree(7), 600, 600, 1};
        case 1:
            return {"random2x", randomTree(7), 600, 600, 2};
        case 2:
            return {"oddsize", randomTree(11), 433, 517, 1};
        case 3:
            return {"fractional", randomTree(11), 433, 517, 1.25};
        case 4:
            return {"single", root({folder("a", {folder("b", {file("c", 10)})})}), 400, 400, 1};
        case 5:
            return {"dense", densestTree(700), 600, 600, 1};
        case 6:
            return {"dense2x", densestTree(700), 600, 600, 2};
        default:
            return {"halves", root({file("a", 10), file("b", 10), file("c", 10)}), 300, 300, 1};
    }
}

TEST_P(SunburstPicture, isThatOfThePainter) {
    const Case c = caseOf(GetParam());
    const SunburstLayout layout(c.tree);
    const SunburstGeometry geometry = SunburstGeometry::inArea(c.width, c.height);
    const int width = static_cast<int>(std::ceil(c.width * c.scale));
    const int height = static_cast<int>(std::ceil(c.height * c.scale));
    std::set<UUID> marked;
    if (layout.arcs().size() > 3) {
        marked.insert(layout.arcs()[2].node->id());
    }
    const QImage ours = rasterised(layout, geometry, c.scale, width, height, marked);
    const QImage reference = test::drawnByPainter(layout, geometry, c.scale, width, height, marked, accent);
    const Difference difference = compare(ours, reference, c.name);
    // The painter weighs each pixel's square exactly, the rasteriser its width across the edge: that differs
    // by a few percent of a diagonal edge, and nearly every pixel of the densest map lies on one.
    const bool isDense = layout.arcs().size() > 2000;
    EXPECT_LT(difference.mean, isDense ? 4.0 : 1.0);
    EXPECT_LT(difference.beyond24, isDense ? 0.02 : 0.005);
    EXPECT_LT(difference.max, 72);
}

INSTANTIATE_TEST_SUITE_P(Trees, SunburstPicture, testing::Range(0, 8));

QImage onto(const QImage& picture, QColor background) {
    QImage image(picture.size(), QImage::Format_RGB32);
    image.fill(background);
    QPainter(&image).drawImage(0, 0, picture);
    return image;
}

SunburstColour toColour(const QColor& colour) {
    return {.red = colour.redF(), .green = colour.greenF(), .blue = colour.blueF(), .opacity = 1};
}

struct Overlay {
    SunburstRaster::Rect bounds;
    QImage image;
};

Overlay overlayOf(const SunburstRaster& raster, std::size_t arc, const SunburstRaster::Highlight& highlight,
                  QSize size) {
    Overlay overlay;
    overlay.bounds = raster.boundsOf(arc, size.width(), size.height());
    overlay.image = QImage(overlay.bounds.width, overlay.bounds.height, QImage::Format_ARGB32_Premultiplied);
    overlay.image.fill(Qt::magenta);
    raster.paintArc(arc, highlight, overlay.bounds, pixelsOf(overlay.image));
    return overlay;
}

QImage covered(QImage map, const Overlay& overlay) {
    QPainter(&map).drawImage(overlay.bounds.x, overlay.bounds.y, overlay.image);
    return map;
}

class SunburstOverlay : public testing::TestWithParam<double> {
protected:
    const FileNode::Pointer tree_ = randomTree(7);
    const SunburstLayout layout_{tree_};
    const SunburstGeometry geometry_ = SunburstGeometry::inArea(301, 300);
    const double scale_ = GetParam();
    const QSize size_{static_cast<int>(std::ceil(301 * scale_)), static_cast<int>(std::ceil(300 * scale_))};
    const SunburstRaster raster_{layout_, {}, viewOf(geometry_, scale_), accent};
    const QColor background_{30, 33, 40};
};

// Whatever the overlay covers is mixed once and only once, also where it shares a pixel with its neighbours.
TEST_P(SunburstOverlay, thatChangesNothingIsNotSeen) {
    const QImage map =
        onto(rasterised(layout_, geometry_, scale_, size_.width(), size_.height()), background_);
    for (std::size_t arc = 0; arc < layout_.arcs().size(); ++arc) {
        const Overlay overlay = overlayOf(
            raster_, arc, {.isRaised = false, .outline = {}, .background = toColour(background_)}, size_);
        ASSERT_LE(compare(covered(map, overlay), map, "same").max, 2) << arc;
    }
}

TEST_P(SunburstOverlay, thatRaisesAnArcGivesThePictureOfThePainter) {
    const QImage map =
        onto(rasterised(layout_, geometry_, scale_, size_.width(), size_.height()), background_);
    for (std::size_t arc = 0; arc < layout_.arcs().size(); arc += 7) {
        const Overlay overlay = overlayOf(
            raster_, arc, {.isRaised = true, .outline = {}, .background = toColour(background_)}, size_);
        const QImage reference =
            onto(test::drawnByPainter(layout_, geometry_, scale_, size_.width(), size_.height(), {}, accent,
                                      layout_.arcs()[arc].node.get()),
                 background_);
        const QImage lit = covered(map, overlay);
        ASSERT_NE(lit, map) << arc;
        const Difference difference = compare(lit, reference, "raised");
        ASSERT_LT(difference.mean, 1.0) << arc;
        ASSERT_LT(difference.max, 72) << arc;
    }
}

TEST_P(SunburstOverlay, withAnOutlineDrawsItAroundTheArcAndNowhereElse) {
    const SunburstColour outline{.red = 0, .green = 1, .blue = 0, .opacity = 1};
    for (const std::size_t arc : {std::size_t{0}, std::size_t{1}, layout_.arcs().size() - 1}) {
        const SunburstLayout::Arc& place = layout_.arcs()[arc];
        const Overlay overlay =
            overlayOf(raster_, arc,
                      {.isRaised = false, .outline = outline, .background = toColour(background_)}, size_);
        int pure = 0;
        for (int y = 0; y < overlay.image.height(); ++y) {
            for (int x = 0; x < overlay.image.width(); ++x) {
                if (overlay.image.pixel(x, y) != 0xff00ff00) {
                    continue;
                }
                ++pure;
                const SunburstGeometry pixels{.centreX = geometry_.centreX * scale_,
                                              .centreY = geometry_.centreY * scale_,
                                              .side = geometry_.side * scale_};
                const double px = overlay.bounds.x + x + 0.5;
                const double py = overlay.bounds.y + y + 0.5;
                const double radius = std::hypot(px - pixels.centreX, py - pixels.centreY);
                const double inner = pixels.innerRadius(place.depth);
                const double outer = inner + pixels.ringWidth() - scale_;
                const double angle = pixels.positionOf(px, py).angle;
                const double across = std::min(std::abs(std::remainder(angle - place.start, 360.0)),
                                               std::abs(std::remainder(angle - place.end, 360.0))) *
                                      radius * 3.14159265 / 180;
                const double distance =
                    std::min({std::abs(radius - inner), std::abs(radius - outer), across});
                ASSERT_LT(distance, scale_ + 0.5) << "outline away from the edge at " << px << ", " << py;
            }
        }
        EXPECT_GT(pure, 10) << arc;
    }
}

INSTANTIATE_TEST_SUITE_P(Scales, SunburstOverlay, testing::Values(1.0, 1.5, 2.0));

TEST(SunburstRaster, emptyMapIsItsDiscAlone) {
    const SunburstLayout layout(root({file("a", 0)}));
    const QImage image = rasterised(layout, SunburstGeometry::inArea(200, 200), 1, 200, 200);
    EXPECT_EQ(qAlpha(image.pixel(100, 100)), 204);
    EXPECT_EQ(image.pixel(100, 100 - 22), image.pixel(100, 100));
    EXPECT_EQ(image.pixel(100, 100 - 26), 0u);
    EXPECT_EQ(image.pixel(100, 40), 0u);
}

TEST(SunburstRaster, gapsAndSurroundingsAreTransparentWhateverWasThere) {
    const SunburstLayout layout(root({folder("a", {file("b", 1)}), file("c", 1)}));
    const QImage image = rasterised(layout, SunburstGeometry::inArea(200, 200), 1, 200, 200);
    EXPECT_EQ(image.pixel(0, 0), 0u);
    EXPECT_EQ(image.pixel(199, 100), 0u);
    EXPECT_NE(image.pixel(100 + 60, 100), 0u);  // "b", right of the top
    EXPECT_EQ(image.pixel(100 - 60, 100), 0u);  // beyond "c", which has no children
}

TEST(SunburstRaster, markedArcIsRedAtItsOpacityAndStaysSoUnderThePointer) {
    const FileNode::Pointer tree = root({file("a", 10)});
    const SunburstLayout layout(tree);
    const SunburstGeometry geometry = SunburstGeometry::inArea(400, 400);
    const std::set<UUID> marked{tree->children()[0]->id()};
    const QImage image = rasterised(layout, geometry, 1, 400, 400, marked);
    const QRgb red = image.pixel(200 + 92, 200);
    EXPECT_EQ(qAlpha(red), 204);
    EXPECT_EQ(qRed(red), 204);  // premultiplied
    EXPECT_EQ(qGreen(red), 0);
    const SunburstRaster raster(layout, marked, viewOf(geometry, 1), accent);
    const SunburstColour white{.red = 1, .green = 1, .blue = 1, .opacity = 1};
    const Overlay plain =
        overlayOf(raster, 1, {.isRaised = false, .outline = {}, .background = white}, image.size());
    const Overlay raised =
        overlayOf(raster, 1, {.isRaised = true, .outline = {}, .background = white}, image.size());
    EXPECT_EQ(plain.image, raised.image);
}

TEST(SunburstRaster, openingFolderFillsNoMoreThanItsWindowAndGrowsToTheWholeMap) {
    const SunburstLayout layout(root({file("a", 3), file("b", 1)}));
    const SunburstGeometry geometry = SunburstGeometry::inArea(300, 300);
    QImage image(300, 300, QImage::Format_ARGB32_Premultiplied);
    SunburstRaster(layout, {}, viewOf(geometry, 1), accent, {.start = 0, .end = 90, .depth = 2})
        .paint(pixelsOf(image));
    for (int y = 0; y < 300; ++y) {
        for (int x = 0; x < 300; ++x) {
            const SunburstGeometry::PolarPosition place = geometry.positionOf(x + 0.5, y + 0.5);
            const bool isWithin = place.angle > 2 && place.angle < 88 && (place.ring == 2 || place.ring == 3);
            const bool isAway = (place.angle > 92 && place.angle < 358) || place.ring > 4;
            if (isAway && place.ring >= 1) {
                ASSERT_EQ(image.pixel(x, y), 0u) << x << ", " << y;
            }
            const double radius = std::hypot(x + 0.5 - 150, y + 0.5 - 150);
            const double into = std::fmod(radius - geometry.discRadius(), geometry.ringWidth());
            if (isWithin && into > 2 && into < geometry.ringWidth() - 3) {
                ASSERT_NE(image.pixel(x, y), 0u) << x << ", " << y;
            }
        }
    }
    QImage open(300, 300, QImage::Format_ARGB32_Premultiplied);
    SunburstRaster(layout, {}, viewOf(geometry, 1), accent, {.start = 0, .end = 360, .depth = 0})
        .paint(pixelsOf(open));
    EXPECT_EQ(open, rasterised(layout, geometry, 1, 300, 300));
}

TEST(SunburstRaster, paintsAnySizeWithoutLeavingThePicture) {
    const SunburstLayout layout(densestTree(300));
    for (const int side : {1, 2, 3, 7, 16, 31, 64}) {
        // A frame around the picture shows whether anything is written beyond it.
        std::vector<std::uint32_t> memory(static_cast<std::size_t>((side + 2) * (side + 2)), 0x12345678);
        const auto stride = static_cast<std::size_t>(side + 2);
        const SunburstGeometry geometry = SunburstGeometry::inArea(side, side);
        SunburstRaster(layout, {}, viewOf(geometry, 1), accent)
            .paint({.data = memory.data() + stride + 1, .width = side, .height = side, .stride = stride});
        for (std::size_t i = 0; i < memory.size(); ++i) {
            const std::size_t x = i % stride;
            const std::size_t y = i / stride;
            if (x == 0 || y == 0 || x == stride - 1 || y == stride - 1) {
                ASSERT_EQ(memory[i], 0x12345678u) << side;
            }
        }
        EXPECT_NE(memory[(stride + 1) * (stride / 2)], 0x12345678u);
    }
}

TEST(SunburstRaster, mapPushedOffThePictureIsCutAtItsEdges) {
    const SunburstLayout layout(randomTree(3));
    QImage whole(200, 200, QImage::Format_ARGB32_Premultiplied);
    SunburstRaster(layout, {}, {.centreX = 100, .centreY = 100, .side = 200, .scale = 1}, accent)
        .paint(pixelsOf(whole));
    QImage part(120, 90, QImage::Format_ARGB32_Premultiplied);
    SunburstRaster(layout, {}, {.centreX = 100 - 50, .centreY = 100 - 70, .side = 200, .scale = 1}, accent)
        .paint(pixelsOf(part));
    EXPECT_LE(compare(part, whole.copy(50, 70, 120, 90), "cut").max, 1);
}

}  // namespace
}  // namespace larkfold
