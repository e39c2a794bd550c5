// Decoding UTF-8 strictly: what the system hands out as a name may be any bytes. Free functions, safe from
// any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace larkfold::utf8 {

inline constexpr char32_t replacementCharacter = 0xFFFD;

struct Decoded {
    char32_t codePoint = replacementCharacter;
    std::size_t length = 1;  // bytes; 1 where the first byte begins no valid character
    bool isValid = false;
};

// The first character of `bytes`, which is not empty. Overlong forms, surrogates and what lies beyond
// U+10FFFF are no characters.
inline Decoded decodeFirst(std::string_view bytes) {
    const auto byte = [&](std::size_t index) { return static_cast<unsigned char>(bytes[index]); };
    const unsigned char first = byte(0);
    if (first < 0x80) {
        return {first, 1, true};
    }
    std::size_t length;
    char32_t codePoint;
    char32_t smallest;
    if (first >= 0xC2 && first <= 0xDF) {
        length = 2, codePoint = first & 0x1Fu, smallest = 0x80;
    } else if (first >= 0xE0 && first <= 0xEF) {
        length = 3, codePoint = first & 0x0Fu, smallest = 0x800;
    } else if (first >= 0xF0 && first <= 0xF4) {
        length = 4, codePoint = first & 0x07u, smallest = 0x10000;
    } else {
        return {};
    }
    if (bytes.size() < length) {
        return {};
    }
    for (std::size_t index = 1; index < length; ++index) {
        if ((byte(index) & 0xC0u) != 0x80u) {
            return {};
        }
        codePoint = (codePoint << 6) | (byte(index) & 0x3Fu);
    }
    if (codePoint < smallest || codePoint > 0x10FFFF || (codePoint >= 0xD800 && codePoint <= 0xDFFF)) {
        return {};
    }
    return {codePoint, length, true};
}

inline bool isValid(std::string_view bytes) {
    while (!bytes.empty()) {
        const Decoded decoded = decodeFirst(bytes);
        if (!decoded.isValid) {
            return false;
        }
        bytes.remove_prefix(decoded.length);
    }
    return true;
}

inline bool isASCII(std::string_view bytes) {
    unsigned char seen = 0;
    for (const char c : bytes) {
        seen = static_cast<unsigned char>(seen | static_cast<unsigned char>(c));
    }
    return seen < 0x80;
}

// How many characters; each byte that is no part of one counts as one.
inline std::size_t characterCount(std::string_view bytes) {
    std::size_t count = 0;
    while (!bytes.empty()) {
        bytes.remove_prefix(decodeFirst(bytes).length);
        ++count;
    }
    return count;
}

inline void append(std::string& text, char32_t codePoint) {
    const auto add = [&](char32_t value) { text += static_cast<char>(static_cast<unsigned char>(value)); };
    if (codePoint < 0x80) {
        add(codePoint);
    } else if (codePoint < 0x800) {
        add(0xC0 | (codePoint >> 6));
        add(0x80 | (codePoint & 0x3F));
    } else if (codePoint < 0x10000) {
        add(0xE0 | (codePoint >> 12));
        add(0x80 | ((codePoint >> 6) & 0x3F));
        add(0x80 | (codePoint & 0x3F));
    } else {
        add(0xF0 | (codePoint >> 18));
        add(0x80 | ((codePoint >> 12) & 0x3F));
        add(0x80 | ((codePoint >> 6) & 0x3F));
        add(0x80 | (codePoint & 0x3F));
    }
}

// The same text with U+FFFD for each byte that is not decodable; everything else as it stands.
inline std::string repaired(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        const Decoded decoded = decodeFirst(bytes);
        if (decoded.isValid) {
            text += bytes.substr(0, decoded.length);
        } else {
            append(text, replacementCharacter);
        }
        bytes.remove_prefix(decoded.length);
    }
    return text;
}

}  // namespace larkfold::utf8
