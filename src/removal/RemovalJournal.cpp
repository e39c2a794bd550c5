#include "removal/RemovalJournal.h"

#include <utility>
#include <vector>

#include "platform/Error.h"
#include "platform/ItemIdentities.h"

namespace larkfold {

namespace {

std::string planWithIdentities(RemovalJournalContent content) {
    std::vector<std::string> paths;
    paths.reserve(content.items.size());
    for (const RemovalJournalContent::Item& item : content.items) {
        paths.push_back(item.path);
    }
    const auto identities = itemIdentities(paths);
    for (std::size_t index = 0; index < identities.size(); ++index) {
        content.items[index].identity = identities[index];
    }
    return content.plan();
}

}  // namespace

RemovalJournal::RemovalJournal(std::string folder, RemovalJournalContent plan)
    : file_(std::move(folder), std::string(namePrefix), std::string(nameSuffix),
            [plan = std::move(plan)] { return planWithIdentities(plan); }) {}

void RemovalJournal::willMove(std::size_t item, const RemovalJournalContent::Move& move) {
    if (file_.isBegun()) {
        write(RemovalJournalContent::lineOfMove(item, move, now()));
    }
}

void RemovalJournal::willRemove(std::size_t item) {
    write(RemovalJournalContent::lineOfRemoval(item, now()));
}

void RemovalJournal::didHandle(std::size_t item, const CleanupOperation::Item& outcome) {
    write(RemovalJournalContent::lineOfOutcome(item, outcome, now()));
}

void RemovalJournal::discard() {
    try {
        file_.remove();
    } catch (const Error&) {
        // It is found at the next start, which knows it from the history by its id.
    }
}

void RemovalJournal::write(const std::string& line) {
    if (!isWhole_) {
        return;
    }
    try {
        file_.append(line);
    } catch (const Error&) {
        isWhole_ = false;
    }
}

}  // namespace larkfold
