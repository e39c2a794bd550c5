// What it costs to keep a saved scan up to date: watching its folders, scanning those that changed, filling
// in one.
//
//   larkfold_refresh_bench FOLDER [--at FOLDER] [--changed 1,10,100] [--runs 3]
//
// FOLDER is a tree that may be changed (larkfold_tree makes one); folders of 100 files are added to it. Each
// figure is a ratio of medians, and the two sides take turns in this one process:
//
//   watch     from the start of a watch until it covers everything, to a bare walk that adds a watch to each
//             folder and reads it; and the memory that the watch takes
//   load      one folder's tree from the index: the time itself
//   refresh   IndexRefresh of so many changed folders, to one load of everything
//
// The indexes lie in the folder of --at (default: the folder for temporary files).

#include <dirent.h>
#include <fcntl.h>
#include <malloc.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "disk/DiskScanner.h"
#include "disk/IndexRefresh.h"
#include "disk/SavedScanLoader.h"
#include "disk/ScanIndexDatabase.h"
#include "platform/FolderWatcher.h"
#include "platform/Path.h"

namespace {

namespace fs = std::filesystem;
using larkfold::DiskScanner;
using larkfold::DiskScanOptions;

constexpr std::int64_t limit = larkfold::SavedScanLoader::maximumFiles;

[[noreturn]] void fail(const std::string& what) {
    std::fprintf(stderr, "larkfold_refresh_bench: %s\n", what.c_str());
    std::exit(1);
}

// The main thread's loop: drains until something is there.
class Loop {
public:
    larkfold::MainQueue& queue() { return queue_; }
    void runUntil(const std::function<bool()>& isDone) {
        while (!isDone()) {
            {
                std::unique_lock lock(mutex_);
                changed_.wait(lock, [this] { return isAwake_; });
                isAwake_ = false;
            }
            queue_.drain();
        }
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool isAwake_ = false;
    larkfold::MainQueue queue_{[this] {
        const std::lock_guard lock(mutex_);
        isAwake_ = true;
        changed_.notify_all();
    }};
};

double secondsOf(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double> values) {
    std::ranges::sort(values);
    return values[values.size() / 2];
}

void compare(const std::string& what, int runs, double goal, const std::function<void()>& ours,
             const std::function<void()>& load) {
    std::vector<double> oursTimes;
    std::vector<double> loadTimes;
    for (int run = 0; run < runs; ++run) {
        loadTimes.push_back(secondsOf(load));
        oursTimes.push_back(secondsOf(ours));
    }
    std::printf("%-14s ours %8.3f s   load %8.3f s   ratio %.3f   (goal %.2f)\n", what.c_str(),
                median(oursTimes), median(loadTimes), median(oursTimes) / median(loadTimes), goal);
    std::fflush(stdout);
}

// --- Watching

std::int64_t watchBare(int instance, const std::string& folder) {
    constexpr std::uint32_t events = IN_CREATE | IN_DELETE | IN_MODIFY | IN_ATTRIB | IN_MOVED_FROM |
                                     IN_MOVED_TO | IN_ONLYDIR | IN_EXCL_UNLINK;
    if (inotify_add_watch(instance, folder.c_str(), events) < 0) {
        fail("no watch for " + folder);
    }
    std::int64_t watched = 1;
    DIR* listing = opendir(folder.c_str());
    std::vector<std::string> folders;
    while (const dirent* entry = readdir(listing)) {
        const std::string_view name = entry->d_name;
        if (entry->d_type == DT_DIR && name != "." && name != "..") {
            folders.emplace_back(name);
        }
    }
    closedir(listing);
    for (const std::string& name : folders) {
        watched += watchBare(instance, folder + "/" + name);
    }
    return watched;
}

std::size_t residentBytes() {
    std::ifstream statm("/proc/self/statm");
    std::size_t pages = 0;
    std::size_t resident = 0;
    statm >> pages >> resident;
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

void watch(Loop& loop, const std::string& root, int runs) {
    std::optional<larkfold::FolderWatcher> watcher;
    std::optional<larkfold::WatchCoverage> coverage;
    const auto begin = [&] {
        coverage.reset();
        watcher.emplace(loop.queue(), root, larkfold::FolderWatcherOptions(),
                        larkfold::FolderWatcher::Handlers{
                            .changed = {},
                            .covered = [&](const larkfold::WatchCoverage& covered) { coverage = covered; },
                            .failed = [](const larkfold::SystemError& error) { fail(error.description()); }});
        loop.runUntil([&] { return coverage.has_value(); });
    };
    std::vector<double> ends;
    std::vector<double> ours;
    std::vector<double> bare;
    std::int64_t folders = 0;
    for (int run = 0; run < runs; ++run) {
        const int instance = inotify_init1(IN_CLOEXEC);
        bare.push_back(secondsOf([&] { folders = watchBare(instance, root); }));
        close(instance);
        malloc_trim(0);
        const std::size_t before = residentBytes();
        ours.push_back(secondsOf(begin));
        const std::size_t after = residentBytes();
        if (!coverage->isComplete() || coverage->folders != folders) {
            fail("the watch covers " + std::to_string(coverage->folders) + " of " + std::to_string(folders));
        }
        ends.push_back(secondsOf([&] { watcher.reset(); }));
        if (run == 0) {
            std::printf("watch          %lld folders, %.1f MB (goal 20)\n", static_cast<long long>(folders),
                        static_cast<double>(after - before) / 1e6);
        }
    }
    std::printf("%-14s ours %8.3f s   bare %8.3f s   ratio %.3f   (goal 1.20), ends in %.1f ms\n", "watch",
                median(ours), median(bare), median(ours) / median(bare), median(ends) * 1000);
}

// --- The index

DiskScanOptions everything() {
    return {.skipHiddenFiles = false,
            .excludedPathPrefixes = {},
            .skipSymbolicLinks = true,
            .maximumRetainedFiles = static_cast<std::size_t>(limit)};
}

std::vector<std::string> addFolders(const std::string& root, int count) {
    std::vector<std::string> places;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        if (entry.is_directory()) {
            places.push_back(entry.path());
        }
    }
    std::ranges::shuffle(places, std::mt19937(1));
    std::vector<std::string> added;
    for (int folder = 0; folder < count; ++folder) {
        const std::string path =
            places[static_cast<std::size_t>(folder) % places.size()] + "/changed-" + std::to_string(folder);
        fs::create_directories(path);
        for (int file = 0; file < 100; ++file) {
            std::ofstream(path + "/file-" + std::to_string(file)) << "content";
        }
        added.push_back(path);
    }
    return added;
}

void refresh(Loop& loop, const std::string& root, const std::string& folder, const std::vector<int>& counts,
             int runs) {
    const std::string index = folder + "/larkfold-refresh-bench/latest-scan.sqlite";
    const std::vector<std::string> changed = addFolders(root, *std::ranges::max_element(counts));
    std::printf("index          %lld files\n",
                static_cast<long long>(DiskScanner(index).scan(root, everything(), {}).totalFiles));

    std::vector<larkfold::ScanResult> kept;  // a tree's end is not part of its load
    std::vector<double> loads;
    for (const std::string& one : changed) {
        loads.push_back(secondsOf([&] { kept.push_back(larkfold::SavedScanLoader::load(index, one, {})); }));
    }
    std::printf("load           %8.1f ms, of %zu folders at most %.1f ms (goal 20)\n", median(loads) * 1e3,
                loads.size(), std::ranges::max(loads) * 1e3);
    kept.clear();

    larkfold::SerialContext scanContext(loop.queue(), "scan");
    larkfold::SerialContext indexContext(loop.queue(), "index");
    for (const int count : counts) {
        const std::vector<std::string> folders(changed.begin(), changed.begin() + count);
        compare(
            "refresh " + std::to_string(count), runs, 6,
            [&] {
                bool isDone = false;
                const larkfold::IndexRefresh work(
                    scanContext, indexContext, {.indexURL = index, .root = root, .folders = folders},
                    [](bool) { return everything(); },
                    [&](larkfold::Outcome<larkfold::ScanResult> outcome) {
                        kept.push_back(std::move(outcome.get()));
                        isDone = true;
                    });
                loop.runUntil([&] { return isDone; });
            },
            [&] { kept.push_back(larkfold::SavedScanLoader::load(index, std::nullopt, {})); });
        kept.clear();
    }
    fs::remove_all(folder + "/larkfold-refresh-bench");
}

std::vector<int> numbersOf(std::string_view text) {
    std::vector<int> numbers;
    while (!text.empty()) {
        const auto comma = std::min(text.find(','), text.size());
        int number = 0;
        if (std::from_chars(text.data(), text.data() + comma, number).ec != std::errc() || number < 1) {
            fail("no number: " + std::string(text));
        }
        numbers.push_back(number);
        text.remove_prefix(std::min(comma + 1, text.size()));
    }
    return numbers;
}

}  // namespace

int main(int count, char** arguments) {
    if (count < 2 || count % 2 != 0) {
        fail("FOLDER [--at FOLDER] [--changed 1,10,100] [--runs 3]");
    }
    const std::string root = larkfold::standardizedPath(fs::absolute(arguments[1]).string());
    std::string at = fs::temp_directory_path();
    std::vector<int> changed{1, 10, 100};
    int runs = 3;
    for (int option = 2; option < count; option += 2) {
        const std::string_view name = arguments[option];
        if (name == "--at") {
            at = arguments[option + 1];
        } else if (name == "--changed") {
            changed = numbersOf(arguments[option + 1]);
        } else if (name == "--runs") {
            runs = numbersOf(arguments[option + 1]).front();
        } else {
            fail("what is " + std::string(name) + "?");
        }
    }
    Loop loop;
    watch(loop, root, std::max(runs, 5));
    refresh(loop, root, at, changed, runs);
}
