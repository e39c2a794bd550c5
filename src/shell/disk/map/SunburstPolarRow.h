// Where the pixels of a row lie around the centre of the map.
#pragma once

namespace larkfold {

// Radius, in pixels, and angle, in radians from 0 at the top and growing clockwise, of `count` pixels next to
// each other, of which the first lies at the given offset from the centre. Both are exact to well below a
// thousandth of a pixel. Both arrays have room for three more than that.
void polarRow(float offsetX, float offsetY, int count, float* radius, float* angle);

}  // namespace larkfold
