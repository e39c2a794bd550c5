#include "shell/disk/map/SunburstGeometry.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace larkfold {

SunburstGeometry SunburstGeometry::inArea(double width, double height) {
    return {.centreX = width / 2, .centreY = height / 2, .side = std::max(0.0, std::min(width, height))};
}

SunburstGeometry::PolarPosition SunburstGeometry::positionOf(double x, double y) const {
    const double offsetX = x - centreX;
    const double offsetY = y - centreY;
    const double radius = std::sqrt(offsetX * offsetX + offsetY * offsetY);
    double angle = std::atan2(offsetY, offsetX) * 180 / std::numbers::pi + 90;
    if (angle < 0) {
        angle += 360;
    }
    if (radius < discRadius()) {
        return {.ring = -1, .angle = angle};
    }
    const double ring = (radius - discRadius()) / ringWidth();
    // An area without extent has rings without width; the comparison is false for what is not a number, too.
    return {.ring = ring < ringCount ? static_cast<int>(ring) : ringCount, .angle = angle};
}

}  // namespace larkfold
