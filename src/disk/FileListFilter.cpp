#include "disk/FileListFilter.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "disk/FileNode.h"
#include "platform/Path.h"

namespace larkfold {

namespace {

using namespace std::string_view_literals;

// White space and line breaks as Unicode has them, in UTF-8.
constexpr std::array blanks{
    " "sv,
    "\t"sv,
    "\n"sv,
    "\v"sv,
    "\f"sv,
    "\r"sv,
    "\xC2\x85"sv,
    "\xC2\xA0"sv,
    "\xE1\x9A\x80"sv,
    "\xE2\x80\x80"sv,
    "\xE2\x80\x81"sv,
    "\xE2\x80\x82"sv,
    "\xE2\x80\x83"sv,
    "\xE2\x80\x84"sv,
    "\xE2\x80\x85"sv,
    "\xE2\x80\x86"sv,
    "\xE2\x80\x87"sv,
    "\xE2\x80\x88"sv,
    "\xE2\x80\x89"sv,
    "\xE2\x80\x8A"sv,
    "\xE2\x80\xA8"sv,
    "\xE2\x80\xA9"sv,
    "\xE2\x80\xAF"sv,
    "\xE2\x81\x9F"sv,
    "\xE3\x80\x80"sv,
};

template <typename Set>
std::string_view trimmed(std::string_view text, const Set& set) {
    const auto leading = [&] {
        return std::ranges::find_if(set, [&](std::string_view each) { return text.starts_with(each); });
    };
    const auto trailing = [&] {
        return std::ranges::find_if(set, [&](std::string_view each) { return text.ends_with(each); });
    };
    for (auto each = leading(); each != set.end(); each = leading()) {
        text.remove_prefix(each->size());
    }
    for (auto each = trailing(); each != set.end(); each = trailing()) {
        text.remove_suffix(each->size());
    }
    return text;
}

std::vector<std::string> extensionSet(std::string_view filter) {
    static constexpr std::array dot{"."sv};
    const std::string text = lowercased(filter);
    std::vector<std::string> set;
    std::string_view rest = text;
    while (true) {
        const std::size_t comma = rest.find(',');
        const std::string_view piece = trimmed(trimmed(rest.substr(0, comma), blanks), dot);
        if (!piece.empty()) {
            set.emplace_back(piece);
        }
        if (comma == std::string_view::npos) {
            break;
        }
        rest.remove_prefix(comma + 1);
    }
    std::ranges::sort(set);
    return set;
}

constexpr double secondsPerDay = 86'400.0;

}  // namespace

FileListMatcher::FileListMatcher(const FileListFilter& filter, Date now)
    : minimumSize_(filter.minimumSize), extensions_(extensionSet(filter.extensionFilter)) {
    if (!filter.locationFilter.empty()) {
        location_.emplace(filter.locationFilter);
    }
    if (filter.olderThanDays >= 1) {
        modifiedBefore_ = now + Seconds(filter.olderThanDays * -secondsPerDay);
    }
}

bool FileListMatcher::accepts(const FileNode& node) const {
    if (node.size() < minimumSize_) {
        return false;
    }
    if (!extensions_.empty()) {
        if (node.isDirectory() || node.isAggregate()) {
            return false;
        }
        const std::string extension = lowercased(pathExtension(node.urlName()));
        if (!std::ranges::binary_search(extensions_, extension)) {
            return false;
        }
    }
    if (location_ && !location_->isContainedIn(node.url())) {
        return false;
    }
    if (modifiedBefore_) {
        const std::optional<Date> modified = node.modifiedAt();
        if (!modified || !(*modified < *modifiedBefore_)) {
            return false;
        }
    }
    return true;
}

}  // namespace larkfold
