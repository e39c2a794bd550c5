// The saved scan while the program runs: it is read back at the start, watched for changes, brought up to
// date folder by folder, read on demand, and forgotten. Every use of the index runs on one serial context,
// one after the other.
//
// Part of the disk tab's driver, which owns the tree and decides when each of this may begin. Main thread
// only.
#pragma once

#include <QObject>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "disk/DiskScanOptions.h"
#include "disk/IndexRefresh.h"
#include "disk/ScanChangeTracker.h"
#include "disk/ScannedMap.h"
#include "platform/Date.h"
#include "platform/SerialContext.h"

namespace larkfold {

class SavedScanSession : public QObject {
    Q_OBJECT

public:
    // A tree of the saved index, and what it was scanned with.
    struct SavedScan {
        ScannedMap map;
        bool skipsHiddenFiles = false;
    };

    // What the session is given. References outlive it.
    struct Dependencies {
        MainQueue& mainQueue;
        std::function<std::string()> indexURL;                // asked at each use
        ScanChangeTracker::StreamMaker makeStream = nullptr;  // null: a watch of the file system
        std::vector<std::string> ownFolders = {};  // what the program keeps for itself: no change of the scan
    };

    explicit SavedScanSession(Dependencies dependencies, QObject* parent = nullptr);
    ~SavedScanSession() override;

    // Asks all that is under way to stop; nothing of it is told any more.
    void dropRuns();

    // Of a scan: `tree` goes with the folder that was scanned.
    static ScanScope scopeOf(const ScanResult& tree);

    // What is known of the saved scan, and what to tell of it.
    bool exists() const { return exists_; }
    const std::optional<std::string>& notice() const { return notice_; }
    int changedFolderCount() const { return changedFolderCount_; }
    const ScanChangeTracker::Coverage& coverage() const { return changeTracker_.coverage(); }
    bool isForgetting() const { return isForgetting_; }
    // While it is being forgotten: `next` is called when that has ended, instead of what was left here
    // before.
    void whenForgotten(std::function<void()> next) { afterForgetting_ = std::move(next); }

    // Whether there is an index to read. Throws `Error`.
    bool hasIndexFile() const;

    // The functions that each of these is given are called once, on the main thread, unless it was dropped.
    [[nodiscard]] Run restore(std::function<void(Outcome<SavedScan>)> report);
    // The tree below a folder of the map of `root`; a newer request drops an older one.
    void load(const std::string& root, const std::string& folder,
              std::function<void(Outcome<ScanResult>)> report);
    // Deletes the index and ends the watch; what is on screen stays. Waits for another window that uses it.
    void forget(std::function<void(Outcome<bool>)> report);
    void cancelForgetting() { forgetTask_.cancel(); }
    // Scans these folders again, on that context, and gives the whole tree anew. What did not get done counts
    // as changed again.
    void refresh(SerialContext& scanContext, const std::string& root, std::vector<std::string> folders,
                 IndexRefresh::OptionsMaker makeOptions, std::function<void(Outcome<ScanResult>)> report);
    void cancelRefresh();
    // Empties the set of changed folders and gives what it held.
    std::vector<std::string> takeChangedFolders() { return changeTracker_.takeDirtyFolders(); }

    // A scan that has just ended or was read back is watched from now on: for what has changed since that
    // moment, or, where the disk was not watched meanwhile, with all of it changed.
    void trackScanned(const std::string& root, const DiskScanOptions& options, WatchBeginning began);
    void trackRestored(const std::string& root, const DiskScanOptions& options, Date scanDate);

signals:
    void existsChanged();
    void noticeChanged();
    void changedFolderCountChanged();
    void coverageChanged();
    void isForgettingChanged();

private:
    void setExists(bool exists, std::optional<std::string> notice);
    void track(const std::string& root, const DiskScanOptions& options, bool markRootDirty,
               std::optional<WatchBeginning> since);

    Dependencies dependencies_;
    bool exists_ = false;
    std::optional<std::string> notice_;
    int changedFolderCount_ = 0;
    bool isForgetting_ = false;
    std::function<void()> afterForgetting_;
    ScanChangeTracker changeTracker_;
    SerialContext context_;
    Run loadTask_;
    Run forgetTask_;
    std::unique_ptr<IndexRefresh> refreshTask_;
};

}  // namespace larkfold
