// What stands at each of many paths, all within one short wait.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/DurableIdentity.h"

namespace larkfold {

// Of the items themselves: a link is not followed. Nothing for an item that is not there, and for all from
// the first one on whose volume did not answer before the wait was over. Safe from any thread.
std::vector<std::optional<DurableIdentity>> itemIdentities(const std::vector<std::string>& paths);

}  // namespace larkfold
