#include "removal/PathRules.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string_view>

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

bool isUserNumber(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

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
        return isUserNumber(trashName.substr(prefix.size()));
    }
    return isUserNumber(trashName) && lastPathComponent(parentPath(trash)) == ".Trash";
}

// A place to keep, and whether what lies below it is kept too.
struct Place {
    std::string path;
    bool withContents;
};

bool isAt(const std::string& target, const Place& place) {
    return place.withContents ? isAtOrBelow(target, place.path) : target == place.path;
}

}  // namespace

bool isSafe(const std::string& url, const std::vector<std::string>& allowedRoots) {
    if (allowedRoots.empty()) {
        return false;
    }
    // 1. Where everything really leads, asked at once: the item, the roots, the home folder that the
    // environment names and
    //    the real one, and the protected places in them, since a place may be a link to where its contents
    //    lie.
    const std::string homes[] = {homeDirectoryForCurrentUser(), realHomeDirectory()};
    std::vector<std::string> asked = {url};
    asked.insert(asked.end(), allowedRoots.begin(), allowedRoots.end());
    asked.insert(asked.end(), std::begin(homes), std::end(homes));
    std::vector<Place> places;
    for (const std::string& home : homes) {
        for (const ProtectedPlace& row : protectedPlaces) {
            places.push_back({joinedPath(home, row.belowHome), row.withContents});
        }
    }
    const std::string trash = joinedPath(applicationSupportDirectory(), "Trash");
    places.push_back({joinedPath(trash, "files"), false});
    places.push_back({joinedPath(trash, "info"), false});
    for (const Place& place : places) {
        asked.push_back(place.path);
    }
    const std::vector<std::optional<std::string>> resolved = pathsWithLinksResolved(asked);
    const auto roots = resolved.begin() + 1;
    const auto realHomes = roots + std::ssize(allowedRoots);
    const auto realPlaces = realHomes + std::ssize(homes);

    // 2. What cannot be resolved cannot be judged.
    if (!resolved.front()) {
        return false;
    }
    const std::string& target = *resolved.front();

    // 3. The protected places, as they are named and where they really lie. The home folders protect every
    // folder above.
    for (std::ptrdiff_t index = 0; index < std::ssize(homes); ++index) {
        const std::optional<std::string>& real = realHomes[index];
        if (!real || isAtOrBelow(*real, target) || isAtOrBelow(homes[index], target)) {
            return false;
        }
    }
    for (std::size_t index = 0; index < places.size(); ++index) {
        // Where a place cannot be resolved, the target, which could be, does not lie there.
        const std::optional<std::string>& real = realPlaces[static_cast<std::ptrdiff_t>(index)];
        if (isAt(target, places[index]) || (real && isAt(target, {*real, places[index].withContents}))) {
            return false;
        }
    }
    if (isFolderOfVolumeTrash(target)) {
        return false;
    }

    // 4. Strictly below one of the roots. The root of the disk opens nothing.
    return std::any_of(roots, realHomes, [&](const std::optional<std::string>& root) {
        return root && *root != "/" && *root != target && isAtOrBelow(target, *root);
    });
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
