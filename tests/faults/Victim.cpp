// The program that the harness kills and starves: one scan of a folder with an index.
//
//   victim MODE ROOT INDEX
//
// Prints "descriptors N" before and after, and in between what came of the scan: "scanned FILES FOLDERS BYTES
// ERRORS" or "refused" with the sentence that a user would see. Exit code 0 or 3.
//
// MODE is "scan", or one of the naive ways that the suites have to find out:
//   copy          the new index is copied over the old one in place
//   unsynced      it is renamed over it without a sync
//   unchecked     it is synced, and the outcome of the syncs ignored
//   journal-left  a journal beside the old index is left where it is
//   mute          places that could not be read are not told
//   leaky         a descriptor stays open when the scan failed
//   deaf          as "stoppable", and the request is not passed on to the scan
// or "retained": as "scan", without the watcher (the marks are not made), or "stoppable": as "scan", with a
// stop that is requested as soon as standard input has a byte.
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <memory>
#include <stop_token>
#include <string>
#include <string_view>
#include <thread>

#include "disk/DiskScanner.h"
#include "platform/Error.h"
#include "platform/OwnFiles.h"
#include "platform/Path.h"
#include "support/OpenDescriptors.h"

namespace {

using larkfold::DiskScanner;
using larkfold::ScanResult;
using larkfold::test::DescriptorBalance;

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
        throw larkfold::SystemError(larkfold::SystemError::Operation::replace, errno, to);
    }
    const int folder =
        open(std::string(larkfold::parentPath(to)).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    fsync(folder);
    close(folder);
}

ScanResult scan(std::string_view mode, const std::string& root, const std::string& index,
                std::stop_token stop) {
    const larkfold::DiskScanOptions options{.skipHiddenFiles = false,
                                            .excludedPathPrefixes = {},
                                            .skipSymbolicLinks = true,
                                            .maximumRetainedFiles = 50'000};
    const bool swapsItself =
        mode == "copy" || mode == "unsynced" || mode == "unchecked" || mode == "journal-left";
    const std::string place = swapsItself ? index + ".staged" : index;
    ScanResult result =
        DiskScanner(place).scan(root, options, std::move(stop), [](const larkfold::ScanProgress&) {});
    if (mode == "copy") {
        copyInPlace(place, index);
    } else if (mode == "unsynced") {
        std::rename(place.c_str(), index.c_str());
    } else if (mode == "unchecked") {
        unlink((index + "-journal").c_str());
        renameUnchecked(place, index);
    } else if (mode == "journal-left") {
        larkfold::own_files::replaceFile(place, index);
    } else if (mode == "mute") {
        result.errors.clear();
    }
    return result;
}

// Requests a stop when standard input has a byte, and then makes a call that nothing else here makes, so that
// the harness knows that it was requested.
class StopOnInput {
public:
    StopOnInput()
        : reader_([this] {
              char byte = 0;
              if (read(STDIN_FILENO, &byte, 1) == 1) {
                  source_.request_stop();
                  static_cast<void>(getpgid(0));
              }
          }) {}
    std::stop_token token() const { return source_.get_token(); }

private:
    std::stop_source source_;
    std::jthread reader_;
};

}  // namespace

int main(int count, char** words) {
    if (count != 4) {
        return 2;
    }
    const std::string_view mode = words[1];
    const std::string root = words[2];
    const std::string index = words[3];
    std::string report;
    int code = 0;
    const DescriptorBalance descriptors;
    {
        if (mode != "retained") {
            raise(SIGUSR1);
        }
        // After the mark: the harness sees the calls of threads that begin while it watches.
        std::unique_ptr<StopOnInput> stopOnInput;
        if (mode == "stoppable" || mode == "deaf") {
            stopOnInput = std::make_unique<StopOnInput>();
        }
        try {
            const ScanResult result =
                scan(mode, root, index, mode == "stoppable" ? stopOnInput->token() : std::stop_token());
            report = "scanned " + std::to_string(result.totalFiles) + " " +
                     std::to_string(result.totalDirectories) + " " + std::to_string(result.totalSize) + " " +
                     std::to_string(result.errors.size());
            for (const auto& error : result.errors) {
                report += "\nunread " + error.error->description();
            }
        } catch (const larkfold::CancellationError&) {
            report = "cancelled";
            code = 4;
        } catch (const larkfold::Error& error) {
            report = "refused " + error.description();
            code = 3;
            if (mode == "leaky") {
                static_cast<void>(open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
            }
        } catch (const std::exception& error) {
            report = std::string("untyped ") + error.what();
            code = 5;
        }
        if (mode != "retained") {
            raise(SIGUSR1);
        }
    }
    const std::size_t after = descriptors.after();
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("descriptors %zu %zu\nresident %ld\n%s\n", descriptors.before(), after, usage.ru_maxrss,
                report.c_str());
    std::fflush(stdout);
    _exit(code);  // threads that were given up may still wait for an answer
}
