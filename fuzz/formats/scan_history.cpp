// The list of recent scans: docs/scan-history-format.md.
#include <cmath>

#include "StoredFormat.h"
#include "disk/ScanHistoryEntry.h"
#include "platform/Bookmark.h"
#include "platform/Error.h"

namespace larkfold::fuzz {

void writeSeeds(const std::string& folder) {
    const ScanHistoryEntry disk{.id = UUID::make(),
                                .rootPath = "/",
                                .rootName = "/",
                                .scanDate = dateFromSecondsSince1970(1'790'000'000.25),
                                .totalSize = INT64_MAX,
                                .totalFiles = 3'902'440,
                                .totalDirectories = 12,
                                .scanDuration = 61.5,
                                .bookmarkData = std::nullopt};
    ScanHistoryEntry chosen = disk;
    chosen.id = UUID::make();
    chosen.rootPath = "/mnt/\xff\xfe";
    chosen.rootName = "\xff\xfe";
    chosen.bookmarkData = makeBookmark("/");
    writeBytes(folder + "/none", encodedScanHistory({}));
    writeBytes(folder + "/one", encodedScanHistory({disk}));
    writeBytes(folder + "/two", encodedScanHistory({chosen, disk}));
}

// What can be read is written back the same, and every figure of it can be shown.
void read(std::string_view bytes) {
    std::vector<ScanHistoryEntry> entries;
    try {
        entries = decodedScanHistory(bytes);
    } catch (const Error& error) {
        require(!error.description().empty());
        return;
    }
    for (const ScanHistoryEntry& entry : entries) {
        require(entry.rootPath.starts_with('/'));
        require(!entry.rootPath.contains('\0'));
        require(std::isfinite(secondsSince1970(entry.scanDate)));
        require(std::isfinite(entry.scanDuration));
    }
    require(decodedScanHistory(encodedScanHistory(entries)) == entries);
}

}  // namespace larkfold::fuzz
