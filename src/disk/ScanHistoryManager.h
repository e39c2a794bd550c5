// The list of recent scans: one line for each root that was scanned, newest first, kept in the user defaults.
//
// It knows nothing of the saved index, which holds the latest scan alone. No failure of it reaches the
// user: a list that cannot be read counts as empty and stays as stored until the next change, one that
// cannot be saved holds for this run; both are told in the log. Main thread only, but for the question to
// the disk in `resolveInBackground`.
#pragma once

#include <QObject>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "disk/ScanHistoryEntry.h"
#include "disk/ScanResult.h"
#include "platform/SerialContext.h"
#include "platform/UUID.h"
#include "platform/UserDefaults.h"

namespace larkfold {

// Where an entry's root is now.
struct ResolvedScanLocation {
    std::string url;                          // path, as bytes
    std::optional<std::string> bookmarkData;  // the entry's, or the one that took its place

    bool operator==(const ResolvedScanLocation&) const = default;
};

class ScanHistoryManager : public QObject {
    Q_OBJECT

public:
    static constexpr std::size_t maxHistoryItems = 20;
    static constexpr std::string_view historyKey = "ScanHistory";

    // Loads the list. Both outlive the manager.
    ScanHistoryManager(UserDefaults& defaults, MainQueue& mainQueue, QObject* parent = nullptr);

    const std::vector<ScanHistoryEntry>& history() const { return history_; }

    // Records a finished scan: its root moves to the front with the new figures, or comes there.
    void add(const ScanResult& result, const std::optional<std::string>& bookmarkData);

    // The map of that root was changed by a refresh or a removal: its entry, if there is one, takes the new
    // figures and keeps its name, its bookmark and how long its scan took. One whose date is newer comes to
    // the front. Adds nothing, and where nothing differs nothing is saved.
    void updateFigures(const ScanResult& result);

    // Where the entry's root is; nothing where its bookmark leads nowhere. Without a bookmark the path stands
    // as it is, and whether it exists is not asked. A bookmark that is stale is replaced in the list first.
    // Asks the disk, and a volume that does not answer costs some short waits.
    std::optional<ResolvedScanLocation> resolve(const ScanHistoryEntry& entry);

    // The same without holding up the main thread, on which `resolved` is called. A second call takes the
    // place of one that is under way.
    using Resolved = std::function<void(std::optional<ResolvedScanLocation>)>;
    void resolveInBackground(const ScanHistoryEntry& entry, Resolved resolved);

    // Removes every entry of that id.
    void remove(const ScanHistoryEntry& entry);
    void clear();
    // Puts a list back as it was before `remove` or `clear`.
    void restore(std::vector<ScanHistoryEntry> history);

signals:
    void historyChanged();

private:
    // What the disk says of an entry; the bookmark is a new one where the entry's was stale.
    struct Answer {
        ResolvedScanLocation location;
        bool wasStale = false;
    };
    static Answer ask(const ScanHistoryEntry& entry);
    std::optional<ResolvedScanLocation> take(const ScanHistoryEntry& entry, Outcome<Answer> outcome);

    void load();
    void save();
    void change(std::vector<ScanHistoryEntry> history);
    void updateBookmark(const std::string& data, const UUID& id);

    UserDefaults& defaults_;
    UserDefaults::Observation saves_;
    UserDefaults::Observation changes_;
    std::vector<ScanHistoryEntry> history_;
    SerialContext context_;
    Run resolveRun_;  // last: its end drops the work before anything that it reports to
};

}  // namespace larkfold
