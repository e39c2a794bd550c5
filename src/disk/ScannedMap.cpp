#include "disk/ScannedMap.h"

#include <cstddef>
#include <utility>

#include "disk/DiskScanner.h"
#include "platform/Error.h"
#include "platform/StandardFolders.h"

namespace larkfold {

namespace {

constexpr std::size_t maximumRetainedFiles = 50'000;

}  // namespace

const std::vector<std::string>& ScannedMap::startupScanExclusions() {
    static const std::vector<std::string> prefixes = {"/System/Volumes", "/Volumes", "/dev", "/.vol",
                                                      "/.nofollow",      "/Network", "/net"};
    return prefixes;
}

DiskScanOptions ScannedMap::optionsFor(ScanScope scope, bool skipsHiddenFiles) {
    const bool isWhole = scope == ScanScope::startupDisk;
    DiskScanOptions options{.skipHiddenFiles = skipsHiddenFiles && !isWhole,
                            .excludedPathPrefixes = {},
                            .skipSymbolicLinks = true,
                            .maximumRetainedFiles = maximumRetainedFiles};
    if (isWhole) {
        options.excludedPathPrefixes = startupScanExclusions();
        const auto ofThisSystem = startupDiskExclusions();
        options.excludedPathPrefixes.insert(options.excludedPathPrefixes.end(), ofThisSystem.begin(),
                                            ofThisSystem.end());
    }
    return options;
}

std::string ScannedMap::openRootOf(ScanScope scope, const std::string& mapRoot) {
    return scope == ScanScope::startupDisk ? realHomeDirectory() : mapRoot;
}

ScannedMap ScannedMap::of(const Scan& scan, std::stop_token stop,
                          const std::function<void(const ScanProgress&)>& onProgress) {
    WatchBeginning began = watchBeginningNow();  // first: what changes from here on the scan may have missed
    RemovalScope removalScope(openRootOf(scan.scope, scan.root), stop);
    DiskScanner scanner(scan.indexURL);
    if (scan.mayEmptyIndex) {
        scanner.letEmptyFolderReplaceIndex();
    }
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
