#include "platform/Collation.h"

#include <unicode/ucal.h>
#include <unicode/ucol.h>
#include <unicode/udat.h>
#include <unicode/unorm2.h>
#include <unicode/unum.h>
#include <unicode/unumberformatter.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <mutex>
#include <vector>

#include "platform/UTF8.h"

namespace larkfold {

namespace {

using UTF16 = std::vector<UChar>;

// The locale for one category, as the environment said when it was first asked for, in ICU's spelling. The
// locale that stands for "none" is read as English, since that is the language of every other text here and
// it groups its numbers.
std::string localeFromEnvironment(const char* category) {
    for (const char* variable : {"LC_ALL", category, "LANG"}) {
        const char* value = std::getenv(variable);
        if (value == nullptr || *value == '\0') {
            continue;
        }
        std::string locale = value;
        locale.resize(std::min(locale.find_first_of(".@"), locale.size()));
        return locale.empty() || locale == "C" || locale == "POSIX" ? "en" : locale;
    }
    return "en";
}

const std::string& collationLocale() {
    static const std::string locale = localeFromEnvironment("LC_COLLATE");
    return locale;
}

const std::string& numberLocale() {
    static const std::string locale = localeFromEnvironment("LC_NUMERIC");
    return locale;
}

// English without a country's order of day and month where no locale is set.
const std::string& dateLocale() {
    static const std::string locale = [] {
        const std::string wanted = localeFromEnvironment("LC_TIME");
        return wanted == "en" ? std::string("en_150") : wanted;
    }();
    return locale;
}

// Turkish and Azeri pair "i" with "İ" and "ı" with "I".
bool pairsDotlessI() {
    static const bool pairs = [] {
        const std::string locale = localeFromEnvironment("LC_CTYPE");
        return locale.starts_with("tr") || locale.starts_with("az");
    }();
    return pairs;
}

// Bytes that are not decodable become U+FFFD.
UTF16 toUTF16(std::string_view text) {
    UTF16 result(text.size() + 1);
    int32_t length = 0;
    int32_t substitutions = 0;
    UErrorCode status = U_ZERO_ERROR;
    u_strFromUTF8WithSub(result.data(), static_cast<int32_t>(result.size()), &length, text.data(),
                         static_cast<int32_t>(text.size()), 0xFFFD, &substitutions, &status);
    result.resize(U_FAILURE(status) ? 0 : static_cast<std::size_t>(length));
    return result;
}

std::string toUTF8(const UChar* text, int32_t length) {
    std::string result(static_cast<std::size_t>(length) * 3 + 1, '\0');
    int32_t written = 0;
    int32_t substitutions = 0;
    UErrorCode status = U_ZERO_ERROR;
    u_strToUTF8WithSub(result.data(), static_cast<int32_t>(result.size()), &written, text, length, 0xFFFD,
                       &substitutions, &status);
    result.resize(U_FAILURE(status) ? 0 : static_cast<std::size_t>(written));
    return result;
}

// Calls `convert(destination, capacity, status)` with enough room and returns what it made.
template <typename Convert>
UTF16 converted(std::size_t expected, Convert convert) {
    UTF16 result(expected + 8);
    UErrorCode status = U_ZERO_ERROR;
    int32_t length = convert(result.data(), static_cast<int32_t>(result.size()), &status);
    if (status == U_BUFFER_OVERFLOW_ERROR) {
        result.resize(static_cast<std::size_t>(length));
        status = U_ZERO_ERROR;
        length = convert(result.data(), static_cast<int32_t>(result.size()), &status);
    }
    result.resize(U_FAILURE(status) ? 0 : static_cast<std::size_t>(length));
    return result;
}

constexpr char asciiLowercased(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

std::string asciiLowercased(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), [](char c) { return asciiLowercased(c); });
    return result;
}

// What is the same for two texts that differ in nothing but case. `text` is valid UTF-8.
std::string foldedTieBreaker(std::string_view text) {
    if (utf8::isASCII(text)) {
        return asciiLowercased(text);
    }
    const UTF16 wide = toUTF16(text);
    const UTF16 folded =
        converted(wide.size(), [&](UChar* destination, int32_t capacity, UErrorCode* status) {
            return u_strFoldCase(destination, capacity, wide.data(), static_cast<int32_t>(wide.size()),
                                 U_FOLD_CASE_DEFAULT, status);
        });
    return toUTF8(folded.data(), static_cast<int32_t>(folded.size()));
}

// Folded and composed, for the search: "É" finds "é", however either is written.
UTF16 foldedForSearch(std::string_view text) {
    UTF16 wide = toUTF16(text);
    const auto compose = [](UTF16& value) {
        UErrorCode status = U_ZERO_ERROR;
        const UNormalizer2* normalizer = unorm2_getNFCInstance(&status);
        if (U_FAILURE(status) ||
            unorm2_quickCheck(normalizer, value.data(), static_cast<int32_t>(value.size()), &status) ==
                UNORM_YES) {
            return;
        }
        UTF16 composed =
            converted(value.size(), [&](UChar* destination, int32_t capacity, UErrorCode* error) {
                return unorm2_normalize(normalizer, value.data(), static_cast<int32_t>(value.size()),
                                        destination, capacity, error);
            });
        if (!composed.empty()) {
            value = std::move(composed);
        }
    };
    compose(wide);
    const uint32_t option = pairsDotlessI() ? U_FOLD_CASE_EXCLUDE_SPECIAL_I : U_FOLD_CASE_DEFAULT;
    UTF16 folded = converted(wide.size(), [&](UChar* destination, int32_t capacity, UErrorCode* status) {
        return u_strFoldCase(destination, capacity, wide.data(), static_cast<int32_t>(wide.size()), option,
                             status);
    });
    compose(folded);
    return folded;
}

// The first byte of a key: bytes that are not UTF-8 come behind all text.
constexpr char keyOfText = 1;
constexpr char keyOfBytes = 2;

}  // namespace

