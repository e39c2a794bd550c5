// Sums of byte counts and counts that are held at the end of the range where they would leave it: values that
// were read from a damaged store may be anything.
#pragma once

#include <cstdint>
#include <limits>

namespace larkfold {

inline std::int64_t saturatingSum(std::int64_t left, std::int64_t right) {
    std::int64_t sum;
    if (!__builtin_add_overflow(left, right, &sum)) {
        return sum;
    }
    return left < 0 ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
}

inline std::int64_t saturatingDifference(std::int64_t left, std::int64_t right) {
    std::int64_t difference;
    if (!__builtin_sub_overflow(left, right, &difference)) {
        return difference;
    }
    return left < 0 ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
}

}  // namespace larkfold
