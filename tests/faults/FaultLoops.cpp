#include "faults/FaultLoops.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#include "support/Sanitized.h"

namespace larkfold::test {

Thoroughness thoroughness() {
    const char* asked = std::getenv("LARKFOLD_FAULTS");  // NOLINT(concurrency-mt-unsafe)
    if (asked != nullptr && std::string(asked) == "full") {
        return Thoroughness::full;
    }
    if (asked != nullptr && std::string(asked) == "brief") {
        return Thoroughness::brief;
    }
    return isSanitized ? Thoroughness::brief : Thoroughness::usual;
}

std::uint64_t Pace::after(std::uint64_t at) const {
    return at < dense ? at + std::min(sparse, dense - at) : at + stride;
}

void killEverywhere(const WatchedRun& run, const Pace& pace,
                    const std::function<bool(std::uint64_t at, const ProgramOutcome&)>& judge) {
    for (std::uint64_t at = pace.first;; at = pace.after(at)) {
        const ProgramOutcome outcome = run(killAt(at));
        if (!judge(at, outcome)) {
            return;
        }
        if (!outcome.wasKilledByWatcher) {
            EXPECT_TRUE(outcome.hasExited && outcome.exitCode == 0)
                << "stop " << at << ", signal " << outcome.signal << ", code " << outcome.exitCode << "\n"
                << outcome.output;
            return;
        }
    }
}

}  // namespace larkfold::test
