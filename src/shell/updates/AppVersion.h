// A version of this program, and which of two is the newer one.
//
// A version is one to six numbers with dots between them ("1", "0.2", "1.10.0"), then, where it is a
// preliminary one, a hyphen and identifiers with dots between them ("1.0-beta.2"), then perhaps a plus sign
// and the name of a build. They are compared as in Semantic Versioning 2.0: number by number, a number that
// is not there counting as 0; a preliminary version comes before the final one of the same numbers;
// identifiers of digits are compared as numbers and come before others, which are compared byte by byte; of
// two that begin alike the shorter comes first. The name of the build does not count. A number has at most
// nine digits, and the whole at most 64 characters: everything else is no version.
//
// A value; safe from any thread.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace larkfold {

class AppVersion {
public:
    // Nothing where the text is no version.
    static std::optional<AppVersion> parse(std::string_view text);

    // As it was written.
    const std::string& text() const { return text_; }
    bool isPreliminary() const { return !identifiers_.empty(); }

    // By age: "1.0" and "1.0.0" are the same one.
    std::strong_ordering operator<=>(const AppVersion& other) const;
    bool operator==(const AppVersion& other) const { return (*this <=> other) == 0; }

private:
    std::string text_;
    std::array<std::uint32_t, 6> numbers_{};
    std::vector<std::string> identifiers_;
};

}  // namespace larkfold
