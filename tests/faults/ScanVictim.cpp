// A scan of a folder with an index.
//
//   larkfold_victim scan MODE ROOT INDEX
//
// What came of it is "scanned FILES FOLDERS BYTES ERRORS", with "unread" and a sentence in a line for each of
// these, and "resident KIBIBYTES" in the last one.
//
// MODE is "scan", or one of the naive ways that the suites have to find out:
//   copy          the new index is copied over the old one in place
//   unsynced      it is renamed over it without a sync
//   unchecked     it is synced, and the outcome of the syncs ignored
//   journal-left  a journal beside the old index is left where it is
//   mute          places that could not be read are not told
//   leaky         a descriptor stays open when the scan failed
//   deaf          as "stoppable", and the request is not passed on to the scan
// or "retained": as "scan", without the watcher (the marks are not made), "impatient": as "scan", with a
// second for a mount that may fail to answer, or "stoppable": as "scan", with a stop that is requested as
// soon as standard input has a byte.
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <stop_token>
#include <string>
#include <string_view>
#include <thread>

#include "disk/DiskScanner.h"
#include "faults/Victim.h"
#include "platform/Error.h"
#include "platform/OwnFiles.h"
#include "platform/Path.h"

namespace larkfold::test {
namespace {

void copyInPlace(const std::string& from, const std::string& to) {
    const int source = open(from.c_str(), O_RDONLY | O_CLOEXEC);
    const int target = open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    std::array<char, 4096> bytes;
    for (ssize_t count; (count = read(source, bytes.data(), bytes.size())) > 0;) {
        if (write(target, bytes.data(), static_cast<std::size_t>(count)) != count) {
            break;
        }
    }
    close(source);
    close(target);
    unlink(from.c_str());
}

void renameUnchecked(const std::string& from, const std::string& to) {
    const int file = open(from.c_str(), O_RDONLY | O_CLOEXEC);
    fsync(file);
    close(file);
    if (rename(from.c_str(), to.c_str()) != 0) {
        throw SystemError(SystemError::Operation::replace, errno, to);
    }
    const int folder = open(std::string(parentPath(to)).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    fsync(folder);
    close(folder);
}

// A call that nothing else here makes, by which the harness knows what has come about.
void sayBySystemCall() {
    static_cast<void>(getpgid(0));
}

ScanResult scan(std::string_view mode, const std::string& root, const std::string& index,
                std::stop_token stop) {
    const DiskScanOptions options{.skipHiddenFiles = false,
                                  .excludedPathPrefixes = {},
                                  .skipSymbolicLinks = true,
                                  .maximumRetainedFiles = 50'000};
    const bool swapsItself =
        mode == "copy" || mode == "unsynced" || mode == "unchecked" || mode == "journal-left";
    const std::string place = swapsItself ? index + ".staged" : index;
    DiskScanner::Reading reading;
    if (mode == "impatient") {
        reading.answerTimeout = std::chrono::seconds(1);
    }
    ScanResult result =
        DiskScanner(place, reading).scan(root, options, std::move(stop), [](const ScanProgress&) {});
    if (mode == "impatient") {
        sayBySystemCall();
    }
    if (mode == "copy") {
        copyInPlace(place, index);
    } else if (mode == "unsynced") {
        std::rename(place.c_str(), index.c_str());
    } else if (mode == "unchecked") {
        unlink((index + "-journal").c_str());
        renameUnchecked(place, index);
    } else if (mode == "journal-left") {
        own_files::replaceFile(place, index);
    } else if (mode == "mute") {
        result.errors.clear();
    }
    return result;
}

// A stop is requested when standard input has a byte, and the harness is told that it was. Nobody waits for
// the thread: the byte may never come.
std::stop_token stopOnInput() {
    std::stop_source source;
    std::thread([source] mutable {
        char byte = 0;
        if (read(STDIN_FILENO, &byte, 1) == 1) {
            source.request_stop();
            sayBySystemCall();
        }
    }).detach();
    return source.get_token();
}

std::string reportOf(const ScanResult& result) {
    std::string report = "scanned " + std::to_string(result.totalFiles) + " " +
                         std::to_string(result.totalDirectories) + " " + std::to_string(result.totalSize) +
                         " " + std::to_string(result.errors.size());
    for (const auto& error : result.errors) {
        report += "\nunread " + error.error->description();
    }
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return report + "\nresident " + std::to_string(usage.ru_maxrss);
}

}  // namespace

std::optional<VictimWork> scanWork(const std::vector<std::string>& words) {
    if (words.size() != 3) {
        return std::nullopt;
    }
    const auto work = [mode = words[0], root = words[1], index = words[2]] {
        // Not before: the harness sees the calls of threads that begin while it watches.
        const std::stop_token requested =
            mode == "stoppable" || mode == "deaf" ? stopOnInput() : std::stop_token();
        try {
            return reportOf(scan(mode, root, index, mode == "stoppable" ? requested : std::stop_token()));
        } catch (const Error&) {
            if (mode == "leaky") {
                leakDescriptor();
            }
            throw;
        }
    };
    return VictimWork{.run = work, .isWatched = words[0] != "retained"};
}

}  // namespace larkfold::test
