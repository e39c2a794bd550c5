// Which of the answers of the system is the user's real home folder. Apart from the system's calls, so that a
// test can ask it for any answers.
#pragma once

#include <string>

namespace larkfold {

// `accountHome`: what the account database names, empty where it has no entry. `currentHome`: what the
// environment names. A sandbox of macOS redirects one or both into "Library/Containers".
std::string realHomeDirectory(const std::string& accountHome, const std::string& currentHome);

}  // namespace larkfold
