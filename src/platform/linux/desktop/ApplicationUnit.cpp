#include "platform/linux/desktop/ApplicationUnit.h"

#include <array>

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

namespace {

int hexadecimal(char c) {
    return c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

// Undoes the session manager's escaping: "\x2d" is "-".
std::string unescaped(std::string_view name) {
    std::string text;
    for (std::size_t at = 0; at < name.size(); ++at) {
        if (name.size() - at >= 4 && name[at] == '\\' && name[at + 1] == 'x' &&
            hexadecimal(name[at + 2]) >= 0 && hexadecimal(name[at + 3]) >= 0) {
            text += static_cast<char>(hexadecimal(name[at + 2]) * 16 + hexadecimal(name[at + 3]));
            at += 3;
        } else {
            text += name[at];
        }
    }
    return text;
}

bool removePrefix(std::string_view& text, std::string_view prefix) {
    if (!text.starts_with(prefix)) {
        return false;
    }
    text.remove_prefix(prefix.size());
    return true;
}

bool removeSuffix(std::string_view& text, std::string_view suffix) {
    if (!text.ends_with(suffix)) {
        return false;
    }
    text.remove_suffix(suffix.size());
    return true;
}

// What stands behind the last `separator`, or all of it.
std::string_view lastPart(std::string_view text, char separator) {
    const std::size_t at = text.rfind(separator);
    return at == std::string_view::npos ? text : text.substr(at + 1);
}

// "app[-LAUNCHER]-IDENTIFIER-RANDOM.scope" and "app[-LAUNCHER]-IDENTIFIER[@RANDOM].service".
std::string_view identifierOfApplication(std::string_view unit) {
    if (removePrefix(unit, "gnome-launched-") && removeSuffix(unit, ".scope")) {
        // Of older desktops; nothing is escaped there: "NAME.desktop-PID".
        const std::size_t end = unit.rfind(".desktop-");
        return end == std::string_view::npos ? std::string_view() : unit.substr(0, end);
    }
    if (!removePrefix(unit, "app-")) {
        return {};
    }
    if (removeSuffix(unit, ".scope")) {
        const std::size_t end = unit.rfind('-');
        return end == std::string_view::npos ? std::string_view() : lastPart(unit.substr(0, end), '-');
    }
    if (removeSuffix(unit, ".service")) {
        return lastPart(unit.substr(0, unit.find('@')), '-');
    }
    return {};
}

// "dbus-:CONNECTION-NAME@NUMBER.service".
std::string_view identifierOfActivation(std::string_view unit) {
    if (!removePrefix(unit, "dbus-:") || !removeSuffix(unit, ".service")) {
        return {};
    }
    const std::size_t dash = unit.find('-');
    const std::size_t end = unit.rfind('@');
    return dash == std::string_view::npos || end == std::string_view::npos || end < dash
               ? std::string_view()
               : unit.substr(dash + 1, end - dash - 1);
}

// "snap.NAME.APPLICATION-RANDOM.scope", "snap.NAME.APPLICATION.RANDOM.scope". A snap's services belong to the
// system.
std::optional<ApplicationUnit> snapUnit(std::string_view unit) {
    if (!removePrefix(unit, "snap.") || !removeSuffix(unit, ".scope")) {
        return std::nullopt;
    }
    const std::size_t dot = unit.find('.');
    if (dot == 0 || dot == std::string_view::npos) {
        return std::nullopt;
    }
    ApplicationUnit found{.kind = ApplicationUnit::Kind::snap,
                          .identifier = unescaped(unit.substr(0, dot)),
                          .snapApplication = {}};
    std::string_view application = unit.substr(dot + 1);
    if (const std::size_t end = application.find('.'); end != std::string_view::npos) {
        application = application.substr(0, end);
    } else {
        // The random part is a UUID; "-" may be a part of the name before it.
        constexpr std::size_t lengthOfUUID = 36;
        if (application.size() > lengthOfUUID + 1 &&
            application[application.size() - lengthOfUUID - 1] == '-') {
            application.remove_suffix(lengthOfUUID + 1);
        } else {
            application = application.substr(0, application.rfind('-'));
        }
    }
    found.snapApplication = unescaped(application);
    return found;
}

std::optional<ApplicationUnit> unitOf(std::string_view component) {
    if (auto snap = snapUnit(component)) {
        return snap;
    }
    if (const std::string_view identifier = identifierOfApplication(component); !identifier.empty()) {
        return ApplicationUnit{.kind = ApplicationUnit::Kind::application,
                               .identifier = unescaped(identifier),
                               .snapApplication = {}};
    }
    if (const std::string_view identifier = identifierOfActivation(component); !identifier.empty()) {
        return ApplicationUnit{.kind = ApplicationUnit::Kind::activated,
                               .identifier = unescaped(identifier),
                               .snapApplication = {}};
    }
    return std::nullopt;
}

}  // namespace

std::optional<ApplicationUnit> applicationUnit(std::string_view controlGroups) {
    while (!controlGroups.empty()) {
        const std::size_t end = controlGroups.find('\n');
        std::string_view path = controlGroups.substr(0, end);
        controlGroups.remove_prefix(end == std::string_view::npos ? controlGroups.size() : end + 1);
        // "HIERARCHY:CONTROLLERS:PATH"
        const std::size_t first = path.find(':');
        const std::size_t second = first == std::string_view::npos ? first : path.find(':', first + 1);
        if (second == std::string_view::npos) {
            continue;
        }
        path.remove_prefix(second + 1);
        while (!path.empty()) {
            const std::size_t slash = path.rfind('/');
            if (auto unit = unitOf(slash == std::string_view::npos ? path : path.substr(slash + 1))) {
                return unit;
            }
            path = path.substr(0, slash == std::string_view::npos ? 0 : slash);
        }
    }
    return std::nullopt;
}

std::string flatpakIdentifier(std::string_view information) {
    bool isInGroup = false;
    while (!information.empty()) {
        const std::size_t end = information.find('\n');
        std::string_view line = information.substr(0, end);
        information.remove_prefix(end == std::string_view::npos ? information.size() : end + 1);
        if (line.starts_with('[')) {
            isInGroup = line == "[Application]";
        } else if (isInGroup && removePrefix(line, "name=")) {
            return std::string(line);
        }
    }
    return {};
}

std::string snapName(std::string_view executable) {
    if (!removePrefix(executable, "/snap/")) {
        return {};
    }
    const std::size_t end = executable.find('/');
    if (end == std::string_view::npos) {
        return {};
    }
    const std::string_view name = executable.substr(0, end);
    if (name == "bin" || name == "snapd" || name == "bare" || name.starts_with("core") ||
        name.starts_with("gnome-") || name.starts_with("kf5-") || name.starts_with("kf6-")) {
        return {};
    }
    return std::string(name);
}

}  // namespace larkfold
