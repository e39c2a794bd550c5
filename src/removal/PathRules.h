// The path rules of the gate: which paths may ever be removed, and which of a set lie within others.
//
// The gate asks them at the moment of removal; others ask them to tell the user beforehand. They change
// nothing on disk. Safe from any thread.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace larkfold::removal_rules {

// What may go within some roots, as the links of the roots and of the protected places lead when it is made.
// For one run of the gate: the items of a long list are judged by the same rule, and each for the price of
// itself.
class Judge {
public:
    explicit Judge(std::vector<std::string> allowedRoots);

    // Whether the item at `url`, with links resolved, lies strictly below one of the roots (links resolved
    // too) and is none of the protected places. A root of "/" opens nothing; no roots, nothing. Looks at the
    // disk.
    bool allows(const std::string& url) const;

    // The same for each of many, in their order, for little more than the price of looking at them.
    std::vector<bool> allowEach(const std::vector<std::string>& urls) const;

    // The same for a path that has no link in it.
    bool allowsResolved(std::string_view target) const;

private:
    // A place to keep, and whether what lies below it is kept too.
    struct Place {
        std::string path;
        bool withContents;

        bool holds(std::string_view target) const;
    };

    std::vector<std::string> roots_;
    std::vector<std::string> homes_;  // nothing that holds one of them may go
    std::vector<Place> places_;
    bool isUsable_ = false;  // false where a home folder cannot be told
};

// The judgement of one path, all looked at anew; it is asked per action and not per row.
bool isSafe(const std::string& url, const std::vector<std::string>& allowedRoots);

// Without duplicates (of equal standardized paths the last given stays) and without what lies within another:
// parents before what is longer. The result holds the paths as they were given.
std::vector<std::string> collapseNested(const std::vector<std::string>& urls);

}  // namespace larkfold::removal_rules
