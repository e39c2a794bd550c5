// A tree of a scan, and what may be removed from it.
#pragma once

#include <string>

#include "disk/RemovalScope.h"
#include "disk/ScanResult.h"
#include "disk/ScanScope.h"

namespace larkfold {

struct ScannedMap {
    ScanResult result;
    RemovalScope removalScope;

    // The folder of a map within which something may be removed. Asks the system for the home folder.
    static std::string openRootOf(ScanScope scope, const std::string& mapRoot);
};

}  // namespace larkfold
