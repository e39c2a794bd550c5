// Whether something stands at a place of the user's.
#pragma once

#include <stop_token>
#include <string>

namespace larkfold {

// `unknown`: it cannot be told. A folder above it may not be searched, or the volume does not answer within
// ten seconds, in which a disk that slept is awake.
enum class Presence { stands, isLink, missing, unknown };

// Anything counts, a link is not followed. The path may be longer than the system takes, if no
// link is in it. Safe from any thread; touches the disk.
Presence presenceOf(const std::string& path, std::stop_token stop = {});

}  // namespace larkfold
