// The journal of a run of the gate: what it is about to do, on the disk before the first item moves, so that
// the record survives the program's end at any moment. RemovalRecovery.h reads it at the next start.
//
// It lies beside the history and goes when the history has the run. Like the history it is a record and not a
// precondition: where it cannot be written the removal goes on without it, and nothing here throws.
//
// One thread, that of the run.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/AppendFile.h"
#include "removal/RemovalJournalContent.h"

namespace larkfold {

class RemovalJournal {
public:
    // The files are "cleanup-journal-{UUID}.jsonl" in the folder of the history.
    static constexpr std::string_view namePrefix = "cleanup-journal-";
    static constexpr std::string_view nameSuffix = ".jsonl";

    // Begins to write the plan, on another thread: the caller may examine and measure meanwhile. The
    // identities of the items are taken there too, within a short wait; it has to move nothing
    // before `willMove` came back.
    RemovalJournal(std::string folder, RemovalJournalContent plan);

    // Before each attempt to move the item with this number. The first call waits
    // until the plan is on the disk.
    void willMove(std::size_t item, const RemovalJournalContent::Move& move);

    // The item was moved and verified, and is about to be removed for good.
    void willRemove(std::size_t item);

    // What became of it.
    void didHandle(std::size_t item, const CleanupOperation::Item& outcome);

    // The history has it all: the journal goes. Without this it stays for the next start.
    void discard();

private:
    void write(const std::string& line);

    own_files::AppendFile file_;
    bool isWhole_ = true;  // nothing is written behind a line that may have been cut short
};

}  // namespace larkfold
