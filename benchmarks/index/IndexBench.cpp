// What the index costs above SQLite itself, and what a node of the tree costs in memory.
//
//   larkfold_index_bench [--files 1000000] [--folders 60000] [--limit 50000] [--runs 5] [--at FOLDER]
//
// The rows are made up, in the order of a walk, so that nothing but the index is measured. Each figure is a
// ratio of medians; the runs of the two sides take turns in this one process, under the same setting of the
// library:
//
//   insert   ScanIndexDatabase (insertRow, finish) to a bare loop that binds and steps over the same rows
//   load     loadTree, in one pass, to a bare loop that steps over the two statements which give the same
//   tree
//            in words, and reads every column
//   memory   bytes of the heap for each node of the tree, as a scan keeps it and as a load gives it
//
// FOLDER holds the files meanwhile (default: the folder for temporary files); in memory, as with /dev/shm,
// the disk's moods do not count.

#include <malloc.h>
#include <sqlite3.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <functional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "BareLoad.h"
#include "disk/FileNode.h"
#include "disk/ScanIndexDatabase.h"

namespace {

using larkfold::FileNode;
using larkfold::ScanIndexDatabase;
using larkfold::benchmarks::loadBare;

struct Options {
    std::size_t files = 1'000'000;
    std::size_t folders = 60'000;
    std::int64_t limit = 50'000;
    std::size_t runs = 5;
    std::string folder = std::filesystem::temp_directory_path().string();
};

struct Row {
    std::string path;
    std::size_t parentLength;  // of the part of the path that is the parent
    std::int64_t size;
    std::int64_t logical;
    double modified;
    bool isDirectory;

