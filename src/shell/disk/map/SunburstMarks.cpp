#include "shell/disk/map/SunburstMarks.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>
#include <utility>

#include "shell/disk/map/SunburstGeometry.h"
#include "shell/disk/map/SunburstPalette.h"
#include "shell/disk/map/SunburstPolarRow.h"

namespace larkfold {

namespace {

using Vec = float __attribute__((vector_size(16)));  // blue, green, red, opacity, times 255, premultiplied
using IntVec = std::int32_t __attribute__((vector_size(16)));

constexpr float halfPixel = 0.5f;
constexpr float turn = 2 * std::numbers::pi_v<float>;
// A line takes this much of a narrow arc at most, so that its fill is seen.
constexpr float largestLineShare = 1.0f / 8;
// Ends of neighbours are sums of the same sizes, added up in another order.
constexpr float sameAngle = 1e-5f;

float clampToOne(float value) {
    return std::min(std::max(value, 0.0f), 1.0f);
}

Vec splat(float value) {
    return Vec{value, value, value, value};
}

Vec toVec(const SunburstColour& colour) {
    const double factor = colour.opacity * 255;
    return Vec{static_cast<float>(colour.blue * factor), static_cast<float>(colour.green * factor),
               static_cast<float>(colour.red * factor), static_cast<float>(factor)};
}

Vec unpacked(std::uint32_t pixel) {
    return Vec{static_cast<float>(pixel & 255), static_cast<float>(pixel >> 8 & 255),
               static_cast<float>(pixel >> 16 & 255), static_cast<float>(pixel >> 24)};
}

std::uint32_t packed(Vec colour) {
    const IntVec whole = __builtin_convertvector(colour + splat(0.5f), IntVec);
    return static_cast<std::uint32_t>(whole[0]) | static_cast<std::uint32_t>(whole[1]) << 8 |
           static_cast<std::uint32_t>(whole[2]) << 16 | static_cast<std::uint32_t>(whole[3]) << 24;
}

}  // namespace

SunburstMarks::SunburstMarks(const SunburstLayout& layout, const std::set<UUID>& marked, bool isRootCovered,
                             const SunburstRaster::View& view)
    : view_(view) {
    const std::vector<SunburstLayout::Arc>& arcs = layout.arcs();
    if (marked.empty() || arcs.empty()) {
        return;
    }
    std::array<std::vector<Stretch>, SunburstGeometry::ringCount> stretches;
    std::vector<bool> isCovered(arcs.size());
    for (std::size_t i = 0; i < arcs.size(); ++i) {
        const SunburstLayout::Arc& arc = arcs[i];
        // A folder stands before its children; the first arc is its own parent.
        isCovered[i] = (i == 0 ? isRootCovered : isCovered[arc.parent]) || marked.contains(arc.node->id());
        if (!isCovered[i]) {
            continue;
        }
        constexpr double radians = std::numbers::pi / 180;
        const auto start = static_cast<float>(arc.start * radians);
        const float end = std::min(static_cast<float>(arc.end * radians), turn);
        std::vector<Stretch>& ring = stretches[static_cast<std::size_t>(arc.depth)];
        if (!ring.empty() && start <= ring.back().end + sameAngle) {
            ring.back().end = std::max(ring.back().end, end);
        } else {
            ring.push_back({.start = start, .end = end});
        }
    }
    for (int depth = 0; depth < SunburstGeometry::ringCount; ++depth) {
        addRing(depth, std::move(stretches[static_cast<std::size_t>(depth)]));
    }
}

void SunburstMarks::addRing(int depth, std::vector<Stretch> stretches) {
    const SunburstGeometry geometry{.side = view_.side};
    Ring ring{.inner = static_cast<float>(geometry.innerRadius(depth)),
              .outer = static_cast<float>(geometry.innerRadius(depth) + geometry.ringWidth() -
                                          SunburstGeometry::ringGap * view_.scale),
              .stretches = std::move(stretches)};
    if (ring.stretches.empty() || ring.outer <= ring.inner) {
        return;
    }
    Stretch& first = ring.stretches.front();
    if (first.start <= sameAngle && ring.stretches.back().end >= turn - sameAngle) {
        if (ring.stretches.size() == 1) {
            // Beyond any angle: a whole circle has no ends.
            constexpr float farAway = 10;
            first = {.start = -farAway, .end = farAway};
        } else {
            first.start = ring.stretches.back().start - turn;
            ring.stretches.pop_back();
        }
    }
    rings_.push_back(std::move(ring));
}

FileNode::Pointer SunburstMarks::markedAbove(const FileNode& node, const std::set<UUID>& marked) {
    if (marked.empty()) {
        return nullptr;
    }
    FileNode::Pointer folder = node.parent();
    while (folder && !marked.contains(folder->id())) {
        folder = folder->parent();
    }
    return folder;
}

// The lines rise to the right: a pixel's colour goes by the sum of its column and its row.
std::vector<std::uint32_t> SunburstMarks::hatching(int count) const {
    const Vec dark = toVec(SunburstPalette::hatchDark());
    const Vec light = toVec(SunburstPalette::hatchLight());
    const double distance = period * view_.scale;
    const auto line = static_cast<float>(hatchLine * view_.scale);
    const auto within = [](float position, float from, float to) {
        return clampToOne(position - from + halfPixel) - clampToOne(position - to + halfPixel);
    };
    std::vector<std::uint32_t> colours(static_cast<std::size_t>(std::max(count, 0)));
    for (std::size_t sum = 0; sum < colours.size(); ++sum) {
        // From the middle of the first line on, so that no line lies across the end of a period.
        const auto position =
            static_cast<float>(std::fmod(static_cast<double>(sum) / std::numbers::sqrt2, distance));
        const float begin = static_cast<float>(distance) / 2 - line;
        colours[sum] = packed(dark * splat(within(position, begin, begin + line)) +
                              light * splat(within(position, begin + line, begin + 2 * line)));
    }
    return colours;
}

void SunburstMarks::paintSpan(const Ring& ring, const float* radius, const float* angle,
                              const std::uint32_t* hatch, std::uint32_t* pixel,
                              const std::uint32_t* end) const {
    const Vec dark = toVec(SunburstPalette::hatchDark());
    const Vec light = toVec(SunburstPalette::hatchLight());
    const auto fullLine = static_cast<float>(outlineLine * view_.scale);
    const float fullThickness = ring.outer - ring.inner;
    const std::vector<Stretch>& stretches = ring.stretches;
    const float lowest = stretches.front().start;
    const auto startOf = [&](std::size_t index) {
        return index < stretches.size() ? stretches[index].start : std::numeric_limits<float>::max();
    };
    std::size_t at = 0;
    for (; pixel < end; ++pixel, ++radius, ++angle, ++hatch) {
        const float a = *angle >= turn + lowest ? *angle - turn : *angle;
        if (a >= startOf(at + 1) || (a < startOf(at) && at > 0)) {
            // Mostly the next one on either side.
            if (a >= startOf(at + 1) && a < startOf(at + 2)) {
                ++at;
            } else if (a < startOf(at) && a >= startOf(at - 1)) {
                --at;
            } else {
                const auto beyond = std::upper_bound(
                    stretches.begin(), stretches.end(), a,
                    [](float value, const Stretch& stretch) { return value < stretch.start; });
                at = beyond == stretches.begin() ? 0
                                                 : static_cast<std::size_t>(beyond - stretches.begin()) - 1;
            }
        }
        const Stretch& stretch = stretches[at];
        // How far inside.
        const float depth = std::min({*radius - ring.inner, ring.outer - *radius,
                                      (a - stretch.start) * *radius, (stretch.end - a) * *radius});
        if (depth <= 0) {
            continue;
        }
        const float thickness = std::min(fullThickness, (stretch.end - stretch.start) * *radius);
        const float line = std::min(fullLine, thickness * largestLineShare);
        if (depth >= 2 * line + 1) {
            *pixel = *hatch;
            continue;
        }
        // The shares of the light line at the edge, of the dark one along it, and of the hatching. Smooth
        // from the edge inwards, so that nothing lies outside.
        const float first = clampToOne(depth);
        const float second = clampToOne(depth - line);
        const float third = clampToOne(depth - 2 * line);
        *pixel = packed(light * splat(first - second) + dark * splat(second - third) +
                        unpacked(*hatch) * splat(third));
    }
}

void SunburstMarks::paint(const SunburstRaster::Pixels& pixels) const {
    for (int y = 0; y < pixels.height; ++y) {
        std::fill_n(pixels.data + static_cast<std::size_t>(y) * pixels.stride, pixels.width, 0u);
    }
    if (rings_.empty()) {
        return;
    }
    const std::size_t room = static_cast<std::size_t>(std::max(pixels.width, 0)) + 4;
    std::vector<float> radius(room);
    std::vector<float> angle(room);
    const std::vector<std::uint32_t> hatch = hatching(pixels.width + pixels.height);
    const auto centreX = static_cast<float>(view_.centreX);
    const auto centreY = static_cast<float>(view_.centreY);
    // The first pixel whose centre lies at or right of an offset from the centre.
    const auto pixelAt = [&](float offset) {
        return std::clamp(static_cast<int>(std::ceil(centreX + offset - halfPixel)), 0, pixels.width);
    };
    for (int y = 0; y < pixels.height; ++y) {
        std::uint32_t* const row = pixels.data + static_cast<std::size_t>(y) * pixels.stride;
        const float offsetY = static_cast<float>(y) + halfPixel - centreY;
        const auto extent = [&](float limit) {
            return limit > std::abs(offsetY) ? std::sqrt(limit * limit - offsetY * offsetY) : 0.0f;
        };
        const float outermost = extent(rings_.back().outer);
        const int first = pixelAt(-outermost);
        const int last = pixelAt(outermost);
        if (first >= last) {
            continue;
        }
        polarRow(static_cast<float>(first) + halfPixel - centreX, offsetY, last - first, radius.data(),
                 angle.data());
        for (const Ring& ring : rings_) {
            const float inner = extent(ring.inner);
            const float outer = extent(ring.outer);
            for (const auto& [from, to] :
                 {std::pair(pixelAt(-outer), pixelAt(-inner)), std::pair(pixelAt(inner), pixelAt(outer))}) {
                if (from < to) {
                    paintSpan(ring, radius.data() + (from - first), angle.data() + (from - first),
                              hatch.data() + from + y, row + from, row + to);
                }
            }
        }
    }
}

}  // namespace larkfold
