// What the journal of a removal holds, and its form: docs/removal-journal-format.md.
//
// A journal begins with the plan of the run, which is on the disk before the first item moves. Behind
// it stands a line before each attempt to move an item, one before a removal for good begins to
// unlink, and one with what became of the item. Each line carries a checksum, so that a line is read
// as it was written or not at all.
//
// Values; pure functions, safe from any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Date.h"
#include "platform/DurableIdentity.h"
#include "platform/Error.h"
#include "platform/UUID.h"
#include "removal/CleanupOperation.h"

namespace larkfold {

struct RemovalJournalContent {
    // An attempt to move an item, told before it is made.
    struct Move {
        std::string realPath;  // from where, without a link in it
        DurableIdentity identity;
        std::optional<std::int64_t> logicalBytes;  // as measured
        std::string place;                         // to where

        bool operator==(const Move&) const = default;
    };

    struct Item {
        // The plan.
        std::string path;
        std::optional<DurableIdentity> identity;  // absent where it could not be told in time
        std::string stagingName;                  // of a removal for good: the private folder beside it
        // What happened, as far as it was written.
        std::vector<Move> moves;
        bool isBeingRemoved = false;  // it was verified, and what follows takes it away for good
        std::optional<CleanupOperation::Item> outcome;

        bool operator==(const Item&) const = default;
    };

    // A line that ends whole is not what was written, or the lines do not follow one another.
    class Damaged final : public Error {
    public:
        std::string description() const override;
    };

    // The plan.
    UUID id;  // of the operation in the history
    Date startedAt;
    std::string source;
    bool permanent = false;
    std::vector<CleanupOperation::VolumeChange> volumes;
    std::vector<std::string> trashes;  // where items may be taken, as far as that is known before
    std::vector<Item> items;           // in the order of handling
    // What happened.
    Date lastChange;          // when the last line was written; the beginning where there is none
    bool isRecorded = false;  // the history has it

    // The lines of the plan. The dates are finite.
    std::string plan() const;

    // One line each. `item` is the number of the item in the plan.
    static std::string lineOfMove(std::size_t item, const Move& move, Date when);
    static std::string lineOfRemoval(std::size_t item, Date when);
    static std::string lineOfOutcome(std::size_t item, const CleanupOperation::Item& outcome, Date when);
    static std::string lineOfRecord(Date when);

    // What the bytes of a journal say. A last line without its end counts for nothing. Nothing where the plan
    // is not whole: then no item was moved. Throws Damaged.
    static std::optional<RemovalJournalContent> read(std::string_view bytes);

    // How many bytes of a journal are whole lines.
    static std::size_t wholeLength(std::string_view bytes);

    bool operator==(const RemovalJournalContent&) const = default;
};

}  // namespace larkfold
