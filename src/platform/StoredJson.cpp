#include "platform/StoredJson.h"

#include <limits>
#include <utility>

#include "platform/Base64.h"
#include "platform/UTF8.h"

namespace larkfold::stored_json {

void addBytes(nlohmann::ordered_json& object, const std::string& key, const std::string& bytes) {
    object[key] = utf8::repaired(bytes);
    if (!utf8::isValid(bytes)) {
        object[key + "Bytes"] = base64Encoded(bytes);
    }
}

std::string encoded(const nlohmann::json& value, int indent) {
    return value.dump(indent);
}

std::string encoded(const nlohmann::ordered_json& value) {
    return value.dump();
}

std::optional<nlohmann::json> parsed(std::string_view text, int deepestNesting) {
    bool isTooDeep = false;
    const auto limitDepth = [&](int depth, nlohmann::json::parse_event_t, nlohmann::json&) {
        isTooDeep = isTooDeep || depth > deepestNesting;
        return !isTooDeep;
    };
    nlohmann::json value = nlohmann::json::parse(text, limitDepth, false);
    return isTooDeep || value.is_discarded() ? std::nullopt : std::optional(std::move(value));
}

std::optional<std::string> textAt(const nlohmann::json& object, const std::string& key) {
    const auto value = object.find(key);
    return value != object.end() && value->is_string() ? std::optional(value->get<std::string>())
                                                       : std::nullopt;
}

std::optional<std::string> bytesAt(const nlohmann::json& object, const std::string& key) {
    std::optional<std::string> text = textAt(object, key);
    if (!text || !object.contains(key + "Bytes")) {
        return text;
    }
    const std::optional<std::string> encoded = textAt(object, key + "Bytes");
    return encoded ? base64Decoded(*encoded) : std::nullopt;
}

std::optional<std::int64_t> integerOf(const nlohmann::json& value) {
    if (!value.is_number_integer() ||
        (value.is_number_unsigned() &&
         value.get<std::uint64_t>() > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))) {
        return std::nullopt;
    }
    return value.get<std::int64_t>();
}

std::optional<std::int64_t> integerAt(const nlohmann::json& object, const std::string& key) {
    const auto value = object.find(key);
    return value != object.end() ? integerOf(*value) : std::nullopt;
}

std::optional<double> numberAt(const nlohmann::json& object, const std::string& key) {
    const auto value = object.find(key);
    return value != object.end() && value->is_number() ? std::optional(value->get<double>()) : std::nullopt;
}

}  // namespace larkfold::stored_json
