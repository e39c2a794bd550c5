// What became of the removals that did not come to their end.
//
// A run of the gate keeps a journal until the history has it (RemovalJournal.h). One that nobody holds any
// more is what a program left that ended in between. It becomes an ordinary operation of the history, with
// the id that the run had, so that it never stands there twice: what the journal tells of an item is taken
// from it, and the rest is looked for on the disk, by what the item was and not by its name. Nothing is
// claimed that was not seen.
//
// An item that a removal for good had put aside is not brought back by itself: the user is asked, and until
// then the journal stays, so that it is asked again at each start.
//
// Synchronous, touches disks; from a serial context. Beside other instances of the program.
#pragma once

#include <cstddef>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "platform/RemovalRemains.h"
#include "removal/RemovalJournalContent.h"

namespace larkfold {

class CleanupHistoryStore;

class RemovalRecovery {
public:
    // An item that lies aside.
    struct Leftover {
        std::string journal;  // the file that tells of it
        user_files::AsideItem item;
        bool maybePart = false;  // its removal had begun
    };

    struct Report {
        std::size_t recordedCount = 0;  // operations that came into the history
        std::vector<Leftover> leftovers;
        std::vector<std::string> problems;  // a sentence for each journal that did not come into the history
    };

    // `history` outlives it.
    explicit RemovalRecovery(CleanupHistoryStore& history) : history_(history) {}

    // Looks at every journal that nobody holds. Never throws. After a request to stop the rest
    // is left for the next start.
    Report recover(const std::stop_token& stop);

    // Puts the item back where it was; nothing where that went well, otherwise why not,
    // in a sentence. Never throws.
    std::optional<std::string> restore(const Leftover& leftover);

    // Forgets what the journals that nobody holds tell. One by which something that lies aside is
    // found stays for that alone, and does not come into the history any more. Throws an Error
    // where one could not be removed.
    void forget();

private:
    struct Findings;

    std::string folder() const;
    void recoverJournal(const std::string& path, Report& report, const std::stop_token& stop);

    CleanupHistoryStore& history_;
};

}  // namespace larkfold
