// Base64 of RFC 4648, with padding: how bytes stand in a text. Free functions, safe from any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace larkfold {

std::string base64Encoded(std::string_view bytes);

// Nothing where the text is no Base64, by its characters, its length or its padding.
std::optional<std::string> base64Decoded(std::string_view text);

}  // namespace larkfold
