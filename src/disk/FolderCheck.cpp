#include "disk/FolderCheck.h"

#include "disk/SavedScanLoader.h"
#include "platform/Error.h"

namespace larkfold {

FolderCheck FolderCheck::of(const std::string& folder, const std::string& indexURL, std::stop_token stop) {
    FolderCheck check{.state = folderStateOf(folder, stop)};
    if (stop.stop_requested()) {
        throw CancellationError();
    }
    if (check.state == FolderState::empty) {
        try {
            check.savedFiles = SavedScanLoader::fileCount(indexURL, {.root = folder}, stop);
        } catch (const Error&) {
            // No index, one of another folder, or one that cannot be read: nothing is lost with it.
        }
    }
    return check;
}

}  // namespace larkfold