struct Collator::Impl {
    UCollator* collator = nullptr;

    ~Impl() {
        if (collator != nullptr) {
            ucol_close(collator);
        }
    }
};

Collator::Collator() : impl_(std::make_unique<Impl>()) {
    UErrorCode status = U_ZERO_ERROR;
    impl_->collator = ucol_open(collationLocale().c_str(), &status);
    if (U_FAILURE(status)) {
        impl_->collator = nullptr;  // without its data the order falls back to the folded text
        return;
    }
    // Secondary: accents make a difference, case does not.
    ucol_setStrength(impl_->collator, UCOL_SECONDARY);
    ucol_setAttribute(impl_->collator, UCOL_NUMERIC_COLLATION, UCOL_ON, &status);
}

Collator::~Collator() = default;

// Made for each name of a folder at once, so the usual short name costs one allocation: that of its key.
std::string Collator::sortKey(std::string_view text) const {
    if (!utf8::isValid(text)) {
        return std::string(1, keyOfBytes).append(text);
    }
    const bool isASCII = utf8::isASCII(text);
    std::string key;
    if (impl_->collator == nullptr) {
        key.push_back(keyOfText);
    } else {
        std::array<UChar, 256> shortText;
        UTF16 longText;
        const UChar* wide = shortText.data();
        auto length = static_cast<int32_t>(text.size());
        if (isASCII && text.size() <= shortText.size()) {
            std::ranges::copy(text, shortText.begin());
        } else {
            longText = toUTF16(text);
            wide = longText.data();
            length = static_cast<int32_t>(longText.size());
        }
        std::array<std::uint8_t, 512> buffer;
        const int32_t needed = ucol_getSortKey(impl_->collator, wide, length, buffer.data(), buffer.size());
        key.reserve(1 + static_cast<std::size_t>(needed) + text.size());
        key.push_back(keyOfText);
        if (needed <= static_cast<int32_t>(buffer.size())) {
            key.append(reinterpret_cast<const char*>(buffer.data()), static_cast<std::size_t>(needed));
        } else {
            key.resize(1 + static_cast<std::size_t>(needed));
            ucol_getSortKey(impl_->collator, wide, length, reinterpret_cast<std::uint8_t*>(key.data() + 1),
                            needed);
        }
    }
    // The collator's key ends in a zero byte and holds no other. What it does not tell apart ("1" and "01",
    // width, invisible characters) is told apart by the folded text behind it.
    if (isASCII) {
        std::ranges::transform(text, std::back_inserter(key), [](char c) { return asciiLowercased(c); });
        return key;
    }
    return key.append(foldedTieBreaker(text));
}

