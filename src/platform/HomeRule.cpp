#include "platform/HomeRule.h"

#include <string_view>
#include <vector>

#include "platform/Path.h"

namespace larkfold {

std::string realHomeDirectory(const std::string& accountHome, const std::string& currentHome) {
    if (!accountHome.empty() && accountHome.find("/Library/Containers/") == std::string::npos) {
        return accountHome;
    }
    std::string home = standardizedPath(currentHome);
    std::vector<std::string_view> parts;
    std::string_view rest = home;
    while (!rest.empty() && parts.size() < 4) {
        rest.remove_prefix(1);
        const std::string_view part = rest.substr(0, rest.find('/'));
        parts.push_back(part);
        rest.remove_prefix(part.size());
    }
    if (parts.size() == 4 && parts[0] == "Users" && parts[2] == "Library" && parts[3] == "Containers") {
        return "/Users/" + std::string(parts[1]);
    }
    return home;
}

}  // namespace larkfold
