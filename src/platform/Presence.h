// Whether something stands at a place of the user's.
#pragma once

#include <stop_token>
#include <string>

namespace larkfold {

// `unknown`: it cannot be told. A folder above it may not be searched, or the volume does not answer within a
// short, fixed wait.
enum class Presence { stands, missing, unknown };

// Anything counts, a link that leads nowhere included. The path may be longer than the system takes, if no
// link is in it. Safe from any thread; touches the disk.
Presence presenceOf(const std::string& path, std::stop_token stop = {});

}  // namespace larkfold
