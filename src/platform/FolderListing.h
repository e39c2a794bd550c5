// The folders that lie directly in a folder, for whoever lets the user choose one.
//
// A symbolic link that leads to a folder counts as one. Files are not looked at, so a folder of a million
// files costs one pass of its names. A place that does not answer (a dead network mount) never holds up the
// caller for longer than `answerTimeout`, and a stop is obeyed at once meanwhile. Safe from any thread.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <stop_token>
#include <string>
#include <vector>

namespace larkfold {

struct FolderListing {
    std::vector<std::string> names;  // bytes, in the order in which the system tells them
    // Why the folder could not be listed, or that listing it broke off half-way (`names` holds what came
    // before); 0 where it was read to its end.
    int error = 0;
};

// `path` is absolute and may be longer than the system takes. `report` is called now and then with the number
// of entries seen so far, on the caller's thread. Throws CancellationError.
FolderListing listFolders(const std::string& path, std::stop_token stop,
                          const std::function<void(std::size_t entriesSeen)>& report,
                          std::chrono::milliseconds answerTimeout = std::chrono::milliseconds(10'000));

}  // namespace larkfold
