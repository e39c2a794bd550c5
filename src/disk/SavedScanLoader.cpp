#include "disk/SavedScanLoader.h"

#include <cerrno>
#include <memory>
#include <optional>
#include <utility>

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
std::unique_ptr<ScanIndexDatabase> openForReading(const std::string& indexURL) {
    std::optional<own_files::FolderLock> lock;
    try {
        lock.emplace(folderOf(indexURL));
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

// The library takes no notice when the folder's sync fails, which keeps the journal's name for as long as it
// is needed and lets it go afterwards. So it is made again, where its failure counts.
void syncFolderOf(const std::string& indexURL) {
    own_files::syncFolder(folderOf(indexURL));
}

}  // namespace

ScanResult SavedScanLoader::load(const std::string& indexURL, const std::optional<std::string>& folder,
                                 std::stop_token stop) {
    return openForReading(indexURL)->loadTree(folder, maximumFiles, std::move(stop));
}

SavedScanLoader::Header SavedScanLoader::header(const std::string& indexURL) {
    Header header;
    try {
        const auto meta = openForReading(indexURL)->readMeta();
        if (const auto value = meta.find("skipHidden"); value != meta.end()) {
            header.skipHiddenFiles = value->second == "1";
        }
        if (const auto value = meta.find("root"); value != meta.end()) {
            header.root = value->second;
        }
    } catch (const Error&) {
        // What is the matter shows when the index is loaded or changed.
    }
    return header;
}

bool SavedScanLoader::skipHiddenFiles(const std::string& indexURL) {
    return header(indexURL).skipHiddenFiles;
}

void SavedScanLoader::merge(const std::string& indexURL, const std::string& incomingURL,
                            std::stop_token stop) {
    std::optional<own_files::FolderLock> lock(folderOf(indexURL));
    ScanIndexDatabase index(indexURL, false);
    index.merge(incomingURL, stop);
    syncFolderOf(indexURL);
    index.beginReading();
    lock.reset();
    static_cast<void>(index.loadTree(std::nullopt, maximumFiles, std::move(stop)));
}

void SavedScanLoader::removeFolder(const std::string& indexURL, const std::string& folder,
                                   std::stop_token stop) {
    const own_files::FolderLock lock(folderOf(indexURL));
    ScanIndexDatabase(indexURL, false).removeFolder(folder, std::move(stop));
    syncFolderOf(indexURL);
}

void SavedScanLoader::removeIndexFile(const std::string& url) {
    if (own_files::exists(url)) {
        const own_files::FolderLock lock(folderOf(url));
        own_files::removeFile(url);
    }
}

}  // namespace larkfold
