// A tree of a scan, and what may be removed from it.
#pragma once

#include <functional>
#include <stop_token>
#include <string>
#include <vector>

#include "disk/DiskScanOptions.h"
#include "disk/RemovalScope.h"
#include "disk/ScanProgress.h"
#include "disk/ScanResult.h"
#include "disk/ScanScope.h"
#include "platform/WatchBeginning.h"

namespace larkfold {

struct ScannedMap {
    ScanResult result;
    RemovalScope removalScope;
    WatchBeginning began;  // of the scan, before anything was read; says nothing of a tree that was read back

    // The folder of a map within which something may be removed. Asks the system for the home folder.
    static std::string openRootOf(ScanScope scope, const std::string& mapRoot);

    // The fixed prefixes that a scan of the startup disk leaves out; the system's own are read at each scan.
    static const std::vector<std::string>& startupScanExclusions();

    // As a scan of that scope is made. A whole disk's holds what is hidden, whatever the settings say.
    static DiskScanOptions optionsFor(ScanScope scope, bool skipsHiddenFiles);

    // What a scan needs to know.
    struct Scan {
        std::string root;
        ScanScope scope = ScanScope::selectedFolder;
        DiskScanOptions options;
        std::string indexURL;        // is replaced when the scan has ended
        bool mayEmptyIndex = false;  // by a folder that holds nothing any more
    };

    // Scans, on the calling thread, which is told of the progress. Throws `CancellationError` and what
    // `DiskScanner::scan` throws.
    static ScannedMap of(const Scan& scan, std::stop_token stop,
                         const std::function<void(const ScanProgress&)>& onProgress);
};

}  // namespace larkfold
