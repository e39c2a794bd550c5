#include "shell/updates/BuildInformation.h"

namespace larkfold {

BuildInformation buildInformation() {
    return {.version = LARKFOLD_VERSION,
            .updateFeed = LARKFOLD_UPDATE_FEED,
            .updatePublicKey = LARKFOLD_UPDATE_KEY};
}

}  // namespace larkfold
