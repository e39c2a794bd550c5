// Where the system keeps things. Each call looks anew, so a changed environment (a test's own home) is seen.
// Paths are standardized bytes. Safe from any thread as long as nobody changes the environment.
#pragma once

#include <string>

namespace larkfold {

// The user's real home folder, also when the environment redirects it: the one the account database names.
std::string realHomeDirectory();

// The home folder that the environment names ($HOME), otherwise the real one.
std::string homeDirectoryForCurrentUser();

// Where programs keep the data that they make for the user (XDG_DATA_HOME, else ".local/share" in the home
// folder).
std::string applicationSupportDirectory();

// Where programs put what nobody needs later (TMPDIR, else "/tmp").
std::string temporaryDirectory();

// Where programs keep settings (XDG_CONFIG_HOME, else ".config" in the home folder).
std::string configurationDirectory();

}  // namespace larkfold
