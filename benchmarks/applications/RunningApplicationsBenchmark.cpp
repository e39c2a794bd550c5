// What it costs to ask which applications run: the removal of each item begins with that question.
//
// The program starts as many processes as its argument says, each a copy of a small program of its own name,
// and writes a desktop entry for every tenth of them, beside 200 entries of programs that do not run. All of
// it lies in a folder that goes at the end.
#include <benchmark/benchmark.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "removal/RunningApplication.h"

namespace {

class Desktop {
public:
    explicit Desktop(int processes) {
        folder_ = std::filesystem::temp_directory_path() / "larkfold-benchmark.XXXXXX";
        if (mkdtemp(folder_.data()) == nullptr) {
            std::abort();
        }
        setenv("XDG_DATA_HOME", folder_.c_str(), 1);
        std::filesystem::create_directories(folder_ + "/applications");
        std::filesystem::create_directories(folder_ + "/programs");
        for (int number = 0; number < 200; ++number) {
            addEntry("idle" + std::to_string(number));
        }
        for (int number = 0; number < processes; ++number) {
            const std::string program = folder_ + "/programs/live" + std::to_string(number);
            std::filesystem::copy_file("/bin/sleep", program);
            if (number % 10 == 0) {
                addEntry("live" + std::to_string(number));
            }
            const pid_t child = fork();
            if (child == 0) {
                execl(program.c_str(), program.c_str(), "100000", static_cast<char*>(nullptr));
                _exit(127);
            }
            children_.push_back(child);
        }
    }
    ~Desktop() {
        for (const pid_t child : children_) {
            kill(child, SIGKILL);
            waitpid(child, nullptr, 0);
        }
        std::filesystem::remove_all(folder_);
    }
    Desktop(const Desktop&) = delete;
    Desktop& operator=(const Desktop&) = delete;

private:
    void addEntry(const std::string& name) const {
        std::ofstream(folder_ + "/applications/org.example." + name + ".desktop")
            << "[Desktop Entry]\nType=Application\nName=" << name << "\nName[de]=" << name
            << " auf Deutsch\nExec=" << folder_ << "/programs/" << name << " %U\n";
    }

    std::string folder_;
    std::vector<pid_t> children_;
};

void listRunningApplications(benchmark::State& state) {
    const Desktop desktop(static_cast<int>(state.range(0)));
    std::size_t found = 0;
    larkfold::RunningApplication::current();  // the entries are read here, once
    for (auto _ : state) {
        found = larkfold::RunningApplication::current().size();
        benchmark::DoNotOptimize(found);
    }
    state.counters["applications"] = static_cast<double>(found);
}
BENCHMARK(listRunningApplications)->Arg(30)->Arg(300)->Arg(1'000)->Unit(benchmark::kMillisecond);

void matchAPath(benchmark::State& state) {
    std::vector<larkfold::RunningApplication> applications;
    for (int number = 0; number < 50; ++number) {
        applications.push_back({.name = "Application " + std::to_string(number),
                                .bundleID = "org.example.Application" + std::to_string(number)});
    }
    const std::string path = "/home/ada/.cache/some/folder/of/several/parts/and a file.txt";
    for (auto _ : state) {
        benchmark::DoNotOptimize(larkfold::RunningApplication::match(path, applications));
    }
}
BENCHMARK(matchAPath)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
