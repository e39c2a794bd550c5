#include "disk/DiskScanner.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

#include "disk/EmptyFolderFailure.h"
#include "disk/ScanIndexDatabase.h"
#include "platform/DirectoryReader.h"
#include "platform/FileLock.h"
#include "platform/OwnFiles.h"
#include "platform/Path.h"
#include "platform/Volumes.h"

namespace larkfold {

namespace {

constexpr std::int64_t directoriesPerReport = 10;
constexpr std::int64_t itemsPerReport = 500;
constexpr std::chrono::hours longestWaitForIndex{1};
// Above this a path is copied into the progress only when it is reported: in a tree a hundred thousand levels
// deep the copies would take longer than the walk.
constexpr std::size_t longestPathKept = 4096;

std::string displayName(const std::string& path) {
    if (path == "/") {
        return volumeName(path).value_or("Startup Disk");
    }
    return std::string(lastPathComponent(path));
}

// What the library keeps beside a database: a journal of a change that was interrupted, or the log of one
// that another program has left in write-ahead mode. Nothing in either says which file it belongs to, so it
// would be replayed into the new index. Opening the old index plays it back where it belongs; beside an index
// that cannot be opened it is of no use to anybody.
void settleJournal(const std::string& indexURL) {
    const std::string companions[] = {indexURL + "-journal", indexURL + "-wal", indexURL + "-shm"};
    if (std::none_of(std::begin(companions), std::end(companions), own_files::exists)) {
        return;
    }
    try {
        ScanIndexDatabase(indexURL, false).readMeta();
    } catch (const Error&) {
    }
    for (const std::string& companion : companions) {
        own_files::removeFile(companion);
    }
}

}  // namespace

// One walk, with everything that lives only as long as it.
struct DiskScanner::Walk {
    Walk(DiskScanner& owner, std::string root, const DiskScanOptions& scanOptions, std::stop_token stopToken,
         ProgressHandler handler)
        : scanner(owner),
          options(scanOptions),
          stop(std::move(stopToken)),
          report(std::move(handler)),
          rootPath(std::move(root)),
          path(rootPath),
          reader(rootPath,
                 {.skipHiddenFiles = options.skipHiddenFiles,
                  .excludedPathPrefixes = options.excludedPathPrefixes,
                  .readsSymbolicLinks = !options.skipSymbolicLinks,
                  .readsAhead = owner.reading_.readsAhead,
                  .answerTimeout = owner.reading_.answerTimeout},
                 stop) {
        progress.currentPath = rootPath;
    }

    // A folder that the walk has entered and not left.
    struct Frame {
        std::unique_ptr<DirectoryListing> listing;
        FileNode::Pointer node;
        std::size_t next = 0;        // index of the entry to look at next
        std::size_t pathLength = 0;  // of the folder's path within `path`
        std::int64_t foldedFiles = 0;
        std::int64_t foldedBytes = 0;
    };

    // Walks everything; null where the root was refused.
    FileNode::Pointer run() {
        checkCancelled();
        enter(reader.openRoot(), FileNode::makeRoot(rootPath, displayName(rootPath)));
        FileNode::Pointer root = frames.empty() ? nullptr : frames.front().node;
        while (!frames.empty()) {
            Frame& frame = frames.back();
            const auto entries = frame.listing->entries();
            if (frame.next == entries.size()) {
                leave();
                continue;
            }
            const std::size_t index = frame.next++;
            const DirectoryEntry& entry = entries[index];
            if ((index & 0xFFu) == 0) {
                checkCancelled();
            }
            if (entry.error != 0) {
                appendName(frame, entry.name);
                addError(SystemError::Operation::readAttributes, entry.error);
            } else if (entry.kind == DirectoryEntry::Kind::symbolicLink && options.skipSymbolicLinks) {
                continue;
            } else if (entry.kind == DirectoryEntry::Kind::directory) {
                meetDirectory(frame, entry, index);
            } else {
                meetFile(frame, entry);
            }
        }
        return root;
    }

    // Takes up a folder that was opened. It is left out where another path has led to it already.
    void enter(std::unique_ptr<DirectoryListing> listing, FileNode::Pointer node) {
        if (!registerDirectory(*listing)) {
            return;
        }
        if (listing->error() != 0) {
            addError(SystemError::Operation::list, listing->error());
        }
        Frame frame;
        frame.listing = std::move(listing);
        frame.node = std::move(node);
        frame.pathLength = path.size();
        frames.push_back(std::move(frame));
    }

