// The folders that lie directly in a folder, and the files of a kind, for whoever lets the user choose one.
//
// A symbolic link counts as what it leads to. Files that are not asked for are not looked at, so a folder
// of a million files costs one pass of its names. A place that does not answer (a dead network mount)
// never holds up the caller for longer than `answerTimeout`, and a stop is obeyed at once meanwhile. Safe
// from any thread.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace larkfold {

struct FolderListing {
    std::vector<std::string> names;  // of folders; bytes, in the order in which the system tells them
    std::vector<std::string> files;  // those that were asked for, likewise
    // Why the folder could not be listed, or that listing it broke off half-way (what came before stands
    // above); 0 where it was read to its end.
    int error = 0;
};

// Whether a file of that name is asked for. Called on any thread, also after the listing: it holds
// what it needs.
using WantedFiles = std::function<bool(std::string_view name)>;

// `path` is absolute and may be longer than the system takes. Without `wantsFile` no files are
// listed. `report` is called now and then with the number of entries seen so far, on the caller's
// thread. Throws CancellationError.
FolderListing listFolders(const std::string& path, const WantedFiles& wantsFile, std::stop_token stop,
                          const std::function<void(std::size_t entriesSeen)>& report,
                          std::chrono::milliseconds answerTimeout = std::chrono::milliseconds(10'000));

}  // namespace larkfold
