#include "platform/linux/desktop/DesktopEntry.h"

#include <algorithm>
#include <cstdlib>

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

namespace {

std::string_view trimmed(std::string_view text) {
    const auto isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\r'; };
    while (!text.empty() && isBlank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && isBlank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

// The escapes that every value of type string may have.
std::string unescaped(std::string_view value) {
    std::string text;
    for (std::size_t at = 0; at < value.size(); ++at) {
        if (value[at] != '\\' || at + 1 == value.size()) {
            text += value[at];
            continue;
        }
        switch (value[++at]) {
            case 's':
                text += ' ';
                break;
            case 'n':
                text += '\n';
                break;
            case 't':
                text += '\t';
                break;
            case 'r':
                text += '\r';
                break;
            case '\\':
                text += '\\';
                break;
            default:
                // Not one of its own: a quoting of the command line.
                text += '\\';
                text += value[at];
        }
    }
    return text;
}

// The words of a command line: parted by blanks, quoted by double quotes, inside of which a backslash takes
// the next character as it is. Codes for files and the like ("%U") are left out.
std::vector<std::string> words(std::string_view line) {
    std::vector<std::string> found;
    std::string word;
    bool isQuoted = false;
    bool hasWord = false;
    const auto end = [&] {
        if (hasWord && !(word.size() == 2 && word[0] == '%')) {
            found.push_back(word);
        }
        word.clear();
        hasWord = false;
    };
    for (std::size_t at = 0; at < line.size(); ++at) {
        const char c = line[at];
        if (c == '"') {
            isQuoted = !isQuoted;
            hasWord = true;
        } else if (c == '\\' && at + 1 < line.size()) {
            word += line[++at];
            hasWord = true;
        } else if (!isQuoted && (c == ' ' || c == '\t' || c == '\n')) {
            end();
        } else {
            word += c;
            hasWord = true;
        }
    }
    end();
    return found;
}

}  // namespace

std::vector<std::string> localeVariants(std::string_view locale) {
    std::string_view modifier;
    if (const std::size_t at = locale.find('@'); at != std::string_view::npos) {
        modifier = locale.substr(at);
        locale = locale.substr(0, at);
    }
    locale = locale.substr(0, locale.find('.'));
    if (locale.empty() || locale == "C" || locale == "POSIX") {
        return {};
    }
    const std::string_view language = locale.substr(0, locale.find('_'));
    std::vector<std::string> variants;
    const auto add = [&variants](std::string variant) {
        if (std::find(variants.begin(), variants.end(), variant) == variants.end()) {
            variants.push_back(std::move(variant));
        }
    };
    add(std::string(locale).append(modifier));
    add(std::string(locale));
    add(std::string(language).append(modifier));
    add(std::string(language));
    return variants;
}

std::string messagesLocale() {
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* value = std::getenv(variable);
        if (value != nullptr && value[0] != '\0') {
            return value;
        }
    }
    return {};
}

std::optional<DesktopEntry> parseDesktopEntry(std::string_view text,
                                              const std::vector<std::string>& variants) {
    DesktopEntry entry;
    std::string type;
    std::size_t bestVariant = variants.size() + 1;  // the plain name has the rank `variants.size()`
    bool isInGroup = false;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        const std::string_view line = trimmed(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (line.starts_with('[')) {
            isInGroup = line == "[Desktop Entry]";
            continue;
        }
        const std::size_t equals = line.find('=');
        if (!isInGroup || line.starts_with('#') || equals == std::string_view::npos) {
            continue;
        }
        const std::string_view key = trimmed(line.substr(0, equals));
        const std::string_view value = trimmed(line.substr(equals + 1));
        if (key == "Type") {
            type = value;
        } else if (key == "NoDisplay") {
            entry.isShown = value != "true";
        } else if (key == "Hidden") {
            entry.isHidden = value == "true";
        } else if (key == "TryExec") {
            entry.tryProgram = unescaped(value);
        } else if (key == "Exec") {
            entry.command = words(unescaped(value));
        } else if (key.starts_with("Name")) {
            std::string_view variant = key.substr(4);
            std::size_t rank = variants.size();
            if (!variant.empty()) {
                if (!variant.starts_with('[') || !variant.ends_with(']')) {
                    continue;
                }
                variant = variant.substr(1, variant.size() - 2);
                const auto found = std::find(variants.begin(), variants.end(), variant);
                if (found == variants.end()) {
                    continue;
                }
                rank = static_cast<std::size_t>(found - variants.begin());
            }
            if (rank < bestVariant) {
                bestVariant = rank;
                entry.name = unescaped(value);
            }
        }
    }
    if (type != "Application") {
        return std::nullopt;
    }
    return entry;
}

}  // namespace larkfold
