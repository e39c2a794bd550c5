#include "removal/PathRules.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <optional>
#include <utility>

#include "platform/Digits.h"
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

// The "files" and "info" folders of a Trash at the top of a volume:
// ".Trash/1000/files" or ".Trash-1000/files".
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

bool PathPolicy::ProtectedPath::holds(std::string_view target) const {
    return withContents ? isAtOrBelow(target, path) : target == path;
}

PathPolicy::PathPolicy(const std::vector<std::string>& allowedRoots) {
    if (allowedRoots.empty()) {
        return;
    }
    const std::vector<std::string> asked = questions(allowedRoots);
    std::vector<LinkResolution> answers;
    answers.reserve(asked.size());
    for (auto& path : pathsWithLinksResolved(asked)) {
        const int error = path ? 0 : ETIMEDOUT;
        answers.push_back({.path = std::move(path), .error = error});
    }
    takeAnswers(asked, answers);
}

PathPolicy::PathPolicy(const std::vector<std::string>& allowedRoots, const std::stop_token& stop) {
    if (allowedRoots.empty()) {
        return;
    }
    const std::vector<std::string> asked = questions(allowedRoots);
    takeAnswers(asked, resolveLinks(asked, nullptr, stop));
}

// Everything that has to be known of the disk, asked at once: the home folder that the environment names
// and the real one, the protected places in them, since a place may be a link to where its contents lie,
// and the roots, in this order.
std::vector<std::string> PathPolicy::questions(const std::vector<std::string>& allowedRoots) {
    homes_ = {homeDirectoryForCurrentUser(), realHomeDirectory()};
    for (const std::string& home : homes_) {
        for (const ProtectedPlace& row : protectedPlaces) {
            protected_.push_back({joinedPath(home, row.belowHome), row.withContents});
        }
    }
    const std::string trash = joinedPath(applicationSupportDirectory(), "Trash");
    protected_.push_back({joinedPath(trash, "files"), false});
    protected_.push_back({joinedPath(trash, "info"), false});
    std::vector<std::string> asked = homes_;
    for (const ProtectedPath& place : protected_) {
        asked.push_back(place.path);
    }
    asked.insert(asked.end(), allowedRoots.begin(), allowedRoots.end());
    return asked;
}

void PathPolicy::takeAnswers(const std::vector<std::string>& questions,
                             const std::vector<LinkResolution>& answers) {
    const auto whyUnknown = [&](std::size_t index) {
        return std::make_shared<SystemError>(SystemError::Operation::resolve, answers[index].error,
                                             questions[index]);
    };
    // 1. The home folders, as they are named and where they really are.
    std::size_t index = 0;
    isUsable_ = true;
    for (const std::size_t homes = homes_.size(); index < homes; ++index) {
        if (const auto& real = answers[index].path) {
            homes_.push_back(*real);
        } else {
            isUsable_ = false;
            unanswered_ = whyUnknown(index);
        }
    }

    // 2. The protected places, likewise. Where one cannot be resolved, a target that could be does not lie
    // there.
    const std::size_t homes = index;
    for (const std::size_t end = homes + protected_.size(); index < end; ++index) {
        if (const auto& real = answers[index].path) {
            protected_.push_back({*real, protected_[index - homes].withContents});
        }
    }

    // 3. The roots. That of the disk opens nothing.
    ErrorValue unknownRoot;
    for (; index < answers.size(); ++index) {
        const auto& real = answers[index].path;
        if (!real) {
            unknownRoot = whyUnknown(index);
        } else if (*real != "/") {
            roots_.push_back(*real);
        }
    }
    if (roots_.empty() && !unanswered_) {
        unanswered_ = unknownRoot;
    }
}

bool PathPolicy::allows(const std::string& url) const {
    if (roots_.empty()) {
        return false;
    }
    // What cannot be resolved cannot be judged.
    const auto target = pathWithLinksResolved(url);
    return target && allowsResolved(*target);
}

std::vector<PathDecision> PathPolicy::decideEach(const std::vector<std::string>& urls,
                                                 const std::function<void(std::size_t)>& onAnswered,
                                                 const std::stop_token& stop) const {
    using Verdict = PathDecision::Verdict;
    if (unanswered_) {
        return {urls.size(), PathDecision{.verdict = Verdict::unanswered, .reason = unanswered_}};
    }
    std::vector<PathDecision> decisions(urls.size());
    if (roots_.empty()) {
        return decisions;
    }
    const std::vector<LinkResolution> targets = resolveLinks(urls, onAnswered, stop);
    for (std::size_t index = 0; index < urls.size(); ++index) {
        PathDecision& decision = decisions[index];
        if (const auto& target = targets[index].path) {
            decision.verdict = allowsResolved(*target) ? Verdict::allowed : Verdict::refused;
        } else {
            decision = {.verdict = Verdict::unanswered,
                        .reason = std::make_shared<SystemError>(SystemError::Operation::resolve,
                                                                targets[index].error, urls[index])};
        }
    }
    return decisions;
}

bool PathPolicy::allowsResolved(std::string_view target) const {
    // The home folders protect every folder above.
    const auto holdsHome = [target](const std::string& home) { return isAtOrBelow(home, target); };
    const auto isKept = [target](const ProtectedPath& place) { return place.holds(target); };
    if (!isUsable_ || std::any_of(homes_.begin(), homes_.end(), holdsHome) ||
        std::any_of(protected_.begin(), protected_.end(), isKept) || isFolderOfVolumeTrash(target)) {
        return false;
    }
    return std::any_of(roots_.begin(), roots_.end(), [target](const std::string& root) {
        return root != target && isAtOrBelow(target, root);
    });
}

bool isSafe(const std::string& url, const std::vector<std::string>& allowedRoots) {
    return PathPolicy(allowedRoots).allows(url);
}

std::vector<std::string> collapseNested(const std::vector<std::string>& urls) {
    // 1. In the order of a walk, where everything below a folder follows right behind it: with "/" written as
    //    a zero byte, which no path holds, that is the plain order of bytes.
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
