#include "platform/Base64.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace larkfold {

namespace {

constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

std::string base64Encoded(std::string_view bytes) {
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    while (!bytes.empty()) {
        const std::size_t count = std::min<std::size_t>(3, bytes.size());
        std::uint32_t bits = 0;
        for (std::size_t index = 0; index < 3; ++index) {
            bits = (bits << 8) | (index < count ? static_cast<unsigned char>(bytes[index]) : 0u);
        }
        for (std::size_t index = 0; index < 4; ++index) {
            text += index <= count ? alphabet[(bits >> (18 - 6 * index)) & 0x3F] : '=';
        }
        bytes.remove_prefix(count);
    }
    return text;
}

std::optional<std::string> base64Decoded(std::string_view text) {
    if (text.size() % 4 != 0) {
        return std::nullopt;
    }
    std::string bytes;
    bytes.reserve(text.size() / 4 * 3);
    while (!text.empty()) {
        // Only the last group may be padded, by one or two signs.
        std::size_t digits = 4;
        if (text.size() == 4) {
            digits = text.ends_with("==") ? 2 : text.ends_with("=") ? 3 : 4;
        }
        std::uint32_t bits = 0;
        for (std::size_t index = 0; index < 4; ++index) {
            const std::size_t value = index < digits ? alphabet.find(text[index]) : 0;
            if (value == std::string_view::npos) {
                return std::nullopt;
            }
            bits = (bits << 6) | static_cast<std::uint32_t>(value);
        }
        // Bits behind the last byte have to be zero, so that each value has one text only.
        if (digits < 4 && (bits & (digits == 2 ? 0xFFFFu : 0xFFu)) != 0) {
            return std::nullopt;
        }
        for (std::size_t index = 0; index + 1 < digits; ++index) {
            bytes += static_cast<char>(static_cast<unsigned char>((bits >> (16 - 8 * index)) & 0xFF));
        }
        text.remove_prefix(4);
    }
    return bytes;
}

}  // namespace larkfold
