// How the user's language orders, compares and groups. Everything follows the locale that the
// process started with.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace larkfold {

// Localized, case-insensitive ordering of names and paths, numbers inside by their value ("file2" before
// "file10"). One collator serves one thread. Bytes that are not UTF-8 are ordered behind, by their bytes;
// equal keys only for equal text but for case.
class Collator {
public:
    Collator();
    ~Collator();
    Collator(const Collator&) = delete;
    Collator& operator=(const Collator&) = delete;

    // A key that orders by plain byte comparison: make it once for each name, then sort the keys.
    std::string sortKey(std::string_view text) const;

    // Below 0, 0, above 0.
    int compare(std::string_view left, std::string_view right) const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

// Looks for one text in many, without regard to case and by the user's locale. Made once for each
// search; ASCII needles in ASCII text take no detour. One matcher serves one thread. An empty needle is
// contained in everything.
class TextMatcher {
public:
    explicit TextMatcher(std::string_view needle);
    ~TextMatcher();
    TextMatcher(TextMatcher&&) noexcept;
    TextMatcher& operator=(TextMatcher&&) noexcept;

    bool isContainedIn(std::string_view text) const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

// The lower-case form by the root locale (file extensions are not language).
std::string lowercased(std::string_view text);

// The number with the locale's grouping: "12,408". Safe from any thread.
std::string groupedCount(std::int64_t count);

// The locale's sign between a whole number and its decimals: ".". Safe from any thread.
const std::string& decimalSeparator();

// A part of a whole, from 0 to 1, with one decimal: "61.8%", in every locale. One that is no number is 0.
// Safe from any thread.
std::string shareText(double share);

// Dates as the locale abbreviates them and times of the day without seconds, in the local time zone: "19 Nov
// 2026, 18:04", "19 Nov 2026", "18:04". Empty outside of the years 1 to 9999, which only a damaged store
// names. Where no locale is set, day, month and year stand in an order that no country reads otherwise, and
// hours count to 24. Safe from any thread.
std::string shortDateText(double secondsSince1970);
std::string dayText(double secondsSince1970);
std::string timeText(double secondsSince1970);

// The number of the day in the calendar, in the local time zone: two moments of one day have the same, those
// of the next one more. Nothing where the texts above are empty.
std::optional<int> localDay(double secondsSince1970);

}  // namespace larkfold