int Collator::compare(std::string_view left, std::string_view right) const {
    const bool leftIsText = utf8::isValid(left);
    const bool rightIsText = utf8::isValid(right);
    if (leftIsText != rightIsText) {
        return leftIsText ? -1 : 1;
    }
    if (!leftIsText) {
        return left.compare(right);
    }
    if (impl_->collator != nullptr) {
        UErrorCode status = U_ZERO_ERROR;
        const UCollationResult result =
            ucol_strcollUTF8(impl_->collator, left.data(), static_cast<int32_t>(left.size()), right.data(),
                             static_cast<int32_t>(right.size()), &status);
        if (U_SUCCESS(status) && result != UCOL_EQUAL) {
            return result == UCOL_LESS ? -1 : 1;
        }
    }
    return foldedTieBreaker(left).compare(foldedTieBreaker(right));
}

struct TextMatcher::Impl {
    bool isEmpty = false;
    // The needle in lower case where it is ASCII, for texts that are ASCII.
    bool hasASCII = false;
    std::string ascii;
    // The folded needle, for all other texts.
    UTF16 folded;
};

TextMatcher::TextMatcher(std::string_view needle) : impl_(std::make_unique<Impl>()) {
    impl_->isEmpty = needle.empty();
    // In a language that pairs its "i" differently, ASCII is no island.
    impl_->hasASCII = utf8::isASCII(needle) && !pairsDotlessI();
    impl_->ascii = asciiLowercased(needle);
    impl_->folded = foldedForSearch(needle);
}

TextMatcher::~TextMatcher() = default;
TextMatcher::TextMatcher(TextMatcher&&) noexcept = default;
TextMatcher& TextMatcher::operator=(TextMatcher&&) noexcept = default;

bool TextMatcher::isContainedIn(std::string_view text) const {
    if (impl_->isEmpty) {
        return true;
    }
    if (impl_->hasASCII && utf8::isASCII(text)) {
        const std::string& needle = impl_->ascii;
        if (text.size() < needle.size()) {
            return false;
        }
        const std::size_t last = text.size() - needle.size();
        for (std::size_t at = 0; at <= last; ++at) {
            std::size_t matched = 0;
            while (matched < needle.size() && asciiLowercased(text[at + matched]) == needle[matched]) {
                ++matched;
            }
            if (matched == needle.size()) {
                return true;
            }
        }
        return false;
    }
    const UTF16 folded = foldedForSearch(text);
    return std::search(folded.begin(), folded.end(), impl_->folded.begin(), impl_->folded.end()) !=
           folded.end();
}

std::string lowercased(std::string_view text) {
    if (utf8::isASCII(text) || !utf8::isValid(text)) {
        // Of bytes that are no text only the ASCII letters have a lower case; the rest stays byte for byte.
        return asciiLowercased(text);
    }
    const UTF16 wide = toUTF16(text);
    const UTF16 lower = converted(wide.size(), [&](UChar* destination, int32_t capacity, UErrorCode* status) {
        return u_strToLower(destination, capacity, wide.data(), static_cast<int32_t>(wide.size()), "",
                            status);
    });
    return toUTF8(lower.data(), static_cast<int32_t>(lower.size()));
}

namespace {

// A number formatter that any thread may use at once: it never changes after it was made.
class NumberFormatter {
public:
    explicit NumberFormatter(const std::string& skeleton) {
        const UTF16 wide = toUTF16(skeleton);
        UErrorCode status = U_ZERO_ERROR;
        formatter_ = unumf_openForSkeletonAndLocale(wide.data(), static_cast<int32_t>(wide.size()),
                                                    numberLocale().c_str(), &status);
        if (U_FAILURE(status)) {
            formatter_ = nullptr;
        }
    }
    // Lives as long as the program: threads may format until the very end.
    NumberFormatter(const NumberFormatter&) = delete;
    NumberFormatter& operator=(const NumberFormatter&) = delete;
    ~NumberFormatter() = default;

    // `format(formatter, result, status)` puts the number in. Empty where the library refuses.
    template <typename Format>
    std::string text(Format format) const {
        if (formatter_ == nullptr) {
            return {};
        }
        UErrorCode status = U_ZERO_ERROR;
        UFormattedNumber* result = unumf_openResult(&status);
        std::string text;
        format(formatter_, result, &status);
        if (U_SUCCESS(status)) {
            const UTF16 wide = converted(32, [&](UChar* destination, int32_t capacity, UErrorCode* error) {
                return unumf_resultToString(result, destination, capacity, error);
            });
            text = toUTF8(wide.data(), static_cast<int32_t>(wide.size()));
        }
        unumf_closeResult(result);
        return text;
    }

private:
    UNumberFormatter* formatter_ = nullptr;
};

}  // namespace

