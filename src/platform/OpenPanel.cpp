#include "platform/OpenPanel.h"

#include <algorithm>

namespace larkfold {

namespace {

char lowercased(char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

bool hasExtension(std::string_view name, std::string_view extension) {
    // Something stands before the dot: ".json" is a hidden file without an extension.
    if (name.size() < extension.size() + 2 || name[name.size() - extension.size() - 1] != '.') {
        return false;
    }
    return std::ranges::equal(name.substr(name.size() - extension.size()), extension, {}, lowercased,
                              lowercased);
}

}  // namespace

bool OpenPanel::FileType::accepts(std::string_view fileName) const {
    return extensions.empty() || std::ranges::any_of(extensions, [&](const std::string& extension) {
               return hasExtension(fileName, extension);
           });
}

}  // namespace larkfold
