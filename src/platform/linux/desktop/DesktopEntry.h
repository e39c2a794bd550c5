// One desktop entry: the file with which an application presents itself to desktops (the Desktop Entry
// Specification 1.5). Only what is needed to tell which application a process belongs to. Pure functions,
// safe from any thread. Linux part of the platform layer only.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace larkfold {

struct DesktopEntry {
    std::string name;                  // in the best of the languages asked for
    std::string tryProgram;            // TryExec; may be empty
    std::vector<std::string> command;  // Exec as words, without the codes for files; may be empty
    bool isShown = true;               // in menus
    bool isHidden = false;             // deleted by the user: the entry counts as none
};

// The names of `locale` in the order in which an entry's values are looked for: "de_AT.UTF-8@euro" gives
// "de_AT@euro", "de_AT", "de@euro", "de". "C" and "POSIX" give none.
std::vector<std::string> localeVariants(std::string_view locale);

// The locale for messages, as the environment names it. Empty where it names none.
std::string messagesLocale();

// Nothing where the text is no entry of an application.
std::optional<DesktopEntry> parseDesktopEntry(std::string_view text,
                                              const std::vector<std::string>& variants);

}  // namespace larkfold