    bool registerDirectory(const DirectoryListing& listing) {
        if (const auto identity = listing.identity()) {
            return scanner.visitedDirectoryIdentities_.insert(*identity);
        }
        return scanner.visitedDirectoryPaths_.insert(path).second;
    }

    void meetDirectory(Frame& frame, const DirectoryEntry& entry, std::size_t index) {
        appendName(frame, entry.name);
        ++progress.directoriesScanned;
        if (report) {
            const bool reports = progress.directoriesScanned % directoriesPerReport == 0;
            if (reports || path.size() <= longestPathKept) {
                progress.currentPath = path;
            }
            if (reports) {
                report(progress);
            }
        }
        auto listing = reader.open(*frame.listing, index);
        const std::size_t depth = frames.size();
        auto node = FileNode::makeDirectory(entry.name);
        enter(std::move(listing), node);  // may move the frames
        if (frames.size() > depth) {
            frames[depth - 1].node->appendChild(std::move(node));
        }
    }

    void meetFile(Frame& frame, const DirectoryEntry& entry) {
        const std::int64_t allocated = entry.allocatedSize;
        if (scanner.index_) {
            const std::string_view folder = appendName(frame, entry.name);
            writeRow(folder, entry.name, false, allocated, entry.fileSize, entry.modifiedAt);
        }
        ++progress.filesScanned;
        progress.bytesScanned += allocated;
        if (options.maximumRetainedFiles && scanner.retainedFileNodes_ >= *options.maximumRetainedFiles) {
            ++frame.foldedFiles;
            frame.foldedBytes += allocated;
        } else {
            frame.node->appendChild(FileNode::makeFile(entry.name, allocated, entry.fileSize,
                                                       dateFromSecondsSince1970(entry.modifiedAt)));
            ++scanner.retainedFileNodes_;
        }
        if (report && (progress.filesScanned + progress.directoriesScanned) % itemsPerReport == 0) {
            appendName(frame, entry.name);
            progress.currentPath = path;
            report(progress);
        }
    }

    void leave() {
        Frame& frame = frames.back();
        FileNode& node = *frame.node;
        if (frame.foldedFiles >= 1) {
            node.appendChild(
                FileNode::makeAggregate(FileNode::SummaryOrigin::scan, frame.foldedBytes, frame.foldedFiles));
        }
        node.finishChildren();
        std::int64_t sum = 0;
        for (const auto& child : node.children()) {
            sum += child->size();
        }
        node.setSize(sum);
        path.resize(frame.pathLength);
        if (scanner.index_) {
            writeRow(parentPath(path), lastPathComponent(path), true, sum, 0, std::nullopt);
        }
        frames.pop_back();
    }

    // Makes `path` that of an entry of the folder; returns the folder's own part of it.
    std::string_view appendName(const Frame& frame, std::string_view name) {
        path.resize(frame.pathLength);
        if (path.back() != '/') {
            path += '/';
        }
        path += name;
        return {path.data(), frame.pathLength};
    }

    void writeRow(std::string_view parent, std::string_view name, bool isDirectory, std::int64_t size,
                  std::int64_t logicalSize, std::optional<double> modified) {
        try {
            scanner.index_->insertRow(path, parent, name, isDirectory, size, logicalSize, modified);
        } catch (const ScanIndexDatabase::Failure& failure) {
            scanner.indexError_ = std::make_shared<ScanIndexDatabase::Failure>(failure);
        }
    }

    void addError(SystemError::Operation operation, int code) {
        scanner.errors_.push_back(
            {.path = path, .error = std::make_shared<SystemError>(operation, code, path)});
    }

    void checkCancelled() const {
        if (stop.stop_requested()) {
            throw CancellationError();
        }
    }

