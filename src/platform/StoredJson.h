// What the JSON stores share: bytes that are no text, dates, and reading what somebody else may have written.
//
// Paths and names are any bytes, and JSON holds text alone. They stand as text under their key, with U+FFFD
// for each byte that is not UTF-8; only where there is such a byte, the same key with the suffix "Bytes"
// holds them in Base64 and wins on reading. Dates count seconds from 2001-01-01 00:00:00 UTC.
//
// Free functions, safe from any thread. For the sources of a store; whoever includes it links nlohmann/json.
#pragma once

#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/Base64.h"
#include "platform/Date.h"
#include "platform/UTF8.h"

namespace larkfold::stored_json {

// For every date after 2001 the difference is exact.
inline constexpr double secondsFrom1970To2001 = 978'307'200;

inline double secondsSince2001(Date date) {
    return secondsSince1970(date) - secondsFrom1970To2001;
}
inline Date dateFromSecondsSince2001(double seconds) {
    return dateFromSecondsSince1970(seconds + secondsFrom1970To2001);
}

// Bytes under a key; bytes that are no text a second time, in Base64.
inline void addBytes(nlohmann::ordered_json& object, const std::string& key, const std::string& bytes) {
    object[key] = utf8::repaired(bytes);
    if (!utf8::isValid(bytes)) {
        object[key + "Bytes"] = base64Encoded(bytes);
    }
}

// The value of a text; nothing where what stands there has another form, or does not stand there. Work with
// values goes down their nesting by recursion, hence the limit.
inline std::optional<nlohmann::json> parsed(std::string_view text, int deepestNesting) {
    bool isTooDeep = false;
    const auto limitDepth = [&](int depth, nlohmann::json::parse_event_t, nlohmann::json&) {
        isTooDeep = isTooDeep || depth > deepestNesting;
        return !isTooDeep;
    };
    nlohmann::json value = nlohmann::json::parse(text, limitDepth, false);
    return isTooDeep || value.is_discarded() ? std::nullopt : std::optional(std::move(value));
}

// The rest read one value under a key of an object.

inline std::optional<std::string> textAt(const nlohmann::json& object, const std::string& key) {
    const auto value = object.find(key);
    return value != object.end() && value->is_string() ? std::optional(value->get<std::string>())
                                                       : std::nullopt;
}

// What `addBytes` wrote. Bytes without their text, or that are no Base64, are nothing.
inline std::optional<std::string> bytesAt(const nlohmann::json& object, const std::string& key) {
    std::optional<std::string> text = textAt(object, key);
    if (!text || !object.contains(key + "Bytes")) {
        return text;
    }
    const std::optional<std::string> encoded = textAt(object, key + "Bytes");
    return encoded ? base64Decoded(*encoded) : std::nullopt;
}

inline std::optional<std::int64_t> integerOf(const nlohmann::json& value) {
    if (!value.is_number_integer() ||
        (value.is_number_unsigned() &&
         value.get<std::uint64_t>() > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))) {
        return std::nullopt;
    }
    return value.get<std::int64_t>();
}

inline std::optional<std::int64_t> integerAt(const nlohmann::json& object, const std::string& key) {
    const auto value = object.find(key);
    return value != object.end() ? integerOf(*value) : std::nullopt;
}

// Always finite: the text has no word for anything else.
inline std::optional<double> numberAt(const nlohmann::json& object, const std::string& key) {
    const auto value = object.find(key);
    return value != object.end() && value->is_number() ? std::optional(value->get<double>()) : std::nullopt;
}

}  // namespace larkfold::stored_json
