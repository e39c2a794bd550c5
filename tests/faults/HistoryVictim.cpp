// The program that the harness kills and starves: one operation added to the history of removals.
//
//   history_victim MODE FILE
//
// Prints "descriptors BEFORE AFTER" and then "appended", with "told" behind it where somebody was told, or
// "refused" with the sentence that a user would see. Exit code 0 or 3.
//
// MODE is "append", or one of the naive ways that the suites have to find out:
//   in-place   the new bytes are written over the old ones
//   unsynced   they are renamed into place without a sync
//   unchecked  they are synced, and the outcome of the syncs is ignored
//   leaky      a descriptor stays open when it failed
//   hasty      somebody is told before it stands
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <string_view>

#include "faults/HistoryRecord.h"
#include "platform/Error.h"
#include "platform/OwnFiles.h"
#include "platform/Path.h"
#include "removal/CleanupHistoryStore.h"
#include "support/OpenDescriptors.h"

namespace {

using larkfold::CleanupHistoryStore;
using larkfold::SystemError;
using larkfold::test::DescriptorBalance;
using larkfold::test::historyRecord;

void writeAll(const std::string& path, int flags, std::string_view bytes) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | flags, 0600);
    while (file >= 0 && !bytes.empty()) {
        const ssize_t written = write(file, bytes.data(), bytes.size());
        if (written <= 0) {
            close(file);
            throw SystemError(SystemError::Operation::write, errno, path);
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    close(file);
}

void syncUnchecked(const std::string& path) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    fsync(file);
    close(file);
}

// What the store would write, by the store itself, beside the place.
std::string newBytes(const std::string& file) {
    const std::string copy = file + ".prepared";
    if (larkfold::own_files::exists(file)) {
        larkfold::own_files::writeFile(copy, larkfold::own_files::readFile(file, 1U << 30));
    }
    CleanupHistoryStore(copy).append(historyRecord(-1));
    std::string bytes = larkfold::own_files::readFile(copy, 1U << 30);
    unlink(copy.c_str());
    unlink((copy + ".lock").c_str());
    return bytes;
}

void append(std::string_view mode, const std::string& file, const std::string& prepared, bool& isTold) {
    if (mode == "in-place") {
        writeAll(file, O_TRUNC, prepared);
        isTold = true;
    } else if (mode == "unsynced" || mode == "unchecked") {
        const std::string temporary = file + ".temporary";
        writeAll(temporary, O_EXCL, prepared);
        if (mode == "unchecked") {
            syncUnchecked(temporary);
        }
        if (rename(temporary.c_str(), file.c_str()) != 0) {
            throw SystemError(SystemError::Operation::replace, errno, file);
        }
        if (mode == "unchecked") {
            syncUnchecked(std::string(larkfold::parentPath(file)));
        }
        isTold = true;
    } else {
        if (mode == "hasty") {
            isTold = true;
        }
        CleanupHistoryStore(file, [&isTold] { isTold = true; }).append(historyRecord(-1));
    }
}

}  // namespace

int main(int count, char** words) {
    if (count != 3) {
        return 2;
    }
    const std::string_view mode = words[1];
    const std::string file = words[2];
    const std::string prepared = mode == "append" ? std::string() : newBytes(file);
    std::string report;
    int code = 0;
    bool isTold = false;
    const DescriptorBalance descriptors;
    raise(SIGUSR1);
    try {
        append(mode, file, prepared, isTold);
        report = isTold ? "appended told" : "appended";
    } catch (const larkfold::Error& error) {
        report = (isTold ? "refused told " : "refused ") + error.description();
        code = 3;
        if (mode == "leaky") {
            static_cast<void>(open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        }
    } catch (const std::exception& error) {
        report = std::string("untyped ") + error.what();
        code = 5;
    }
    raise(SIGUSR1);
    const std::size_t after = descriptors.after();
    std::printf("descriptors %zu %zu\n%s\n", descriptors.before(), after, report.c_str());
    return code;
}
