// Sorting and filtering a folder of 50,000 rows, as the file list does it: each measurement is what the
// window waits for between a key or a click and the new rows. The aim is 50 ms.
//
// "Cold" measurements begin with a folder that was just opened; the others find what the list has kept of it,
// or has prepared while the window was idle, a slice of which is the last measurement.
#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <random>
#include <string>

#include "disk/FileNode.h"
#include "platform/Date.h"
#include "shell/disk/FileListRows.h"

namespace larkfold {
namespace {

constexpr int entryCount = 50'000;

// Names as they are found: words with numbers, a few of them beyond ASCII, most with an extension.
std::string entryName(std::mt19937& random, int index) {
    static constexpr std::array words{"report", "Holiday", "IMG_", "backup", "node", "Überblick",
                                      "résumé", "invoice", "main", "test",   "data", "notes"};
    static constexpr std::array extensions{".jpg", ".pdf", ".txt",  ".cpp", ".zip",
                                           ".mov", "",     ".json", ".JPG"};
    return std::string(words[random() % words.size()]) + "-" + std::to_string(random() % 100'000) + "-" +
           std::to_string(index) + extensions[random() % extensions.size()];
}

FileNode::Pointer makeFolder() {
    std::mt19937 random(20'261'121);
    auto root = FileNode::makeRoot("/home/anna/Projects", "Projects");
    for (int index = 0; index < entryCount; ++index) {
        const auto size = static_cast<std::int64_t>(random() % 200'000'000);
        if (index % 10 == 0) {
            auto folder = FileNode::makeDirectory(entryName(random, index), size);
            root->appendChild(folder);
            for (unsigned child = 0; child < random() % 5; ++child) {
                folder->appendChild(FileNode::makeDirectory("child" + std::to_string(child)));
            }
        } else {
            const double age = static_cast<double>(random() % 800) * 86'400;
            root->appendChild(FileNode::makeFile(entryName(random, index), size, size,
                                                 dateFromSecondsSince1970(1'790'000'000 - age)));
        }
    }
    root->recalculateSize();
    root->sortChildrenBySize();
    return root;
}

const FileNode::Pointer& folder() {
    static const FileNode::Pointer shared = makeFolder();
    return shared;
}

FileListQuery sortedBy(std::vector<FileListComparator> order) {
    FileListQuery query;
    query.sortOrder = std::move(order);
    return query;
}

FileListQuery locatedIn(std::string text) {
    FileListQuery query;
    query.filter.locationFilter = std::move(text);
    return query;
}

void measure(benchmark::State& state, const FileListQuery& query, bool isCold) {
    const Date now = dateFromSecondsSince1970(1'790'000'000);
    FileListRows rows;
    rows.setRoot(folder());
    rows.update(query, now);
    for (auto _ : state) {
        if (isCold) {
            rows.setRoot(folder());
        }
        rows.update(query, now);
        benchmark::DoNotOptimize(rows.rows().data());
    }
    state.counters["rows"] = static_cast<double>(rows.rows().size());
}

// What the window's idle time is cut into: a key or a click waits for one slice at most.
void measureIdleSlice(benchmark::State& state) {
    constexpr std::size_t namesInSlice = 500;
    FileListRows rows;
    rows.setRoot(folder());
    rows.update({}, dateFromSecondsSince1970(1'790'000'000));
    for (auto _ : state) {
        if (!rows.prepareNames(namesInSlice)) {
            state.PauseTiming();
            rows.setRoot(folder());
            rows.update({}, dateFromSecondsSince1970(1'790'000'000));
            state.ResumeTiming();
        }
    }
}

using enum FileListColumn;

void registerAll() {
    struct Case {
        const char* name;
        FileListQuery query;
        bool isCold;
    };
    const FileListFilter everyFilter{.minimumSize = 10'485'760,
                                     .extensionFilter = "jpg, pdf, zip",
                                     .locationFilter = "projects",
                                     .olderThanDays = 90};
    std::vector<Case> cases{
        {"size", sortedBy({{size, true}}), false},
        {"size/ascending", sortedBy({{size, false}}), false},
        {"name", sortedBy({{name, false}, {size, true}}), false},
        {"name/cold", sortedBy({{name, false}, {size, true}}), true},
        {"items", sortedBy({{items, true}, {size, true}}), false},
        {"items, name/cold", sortedBy({{items, true}, {name, false}}), true},
        {"type", sortedBy({{type, false}, {size, true}}), false},
        {"type, name", sortedBy({{type, false}, {name, false}}), false},
        {"type, name/cold", sortedBy({{type, false}, {name, false}}), true},
        {"search", {.searchText = "rep"}, false},
        {"search beyond ASCII", {.searchText = "über"}, false},
        {"location", locatedIn("projects"), false},
        {"search and all filters", {.searchText = "o", .filter = everyFilter}, false},
        {"search and all filters by name/cold",
         {.searchText = "o", .filter = everyFilter, .sortOrder = {{name, false}, {size, true}}},
         true},
    };
    for (const Case& each : cases) {
        benchmark::RegisterBenchmark(each.name, measure, each.query, each.isCold)
            ->Unit(benchmark::kMillisecond)
            ->Repetitions(9)
            ->MinTime(0.05)
            ->ReportAggregatesOnly(true);
    }
    benchmark::RegisterBenchmark("names prepared in idle time, a slice", measureIdleSlice)
        ->Unit(benchmark::kMillisecond)
        ->Repetitions(9)
        ->MinTime(0.05)
        ->ReportAggregatesOnly(true);
}

}  // namespace
}  // namespace larkfold

int main(int argc, char** argv) {
    larkfold::registerAll();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
