// Names of folders in which applications keep their data besides those that bear their name or identifier.
//
// Each row is for one identifier, in lower case, and so are the tokens. The rows of one system never meet the
// identifiers of the other, so both tables hold everywhere.
#pragma once

#include <array>
#include <string_view>

namespace larkfold {

struct ApplicationTokens {
    std::string_view identifier;
    std::array<std::string_view, 3> tokens;  // empty ones say nothing
};

// Bundle identifiers of macOS.
inline constexpr ApplicationTokens macOSApplicationTokens[] = {
    {.identifier = "com.google.chrome", .tokens = {"google", "chrome"}},
    {.identifier = "com.apple.safari", .tokens = {"safari"}},
    {.identifier = "com.tinyspeck.slackmacgap", .tokens = {"slack"}},
    {.identifier = "com.hnc.discord", .tokens = {"discord"}},
    {.identifier = "com.microsoft.teams2", .tokens = {"microsoft teams", "teams"}},
    {.identifier = "com.microsoft.vscode", .tokens = {"code"}},
    {.identifier = "com.todesktop.230313mzl4w4u92", .tokens = {"cursor"}},
    {.identifier = "com.exafunction.windsurf", .tokens = {"windsurf"}},
    {.identifier = "com.docker.docker", .tokens = {"docker"}},
    {.identifier = "com.apple.dt.xcode", .tokens = {"xcode", "deriveddata"}},
    {.identifier = "com.spotify.client", .tokens = {"spotify"}},
    {.identifier = "us.zoom.xos", .tokens = {"zoom.us", "zoom"}},
};

// Identifiers of desktop entries, sandboxes and snaps on Linux.
inline constexpr ApplicationTokens linuxApplicationTokens[] = {
    {.identifier = "google-chrome", .tokens = {"google-chrome"}},
    {.identifier = "com.google.chrome", .tokens = {"google-chrome"}},
    {.identifier = "chromium", .tokens = {"chromium"}},
    {.identifier = "chromium-browser", .tokens = {"chromium"}},
    {.identifier = "org.chromium.chromium", .tokens = {"chromium"}},
    {.identifier = "firefox", .tokens = {"firefox", "mozilla"}},
    {.identifier = "firefox-esr", .tokens = {"firefox", "mozilla"}},
    {.identifier = "org.mozilla.firefox", .tokens = {"firefox", "mozilla"}},
    {.identifier = "brave-browser", .tokens = {"bravesoftware", "brave-browser"}},
    {.identifier = "com.brave.browser", .tokens = {"bravesoftware", "brave-browser"}},
    {.identifier = "microsoft-edge", .tokens = {"microsoft-edge"}},
    {.identifier = "com.microsoft.edge", .tokens = {"microsoft-edge"}},
    {.identifier = "vivaldi-stable", .tokens = {"vivaldi"}},
    {.identifier = "com.vivaldi.vivaldi", .tokens = {"vivaldi"}},
    {.identifier = "slack", .tokens = {"slack"}},
    {.identifier = "com.slack.slack", .tokens = {"slack"}},
    {.identifier = "discord", .tokens = {"discord", "com.discordapp.discord"}},
    {.identifier = "com.discordapp.discord", .tokens = {"discord", "com.discordapp.discord"}},
    {.identifier = "teams", .tokens = {"teams", "microsoft teams", "teams-for-linux"}},
    {.identifier = "teams-for-linux", .tokens = {"teams", "microsoft teams", "teams-for-linux"}},
    {.identifier = "com.github.ismaelmartinez.teams_for_linux",
     .tokens = {"teams", "microsoft teams", "teams-for-linux"}},
    {.identifier = "code", .tokens = {"code"}},
    {.identifier = "code-oss", .tokens = {"code"}},
    {.identifier = "codium", .tokens = {"code"}},
    {.identifier = "com.visualstudio.code", .tokens = {"code"}},
    {.identifier = "cursor", .tokens = {"cursor"}},
    {.identifier = "windsurf", .tokens = {"windsurf"}},
    {.identifier = "docker-desktop", .tokens = {"docker"}},
    {.identifier = "spotify", .tokens = {"spotify"}},
    {.identifier = "com.spotify.client", .tokens = {"spotify"}},
    {.identifier = "zoom", .tokens = {"zoom", ".zoom"}},
    {.identifier = "us.zoom.zoom", .tokens = {"zoom", ".zoom"}},
};

}  // namespace larkfold
