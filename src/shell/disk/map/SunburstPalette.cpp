#include "shell/disk/map/SunburstPalette.h"

#include <algorithm>
#include <cmath>

namespace larkfold {

namespace {

SunburstColour fromHue(double hue, double saturation, double brightness, double opacity) {
    const double sixth = (hue - std::floor(hue)) * 6;
    const int sector = static_cast<int>(sixth);
    const double fraction = sixth - sector;
    const double low = brightness * (1 - saturation);
    const double falling = brightness * (1 - saturation * fraction);
    const double rising = brightness * (1 - saturation * (1 - fraction));
    switch (sector) {
        case 0:
            return {brightness, rising, low, opacity};
        case 1:
            return {falling, brightness, low, opacity};
        case 2:
            return {low, brightness, rising, opacity};
        case 3:
            return {low, falling, brightness, opacity};
        case 4:
            return {rising, low, brightness, opacity};
        default:
            return {brightness, low, falling, opacity};
    }
}

}  // namespace

double SunburstPalette::opacity(int depth) {
    return 1 - std::min(0.4, depth * 0.08);
}

SunburstColour SunburstPalette::arc(std::size_t index, int depth, bool isHovered) {
    const double lit = isHovered ? std::min(1.0, brightness + hoverBrightness) : brightness;
    return fromHue(hues[index % hues.size()], saturation, lit, opacity(depth));
}

}  // namespace larkfold
