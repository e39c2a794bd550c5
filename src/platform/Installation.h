// Who put the running program where it is, and so who replaces it by a newer one. Free functions, safe from
// any thread.
#pragma once

#include <string_view>

namespace larkfold {

enum class Installation {
    unmanaged,      // a folder of the user's or the administrator's own
    systemPackage,  // the system's package manager
    flatpak,
    snap
};

// Of the running program. Cheap.
Installation currentInstallation();

// Of a program outside of any sandbox, by where its file lies. A system keeps some places for its package
// manager alone; that tells it for every package manager without asking one.
Installation installationOfProgram(std::string_view path);

}  // namespace larkfold
