// The picture of the map against the toolkit's own painter, which draws arc after arc.
#include <gtest/gtest.h>

#include <QImage>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "shell/SunburstReference.h"
#include "shell/SunburstTrees.h"
#include "shell/map/SunburstRaster.h"

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
    EXPECT_LT(difference.mean, 1.0);
    EXPECT_LT(difference.beyond24, 0.01);
    EXPECT_LT(difference.max, 64);
}

INSTANTIATE_TEST_SUITE_P(Trees, SunburstPicture, testing::Range(0, 8));

}  // namespace
}  // namespace larkfold
