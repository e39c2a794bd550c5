// Brings the saved index up to date with some changed folders.
//
// 1. Look at the root. Where it is not there, or holds nothing, no folder below it is taken for gone: the
//    refresh is of the root alone, and fails where the index has files.
// 2. For each folder, one after the other, none within another:
//    a. Scan it into an index file of its own. A folder below the root that could only be read in part ends
//       the refresh: its old, complete record stays.
//    b. Put that in the place of the folder's rows, in one transaction, and prove that the folder loads and
//       that the root leads to it.
//    c. Of a folder that is gone take the rows out instead.
// 3. Load the whole tree anew.
//
// Scans run on one serial context and work on the index on another, on which others read it meanwhile. What
// was merged before a failure stays merged. Main thread only; destroying it breaks the work off.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "disk/DiskScanOptions.h"
#include "disk/SavedScanLoader.h"
#include "disk/ScanResult.h"
#include "platform/SerialContext.h"
#include "platform/WatchBeginning.h"

namespace larkfold {

class IndexRefresh {
public:
    struct Request {
        std::string indexURL;
        std::string root;                  // of the scan on screen
        std::vector<std::string> folders;  // absolute paths
    };
    // What the folders' scans are given; a startup disk's are told by its scope, not by the index.
    using OptionsMaker = std::function<DiskScanOptions(bool skipsHiddenFiles)>;

    // Begins at once. `makeOptions` is called on the main thread with what the index says of hidden items;
    // `finished` once, on the main thread. The contexts outlive the refresh.
    IndexRefresh(SerialContext& scanContext, SerialContext& indexContext, Request request,
                 OptionsMaker makeOptions, std::function<void(Outcome<ScanResult>)> finished);
    ~IndexRefresh();
    IndexRefresh(const IndexRefresh&) = delete;
    IndexRefresh& operator=(const IndexRefresh&) = delete;

    // When it began, before anything was read. To be asked once it has finished.
    const WatchBeginning& began() const { return *began_; }
    // Asks the work to stop; `finished` still comes.
    void cancel();

private:
    class Temporary;

    // Goes on with the root alone where it is not there or holds nothing, otherwise with `next`. What cannot
    // be told ends the refresh where the root `mustStand`.
    void lookAtRoot(bool mustStand, std::function<void()> next);
    void nextFolder();
    void takeIn(const std::shared_ptr<Temporary>& temporary);
    void takeOut(const std::string& folder);
    void loadTree();
    void fail(std::exception_ptr failure);
    // Goes on with `next` where the work went well, and ends with its failure otherwise.
    std::function<void(Outcome<bool>)> then(std::function<void()> next);

    SerialContext& scanContext_;
    SerialContext& indexContext_;
    Request request_;
    ExpectedScan expected_;  // the scan that is brought up to date
    std::shared_ptr<WatchBeginning> began_ = std::make_shared<WatchBeginning>();  // written by the first work
    DiskScanOptions options_;
    std::size_t next_ = 0;
    bool isRootMissing_ = false;
    bool isCancelled_ = false;
    std::function<void(Outcome<ScanResult>)> finished_;
    Run run_;
};

}  // namespace larkfold
