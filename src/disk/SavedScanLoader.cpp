#include "disk/SavedScanLoader.h"

#include <cerrno>
#include <memory>
#include <optional>
#include <utility>

#include "disk/EmptyFolderFailure.h"
#include "disk/ScanIndexDatabase.h"
#include "platform/FileLock.h"
#include "platform/OwnFiles.h"
#include "platform/Path.h"

namespace larkfold {

namespace {

std::string folderOf(const std::string& indexURL) {
    return std::string(parentPath(indexURL));
}

// What stands at the place now, held for reading: with that begun, the lock is not needed any more.
std::unique_ptr<ScanIndexDatabase> openForReading(const std::string& indexURL, const std::stop_token& stop) {
    std::optional<own_files::FolderLock> lock;
    try {
        lock.emplace(folderOf(indexURL), own_files::FolderLock::longestWait, stop);
    } catch (const SystemError& error) {
        // Where this user can make no file, nobody puts another index in its place meanwhile.
        if (error.code() != ENOENT && error.code() != EROFS && !error.isPermissionFailure()) {
            throw;
        }
    }
    auto index = std::make_unique<ScanIndexDatabase>(indexURL, false);
    index->beginReading();
    return index;
}

ExpectedScan headerOf(ScanIndexDatabase& index) {
    ExpectedScan header{.skipsHiddenFiles = false};
    const auto meta = index.readMeta();
    if (const auto value = meta.find("skipHidden"); value != meta.end()) {
        header.skipsHiddenFiles = value->second == "1";
    }
    if (const auto value = meta.find("root"); value != meta.end()) {
        header.root = value->second;
    }
    return header;
}

// `found` is asked of the very file that is about to be read or changed, where nobody can exchange it any
// more: in a reading that has begun, or under the lock.
void require(const ExpectedScan& expected, const ExpectedScan& found) {
    if (expected.root && found.root && *found.root != standardizedPath(*expected.root)) {
        throw ScanIndexDatabase::Failure(
            "Another window has saved a scan of another folder meanwhile. Scan everything again.");
    }
    if (expected.skipsHiddenFiles && found.skipsHiddenFiles != expected.skipsHiddenFiles) {
        throw ScanIndexDatabase::Failure(
            "Another window has scanned this folder with other settings meanwhile. Scan everything again.");
    }
}

// That a merge does not take the last file out of the index, as a drive that is not connected would.
void requireFiles(ScanIndexDatabase& index, const std::string& root, const std::string& incomingURL) {
    ScanIndexDatabase incoming(incomingURL, false);
    if (headerOf(incoming).root == root && incoming.isEmpty()) {
        if (const std::int64_t files = index.fileCount(); files > 0) {
            throw EmptyFolderFailure(root, files);
        }
    }
}

// The library takes no notice when the folder's sync fails, which keeps the journal's name for as long as it
// is needed and lets it go afterwards. So it is made again, where its failure counts.
void syncFolderOf(const std::string& indexURL) {
    own_files::syncFolder(folderOf(indexURL));
}

}  // namespace

ScanResult SavedScanLoader::load(const std::string& indexURL, const std::optional<std::string>& folder,
                                 std::stop_token stop, const ExpectedScan& expected) {
    const auto index = openForReading(indexURL, stop);
    require(expected, headerOf(*index));
    return index->loadTree(folder, maximumFiles, std::move(stop));
}

SavedScanLoader::Restored SavedScanLoader::restore(const std::string& indexURL, std::stop_token stop) {
    const auto index = openForReading(indexURL, stop);
    ScanResult tree = index->loadTree(std::nullopt, maximumFiles, std::move(stop));
    return {.tree = std::move(tree), .skipsHiddenFiles = headerOf(*index).skipsHiddenFiles.value_or(false)};
}

ExpectedScan SavedScanLoader::header(const std::string& indexURL, const ExpectedScan& expected,
                                     std::stop_token stop) {
    ExpectedScan found;
    try {
        found = headerOf(*openForReading(indexURL, stop));
    } catch (const CancellationError&) {
        throw;
    } catch (const Error&) {
        return {};  // what is the matter shows when the index is loaded or changed
    }
    require(expected, found);
    return found;
}

std::int64_t SavedScanLoader::fileCount(const std::string& indexURL, const ExpectedScan& expected,
                                        std::stop_token stop) {
    const auto index = openForReading(indexURL, stop);
    require(expected, headerOf(*index));
    return index->fileCount();
}

void SavedScanLoader::merge(const std::string& indexURL, const std::string& incomingURL, std::stop_token stop,
                            const ExpectedScan& expected) {
    std::optional<own_files::FolderLock> lock(std::in_place, folderOf(indexURL),
                                              own_files::FolderLock::longestWait, stop);
    ScanIndexDatabase index(indexURL, false);
    const ExpectedScan found = headerOf(index);
    require(expected, found);
    if (found.root) {
        requireFiles(index, *found.root, incomingURL);
    }
    const std::string folder = index.merge(incomingURL, stop);
    syncFolderOf(indexURL);
    index.beginReading();
    lock.reset();
    index.proveFolder(folder, maximumFiles, std::move(stop));
}

void SavedScanLoader::removeFolder(const std::string& indexURL, const std::string& folder,
                                   std::stop_token stop, const ExpectedScan& expected) {
    const own_files::FolderLock lock(folderOf(indexURL), own_files::FolderLock::longestWait, stop);
    ScanIndexDatabase index(indexURL, false);
    require(expected, headerOf(index));
    index.removeFolder(folder, std::move(stop));
    syncFolderOf(indexURL);
}

void SavedScanLoader::removeIndexFile(const std::string& url, std::stop_token stop) {
    if (own_files::exists(url)) {
        const own_files::FolderLock lock(folderOf(url), own_files::FolderLock::longestWait, stop);
        if (stop.stop_requested()) {
            throw CancellationError();
        }
        own_files::removeFile(url);
    }
}

}  // namespace larkfold
