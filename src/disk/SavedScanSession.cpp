#include "disk/SavedScanSession.h"

#include <QPointer>
#include <utility>

#include "disk/SavedScanLoader.h"
#include "platform/Collation.h"
#include "platform/LinkResolution.h"
#include "platform/OwnFiles.h"
#include "platform/Path.h"
#include "platform/SystemWords.h"

namespace larkfold {

namespace {

// Of an index that may be damaged.
std::string shortDate(Date date) {
    const std::string text = shortDateText(secondsSince1970(date));
    return text.empty() ? "an unknown date" : text;
}

}  // namespace

SavedScanSession::SavedScanSession(Dependencies dependencies, QObject* parent)
    : QObject(parent),
      dependencies_(std::move(dependencies)),
      changeTracker_(dependencies_.makeStream ? dependencies_.makeStream
                                              : ScanChangeTracker::folderWatchers(dependencies_.mainQueue),
                     dependencies_.indexURL, [this] { emit coverageChanged(); }),
      context_(dependencies_.mainQueue, "saved-scan") {}

SavedScanSession::~SavedScanSession() {
    dropRuns();
}

void SavedScanSession::dropRuns() {
    refreshTask_.reset();
    loadTask_.drop();
    forgetTask_.drop();
}

ScanScope SavedScanSession::scopeOf(const ScanResult& tree) {
    return tree.rootPath == "/" ? ScanScope::startupDisk : ScanScope::selectedFolder;
}

bool SavedScanSession::hasIndexFile() const {
    return own_files::exists(dependencies_.indexURL());
}

void SavedScanSession::setExists(bool exists, std::optional<std::string> notice) {
    if (exists != exists_) {
        exists_ = exists;
        emit existsChanged();
    }
    if (notice != notice_) {
        notice_ = std::move(notice);
        emit noticeChanged();
    }
}

Run SavedScanSession::restore(std::function<void(Outcome<SavedScan>)> report) {
    return context_.run<SavedScan>(
        [index = dependencies_.indexURL()](std::stop_token stop) {
            auto [result, skipsHiddenFiles] = SavedScanLoader::restore(index, stop);
            RemovalScope removalScope(ScannedMap::openRootOf(scopeOf(result), result.rootPath), stop);
            removalScope.takeMap(result.rootNode->url(), stop);
            removalScope.askForRules();
            return SavedScan{
                .map = {.result = std::move(result), .removalScope = std::move(removalScope), .began = {}},
                .skipsHiddenFiles = skipsHiddenFiles};
        },
        std::move(report));
}

void SavedScanSession::load(const std::string& root, const std::string& folder,
                            std::function<void(Outcome<ScanResult>)> report) {
    loadTask_ = context_.run<ScanResult>(
        [index = dependencies_.indexURL(), root, folder](std::stop_token stop) {
            return SavedScanLoader::load(index, folder, std::move(stop), {.root = root});
        },
        std::move(report));
}

void SavedScanSession::forget(std::function<void(Outcome<bool>)> report) {
    isForgetting_ = true;
    emit isForgettingChanged();
    forgetTask_ = context_.run<bool>(
        [index = dependencies_.indexURL()](std::stop_token stop) {
            SavedScanLoader::removeIndexFile(index, std::move(stop));
            return true;
        },
        [this, report = std::move(report)](Outcome<bool> outcome) {
            isForgetting_ = false;
            if (outcome.succeeded()) {
                changeTracker_.stop();
                setExists(false,
                          "Saved index removed. The current in-memory scan and your files were preserved.");
            }
            report(std::move(outcome));
            emit isForgettingChanged();
            if (const auto next = std::exchange(afterForgetting_, nullptr)) {
                next();
            }
        });
}

void SavedScanSession::refresh(SerialContext& scanContext, const std::string& root,
                               std::vector<std::string> folders, IndexRefresh::OptionsMaker makeOptions,
                               std::function<void(Outcome<ScanResult>)> report) {
    refreshTask_ = std::make_unique<IndexRefresh>(
        scanContext, context_,
        IndexRefresh::Request{.indexURL = dependencies_.indexURL(), .root = root, .folders = folders},
        std::move(makeOptions), [this, folders, report = std::move(report)](Outcome<ScanResult> outcome) {
            const auto ended = std::move(refreshTask_);  // alive until its own call has returned
            if (outcome.succeeded()) {
                setExists(true, "Updated " + std::to_string(folders.size()) +
                                    " changed folder(s); other folders retain their previous scan.");
                changeTracker_.noteRefreshed(folders, ended->began());
            } else {
                changeTracker_.markDirty(folders);
            }
            report(std::move(outcome));
        });
}

void SavedScanSession::cancelRefresh() {
    if (refreshTask_) {
        refreshTask_->cancel();
    }
}

void SavedScanSession::trackScanned(const std::string& root, const DiskScanOptions& options,
                                    WatchBeginning began) {
    setExists(true, std::string("Saved on this ") + systemWords().computer +
                        ". Changes outside a rescan remain a snapshot.");
    track(root, options, false, std::move(began));
}

void SavedScanSession::trackRestored(const std::string& root, const DiskScanOptions& options, Date scanDate) {
    setExists(true, "Saved snapshot from " + shortDate(scanDate) +
                        ". Refresh to include changes made while Larkfold was closed.");
    // Nothing watched the disk while the program was closed.
    track(root, options, true, std::nullopt);
}

void SavedScanSession::track(const std::string& root, const DiskScanOptions& options, bool markRootDirty,
                             std::optional<WatchBeginning> since) {
    FolderWatcherOptions leavesOut{.skipHiddenFiles = options.skipHiddenFiles,
                                   .excludedPathPrefixes = options.excludedPathPrefixes,
                                   .since = std::move(since),
                                   .latency = FolderWatcherOptions().latency,
                                   .answerTimeout = FolderWatcherOptions().answerTimeout};
    auto& prefixes = leavesOut.excludedPathPrefixes;
    std::vector<std::string> own = dependencies_.ownFolders;
    own.emplace_back(parentPath(dependencies_.indexURL()));
    for (const std::string& folder : own) {
        prefixes.push_back(folder);
        // A scan from above meets it under its own name, also where a link leads the program there.
        if (const auto real = pathWithLinksResolved(folder); real && *real != folder) {
            prefixes.push_back(*real);
        }
    }
    changeTracker_.start(root, leavesOut, markRootDirty, [session = QPointer(this)](int count) {
        if (session && count != session->changedFolderCount_) {
            session->changedFolderCount_ = count;
            emit session->changedFolderCountChanged();
        }
    });
}

}  // namespace larkfold
