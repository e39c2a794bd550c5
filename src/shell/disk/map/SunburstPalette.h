// The colours of the map. They go by the position in the tree, not by the kind of file.
#pragma once

#include <array>
#include <cstddef>

namespace larkfold {

// Components from 0 to 1, not multiplied by the opacity.
struct SunburstColour {
    double red = 0;
    double green = 0;
    double blue = 0;
    double opacity = 1;

    bool operator==(const SunburstColour&) const = default;
};

struct SunburstPalette {
    static constexpr std::array<double, 13> hues = {0.0, 0.08, 0.12, 0.17, 0.25, 0.33, 0.42,
                                                    0.5, 0.58, 0.67, 0.75, 0.83, 0.92};
    static constexpr double saturation = 0.7;
    static constexpr double brightness = 0.9;
    static constexpr double hoverBrightness = 0.15;  // added, up to 1
    static constexpr double markedOpacity = 0.8;
    static constexpr double strokeOpacity = 0.3;  // of the white line around each arc
    static constexpr double strokeWidth = 0.5;

    // The opacity of a ring: 1 - min(0.4, depth * 0.08).
    static double opacity(int depth);
    // The colour of an arc; `index` may be of any size and wraps around.
    static SunburstColour arc(std::size_t index, int depth, bool isHovered = false);
    // The red of what is marked for deletion; it does not change under the pointer.
    static SunburstColour marked() { return {.red = 1, .green = 0, .blue = 0, .opacity = markedOpacity}; }
    // The two tones of what lies over all that goes with a mark: on every colour of the map, over light and
    // over dark, one of them is seen.
    static SunburstColour hatchDark() { return {.red = 0.07, .green = 0.08, .blue = 0.1, .opacity = 1}; }
    static SunburstColour hatchLight() { return {.red = 1, .green = 1, .blue = 1, .opacity = 1}; }
};

}  // namespace larkfold
