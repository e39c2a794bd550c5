// Walks a folder, builds a bounded tree with exact totals, and writes one row for every file and
// directory into a new index.
//
// The tree keeps at most `maximumRetainedFiles` file nodes, those met first; what comes later is folded into
// one summary leaf per folder, while the index keeps every row. The index is written beside the old one and
// put in its place only when it is whole.
//
// One scanner serves one scan at a time, on one serial context.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <unordered_set>
#include <vector>

#include "disk/DirectoryIdentities.h"
#include "disk/DiskScanOptions.h"
#include "disk/ScanError.h"
#include "disk/ScanProgress.h"
#include "disk/ScanResult.h"
#include "platform/Error.h"

namespace larkfold {

class ScanIndexDatabase;

class DiskScannerFailure final : public Error {
public:
    enum class Case { duplicateOrUnavailableRoot };
    std::string description() const override {
        return "The selected scan root could not be registered safely.";
    }
};

class DiskScanner {
public:
    using ProgressHandler = std::function<void(const ScanProgress&)>;

    // How folders are read; the defaults are what the program uses.
    struct Reading {
        bool readsAhead = true;
        std::chrono::milliseconds answerTimeout{10'000};
    };

    // `indexURL`: where the finished index belongs; absent: none is written. Touches nothing on disk.
    explicit DiskScanner(std::optional<std::string> indexURL = std::nullopt);
    DiskScanner(std::optional<std::string> indexURL, Reading reading);
    ~DiskScanner();

    // From now on a folder that holds nothing may take the place of a saved scan of it that has files.
    void letEmptyFolderReplaceIndex() { mayEmptyIndex_ = true; }

    // Scans the folder at `url` (absolute path, bytes). `progress` is called on this context and must return
    // quickly. Throws CancellationError when stopped, ScanIndexDatabase::Failure, SystemError or
    // DiskScannerFailure otherwise; the earlier index then stands untouched. So it does where that one has
    // files and nothing was found: EmptyFolderFailure where it is of the same folder, and the folder's own
    // failure where that could not be read.
    ScanResult scan(const std::string& url, const DiskScanOptions& options, std::stop_token stop,
                    ProgressHandler progress);
    // The same walk without reports.
    ScanResult scan(const std::string& url, const DiskScanOptions& options, std::stop_token stop);

private:
    struct Walk;

    void discardIndex(const std::string& temporary);
    void requireEarlierIndexWithoutFiles(const std::string& root) const;

    std::optional<std::string> indexURL_;
    Reading reading_;
    bool mayEmptyIndex_ = false;
    std::unique_ptr<ScanIndexDatabase> index_;
    ErrorValue indexError_;
    std::vector<ScanError> errors_;
    std::size_t retainedFileNodes_ = 0;
    DirectoryIdentities visitedDirectoryIdentities_;
    std::unordered_set<std::string> visitedDirectoryPaths_;  // of folders that have no identity
};

}  // namespace larkfold
