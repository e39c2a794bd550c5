// The latest removals, in one file of the user's: docs/cleanup-history-format.md tells its form.
//
// The store keeps nothing in memory: the file is the only truth, and each operation reads it anew. What it
// cannot read it leaves byte for byte as it is, since something could perhaps still be rescued of it; only
// `clear` replaces such a file. It never touches the files that its records speak of.
//
// Safe from any thread and beside other instances of the program: what changes the file holds its lock from
// the reading to the end of the writing. Reading alone needs none, since the file is replaced in one step.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "removal/CleanupOperation.h"

namespace larkfold {

class CleanupHistoryStore {
public:
    // Posted on the notification center, on the main thread, after each successful write.
    static constexpr std::string_view changedNotification = "LarkfoldCleanupHistoryChanged";

    // How many operations are kept.
    static constexpr std::size_t limit = 100;

    // `url`: the file; without one "Larkfold/cleanup-history.json" among the user's application data.
    // `didChange` is called after each successful write, on the thread that wrote.
    explicit CleanupHistoryStore(std::optional<std::string> url = std::nullopt,
                                 std::function<void()> didChange = nullptr);

    const std::string& url() const { return url_; }

    // Newest first; empty where there is no file yet. Throws an Error where the file cannot be read.
    std::vector<CleanupOperation> load() const;

    // Puts the operation in front and drops the oldest above the limit. Throws an Error, and has written
    // nothing, where the file that stands cannot be read; throws where it could not be written.
    void append(const CleanupOperation& operation);

    // The same, unless an operation with this id stands there already.
    void appendOnce(const CleanupOperation& operation);

    // Empties the history, whatever the file holds. Throws an Error where that could not be written.
    void clear();

private:
    void add(const CleanupOperation& operation, bool onlyOnce);

    std::string url_;
    std::function<void()> didChange_;
};

}  // namespace larkfold
