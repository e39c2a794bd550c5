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
//   load      one folder's tree from the index, to the same two statements
//   refresh   IndexRefresh of so many changed folders, to the same statements on files that were scanned
//             before: for each folder the merge and a load of everything, and one load more at the end
//
// The indexes lie in the folder of --at (default: the folder for temporary files).

#include <dirent.h>
#include <fcntl.h>
#include <malloc.h>
#include <sqlite3.h>
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

#include "BareLoad.h"
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
using larkfold::benchmarks::loadBare;

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
             const std::function<void()>& bare) {
    std::vector<double> oursTimes;
    std::vector<double> bareTimes;
    for (int run = 0; run < runs; ++run) {
        bareTimes.push_back(secondsOf(bare));
        oursTimes.push_back(secondsOf(ours));
    }
    std::printf("%-14s ours %8.3f s   bare %8.3f s   ratio %.3f   (goal %.2f)\n", what.c_str(),
                median(oursTimes), median(bareTimes), median(oursTimes) / median(bareTimes), goal);
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

class Database {
public:
    explicit Database(const std::string& url) {
        if (sqlite3_open_v2(url.c_str(), &db_, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) {
            fail(sqlite3_errmsg(db_));
        }
    }
    ~Database() { sqlite3_close(db_); }
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;
    void run(const std::string& sql) {
        if (sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
            fail(sql.substr(0, 60) + ": " + sqlite3_errmsg(db_));
        }
    }

private:
    sqlite3* db_ = nullptr;
};

void mergeBare(const std::string& index, const std::string& incoming, const std::string& folder,
               const std::string& root) {
    Database db(index);
    db.run("SELECT key,value FROM meta");
    db.run("ATTACH DATABASE " + larkfold::quoted(incoming) + " AS incoming");
    const std::string prefix = larkfold::quoted(folder + "/");
    db.run("BEGIN IMMEDIATE; DELETE FROM nodes WHERE path=" + larkfold::quoted(folder) +
           " OR substr(path,1,length(" + prefix + "))=" + prefix +
           "; INSERT INTO nodes SELECT * FROM incoming.nodes;");
    for (std::string above = folder; above != root;) {
        above = larkfold::parentPath(above);
        db.run("UPDATE nodes SET size=(SELECT COALESCE(SUM(size),0) FROM nodes WHERE parent=" +
               larkfold::quoted(above) + " AND path!=" + larkfold::quoted(above) +
               ") WHERE path=" + larkfold::quoted(above));
    }
    db.run("INSERT OR REPLACE INTO meta VALUES('date','1'),('errors','0'); COMMIT;");
    db.run("DETACH DATABASE incoming");
}

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
    const std::string bareIndex = folder + "/larkfold-refresh-bench/bare.sqlite";
    const std::vector<std::string> changed = addFolders(root, *std::ranges::max_element(counts));
    std::printf("index          %lld files\n",
                static_cast<long long>(DiskScanner(index).scan(root, everything(), {}).totalFiles));
    fs::copy_file(index, bareIndex, fs::copy_options::overwrite_existing);

    std::vector<larkfold::ScanResult> kept;  // a tree's end is not part of its load
    compare(
        "load", 9, 1.25, [&] { kept.push_back(larkfold::SavedScanLoader::load(index, changed.front(), {})); },
        [&] { loadBare(bareIndex, changed.front(), limit); });
    kept.clear();

    larkfold::SerialContext scanContext(loop.queue(), "scan");
    larkfold::SerialContext indexContext(loop.queue(), "index");
    for (const int count : counts) {
        const std::vector<std::string> folders(changed.begin(), changed.begin() + count);
        std::vector<std::string> incoming;
        for (const std::string& one : folders) {
            incoming.push_back(folder + "/larkfold-refresh-bench/incoming-" +
                               std::to_string(incoming.size()) + ".sqlite");
            DiskScanner(incoming.back()).scan(one, everything(), {});
        }
        compare(
            "refresh " + std::to_string(count), count > 10 ? 1 : runs, 1.3,
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
            [&] {
                for (std::size_t one = 0; one < folders.size(); ++one) {
                    mergeBare(bareIndex, incoming[one], folders[one], root);
                    loadBare(bareIndex, root, limit);
                }
                loadBare(bareIndex, root, limit);
            });
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
