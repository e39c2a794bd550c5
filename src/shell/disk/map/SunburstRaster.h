// Draws the map into pixels, in one pass over the pixels and whatever the number of arcs.
//
// A general path filler pays for each arc and for each arc's stroke. Here the question is turned round: a
// pixel knows its radius and its angle, hence its ring and, through a table, the few arcs that it touches.
// Nearly all pixels lie within one arc and are copied in runs; near an edge the shares of fill and stroke are
// computed from the distances, arc after arc in the order of drawing. The picture is that of filling each arc
// and then stroking it with half a unit of white at 0.3, both anti-aliased. A full circle has no radial
// edges. The areas between arcs stay transparent, so that one picture serves light and dark.
//
// A map is prepared once for a layout and painted at will. It keeps no reference to the layout. A value
// without locks: one thread at a time.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <vector>

#include "platform/UUID.h"
#include "shell/disk/map/SunburstGeometry.h"
#include "shell/disk/map/SunburstLayout.h"
#include "shell/disk/map/SunburstPalette.h"

namespace larkfold {

class SunburstRaster {
public:
    // Pixels as 0xAARRGGBB, premultiplied, rows `stride` pixels apart.
    struct Pixels {
        std::uint32_t* data = nullptr;
        int width = 0;
        int height = 0;
        std::size_t stride = 0;
    };

    // Where the map lies in the picture.
    struct View {
        double centreX = 0;  // pixels
        double centreY = 0;
        double side = 0;   // pixels
        double scale = 1;  // pixels per unit of length: gaps and strokes grow with it
    };

    // What part of the circle the layout fills. While a folder opens, it grows from its
    // own arc to the whole circle.
    struct Opening {
        double start = 0;  // degrees
        double end = 360;
        double depth = 0;  // rings that the innermost arc lies further out
    };

    struct Rect {
        int x = 0;
        int y = 0;
        int width = 0;
        int height = 0;
    };

    // How `paintArc` sets one arc apart from the others.
    struct Highlight {
        bool isRaised = false;  // the colour under the pointer
        // For the keyboard's place: a line around the arc and nothing else.
        std::optional<SunburstColour> outline;
        SunburstColour background;  // what the map lies on
    };

    // A map of nothing.
    SunburstRaster() = default;
    SunburstRaster(const SunburstLayout& layout, const std::set<UUID>& marked, const View& view,
                   const SunburstColour& disc, const Opening& opening);

    // The map as it rests, open.
    SunburstRaster(const SunburstLayout& layout, const std::set<UUID>& marked, const View& view,
                   const SunburstColour& disc)
        : SunburstRaster(layout, marked, view, disc, Opening()) {}

    // Paints the whole picture; pixels off the map become transparent.
    void paint(const Pixels& pixels) const;

    // The pixels that an arc of the layout touches, its outline included, cut to a picture of the given size.
    Rect boundsOf(std::size_t arc, int width, int height) const;
    // Paints what replaces the pixels of `bounds` to show one arc highlighted: opaque where the arc touches a
    // pixel, with everything else that lies there and the background blended in, and transparent elsewhere.
    // Laid over the map it thus covers and never mixes with it. An outline is that line alone, to be laid
    // over whatever else lies there.
    void paintArc(std::size_t arc, const Highlight& highlight, const Rect& bounds,
                  const Pixels& pixels) const;

private:
    using Vec =
        float __attribute__((vector_size(16)));  // blue, green, red, opacity, times 255, premultiplied

    struct Segment {
        Vec fill;
        float start;  // radians
        float end;
        // The way across an edge is `x * edge.x + y * edge.y`, from the centre:
        // positive inside of the segment.
        struct Edge {
            float x;
            float y;
        };
        Edge startEdge;
        Edge endEdge;
        bool isConvex;         // less than half of the circle: inside of both edges is inside of the segment
        std::uint32_t packed;  // the fill as a pixel; 0 for a gap between arcs
        std::uint32_t arc;     // `noArc` for a gap
    };
    static constexpr std::uint32_t noArc = 0xffffffff;
    static constexpr int bucketCount = 4096;

    // The segments cover the circle without holes, with some repeated on either side of it, so that a pixel
    // at the top finds its neighbours on both.
    struct Ring {
        float inner = 0;  // pixels
        float outer = 0;
        std::vector<Segment> segments;
        std::vector<std::uint32_t> buckets;  // the first segment that ends beyond the start of the bucket

        const Segment* at(float angle) const;
    };

    // The picture from the centre outwards.
    struct Band {
        float limit;  // radius where it ends
        int content;  // a ring, or one of the below
    };
    static constexpr int discBand = -1;
    static constexpr int emptyBand = -2;
    static constexpr int edgeBand = -3;

    struct ArcPlace {
        int ring = -1;
        float start = 0;  // radians
        float end = 0;
        SunburstColour raised;
        bool isMarked = false;
    };

    static Segment makeSegment(double start, double end, const SunburstColour& colour, std::uint32_t arc);
    void addRing(const SunburstLayout& layout, const std::vector<std::uint32_t>& arcsOfRing, double depth,
                 const Opening& opening, const std::vector<SunburstColour>& colours);
    void addBands();
    Vec edgePixel(const std::vector<const Ring*>& rings, float radius, float angle) const;
    void paintRing(const Ring& ring, float offsetX, float offsetY, const float* radius, const float* angle,
                   std::uint32_t* pixel, std::uint32_t* end) const;
    float safeRun(const Segment& segment, float offsetX, float offsetY, float radius, float nearest) const;
    template <bool isWithinRing>
    static Vec blend(const Ring& ring, const Segment* segment, float radius, float angle, float halfStroke,
                     Vec pixel);

    View view_;
    float halfStroke_ = 0;  // pixels
    float reach_ = 0;       // how far from an edge a pixel's centre feels it
    float discRadius_ = 0;
    Vec discFill_{};
    std::uint32_t discPacked_ = 0;
    std::vector<Ring> rings_;
    std::vector<Band> bands_;
    std::vector<ArcPlace> places_;
};

}  // namespace larkfold
