#include "shell/updates/AppVersion.h"

#include <algorithm>
#include <charconv>

namespace larkfold {

namespace {

constexpr std::size_t longestVersion = 64;  // characters
constexpr std::size_t mostDigits = 9;       // so that a number fits 32 bits

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isNumber(std::string_view text) {
    return !text.empty() && text.size() <= mostDigits && std::ranges::all_of(text, isDigit);
}

bool isIdentifier(std::string_view text) {
    const auto isAllowed = [](char c) {
        return isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-';
    };
    // A number that is too long would have to be compared as something that it is not.
    return !text.empty() && std::ranges::all_of(text, isAllowed) &&
           (isNumber(text) || !std::ranges::all_of(text, isDigit));
}

std::uint32_t number(std::string_view text) {
    std::uint32_t value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

// What stands between the dots; an empty part where two of them meet.
std::vector<std::string_view> parts(std::string_view text) {
    std::vector<std::string_view> list;
    for (;;) {
        const std::size_t dot = text.find('.');
        list.push_back(text.substr(0, dot));
        if (dot == std::string_view::npos) {
            return list;
        }
        text.remove_prefix(dot + 1);
    }
}

std::strong_ordering compareIdentifiers(const std::string& left, const std::string& right) {
    const bool leftIsNumber = isNumber(left);
    const bool rightIsNumber = isNumber(right);
    if (leftIsNumber && rightIsNumber) {
        return number(left) <=> number(right);
    }
    return leftIsNumber == rightIsNumber ? left <=> right : rightIsNumber <=> leftIsNumber;
}

}  // namespace

std::optional<AppVersion> AppVersion::parse(std::string_view text) {
    if (text.size() > longestVersion) {
        return std::nullopt;
    }
    AppVersion version;
    version.text_ = text;
    const std::size_t plus = text.find('+');
    if (plus != std::string_view::npos) {
        if (!std::ranges::all_of(parts(text.substr(plus + 1)), isIdentifier)) {
            return std::nullopt;
        }
        text = text.substr(0, plus);
    }
    const std::size_t hyphen = text.find('-');
    const auto numbers = parts(text.substr(0, hyphen));
    if (numbers.size() > version.numbers_.size() || !std::ranges::all_of(numbers, isNumber)) {
        return std::nullopt;
    }
    std::ranges::transform(numbers, version.numbers_.begin(), number);
    if (hyphen != std::string_view::npos) {
        const auto identifiers = parts(text.substr(hyphen + 1));
        if (!std::ranges::all_of(identifiers, isIdentifier)) {
            return std::nullopt;
        }
        version.identifiers_.assign(identifiers.begin(), identifiers.end());
    }
    return version;
}

std::strong_ordering AppVersion::operator<=>(const AppVersion& other) const {
    if (const auto order = numbers_ <=> other.numbers_; order != 0) {
        return order;
    }
    if (isPreliminary() != other.isPreliminary()) {
        return other.isPreliminary() <=> isPreliminary();
    }
    return std::lexicographical_compare_three_way(identifiers_.begin(), identifiers_.end(),
                                                  other.identifiers_.begin(), other.identifiers_.end(),
                                                  compareIdentifiers);
}

}  // namespace larkfold
