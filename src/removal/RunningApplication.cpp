#include "removal/RunningApplication.h"

#include <algorithm>
#include <span>
#include <string_view>

#include "platform/Collation.h"
#include "platform/DesktopApplication.h"
#include "platform/Digits.h"
#include "platform/Path.h"
#include "removal/ApplicationTokens.h"

namespace larkfold {

namespace {

// How many components from the first on are a Trash and its own folder: "Trash/files", ".Trash-1000/info",
// ".Trash/1000/files". They belong to no application, although a file manager is often called "Files".
std::size_t lengthOfTrash(std::span<const std::string_view> components) {
    const std::string_view first = components[0];
    std::size_t length = 0;
    if (first == "Trash" || (first.starts_with(".Trash-") && isDigitsOnly(first.substr(7)))) {
        length = 1;
    } else if (first == ".Trash" && components.size() > 1 && isDigitsOnly(components[1])) {
        length = 2;
    }
    if (length == 0 || components.size() == length ||
        (components[length] != "files" && components[length] != "info")) {
        return 0;
    }
    return length + 1;
}

// The components in lower case, without those of a Trash.
std::vector<std::string> comparedComponents(const std::string& path) {
    const std::string standardized = standardizedPath(path);
    std::vector<std::string_view> components;
    std::string_view rest = standardized;
    while (!rest.empty()) {
        rest.remove_prefix(1);  // the "/"
        const std::string_view component = rest.substr(0, rest.find('/'));
        if (!component.empty()) {
            components.push_back(component);
        }
        rest.remove_prefix(component.size());
    }
    std::vector<std::string> compared;
    for (std::size_t at = 0; at < components.size();) {
        if (const std::size_t length = lengthOfTrash(std::span(components).subspan(at)); length > 0) {
            at += length;
            continue;
        }
        compared.push_back(lowercased(components[at++]));
    }
    return compared;
}

bool hasTokenOf(std::span<const ApplicationTokens> rows, std::string_view identifier,
                const std::vector<std::string>& components) {
    const auto row = std::find_if(rows.begin(), rows.end(),
                                  [&](const ApplicationTokens& one) { return one.identifier == identifier; });
    return row != rows.end() &&
           std::any_of(row->tokens.begin(), row->tokens.end(), [&](std::string_view token) {
               return !token.empty() &&
                      std::find(components.begin(), components.end(), token) != components.end();
           });
}

}  // namespace

std::vector<RunningApplication> RunningApplication::current() {
    std::vector<RunningApplication> applications;
    for (DesktopApplication& one : runningDesktopApplications()) {
        applications.push_back({.name = std::move(one.name), .bundleID = std::move(one.identifier)});
    }
    return applications;
}

std::optional<std::string> RunningApplication::match(const std::string& path,
                                                     const std::vector<RunningApplication>& applications) {
    if (applications.empty()) {
        return std::nullopt;
    }
    const std::vector<std::string> components = comparedComponents(path);
    const auto contains = [&components](const std::string& token) {
        return !token.empty() && std::find(components.begin(), components.end(), token) != components.end();
    };
    for (const RunningApplication& application : applications) {
        const std::string identifier = lowercased(application.bundleID);
        if (contains(identifier) || contains(lowercased(application.name)) ||
            hasTokenOf(macOSApplicationTokens, identifier, components) ||
            hasTokenOf(linuxApplicationTokens, identifier, components)) {
            return application.name;
        }
    }
    return std::nullopt;
}

}  // namespace larkfold
