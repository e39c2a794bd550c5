// One operation added to the history of removals.
//
//   larkfold_victim history MODE FILE
//
// What came of it is "appended", with "told" behind it where somebody was told; so it is behind "refused".
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
#include <cstdio>
#include <string>
#include <string_view>

#include "faults/HistoryRecord.h"
#include "faults/Victim.h"
#include "platform/Error.h"
#include "platform/OwnFiles.h"
#include "platform/Path.h"
#include "removal/CleanupHistoryStore.h"

namespace larkfold::test {
namespace {

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
    if (own_files::exists(file)) {
        own_files::writeFile(copy, own_files::readFile(file, 1U << 30));
    }
    CleanupHistoryStore(copy).append(historyRecord(-1));
    std::string bytes = own_files::readFile(copy, 1U << 30);
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
            syncUnchecked(std::string(parentPath(file)));
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

std::optional<VictimWork> historyWork(const std::vector<std::string>& words) {
    if (words.size() != 2) {
        return std::nullopt;
    }
    const auto work = [mode = words[0], file = words[1],
                       prepared = words[0] == "append" ? std::string() : newBytes(words[1])] {
        bool isTold = false;
        try {
            append(mode, file, prepared, isTold);
        } catch (const Error& error) {
            if (mode == "leaky") {
                leakDescriptor();
            }
            throw Refused((isTold ? "told " : "") + error.description());
        }
        return std::string(isTold ? "appended told" : "appended");
    };
    return VictimWork{.run = work};
}

}  // namespace larkfold::test
