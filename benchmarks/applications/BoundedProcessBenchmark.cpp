// What the start and end of a tool cost beside the bare start of the same program, with some memory in use as
// the window of a large scan has it.
#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <vector>

#include "removal/BoundedProcess.h"

namespace {

std::vector<char> memoryInUse(benchmark::State& state) {
    return std::vector<char>(static_cast<std::size_t>(state.range(0)) << 20, 'x');
}

void runBounded(benchmark::State& state) {
    const std::vector<char> ballast = memoryInUse(state);
    for (auto _ : state) {
        benchmark::DoNotOptimize(larkfold::BoundedProcess::run("/bin/true", {}, 1'000, 20));
    }
}
BENCHMARK(runBounded)->Arg(0)->Arg(256)->Arg(1'024)->Unit(benchmark::kMillisecond)->UseRealTime();

void spawnBare(benchmark::State& state) {
    const std::vector<char> ballast = memoryInUse(state);
    char name[] = "/bin/true";
    char* words[] = {name, nullptr};
    for (auto _ : state) {
        pid_t tool = 0;
        if (posix_spawn(&tool, name, nullptr, nullptr, words, environ) != 0) {
            state.SkipWithError("it could not be started");
            break;
        }
        waitpid(tool, nullptr, 0);
    }
}
BENCHMARK(spawnBare)->Arg(0)->Arg(1'024)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
