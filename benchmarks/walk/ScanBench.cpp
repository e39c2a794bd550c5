// Scans a folder once and prints one line of JSON: what a script compares with other programs.
//
//   larkfold_scan_bench --root PATH [--index FILE] [--threads 1|2] [--bare FILE] [--skip-hidden] [--options
//   whole-disk]
//                       [--retain N]
//
// `--index` writes the index too; `--bare` instead inserts the rows of that finished index into a new one in
// their order, with nothing else done: the floor that indexing stands on. It prints seconds, files,
// directories, bytes, errors and the peak of the resident memory.
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <string>

#include "benchmarks/walk/BareInsertion.h"
#include "disk/DiskScanner.h"
#include "platform/Volumes.h"

using namespace larkfold;

namespace {

std::int64_t peakResidentBytes() {
    struct rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return static_cast<std::int64_t>(usage.ru_maxrss) * 1024;
}

}  // namespace

int main(int argc, char** argv) {
    std::string root;
    std::optional<std::string> index;
    std::string bare;
    DiskScanner::Reading reading;
    DiskScanOptions options{.skipHiddenFiles = false,
                            .excludedPathPrefixes = {},
                            .skipSymbolicLinks = true,
                            .maximumRetainedFiles = 50'000};
    for (int i = 1; i < argc; ++i) {
        const std::string name = argv[i];
        if (name == "--skip-hidden") {
            options.skipHiddenFiles = true;
            continue;
        }
        if (i + 1 == argc) {
            std::cerr << "A value is missing behind " << name << ".\n";
            return 2;
        }
        const std::string value = argv[++i];
        if (name == "--root") {
            root = value;
        } else if (name == "--index") {
            index = value;
        } else if (name == "--bare") {
            bare = value;
        } else if (name == "--threads") {
            reading.readsAhead = value != "1";
        } else if (name == "--retain") {
            options.maximumRetainedFiles = std::stoul(value);
        } else if (name == "--options" && value == "whole-disk") {
            options.excludedPathPrefixes = {"/System/Volumes", "/Volumes", "/dev", "/.vol",
                                            "/.nofollow",      "/Network", "/net"};
            const auto more = startupDiskExclusions();
            options.excludedPathPrefixes.insert(options.excludedPathPrefixes.end(), more.begin(), more.end());
        } else {
            std::cerr << "Unknown argument " << name << ".\n";
            return 2;
        }
    }
    if (!bare.empty()) {
        const auto measured = benchmarks::insertBare(bare, index.value_or(bare + ".bare"));
        std::printf("{\"seconds\": %.6f, \"rows\": %lld, \"peakRssBytes\": %lld}\n", measured.seconds,
                    static_cast<long long>(measured.rows), static_cast<long long>(peakResidentBytes()));
        return 0;
    }
    try {
        DiskScanner scanner(index, reading);
        const auto started = std::chrono::steady_clock::now();
        const ScanResult result = scanner.scan(root, options, {});
        const double seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
        std::printf(
            "{\"seconds\": %.6f, \"files\": %lld, \"directories\": %lld, \"bytes\": %lld, \"errors\": %zu, "
            "\"peakRssBytes\": %lld}\n",
            seconds, static_cast<long long>(result.totalFiles),
            static_cast<long long>(result.totalDirectories), static_cast<long long>(result.totalSize),
            result.errors.size(), static_cast<long long>(peakResidentBytes()));
        for (const ScanError& error : result.errors) {
            std::cerr << error.error->description() << '\n';
        }
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
    return 0;
}
