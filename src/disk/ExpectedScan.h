#pragma once

#include <optional>
#include <string>

namespace larkfold {

// Which saved scan is meant. Another window may put its own in the place of the index at any time; where that
// is of another folder, or was made with another setting, nothing is read from it or changed in it.
struct ExpectedScan {
    std::optional<std::string> root = std::nullopt;  // nothing: of any folder
    std::optional<bool> skipsHiddenFiles = std::nullopt;
};

}  // namespace larkfold
