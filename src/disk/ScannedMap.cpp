#include "disk/ScannedMap.h"

#include <utility>

#include "disk/DiskScanner.h"
#include "platform/Error.h"
#include "platform/StandardFolders.h"

namespace larkfold {

std::string ScannedMap::openRootOf(ScanScope scope, const std::string& mapRoot) {
    return scope == ScanScope::startupDisk ? realHomeDirectory() : mapRoot;
}

ScannedMap ScannedMap::of(const Scan& scan, std::stop_token stop,
                          const std::function<void(const ScanProgress&)>& onProgress) {
    WatchBeginning began = watchBeginningNow();  // first: what changes from here on the scan may have missed
    RemovalScope removalScope(openRootOf(scan.scope, scan.root), stop);
    DiskScanner scanner(scan.indexURL);
    ScanResult result = scanner.scan(scan.root, scan.options, stop, onProgress);
    if (stop.stop_requested()) {
        throw CancellationError();
    }
    removalScope.takeMap(result.rootNode->url(), stop);
    removalScope.askForRules();
    return ScannedMap{
        .result = std::move(result), .removalScope = std::move(removalScope), .began = std::move(began)};
}

}  // namespace larkfold
