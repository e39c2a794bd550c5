// What is marked for deletion, told without a colour: hatching over each marked arc and over all that goes
// with it, and an outline around them.
//
// Both are drawn in two tones, of which one is seen on every colour of the map. They lie in a picture of
// their own above the fills, which stay as they are, and nothing is painted outside of the arcs. Marked arcs
// side by side have one outline. Prepared once for a layout and painted at will, as `SunburstRaster`; it
// keeps no reference to the layout. A value without locks: one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <vector>

#include "platform/UUID.h"
#include "shell/disk/map/SunburstLayout.h"
#include "shell/disk/map/SunburstRaster.h"

namespace larkfold {

class SunburstMarks {
public:
    // In units of length; each tone's line is that wide.
    static constexpr double period = 9;
    static constexpr double hatchLine = 1.25;
    static constexpr double outlineLine = 1.25;

    // Nothing is marked.
    SunburstMarks() = default;
    // `isRootCovered`: a folder above the layout's root is marked, so that all of the map goes with it.
    SunburstMarks(const SunburstLayout& layout, const std::set<UUID>& marked, bool isRootCovered,
                  const SunburstRaster::View& view);

    // Whether no arc is covered.
    bool isEmpty() const { return rings_.empty(); }
    // Paints the whole picture: transparent but for hatching and outlines.
    void paint(const SunburstRaster::Pixels& pixels) const;

    // The nearest folder above the node that is marked; null where there is none. Costs the node's depth.
    static FileNode::Pointer markedAbove(const FileNode& node, const std::set<UUID>& marked);

private:
    // Covered arcs side by side.
    struct Stretch {
        float start;  // radians; the first one may begin before the top
        float end;
    };
    struct Ring {
        float inner;  // pixels
        float outer;
        std::vector<Stretch> stretches;  // clockwise, not empty
    };

    void addRing(int depth, std::vector<Stretch> stretches);
    std::vector<std::uint32_t> hatching(int count) const;
    void paintSpan(const Ring& ring, const float* radius, const float* angle, const std::uint32_t* hatch,
                   std::uint32_t* pixel, const std::uint32_t* end) const;

    SunburstRaster::View view_;
    std::vector<Ring> rings_;  // from the centre outwards
};

}  // namespace larkfold