    DiskScanner& scanner;
    const DiskScanOptions& options;
    const std::stop_token stop;
    const ProgressHandler report;
    const std::string rootPath;
    std::string path;  // of the folder or entry at hand; grows and shrinks with the walk
    ScanProgress progress;
    DirectoryReader reader;
    std::vector<Frame> frames;  // after the reader, which outlives its listings
};

DiskScanner::DiskScanner(std::optional<std::string> indexURL) : DiskScanner(std::move(indexURL), Reading()) {}

DiskScanner::DiskScanner(std::optional<std::string> indexURL, Reading reading)
    : indexURL_(std::move(indexURL)), reading_(reading) {}

DiskScanner::~DiskScanner() = default;

ScanResult DiskScanner::scan(const std::string& url, const DiskScanOptions& options, std::stop_token stop) {
    return scan(url, options, std::move(stop), nullptr);
}

// 1. Forget the previous scan.
// 2. Open a temporary index beside the old one; its transaction stands open to 6.
// 3. to 5. Walk.
// 6. Total and order the tree; a row that could not be written fails the scan here.
// 7. Write the metadata and commit.
// 8. Put the new index in the old one's place.
// 9. Report the end.
// 10. Make the result.
ScanResult DiskScanner::scan(const std::string& url, const DiskScanOptions& options, std::stop_token stop,
                             ProgressHandler progress) {
    errors_.clear();
    retainedFileNodes_ = 0;
    visitedDirectoryIdentities_.clear();
    visitedDirectoryPaths_.clear();
    indexError_ = nullptr;
    const auto started = std::chrono::steady_clock::now();
    const std::string root = standardizedPath(url);

    std::string temporary;
    if (indexURL_) {
        temporary = joinedPath(parentPath(*indexURL_), "scan-" + UUID::make().text() + ".sqlite");
        try {
            index_ = std::make_unique<ScanIndexDatabase>(temporary, true);
        } catch (...) {
            discardIndex(temporary);
            throw;
        }
    }
    try {
        ScanResult result;
        {
            Walk walk(*this, root, options, stop, progress);
            result.rootNode = walk.run();
            result.hiddenItemsLeftOut = walk.reader.hiddenSkipped();
            if (!result.rootNode) {
                throw DiskScannerFailure();
            }
            walk.checkCancelled();
            result.rootNode->recalculateSize();
            result.rootNode->sortChildrenBySize();
            if (indexError_) {
                throw ScanIndexDatabase::Failure(
                    static_cast<const ScanIndexDatabase::Failure&>(*indexError_));
            }
            if (index_) {
                index_->finish(root, options.skipHiddenFiles, static_cast<std::int64_t>(errors_.size()));
                index_.reset();
                // Another window of this program may be changing the old index: its journal must not be
                // taken away from it, nor be left to the new one. It may take its time, and what was scanned
                // is too dear to lose for that.
                const own_files::FolderLock lock(std::string(parentPath(*indexURL_)), longestWaitForIndex,
                                                 stop);
                settleJournal(*indexURL_);
                if (result.rootNode->children().empty()) {
                    requireEarlierIndexWithoutFiles(root);
                }
                own_files::replaceFile(temporary, *indexURL_);
            }
            walk.progress.isComplete = true;
            if (progress) {
                progress(walk.progress);
            }
        }
        result.scanDate = now();
        result.scanDuration = Seconds(std::chrono::steady_clock::now() - started).count();
        result.rootPath = root;
        result.errors = errors_;
        result.takeTotals(volumeCapacity(root));
        discardIndex(temporary);
        return result;
    } catch (...) {
        discardIndex(temporary);
        throw;
    }
}

// A scan that found nothing, as of a drive that is not connected, would cost a saved scan that is good.
void DiskScanner::requireEarlierIndexWithoutFiles(const std::string& root) const {
    const auto failure = std::find_if(errors_.begin(), errors_.end(),
                                      [&root](const ScanError& error) { return error.path == root; });
    std::string savedRoot;
    std::int64_t files = 0;
    try {
        ScanIndexDatabase earlier(*indexURL_, false);
        savedRoot = earlier.readMeta()["root"];
        files = earlier.fileCount();
    } catch (const Error&) {
        // None, or one that cannot be read: nothing is lost with it.
    }
    if (files == 0) {
        return;
    }
    if (failure != errors_.end()) {
        throw SystemError(static_cast<const SystemError&>(*failure->error));
    }
    if (savedRoot == root && !mayEmptyIndex_) {
        throw EmptyFolderFailure(root, files);
    }
}

// Closing rolls an open transaction back. Failures of the removal are of no account: an orphan is harmless.
void DiskScanner::discardIndex(const std::string& temporary) {
    index_.reset();
    if (temporary.empty()) {
        return;
    }
    for (const char* suffix : {"", "-journal"}) {
        try {
            own_files::removeFile(temporary + suffix);
        } catch (const SystemError&) {
        }
    }
}

}  // namespace larkfold
