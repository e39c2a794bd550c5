#include "platform/ByteCountFormatter.h"

#include <string_view>

#include "platform/Collation.h"

namespace larkfold {

namespace {

struct Unit {
    std::string_view name;
    std::uint64_t bytes;
    unsigned decimals;
};

constexpr Unit units[] = {
    {.name = "KB", .bytes = 1'000, .decimals = 0},
    {.name = "MB", .bytes = 1'000'000, .decimals = 1},
    {.name = "GB", .bytes = 1'000'000'000, .decimals = 2},
    {.name = "TB", .bytes = 1'000'000'000'000, .decimals = 2},
    {.name = "PB", .bytes = 1'000'000'000'000'000, .decimals = 2},
    {.name = "EB", .bytes = 1'000'000'000'000'000'000, .decimals = 2},
};

std::string magnitudeText(std::uint64_t bytes) {
    if (bytes == 0) {
        return "Zero KB";
    }
    if (bytes == 1) {
        return "1 byte";
    }
    if (bytes < 1'000) {
        return std::to_string(bytes) + " bytes";
    }
    for (const Unit& unit : units) {
        const std::uint64_t scale = unit.decimals == 0 ? 1 : unit.decimals == 1 ? 10 : 100;
        // In whole numbers of the last decimal shown, so that the rounding is exact at every boundary.
        const std::uint64_t step = unit.bytes / scale;
        const std::uint64_t rounded = bytes / step + (bytes % step >= step - step / 2 ? 1 : 0);
        if (rounded >= 1'000 * scale && &unit != std::end(units) - 1) {
            continue;  // "1,000" of this unit is 1 of the next
        }
        std::string text = std::to_string(rounded / scale);
        std::string decimals = unit.decimals == 0 ? "" : std::to_string(scale + rounded % scale).substr(1);
        while (decimals.ends_with('0')) {
            decimals.pop_back();
        }
        if (!decimals.empty()) {
            text += decimalSeparator();
            text += decimals;
        }
        return text + " " + std::string(unit.name);
    }
    return {};  // not reached: the last unit takes what is left
}

}  // namespace

std::string formattedByteCount(std::int64_t bytes) {
    if (bytes < 0) {
        // Through the unsigned type: the smallest number has no positive counterpart.
        return "-" + magnitudeText(0 - static_cast<std::uint64_t>(bytes));
    }
    return magnitudeText(static_cast<std::uint64_t>(bytes));
}

}  // namespace larkfold