std::string groupedCount(std::int64_t count) {
    static const NumberFormatter formatter("group-auto precision-integer");
    const auto formatted = [](std::int64_t number) {
        const std::string text =
            formatter.text([number](const UNumberFormatter* format, UFormattedNumber* result,
                                    UErrorCode* status) { unumf_formatInt(format, number, result, status); });
        return text.empty() ? std::to_string(number) : text;
    };
    // A scan names tens of thousands of summaries, most of them of few files: where the locale writes these
    // as everybody does, the long way is spared.
    static const bool writesPlainDigits = formatted(907) == "907";
    if (writesPlainDigits && count >= 0 && count < 1000) {
        return std::to_string(count);
    }
    return formatted(count);
}

const std::string& decimalSeparator() {
    static const std::string separator = [] {
        UErrorCode status = U_ZERO_ERROR;
        UNumberFormat* format = unum_open(UNUM_DECIMAL, nullptr, 0, numberLocale().c_str(), nullptr, &status);
        std::string text = ".";
        if (U_SUCCESS(status)) {
            const UTF16 wide = converted(8, [&](UChar* destination, int32_t capacity, UErrorCode* error) {
                return unum_getSymbol(format, UNUM_DECIMAL_SEPARATOR_SYMBOL, destination, capacity, error);
            });
            if (!wide.empty()) {
                text = toUTF8(wide.data(), static_cast<int32_t>(wide.size()));
            }
            unum_close(format);
        }
        return text;
    }();
    return separator;
}

std::string shareText(double share) {
    const double percent = std::isfinite(share) ? share * 100 : 0;
    // The longest finite number has 309 digits before its point.
    std::array<char, 320> text{};
    const auto end =
        std::to_chars(text.data(), text.data() + text.size(), percent, std::chars_format::fixed, 1).ptr;
    return std::string(text.data(), end) + "%";
}

namespace {

// The years 1 to 9999, in seconds from 1970.
constexpr double firstSecond = -62'135'596'800.0;
constexpr double lastSecond = 253'402'300'799.0;

bool isInCalendar(double secondsSince1970) {
    return secondsSince1970 >= firstSecond && secondsSince1970 <= lastSecond;
}

// A date format keeps its calendar inside, so it serves one thread.
class DateFormat {
public:
    DateFormat(UDateFormatStyle time, UDateFormatStyle date) {
        UErrorCode status = U_ZERO_ERROR;
        format_ = udat_open(time, date, dateLocale().c_str(), nullptr, 0, nullptr, 0, &status);
        if (U_FAILURE(status)) {
            format_ = nullptr;
        }
    }
    DateFormat(const DateFormat&) = delete;
    DateFormat& operator=(const DateFormat&) = delete;
    ~DateFormat() {
        if (format_ != nullptr) {
            udat_close(format_);
        }
    }

    std::string text(double secondsSince1970) const {
        if (format_ == nullptr || !isInCalendar(secondsSince1970)) {
            return {};
        }
        const UTF16 wide = converted(48, [&](UChar* destination, int32_t capacity, UErrorCode* status) {
            return udat_format(format_, std::floor(secondsSince1970 * 1000), destination, capacity, nullptr,
                               status);
        });
        return toUTF8(wide.data(), static_cast<int32_t>(wide.size()));
    }

private:
    UDateFormat* format_ = nullptr;
};

}  // namespace

std::string shortDateText(double secondsSince1970) {
    thread_local const DateFormat format(UDAT_SHORT, UDAT_MEDIUM);
    return format.text(secondsSince1970);
}

std::string dayText(double secondsSince1970) {
    thread_local const DateFormat format(UDAT_NONE, UDAT_MEDIUM);
    return format.text(secondsSince1970);
}

std::string timeText(double secondsSince1970) {
    thread_local const DateFormat format(UDAT_SHORT, UDAT_NONE);
    return format.text(secondsSince1970);
}

std::optional<int> localDay(double secondsSince1970) {
    if (!isInCalendar(secondsSince1970)) {
        return std::nullopt;
    }
    UErrorCode status = U_ZERO_ERROR;
    UCalendar* calendar = ucal_open(nullptr, 0, dateLocale().c_str(), UCAL_DEFAULT, &status);
    if (U_FAILURE(status)) {
        return std::nullopt;
    }
    ucal_setMillis(calendar, std::floor(secondsSince1970 * 1000), &status);
    const int day = ucal_get(calendar, UCAL_JULIAN_DAY, &status);
    ucal_close(calendar);
    return U_FAILURE(status) ? std::nullopt : std::optional<int>(day);
}

}  // namespace larkfold
