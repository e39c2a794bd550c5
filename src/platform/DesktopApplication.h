// The applications of this user that are running now, as the desktop knows them.
#pragma once

#include <string>
#include <vector>

namespace larkfold {

struct DesktopApplication {
    std::string identifier;  // the system's stable identifier, never empty
    std::string name;        // in the user's language; the identifier where the system has no name

    bool operator==(const DesktopApplication&) const = default;
};

// Each application once, in the order of their oldest processes; this program itself is left out. What has no
// identifier (a shell, a service, a tool) is no application. Never fails: what cannot be read is not listed.
// Safe from any thread. Some 10 microseconds for each process of the user; the system's list of applications
// is read at the first call and kept until it changes.
std::vector<DesktopApplication> runningDesktopApplications();

}  // namespace larkfold
