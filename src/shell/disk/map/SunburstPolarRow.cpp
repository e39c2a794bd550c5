#include "shell/disk/map/SunburstPolarRow.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <numbers>

namespace larkfold {

namespace {

using Vec = float __attribute__((vector_size(16)));
using IntVec = std::int32_t __attribute__((vector_size(16)));

constexpr float pi = std::numbers::pi_v<float>;
constexpr float turn = 2 * pi;

Vec splat(float value) {
    return Vec{value, value, value, value};
}

}  // namespace

// Four at a time, with a square root by Newton's steps and the arc tangent by a polynomial: neither calls a
// function.
void polarRow(float offsetX, float offsetY, int count, float* radius, float* angle) {
    const Vec y = splat(std::abs(offsetY));
    const Vec ySquared = y * y;
    const bool isUpper = offsetY < 0;
    const Vec baseRight = splat(isUpper ? 0 : pi);
    const Vec baseLeft = splat(isUpper ? turn : pi);
    const float signRight = isUpper ? 1.0f : -1.0f;
    Vec x = Vec{offsetX, offsetX + 1, offsetX + 2, offsetX + 3};
    for (int i = 0; i < count; i += 4) {
        const IntVec isLeft = x < splat(0);
        const Vec absoluteX = isLeft ? -x : x;
        const Vec squared = x * x + ySquared;

        IntVec bits;
        std::memcpy(&bits, &squared, sizeof bits);
        bits = 0x5f375a86 - (bits >> 1);
        Vec inverse;
        std::memcpy(&inverse, &bits, sizeof inverse);
        const Vec half = squared * splat(0.5f);
        for (int step = 0; step < 3; ++step) {
            inverse = inverse * (splat(1.5f) - half * inverse * inverse);
        }
        const Vec r = squared * inverse;

        const IntVec isFlat = absoluteX > y;
        const Vec smaller = isFlat ? y : absoluteX;
        const Vec larger = (isFlat ? absoluteX : y) + splat(1e-20f);
        const Vec q = smaller / larger;
        const Vec z = q * q;
        Vec p = splat(0.007648353926762766f);
        p = p * z + splat(-0.03636043085731773f);
        p = p * z + splat(0.08312645300619582f);
        p = p * z + splat(-0.13447864058090495f);
        p = p * z + splat(0.19872040268214597f);
        p = p * z + splat(-0.33325678039723927f);
        p = p * z + splat(0.9999992255890977f);
        const Vec arcTangent = p * q;
        const Vec fromVertical = isFlat ? splat(pi / 2) - arcTangent : arcTangent;
        const Vec a =
            isLeft ? baseLeft - splat(signRight) * fromVertical : baseRight + splat(signRight) * fromVertical;
        std::memcpy(radius + i, &r, sizeof r);
        std::memcpy(angle + i, &a, sizeof a);
        x += splat(4);
    }
}

}  // namespace larkfold
