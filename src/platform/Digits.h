// Text that is nothing but decimal digits, as the number of a user in the name of a Trash. A free function,
// safe from any thread.
#pragma once

#include <string_view>

namespace larkfold {

// Of ASCII; an empty text has none.
inline bool isDigitsOnly(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

}  // namespace larkfold
