// The program that the harness kills and starves: a removal through the gate.
//
//   removal_victim MODE ROOT URL [KEEPER]
//
// Prints "descriptors BEFORE AFTER" and then "gone BYTES PLACE" or "stays PLACE: SENTENCE", where PLACE is
// "-" where there is none. With a KEEPER the item goes as its duplicate.
//
// MODE is "trash" or "permanent", or one of the naive ways that the suites have to find out:
//   late-note    into the Trash first, and the note of it after that
//   unchecked    the note's sync is made, and its outcome ignored
//   leaky        a descriptor stays open
//   hopeful      told as gone whatever happened
//   beside       the item is unlinked, and its note by its name in the folder beside its own
//   in-place     a folder is removed where it stands, what is left of it is told as gone
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>
#include <string_view>

#include "platform/Error.h"
#include "platform/Path.h"
#include "platform/SHA256.h"
#include "platform/StandardFolders.h"
#include "removal/FileDeleter.h"
#include "support/OpenDescriptors.h"

namespace {

using larkfold::FileDeleter;
using larkfold::test::DescriptorBalance;

std::string throughTheGate(bool permanently, const FileDeleter::AllowedRoot& root, const std::string& url,
                           const FileDeleter::DuplicateVerification* proof) {
    FileDeleter::Request request{.urls = {url},
                                 .permanently = permanently,
                                 .allowedRoots = {root},
                                 .duplicateVerifications = {},
                                 .source = "Victim",
                                 .protectRunningApplications = false};
    if (proof != nullptr) {
        request.duplicateVerifications[url] = *proof;
    }
    FileDeleter gate(nullptr, [] { return std::vector<larkfold::RunningApplication>(); });
    const auto result = gate.deleteItems(request, nullptr, {});
    const larkfold::CleanupOperation::Item& item = result.operation.items.at(0);
    if (!item.error) {
        return "gone " + std::to_string(item.logicalBytes.value_or(-1)) + " " + item.trashPath.value_or("-");
    }
    const std::string opening = "kept at “";
    const std::size_t at = item.error->find(opening);
    const std::string rest =
        at == std::string::npos ? std::string() : item.error->substr(at + opening.size());
    return "stays " + (rest.empty() ? "-" : rest.substr(0, rest.find("”"))) + ": " + *item.error;
}

std::string naively(std::string_view mode, const std::string& url) {
    if (mode == "in-place") {
        std::error_code problem;
        std::filesystem::remove_all(url, problem);
        return "gone 0 -";
    }
    const std::string name(larkfold::lastPathComponent(url));
    if (mode == "beside") {
        const int folder =
            open(std::string(larkfold::parentPath(url)).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
        const bool isGone = unlinkat(folder, name.c_str(), 0) == 0;
        const int info = openat(folder, "../info", O_PATH | O_DIRECTORY | O_CLOEXEC);
        unlinkat(info, (name + ".trashinfo").c_str(), 0);
        close(info);
        close(folder);
        return isGone ? "gone 0 -" : "stays -: It could not be removed.";
    }
    const std::string trash = larkfold::joinedPath(larkfold::applicationSupportDirectory(), "Trash");
    const std::string place = trash + "/files/" + name;
    const std::string note = trash + "/info/" + name + ".trashinfo";
    const std::string text = "[Trash Info]\nPath=" + url + "\nDeletionDate=2026-01-01T00:00:00\n";
    bool isMoved = false;
    if (mode == "late-note") {
        isMoved = rename(url.c_str(), place.c_str()) == 0;
    }
    const int file = open(note.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (file >= 0) {
        static_cast<void>(!write(file, text.data(), text.size()));
        fsync(file);
        close(file);
    }
    if (mode != "late-note") {
        isMoved = rename(url.c_str(), place.c_str()) == 0;
    }
    if (!isMoved) {
        unlink(note.c_str());
    }
    if (mode == "leaky") {
        static_cast<void>(open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    }
    return isMoved || mode == "hopeful" ? "gone 0 " + place : "stays -: It could not be moved to the Trash.";
}

}  // namespace

int main(int count, char** words) {
    if (count != 4 && count != 5) {
        return 2;
    }
    const std::string_view mode = words[1];
    const auto root = FileDeleter::AllowedRoot::at(words[2]);
    const std::string url = words[3];
    FileDeleter::DuplicateVerification proof;
    if (count == 5) {
        proof = {.keeper = words[4], .sha256 = larkfold::fileSHA256(words[4], {})};
    }
    std::string report;
    int code = 0;
    const DescriptorBalance descriptors;
    raise(SIGUSR1);
    try {
        report = mode == "trash" || mode == "permanent"
                     ? throughTheGate(mode == "permanent", root, url, count == 5 ? &proof : nullptr)
                     : naively(mode, url);
    } catch (const std::exception& error) {
        report = std::string("untyped ") + error.what();
        code = 5;
    }
    raise(SIGUSR1);
    const std::size_t after = descriptors.after();
    std::printf("descriptors %zu %zu\n%s\n", descriptors.before(), after, report.c_str());
    return code;
}
