// A universally unique identifier, version 4.
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace larkfold {

struct UUID {
    std::array<std::uint8_t, 16> bytes{};

    // A new random identifier. Cheap enough for one per node: a generator per thread, seeded by the system.
    // Safe from any thread.
    static UUID make();

    // Reads the 36 character form, either case; nothing where the text has another form.
    static std::optional<UUID> parse(std::string_view text);

    // The upper-case form, "XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX".
    std::string text() const;

    auto operator<=>(const UUID&) const = default;
};

}  // namespace larkfold

template <>
struct std::hash<larkfold::UUID> {
    std::size_t operator()(const larkfold::UUID& id) const noexcept {
        // The bytes are random already.
        std::uint64_t low;
        std::memcpy(&low, id.bytes.data() + 8, sizeof low);
        return static_cast<std::size_t>(low);
    }
};