    std::string_view parent() const {
        return parentLength == 0 ? "/" : std::string_view(path).substr(0, parentLength);
    }
    std::string_view name() const { return std::string_view(path).substr(parentLength + 1); }
};

[[noreturn]] void fail(const std::string& what) {
    std::fprintf(stderr, "larkfold_index_bench: %s\n", what.c_str());
    std::exit(1);
}

Options optionsOf(int count, char** arguments) {
    Options options;
    for (int index = 1; index + 1 < count; index += 2) {
        const std::string_view name = arguments[index];
        const std::string_view value = arguments[index + 1];
        if (name == "--at") {
            options.folder = value;
            continue;
        }
        std::size_t number = 0;
        if (std::from_chars(value.data(), value.data() + value.size(), number).ec != std::errc()) {
            fail("not a number: " + std::string(value));
        }
        if (name == "--files") {
            options.files = number;
        } else if (name == "--folders") {
            options.folders = std::max<std::size_t>(number, 1);
        } else if (name == "--limit") {
            options.limit = static_cast<std::int64_t>(number);
        } else if (name == "--runs") {
            options.runs = std::max<std::size_t>(number, 1);
        } else {
            fail("unknown option: " + std::string(name));
        }
    }
    if (count % 2 == 0) {
        fail("each option takes a value");
    }
    return options;
}

// The rows of a walk

struct Folder {
    std::string name;
    std::vector<std::size_t> folders;
    std::size_t files = 0;
};

// A folder hangs below an earlier one, so that the tree is about as deep as a developer's disk; files lie
// unevenly: many folders with few, few with many.
std::vector<Folder> foldersOf(const Options& options, std::mt19937_64& random) {
    std::vector<Folder> folders(options.folders);
    folders[0].name = "home";
    for (std::size_t index = 1; index < folders.size(); ++index) {
        folders[index / (2 + random() % 6)].folders.push_back(index);
        folders[index].name = "part-" + std::to_string(index * 7919 % 100'003);
    }
    for (std::size_t file = 0; file < options.files; ++file) {
        const std::size_t low = random() % folders.size();
        ++folders[random() % 3 == 0 ? low / 16 : low].files;
    }
    for (Folder& folder : folders) {
        std::ranges::sort(folder.folders, {}, [&](std::size_t index) { return folders[index].name; });
    }
    return folders;
}

// Depth first; a folder's row comes behind those of its subtree, files and folders in the order of their
// names.
std::vector<Row> rowsOf(const std::vector<Folder>& folders, std::mt19937_64& random) {
    std::vector<Row> rows;
    struct Level {
        std::size_t folder;
        std::size_t nextFolder;
        std::size_t parentLength;
        std::int64_t size;
    };
    std::string path = "/" + folders[0].name;
    std::vector<Level> levels{{0, 0, 0, 0}};
    const auto addFiles = [&](Level& level) {
        const Folder& folder = folders[level.folder];
        std::vector<std::string> names;
        for (std::size_t file = 0; file < folder.files; ++file) {
            names.push_back("source_file_" + std::to_string(random() % 1'000'000) + "_" +
                            std::to_string(file) + ".cpp");
        }
        std::ranges::sort(names);
        for (const std::string& name : names) {
            const auto bytes = static_cast<std::int64_t>((random() % 64) * (random() % 64) * (random() % 64));
            const std::int64_t onDisk = (bytes + 4095) / 4096 * 4096;
            const double modified = 1.6e9 + static_cast<double>(random() % 100'000'000'000) / 1000;
            rows.push_back({path + "/" + name, path.size(), onDisk, bytes, modified, false});
            level.size += onDisk;
        }
    };
    addFiles(levels.back());
    while (!levels.empty()) {
        Level& level = levels.back();
        const Folder& folder = folders[level.folder];
        if (level.nextFolder < folder.folders.size()) {
            const std::size_t next = folder.folders[level.nextFolder++];
            const std::size_t length = path.size();
            path += "/" + folders[next].name;
            levels.push_back({next, 0, length, 0});
            addFiles(levels.back());
            continue;
        }
        rows.push_back({path, level.parentLength, level.size, 0, 0, true});
        path.resize(level.parentLength);
        const std::int64_t size = level.size;
        levels.pop_back();
        if (!levels.empty()) {
            levels.back().size += size;
        }
    }
    return rows;
}

// The two sides

void insertThroughIndex(const std::string& url, const std::vector<Row>& rows) {
    ScanIndexDatabase index(url, true);
    for (const Row& row : rows) {
        index.insertRow(row.path, row.parent(), row.name(), row.isDirectory, row.size, row.logical,
                        row.isDirectory ? std::nullopt : std::optional(row.modified));
    }
    index.finish(rows.back().path, true, 0);
}

void insertBare(const std::string& url, const std::vector<Row>& rows) {
    sqlite3* db = nullptr;
    sqlite3_stmt* insert = nullptr;
    if (sqlite3_open_v2(url.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) != SQLITE_OK ||
        sqlite3_exec(
            db,
            "CREATE TABLE IF NOT EXISTS nodes(path TEXT PRIMARY KEY,parent TEXT,name TEXT,directory "
            "INTEGER,size INTEGER,logical INTEGER,modified REAL); CREATE INDEX IF NOT EXISTS nodes_parent "
            "ON nodes(parent); CREATE TABLE IF NOT EXISTS meta(key TEXT PRIMARY KEY,value TEXT); BEGIN "
            "IMMEDIATE;",
            nullptr, nullptr, nullptr) != SQLITE_OK ||
        sqlite3_prepare_v2(db, "INSERT OR REPLACE INTO nodes VALUES(?,?,?,?,?,?,?)", -1, &insert, nullptr) !=
            SQLITE_OK) {
        fail(sqlite3_errmsg(db));
    }
    const auto bind = [&](int position, std::string_view text) {
        sqlite3_bind_text(insert, position, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
    };
    for (const Row& row : rows) {
        bind(1, row.path);
        bind(2, row.parent());
        bind(3, row.name());
        sqlite3_bind_int(insert, 4, row.isDirectory ? 1 : 0);
        sqlite3_bind_int64(insert, 5, row.size);
        sqlite3_bind_int64(insert, 6, row.logical);
        if (row.isDirectory) {
            sqlite3_bind_null(insert, 7);
        } else {
            sqlite3_bind_double(insert, 7, row.modified);
        }
        if (sqlite3_step(insert) != SQLITE_DONE) {
            fail(sqlite3_errmsg(db));
        }
        sqlite3_reset(insert);
    }
    sqlite3_finalize(insert);
    if (sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr) != SQLITE_OK) {
        fail(sqlite3_errmsg(db));
    }
    sqlite3_close(db);
}

// The tree as a scan keeps it: the first files met, the rest folded into one summary for each folder.
FileNode::Pointer scanTree(const std::vector<Row>& rows, std::int64_t limit) {
    struct Open {
        std::string_view path;
        FileNode::Pointer node;
        std::int64_t foldedFiles = 0;
        std::int64_t foldedBytes = 0;
    };
    std::vector<Open> open;  // the folders that the walk is in
    std::int64_t retained = 0;
    const auto enter = [&](std::string_view folder) {
        // Opens what lies between the innermost open folder and `folder`.
        while (open.empty() || open.back().path != folder) {
            const std::size_t from = open.empty() ? 0 : open.back().path.size();
            const std::size_t end = folder.find('/', from + 1);
            const std::string_view path = folder.substr(0, end);
            const std::string_view name = path.substr(from + 1);
            open.push_back(
                {path, open.empty() ? FileNode::makeRoot(path, name) : FileNode::makeDirectory(name)});
        }
    };
    FileNode::Pointer root;
    for (const Row& row : rows) {
        enter(row.isDirectory ? std::string_view(row.path) : row.parent());
        Open& folder = open.back();
        if (!row.isDirectory) {
            if (retained < limit) {
                ++retained;
                folder.node->appendChild(FileNode::makeFile(
                    row.name(), row.size, row.logical, larkfold::dateFromSecondsSince1970(row.modified)));
            } else {
                ++folder.foldedFiles;
                folder.foldedBytes += row.size;
            }
            continue;
        }
        if (folder.foldedFiles > 0) {
            folder.node->appendChild(FileNode::makeAggregate(FileNode::SummaryOrigin::scan,
                                                             folder.foldedBytes, folder.foldedFiles));
        }
        folder.node->finishChildren();
        folder.node->setSize(row.size);
        root = std::move(folder.node);
        open.pop_back();
        if (!open.empty()) {
            open.back().node->appendChild(root);
        }
    }
    return root;
}

// Measuring

struct Time {
    double wall = 0;
    double processor = 0;  // of this process: what other programs do on the machine counts less
};

Time timeOf(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    const std::clock_t processorStart = std::clock();
    work();
    return {std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(),
            static_cast<double>(std::clock() - processorStart) / CLOCKS_PER_SEC};
}

double median(const std::vector<Time>& times, double Time::* which) {
    std::vector<double> values;
    for (const Time& time : times) {
        values.push_back(time.*which);
    }
    std::ranges::sort(values);
    return values[values.size() / 2];
}

void compare(const char* what, std::size_t runs, const std::function<void()>& ours,
             const std::function<void()>& bare, double goal) {
    std::vector<Time> oursTimes;
    std::vector<Time> bareTimes;
    for (std::size_t run = 0; run < runs; ++run) {
        bareTimes.push_back(timeOf(bare));
        oursTimes.push_back(timeOf(ours));
    }
    const auto line = [&](const char* unit, double Time::* which) {
        const double oursMedian = median(oursTimes, which);
        const double bareMedian = median(bareTimes, which);
        std::printf("%-8s ours %7.3f s   bare %7.3f s   ratio %.3f   %s (goal %.2f)\n", what, oursMedian,
                    bareMedian, oursMedian / bareMedian, unit, goal);
    };
    line("wall     ", &Time::wall);
    line("processor", &Time::processor);
    std::fflush(stdout);
}

void tellMemory(const char* what, const std::function<FileNode::Pointer()>& make) {
    malloc_trim(0);
    const std::size_t before = mallinfo2().uordblks + mallinfo2().hblkhd;
    FileNode::Pointer root = make();
    const std::size_t bytes = mallinfo2().uordblks + mallinfo2().hblkhd - before;
    std::size_t nodes = 0;
    std::size_t folders = 0;
    std::size_t summaries = 0;
    root->forEachNode([&](const FileNode& node) {
        ++nodes;
        folders += static_cast<std::size_t>(node.isDirectory());
        summaries += static_cast<std::size_t>(node.isAggregate());
    });
    std::printf(
        "%-8s %.1f bytes for each of %zu nodes (%zu folders, %zu files, %zu summaries), %.1f MB   (goal "
        "200)\n",
        what, static_cast<double>(bytes) / static_cast<double>(nodes), nodes, folders,
        nodes - folders - summaries, summaries, static_cast<double>(bytes) / 1e6);
    std::printf("%-8s ends in %.1f ms\n", what, 1000 * timeOf([&] { root.reset(); }).wall);
}

}  // namespace

int main(int count, char** arguments) {
    const Options options = optionsOf(count, arguments);
    std::mt19937_64 random(1);
    const std::vector<Row> rows = rowsOf(foldersOf(options, random), random);
    const std::string root = rows.back().path;
    std::size_t pathBytes = 0;
    for (const Row& row : rows) {
        pathBytes += row.path.size();
    }
    std::printf("rows     %zu, paths of %.0f bytes on average\n", rows.size(),
                static_cast<double>(pathBytes) / static_cast<double>(rows.size()));

    const std::string url = options.folder + "/larkfold-index-bench.sqlite";
    const std::string bareURL = options.folder + "/larkfold-index-bench-bare.sqlite";
    const auto freshly = [](const std::string& path, const std::function<void()>& work) {
        std::filesystem::remove(path);
        work();
    };
    // The first index sets the library up, for both sides.
    freshly(url, [&] { insertThroughIndex(url, rows); });
    compare(
        "insert", options.runs, [&] { freshly(url, [&] { insertThroughIndex(url, rows); }); },
        [&] { freshly(bareURL, [&] { insertBare(bareURL, rows); }); }, 1.25);
    std::filesystem::remove(bareURL);
    std::vector<larkfold::ScanResult> kept;  // a tree's end is not part of its load
    compare(
        "load", options.runs,
        [&] { kept.push_back(ScanIndexDatabase(url, false).loadTree(std::nullopt, options.limit)); },
        [&] { loadBare(url, root, options.limit); }, 0.8);
    kept.clear();
    tellMemory("scanned", [&] { return scanTree(rows, options.limit); });
    tellMemory("loaded",
               [&] { return ScanIndexDatabase(url, false).loadTree(std::nullopt, options.limit).rootNode; });
    std::filesystem::remove(url);
    return 0;
}
