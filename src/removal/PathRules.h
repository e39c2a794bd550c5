// The path rules of the gate: which paths may ever be removed, and which of a set lie within others.
//
// The gate asks them at the moment of removal; others ask them to tell the user beforehand. They change
// nothing on disk. Safe from any thread.
#pragma once

#include <cstddef>
#include <functional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Error.h"
#include "platform/LinkResolution.h"

namespace larkfold::removal_rules {

// What the rules say of an item, as far as the disk tells where it leads.
struct PathDecision {
    enum class Verdict { allowed, refused, unanswered };

    Verdict verdict = Verdict::refused;
    ErrorValue reason;  // of `unanswered`: why the disk does not tell
};

// What may go within some roots, as the links of the roots and of the protected places lead when
// it is made. For one run of the gate: the items of a long list are judged by the same rule, and
// each for the price of itself.
class PathPolicy {
public:
    // Waits a short, fixed time for the disk. What it has not told by then opens nothing.
    explicit PathPolicy(const std::vector<std::string>& allowedRoots);

    // Waits as long as the disk takes. Throws `CancellationError` as soon as `stop` is requested.
    PathPolicy(const std::vector<std::string>& allowedRoots, const std::stop_token& stop);

    // False where the disk did not tell where the home folders and the roots are, so that what is refused may
    // be allowed by one who knows.
    bool isUsable() const { return isUsable_ && !unanswered_; }

    // Whether the item at `url`, with links resolved, lies strictly below one of the roots (links
    // resolved too) and is none of the protected places. A root of "/" opens nothing; no roots,
    // nothing. Looks at the disk.
    bool allows(const std::string& url) const;

    // The same for each of many, in their order and for as long as the disk takes. `onAnswered` (may be
    // empty) hears some times a second, on this thread, how many have their answer. Throws
    // `CancellationError` as soon as `stop` is requested.
    std::vector<PathDecision> decideEach(const std::vector<std::string>& urls,
                                         const std::function<void(std::size_t)>& onAnswered,
                                         const std::stop_token& stop) const;

    // The same for a path that has no link in it.
    bool allowsResolved(std::string_view target) const;

private:
    // A place to keep, and whether what lies below it is kept too.
    struct ProtectedPath {
        std::string path;
        bool withContents;

        bool holds(std::string_view target) const;
    };

    std::vector<std::string> questions(const std::vector<std::string>& allowedRoots);
    void takeAnswers(const std::vector<std::string>& questions, const std::vector<LinkResolution>& answers);

    std::vector<std::string> roots_;
    std::vector<std::string> homes_;  // nothing that holds one of them may go
    std::vector<ProtectedPath> protected_;
    bool isUsable_ = false;  // false where a home folder cannot be told
    ErrorValue unanswered_;  // why a home folder or, where none could be told, a root is not known
};

// The decision about one path, all looked at anew; it is asked per action and not per row.
bool isSafe(const std::string& url, const std::vector<std::string>& allowedRoots);

// Without duplicates (of equal standardized paths the last given stays) and without what lies within another:
// parents before what is longer. The result holds the paths as they were given.
std::vector<std::string> collapseNested(const std::vector<std::string>& urls);

}  // namespace larkfold::removal_rules
