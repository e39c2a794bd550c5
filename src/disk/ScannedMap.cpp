#include "disk/ScannedMap.h"

#include "platform/StandardFolders.h"

namespace larkfold {

std::string ScannedMap::openRootOf(ScanScope scope, const std::string& mapRoot) {
    return scope == ScanScope::startupDisk ? realHomeDirectory() : mapRoot;
}

}  // namespace larkfold
