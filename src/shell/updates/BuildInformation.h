// What was set when this program was built. The text fields are empty where nothing
// was. Safe from any thread.
#pragma once

#include <string_view>

namespace larkfold {

struct BuildInformation {
    std::string_view version;          // as the user reads it: "0.1.0"
    std::string_view updateFeed;       // LARKFOLD_UPDATE_FEED
    std::string_view updatePublicKey;  // LARKFOLD_UPDATE_KEY
};

BuildInformation buildInformation();

}  // namespace larkfold
