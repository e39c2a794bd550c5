// What the JSON stores share: bytes that are no text, dates, and reading what somebody else may have written.
//
// Paths and names are any bytes, and JSON holds text alone. They stand as text under their key, with U+FFFD
// for each byte that is not UTF-8; only where there is such a byte, the same key with the suffix "Bytes"
// holds them in Base64 and wins on reading. Dates count seconds from 2001-01-01 00:00:00 UTC.
//
// Free functions, safe from any thread. For the sources of a store; whoever includes it links nlohmann/json.
// What of that library takes a compiler long stands behind these, compiled once.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Date.h"

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
void addBytes(nlohmann::ordered_json& object, const std::string& key, const std::string& bytes);

// Without spaces, or with so many for each level. Text in it has to be UTF-8.
std::string encoded(const nlohmann::json& value, int indent = -1);
std::string encoded(const nlohmann::ordered_json& value);

// The value of a text; nothing where what stands there has another form, or does not stand there. Work with
// values goes down their nesting by recursion, hence the limit.
std::optional<nlohmann::json> parsed(std::string_view text, int deepestNesting);

// The rest read one value under a key of an object.

std::optional<std::string> textAt(const nlohmann::json& object, const std::string& key);
// What `addBytes` wrote. Bytes without their text, or that are no Base64, are nothing.
std::optional<std::string> bytesAt(const nlohmann::json& object, const std::string& key);
std::optional<std::int64_t> integerOf(const nlohmann::json& value);
std::optional<std::int64_t> integerAt(const nlohmann::json& object, const std::string& key);
// Always finite: the text has no word for anything else.
std::optional<double> numberAt(const nlohmann::json& object, const std::string& key);

}  // namespace larkfold::stored_json
