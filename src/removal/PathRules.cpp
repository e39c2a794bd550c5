#include "removal/PathRules.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string_view>

#include "platform/Digits.h"
#include "platform/LinkResolution.h"
#include "platform/Path.h"
#include "platform/StandardFolders.h"
#include "platform/UTF8.h"

namespace larkfold::removal_rules {

namespace {

struct ProtectedPlace {
    std::string_view belowHome;
    bool withContents;  // what lies below it is protected too
};

// Compiled on every system, row by row: a home folder may have been carried over from another one.
constexpr ProtectedPlace protectedPlaces[] = {
    // macOS
    {.belowHome = "Library", .withContents = false},
    {.belowHome = "Library/Application Support", .withContents = false},
    {.belowHome = "Library/Containers", .withContents = false},
    {.belowHome = ".ssh", .withContents = true},
    {.belowHome = ".gnupg", .withContents = true},
    // Linux
    {.belowHome = ".config", .withContents = false},
    {.belowHome = ".cache", .withContents = false},
    {.belowHome = ".local", .withContents = false},
    {.belowHome = ".local/share", .withContents = false},
    {.belowHome = ".local/state", .withContents = false},
    {.belowHome = ".local/share/Trash/files", .withContents = false},
    {.belowHome = ".local/share/Trash/info", .withContents = false},
    {.belowHome = ".local/share/keyrings", .withContents = true},
    {.belowHome = ".local/share/kwalletd", .withContents = true},
};

// The "files" and "info" folders of a Trash at the top of a volume: ".Trash/1000/files" or
// ".Trash-1000/files".
bool isFolderOfVolumeTrash(std::string_view path) {
    const std::string_view name = lastPathComponent(path);
    if (name != "files" && name != "info") {
        return false;
    }
    const std::string_view trash = parentPath(path);
    const std::string_view trashName = lastPathComponent(trash);
    constexpr std::string_view prefix = ".Trash-";
    if (trashName.starts_with(prefix)) {
        return isDigitsOnly(trashName.substr(prefix.size()));
    }
    return isDigitsOnly(trashName) && lastPathComponent(parentPath(trash)) == ".Trash";
}

}  // namespace

bool Judge::Place::holds(std::string_view target) const {
    return withContents ? isAtOrBelow(target, path) : target == path;
}

Judge::Judge(std::vector<std::string> allowedRoots) {
    if (allowedRoots.empty()) {
        return;
    }
    // 1. Where everything really leads, asked at once: the roots, the home folder that the environment names
    // and
    //    the real one, and the protected places in them, since a place may be a link to where its contents
    //    lie.
    const std::string homes[] = {homeDirectoryForCurrentUser(), realHomeDirectory()};
    for (const std::string& home : homes) {
        for (const ProtectedPlace& row : protectedPlaces) {
            places_.push_back({joinedPath(home, row.belowHome), row.withContents});
        }
    }
    const std::string trash = joinedPath(applicationSupportDirectory(), "Trash");
    places_.push_back({joinedPath(trash, "files"), false});
    places_.push_back({joinedPath(trash, "info"), false});
    std::vector<std::string> asked = allowedRoots;
    asked.insert(asked.end(), std::begin(homes), std::end(homes));
    const std::size_t named = places_.size();
    for (const Place& place : places_) {
        asked.push_back(place.path);
    }
    const std::vector<std::optional<std::string>> resolved = pathsWithLinksResolved(asked);
    const auto realHomes = resolved.begin() + std::ssize(allowedRoots);
    const auto realPlaces = realHomes + std::ssize(homes);

    // 2. The protected places, as they are named and where they really lie.
    for (std::size_t index = 0; index < named; ++index) {
        // Where a place cannot be resolved, a target that could be does not lie there.
        if (const auto& real = realPlaces[static_cast<std::ptrdiff_t>(index)]) {
            places_.push_back({*real, places_[index].withContents});
        }
    }
    isUsable_ = std::all_of(realHomes, realPlaces, [](const auto& home) { return home.has_value(); });
    for (std::ptrdiff_t index = 0; index < std::ssize(homes); ++index) {
        homes_.push_back(homes[index]);
        homes_.push_back(realHomes[index].value_or(homes[index]));
    }

    // 3. The roots. That of the disk opens nothing.
    for (auto root = resolved.begin(); root != realHomes; ++root) {
        if (*root && **root != "/") {
            roots_.push_back(**root);
        }
    }
}

bool Judge::allows(const std::string& url) const {
    if (roots_.empty()) {
        return false;
    }
    // What cannot be resolved cannot be judged.
    const auto target = pathWithLinksResolved(url);
    return target && allowsResolved(*target);
}

std::vector<bool> Judge::allowEach(const std::vector<std::string>& urls) const {
    std::vector<bool> answers(urls.size(), false);
    if (roots_.empty()) {
        return answers;
    }
    // In portions: each question waits only so long for an answer, and a cold disk takes its time over many
    // paths.
    constexpr std::size_t portion = 1024;
    for (std::size_t from = 0; from < urls.size(); from += portion) {
        const auto begin = urls.begin() + static_cast<std::ptrdiff_t>(from);
        const auto end = begin + static_cast<std::ptrdiff_t>(std::min(portion, urls.size() - from));
        const auto targets = pathsWithLinksResolved({begin, end});
        std::transform(targets.begin(), targets.end(), answers.begin() + static_cast<std::ptrdiff_t>(from),
                       [this](const auto& target) { return target && allowsResolved(*target); });
    }
    return answers;
}

bool Judge::allowsResolved(std::string_view target) const {
    // The home folders protect every folder above.
    const auto holdsHome = [target](const std::string& home) { return isAtOrBelow(home, target); };
    const auto isKept = [target](const Place& place) { return place.holds(target); };
    if (!isUsable_ || std::any_of(homes_.begin(), homes_.end(), holdsHome) ||
        std::any_of(places_.begin(), places_.end(), isKept) || isFolderOfVolumeTrash(target)) {
        return false;
    }
    return std::any_of(roots_.begin(), roots_.end(), [target](const std::string& root) {
        return root != target && isAtOrBelow(target, root);
    });
}

bool isSafe(const std::string& url, const std::vector<std::string>& allowedRoots) {
    return Judge(allowedRoots).allows(url);
}

std::vector<std::string> collapseNested(const std::vector<std::string>& urls) {
    // 1. In the order of a walk, where everything below a folder follows right behind it: with "/" written as
    // a zero byte,
    //    which no path holds, that is the plain order of bytes.
    struct Item {
        std::string key;  // the standardized path, written so; empty for "/"
        std::size_t index;
        std::size_t characters;
    };
    std::vector<Item> items;
    items.reserve(urls.size());
    for (std::size_t index = 0; index < urls.size(); ++index) {
        std::string key = standardizedPath(urls[index]);
        const std::size_t characters = utf8::isASCII(key) ? key.size() : utf8::characterCount(key);
        if (key == "/") {
            key.clear();
        }
        std::replace(key.begin(), key.end(), '/', '\0');
        items.push_back({std::move(key), index, characters});
    }
    // Of equal paths the last given comes first.
    std::sort(items.begin(), items.end(), [](const Item& left, const Item& right) {
        const int order = left.key.compare(right.key);
        return order != 0 ? order < 0 : left.index > right.index;
    });
    // 2. So one look at the path kept last is enough, however many there are and however deep they lie.
    std::vector<const Item*> kept;
    const auto holds = [](const std::string& folder, const std::string& path) {
        return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '\0');
    };
    for (const Item& item : items) {
        if (kept.empty() || !holds(kept.back()->key, item.key)) {
            kept.push_back(&item);
        }
    }
    // 3. Shortest first; of equal length in the order in which they were given.
    std::sort(kept.begin(), kept.end(), [](const Item* left, const Item* right) {
        return left->characters != right->characters ? left->characters < right->characters
                                                     : left->index < right->index;
    });
    std::vector<std::string> result;
    result.reserve(kept.size());
    for (const Item* item : kept) {
        result.push_back(urls[item->index]);
    }
    return result;
}

}  // namespace larkfold::removal_rules
