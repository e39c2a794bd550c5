#include "removal/PathRules.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string_view>
#include <unordered_map>

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

// `target` and `home` have their links resolved.
bool isProtected(const std::string& target, const std::string& home) {
    if (isAtOrBelow(home, target)) {
        return true;  // home itself, and every folder above it
    }
    for (const ProtectedPlace& row : protectedPlaces) {
        const auto matches = [&](const std::string& place) {
            return row.withContents ? isAtOrBelow(target, place) : target == place;
        };
        const std::string place = joinedPath(home, row.belowHome);
        if (matches(place)) {
            return true;
        }
        // The place may be a link to where its contents really lie. Where that cannot be told, `target`,
        // which could be resolved, does not lie there.
        if (const auto real = pathWithLinksResolved(place); real && *real != place && matches(*real)) {
            return true;
        }
    }
    return false;
}

}  // namespace

bool isSafe(const std::string& url, const std::vector<std::string>& allowedRoots) {
    // 1. Where the path really leads. What cannot be resolved cannot be judged.
    const std::optional<std::string> target = pathWithLinksResolved(url);
    if (!target || allowedRoots.empty()) {
        return false;
    }
    // 2. The protected places of the home folder, of the one that the environment names and of the real one.
    for (const std::string& home : {homeDirectoryForCurrentUser(), realHomeDirectory()}) {
        const std::optional<std::string> resolved = pathWithLinksResolved(home);
        if (!resolved || isProtected(*target, *resolved) ||
            (*resolved != home && isProtected(*target, home))) {
            return false;
        }
    }
    const std::string trash = joinedPath(applicationSupportDirectory(), "Trash");
    if (*target == joinedPath(trash, "files") || *target == joinedPath(trash, "info") ||
        isFolderOfVolumeTrash(*target)) {
        return false;
    }
    // 3. Strictly below one of the roots.
    return std::any_of(allowedRoots.begin(), allowedRoots.end(), [&](const std::string& allowed) {
        const std::optional<std::string> root = pathWithLinksResolved(allowed);
        return root && *root != "/" && *root != *target && isAtOrBelow(*target, *root);
    });
}

std::vector<std::string> collapseNested(const std::vector<std::string>& urls) {
    struct Item {
        std::string path;  // standardized
        std::size_t index;
        std::size_t characters;
    };
    // 1. One item for each standardized path: the last one given.
    std::vector<Item> items;
    std::unordered_map<std::string, std::size_t> lastIndex;
    lastIndex.reserve(urls.size());
    for (std::size_t index = 0; index < urls.size(); ++index) {
        lastIndex.insert_or_assign(standardizedPath(urls[index]), index);
    }
    items.reserve(lastIndex.size());
    for (auto& [path, index] : lastIndex) {
        items.push_back({path, index, utf8::characterCount(path)});
    }
    // 2. In the order of a walk, where everything below a folder follows right behind it: "/" sorts before
    // every other
    //    byte. So one look at the folder kept last is enough, however many paths there are and however deep
    //    they lie.
    const auto byWalk = [](const Item& left, const Item& right) {
        return std::lexicographical_compare(
            left.path.begin(), left.path.end(), right.path.begin(), right.path.end(), [](char a, char b) {
                const auto rank = [](char c) { return c == '/' ? 0 : 1 + static_cast<unsigned char>(c); };
                return rank(a) < rank(b);
            });
    };
    std::sort(items.begin(), items.end(), byWalk);
    std::vector<const Item*> kept;
    for (const Item& item : items) {
        if (kept.empty() || !isAtOrBelow(item.path, kept.back()->path)) {
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
