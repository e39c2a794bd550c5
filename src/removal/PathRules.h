// The path rules of the gate: which paths may ever be removed, and which of a set lie within others.
//
// The gate asks them at the moment of removal; others ask them to tell the user beforehand. They change
// nothing on disk. Safe from any thread.
#pragma once

#include <string>
#include <vector>

namespace larkfold::removal_rules {

// Whether the item at `url`, with links resolved, lies strictly below one of `allowedRoots` (links resolved
// too) and is none of the protected places. A root of "/" opens nothing; no roots, nothing. Paths are
// absolute bytes. Looks at the disk to resolve links, so it is asked per action and not per row.
bool isSafe(const std::string& url, const std::vector<std::string>& allowedRoots);

// Without duplicates (of equal standardized paths the last given stays) and without what lies within another:
// parents before what is longer. The result holds the paths as they were given.
std::vector<std::string> collapseNested(const std::vector<std::string>& urls);

}  // namespace larkfold::removal_rules
