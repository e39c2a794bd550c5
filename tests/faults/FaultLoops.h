// The loops that the suites share: kill a run of the victim at each stop in turn, and let each of its calls
// fail in turn. What a run left is judged by each suite itself.
#pragma once

#include <cstdint>
#include <functional>
#include <span>

#include "faults/ErrorInjection.h"
#include "faults/SystemCallHarness.h"

namespace larkfold::test {

// How thorough this run is. LARKFOLD_FAULTS=full asks for everything; little is asked for by "brief" and
// under sanitizers.
enum class Thoroughness { brief, usual, full };
Thoroughness thoroughness();

// One of three, by how thorough this run is.
template <class Value>
Value thorough(Value brief, Value usual, Value full) {
    return thoroughness() == Thoroughness::brief  ? brief
           : thoroughness() == Thoroughness::full ? full
                                                  : usual;
}

// Which stops or calls are tried: from `first` on each `stride`th, and before `dense` each `sparse`th.
struct Pace {
    std::uint64_t stride = 1;
    std::uint64_t first = 0;
    std::uint64_t dense = 0;
    std::uint64_t sparse = 1;

    std::uint64_t after(std::uint64_t at) const;
};

// One run of the victim under that watcher, from the same beginnings each time.
using WatchedRun = std::function<ProgramOutcome(const Watcher&)>;

// Kills at each stop in turn, until the victim comes to its end before the next one. `judge` looks at each
// run, also at that last one, and ends the loop by returning false.
void killEverywhere(const WatchedRun& run, const Pace& pace,
                    const std::function<bool(std::uint64_t at, const ProgramOutcome&)>& judge);

// Lets each call that counts fail in turn, with each error in turn, until the victim makes no more such
// calls. `injection` is what each run begins with. `judge` looks at each run in which a call has failed. With
// each error other calls, where not all of them are tried.
template <class Injection, class Judge>
void failEverywhere(const WatchedRun& run, std::span<const int> errors, const Injection& injection, Pace pace,
                    const Judge& judge) {
    const std::uint64_t shifts = pace.first < pace.dense ? pace.sparse : pace.stride;
    for (const int error : errors) {
        for (std::uint64_t call = pace.first;; call = pace.after(call)) {
            Injection now = injection;
            now.call = call;
            now.error = error;
            const ProgramOutcome program =
                run([&now](const SystemCall& systemCall) { return now.look(systemCall); });
            if (now.seen <= call) {
                break;
            }
            if (now.struck) {
                judge(static_cast<const Injection&>(now), program);
            }
        }
        pace.first = (pace.first + 1) % shifts;
    }
}

}  // namespace larkfold::test
