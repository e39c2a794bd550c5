// Which application the system's own names for a process speak of. Pure functions, safe from any thread.
// Linux part of the platform layer only.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace larkfold {

// What a unit of the session manager, a sandbox or a package tells.
struct ApplicationUnit {
    enum class Kind {
        application,  // a desktop started it as the application of this identifier
        activated,    // the message bus started whoever owns this name, which need not be an application
        snap          // the identifier is the snap's name, the application within it `snapApplication`
    };
    Kind kind = Kind::application;
    std::string identifier;  // not empty
    std::string snapApplication;

    bool operator==(const ApplicationUnit&) const = default;
};

// From the content of /proc/<pid>/cgroup: the innermost unit that is one of an application.
//
//   app-gnome-org.gnome.Evince-1234.scope, app-flatpak-org.mozilla.firefox-1234.scope,
//   app-org.kde.kate@1a2b.service dbus-:1.2-org.gnome.Nautilus@0.service snap.firefox.firefox-1a2b.scope,
//   snap.firefox.firefox.1a2b.scope
//
// "-" inside of an identifier stands as "\x2d".
std::optional<ApplicationUnit> applicationUnit(std::string_view controlGroups);

// From the content of a sandbox's .flatpak-info; empty where it names none.
std::string flatpakIdentifier(std::string_view information);

// From the path of an executable below /snap: the snap's name; empty elsewhere and for what snaps have in
// common.
std::string snapName(std::string_view executable);

}  // namespace larkfold
