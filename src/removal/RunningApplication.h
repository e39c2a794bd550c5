// The applications that are running, and which of them a path belongs to.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace larkfold {

struct RunningApplication {
    std::string name;      // as the user knows it; the identifier where it has no name
    std::string bundleID;  // the system's stable identifier of the application, never empty

    // What runs now, in the order in which the system tells it. Never fails; may be empty. Safe from any
    // thread. Cheap enough to be asked anew for each item of a removal.
    static std::vector<RunningApplication> current();

    // The name of the first application that owns `path`: one of its tokens is, in any case of the letters, a
    // whole component of the path. Pure.
    static std::optional<std::string> match(const std::string& path,
                                            const std::vector<RunningApplication>& applications);

    bool operator==(const RunningApplication&) const = default;
};

}  // namespace larkfold
