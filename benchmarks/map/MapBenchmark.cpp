// What a redraw of the map costs, what a general painter would take for it, and what a pointer move costs.
#include <benchmark/benchmark.h>

#include <QImage>
#include <set>
#include <vector>

#include "shell/disk/map/SunburstMarks.h"
#include "shell/disk/map/SunburstRaster.h"
#include "shell/disk/map/SunburstReference.h"
#include "shell/disk/map/SunburstTrees.h"

namespace larkfold {
namespace {

constexpr SunburstColour accent{.red = 0.17, .green = 0.39, .blue = 0.91, .opacity = 0.8};
constexpr SunburstColour white{.red = 1, .green = 1, .blue = 1, .opacity = 1};
constexpr double width = 900;
constexpr double height = 600;

SunburstRaster::View viewAt(double scale) {
    return {.centreX = 300 * scale, .centreY = 300 * scale, .side = 600 * scale, .scale = scale};
}

struct Picture {
    explicit Picture(double scale)
        : image(static_cast<int>(600 * scale), static_cast<int>(600 * scale),
                QImage::Format_ARGB32_Premultiplied) {}
    SunburstRaster::Pixels pixels() {
        return {.data = reinterpret_cast<std::uint32_t*>(image.bits()),
                .width = image.width(),
                .height = image.height(),
                .stride = static_cast<std::size_t>(image.bytesPerLine()) / 4};
    }
    QImage image;
};

// The argument of the drawing benchmarks: pixels per unit.
void redraw(benchmark::State& state, const FileNode::Pointer& tree) {
    const auto scale = static_cast<double>(state.range(0));
    Picture picture(scale);
    std::size_t arcs = 0;
    for (auto _ : state) {
        const SunburstLayout layout(tree);
        const SunburstRaster raster(layout, {}, viewAt(scale), accent);
        raster.paint(picture.pixels());
        arcs = layout.arcs().size();
        benchmark::ClobberMemory();
    }
    state.counters["arcs"] = static_cast<double>(arcs);
}

// Everything from the tree to the pixels.
void redrawDensestMap(benchmark::State& state) {
    redraw(state, test::densestTree(700));
}
BENCHMARK(redrawDensestMap)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

void redrawOrdinaryMap(benchmark::State& state) {
    redraw(state, test::randomTree(7));
}
BENCHMARK(redrawOrdinaryMap)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

// Hatching and outlines for a change of marks: of every second child, so that no two arcs share an outline.
void markDensestMap(benchmark::State& state) {
    const auto scale = static_cast<double>(state.range(0));
    const FileNode::Pointer tree = test::densestTree(700);
    std::set<UUID> marked;
    for (std::size_t i = 0; i < tree->children().size(); i += 2) {
        marked.insert(tree->children()[i]->id());
    }
    const SunburstLayout layout(tree);
    Picture picture(scale);
    for (auto _ : state) {
        SunburstMarks(layout, marked, false, viewAt(scale)).paint(picture.pixels());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(markDensestMap)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

// All of the map goes with a folder above it.
void markWholeMap(benchmark::State& state) {
    const auto scale = static_cast<double>(state.range(0));
    const FileNode::Pointer tree = test::densestTree(700);
    const SunburstLayout layout(tree);
    Picture picture(scale);
    for (auto _ : state) {
        SunburstMarks(layout, {tree->id()}, true, viewAt(scale)).paint(picture.pixels());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(markWholeMap)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

void layOutDensestMap(benchmark::State& state) {
    const FileNode::Pointer tree = test::densestTree(700);
    for (auto _ : state) {
        benchmark::DoNotOptimize(SunburstLayout(tree));
    }
}
BENCHMARK(layOutDensestMap)->Unit(benchmark::kMillisecond);

// The same picture by the toolkit's painter: fill each arc, stroke each arc.
void redrawDensestMapByPainter(benchmark::State& state) {
    const auto scale = static_cast<double>(state.range(0));
    const FileNode::Pointer tree = test::densestTree(700);
    for (auto _ : state) {
        const SunburstLayout layout(tree);
        benchmark::DoNotOptimize(test::drawnByPainter(layout, SunburstGeometry::inArea(600, 600), scale,
                                                      static_cast<int>(600 * scale),
                                                      static_cast<int>(600 * scale), {}, accent));
    }
}
BENCHMARK(redrawDensestMapByPainter)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

std::vector<std::pair<double, double>> pointerPath() {
    std::mt19937_64 random(5);
    std::vector<std::pair<double, double>> points;
    for (int i = 0; i < 4096; ++i) {
        points.emplace_back(static_cast<double>(random() % 900'000) / 1000,
                            static_cast<double>(random() % 600'000) / 1000);
    }
    return points;
}

void hitTest(benchmark::State& state, const FileNode::Pointer& tree) {
    const SunburstLayout layout(tree);
    const SunburstGeometry geometry = SunburstGeometry::inArea(width, height);
    const auto points = pointerPath();
    std::size_t next = 0;
    for (auto _ : state) {
        const auto& [x, y] = points[next++ % points.size()];
        benchmark::DoNotOptimize(layout.hitTest(geometry, x, y));
    }
}

void hitTestInDensestMap(benchmark::State& state) {
    hitTest(state, test::densestTree(700));
}
BENCHMARK(hitTestInDensestMap)->Unit(benchmark::kMicrosecond);

// The root holds two folders of 50,000 children each, sizes falling.
FileNode::Pointer crowdedTree() {
    const auto crowd = [](std::string_view name) {
        std::vector<FileNode::Pointer> children;
        for (int i = 0; i < 50'000; ++i) {
            children.push_back(test::file("f" + std::to_string(i), 100'000 - i));
        }
        return test::folder(name, std::move(children));
    };
    return test::root({crowd("a"), crowd("b")});
}

void hitTestBesideFiftyThousandChildren(benchmark::State& state) {
    hitTest(state, crowdedTree());
}
BENCHMARK(hitTestBesideFiftyThousandChildren)->Unit(benchmark::kMicrosecond);

void layOutFiftyThousandChildrenTwice(benchmark::State& state) {
    const FileNode::Pointer tree = crowdedTree();
    for (auto _ : state) {
        benchmark::DoNotOptimize(SunburstLayout(tree));
    }
}
BENCHMARK(layOutFiftyThousandChildrenTwice)->Unit(benchmark::kMillisecond);

// The very first visit to a folder that is too narrow to be drawn and was not looked through with the layout.
void firstHitInUndrawnFolder(benchmark::State& state) {
    std::vector<FileNode::Pointer> children;
    for (int i = 0; i < 900; ++i) {
        std::vector<FileNode::Pointer> files;
        for (int j = 0; j < 999; ++j) {
            files.push_back(test::file("f", 1'000));
        }
        children.push_back(test::folder("d", std::move(files)));
    }
    const FileNode::Pointer tree = test::root(std::move(children));
    std::vector<SunburstLayout> fresh;
    double angle = 0;
    SunburstLayout layout(tree);
    for (auto _ : state) {
        if (angle >= 359) {
            state.PauseTiming();
            layout = SunburstLayout(tree);
            angle = 0;
            state.ResumeTiming();
        }
        benchmark::DoNotOptimize(layout.nodeAt(2, angle));
        angle += 0.4;
    }
}
BENCHMARK(firstHitInUndrawnFolder)->Unit(benchmark::kMicrosecond);

// A pointer move over the map: hit test, and the picture of the arc under the pointer.
void pointerMove(benchmark::State& state, const FileNode::Pointer& tree) {
    const auto scale = static_cast<double>(state.range(0));
    const SunburstLayout layout(tree);
    const SunburstGeometry geometry = SunburstGeometry::inArea(width, height);
    const SunburstRaster raster(layout, {}, viewAt(scale), accent);
    const auto points = pointerPath();
    Picture picture(scale);
    std::size_t next = 0;
    for (auto _ : state) {
        const auto& [x, y] = points[next++ % points.size()];
        const FileNode::Pointer node = layout.hitTest(geometry, x, y);
        if (const auto arc = node ? layout.arcOf(*node) : std::nullopt) {
            const SunburstRaster::Rect bounds =
                raster.boundsOf(*arc, picture.image.width(), picture.image.height());
            raster.paintArc(*arc, {.isRaised = true, .outline = {}, .background = white}, bounds,
                            picture.pixels());
        }
    }
}

void pointerMoveOverDensestMap(benchmark::State& state) {
    pointerMove(state, test::densestTree(700));
}
BENCHMARK(pointerMoveOverDensestMap)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

void pointerMoveOverOrdinaryMap(benchmark::State& state) {
    pointerMove(state, test::randomTree(7));
}
BENCHMARK(pointerMoveOverOrdinaryMap)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

// The largest arcs there are: one child in each ring, so that every arc is a whole circle.
void pointerMoveOverWholeCircles(benchmark::State& state) {
    pointerMove(
        state,
        test::root({test::folder("a", {test::folder("b", {test::folder("c", {test::file("d", 100)})})})}));
}
BENCHMARK(pointerMoveOverWholeCircles)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace larkfold
