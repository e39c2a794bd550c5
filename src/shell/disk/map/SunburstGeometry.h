// Where the rings of the map lie in a drawing area, and where a point lies in the rings.
//
// Lengths are in the units of the area (device independent pixels). Angles are in degrees, 0 at the top,
// growing clockwise. A value; safe from any thread.
#pragma once

namespace larkfold {

struct SunburstGeometry {
    static constexpr int ringCount = 5;
    // What is left free between two rings.
    static constexpr double ringGap = 1.0;

    double centreX = 0;
    double centreY = 0;
    double side = 0;  // the smaller of width and height

    // A map in the middle of an area.
    static SunburstGeometry inArea(double width, double height);

    double discRadius() const { return 0.12 * side; }
    double ringWidth() const { return (0.5 * side - 0.12 * side) / ringCount; }
    // `ring` may lie between two rings while the map opens a folder.
    double innerRadius(double ring) const { return ring * ringWidth() + 0.12 * side; }
    double outerRadius(double ring) const { return innerRadius(ring) + ringWidth() - ringGap; }

    // What a point lies on. `ring` is -1 for the disc, and `ringCount` or more outside of the map.
    struct PolarPosition {
        int ring = 0;
        double angle = 0;  // never negative
    };
    PolarPosition positionOf(double x, double y) const;
};

}  // namespace larkfold
