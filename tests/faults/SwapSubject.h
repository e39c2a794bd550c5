// One scan of a small tree into a place where an index stands already, as often as it is asked for, and the
// judgement of what stands there afterwards.
#pragma once

#include <cstdint>
#include <string>

#include "faults/SystemCallHarness.h"
#include "support/TemporaryTree.h"

namespace larkfold::test {

// What stands at the index's place before the scan.
enum class Before {
    nothing,
    index,
    indexWithJournal,   // a change of it was interrupted
    damaged,            // no index, and nothing a library can read
    damagedWithJournal  // the same, with somebody's journal beside it
};

class SwapSubject {
public:
    // `files`: how many the scanned tree holds. Another `seed` makes another tree.
    explicit SwapSubject(Before before, unsigned seed = 0, int files = 12);

    // Puts everything in place and runs the victim.
    ProgramOutcome run(const std::string& mode, const Watcher& watcher);

    // Judges the place of the index: "" where the old or the new one stands there as a whole, otherwise what
    // is wrong. Reading rolls an interrupted change back, so it is asked once for each run.
    std::string problemOfIndex();
    // What the latest `problemOfIndex` found: the new one.
    bool holdsNewIndex() const { return found_ == newIndex_; }
    // Or a whole one of the scanned folder, in which `errors` places are told as unread.
    bool holdsIndexOfRoot(std::int64_t errors) const;

    const std::string& newIndex() const { return newIndex_; }
    const std::string& indexFolder() const { return folder_; }
    const std::string& indexFile() const { return file_; }
    std::string root() const { return tree_.path("scanned"); }
    // As the victim prints it for a scan that read everything.
    const std::string& completeReport() const { return completeReport_; }

private:
    void putInPlace();

    TemporaryTree tree_;
    Before before_;
    std::string folder_;
    std::string file_;
    std::string oldBytes_;
    std::string oldJournal_;
    std::string oldIndex_;  // described
    std::string newIndex_;
    std::string completeReport_;
    std::string found_;  // described
};

const char* nameOf(Before before);

}  // namespace larkfold::test
