// The clock of folders' dates moves in steps of some milliseconds.
#pragma once

#include "platform/FolderWatcher.h"

namespace larkfold::test {

// Until what happens from now on bears a later date than all that has happened.
inline void awaitNextFolderMoment() {
    const FolderMoment before = folderMomentNow();
    while (folderMomentNow() == before) {
    }
}

}  // namespace larkfold::test
