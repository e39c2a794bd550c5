// Where a path really leads.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

namespace larkfold {

// The path with every symbolic link in it resolved, the last component's too, as the system would follow it
// (".." behind a link is the parent of its target). From the first component that does not exist on, the rest
// stands as it is written. Nothing where that cannot be told: a relative path, links in a circle, a folder
// that may not be searched, a volume that does not answer within a short, fixed wait.
//
// Works by descriptors, so a path may be longer than the system takes. Safe from any thread; touches the
// disk.
std::optional<std::string> pathWithLinksResolved(const std::string& path);

// The same for many paths, in their order, for little more than the price of one. Where one volume does not
// answer, none of the paths can be told.
std::vector<std::optional<std::string>> pathsWithLinksResolved(const std::vector<std::string>& paths);

// What came of the question where a path leads.
struct LinkResolution {
    std::optional<std::string> path;  // as above
    int error = 0;                    // where it cannot be told: why, an errno value
};

// The same for many paths, one after another and for as long as the disk takes over each: no time limit turns
// into an answer. `onAnswered` (may be empty) hears on this thread, some times a second, how many paths have
// their answer; the one behind them is being asked for. Throws `CancellationError` as soon as `stop` is
// requested, also while a volume does not answer.
std::vector<LinkResolution> resolveLinks(const std::vector<std::string>& paths,
                                         const std::function<void(std::size_t)>& onAnswered,
                                         const std::stop_token& stop);

}  // namespace larkfold
