// What the gate costs beside the bare work.
//
//   larkfold_removal_bench trash FOLDER COUNT ROUNDS      COUNT files into the Trash, beside a loop that
//   writes and syncs
//                                                         the same notes and renames
//   larkfold_removal_bench folder FOLDER COUNT ROUNDS     one folder of COUNT files into the Trash, beside
//   the walk that
//                                                         measures it
//   larkfold_removal_bench remove FOLDER COUNT ROUNDS     one folder of COUNT files for good, beside "du -s
//                                                         --apparent-size" and "rm -rf" after one another
//   larkfold_removal_bench hash FILE ROUNDS               beside "openssl dgst -sha256"
//   larkfold_removal_bench collapse COUNT ROUNDS          the nesting rule over COUNT paths and over twice as
//   many
//
// FOLDER is one of the benchmark's own, on the file system that is to be measured. The rounds alternate; told
// are the medians of the seconds and their ratio, as JSON.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/DirectoryReader.h"
#include "platform/SHA256.h"
#include "removal/CleanupHistoryStore.h"
#include "removal/FileDeleter.h"

namespace {

using Strings = std::vector<std::string>;

double secondsOf(const std::function<void()>& work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void require(bool holds, const char* what) {
    if (!holds) {
        std::perror(what);
        std::exit(1);
    }
}

void run(const Strings& arguments) {
    const pid_t child = fork();
    require(child >= 0, "fork");
    if (child == 0) {
        const int null = open("/dev/null", O_WRONLY);
        dup2(null, 1);
        std::vector<char*> raw;
        for (const std::string& argument : arguments) {
            raw.push_back(const_cast<char*>(argument.c_str()));
        }
        raw.push_back(nullptr);
        execvp(raw.front(), raw.data());
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    require(WIFEXITED(status) && WEXITSTATUS(status) == 0, arguments.front().c_str());
}

// COUNT small files in `folder`, a hundred to a subfolder where `nested`.
Strings makeFiles(const std::string& folder, int count, bool nested) {
    run({"mkdir", "-p", folder});
    Strings paths;
    std::string inside = folder;
    for (int number = 0; number < count; ++number) {
        if (nested && number % 100 == 0) {
            inside = folder + "/" + std::to_string(number);
            require(mkdir(inside.c_str(), 0700) == 0, "mkdir");
        }
        paths.push_back(inside + "/file-" + std::to_string(number) + ".dat");
        const int file = open(paths.back().c_str(), O_WRONLY | O_CREAT | O_EXCL, 0600);
        require(file >= 0 && write(file, "content\n", 8) == 8, "write");
        close(file);
    }
    return paths;
}

// With the history and the journal, as the program has it.
larkfold::FileDeleter::DeletionResult gate(const Strings& paths,
                                           const larkfold::FileDeleter::AllowedRoot& root, bool permanently) {
    larkfold::CleanupHistoryStore history;
    larkfold::FileDeleter deleter(&history);
    auto result = deleter.deleteItems({.urls = paths,
                                       .permanently = permanently,
                                       .allowedRoots = {root},
                                       .duplicateVerifications = {},
                                       .source = "benchmark",
                                       .protectRunningApplications = false},
                                      nullptr, {});
    if (!result.failedDeletions.empty()) {
        std::fprintf(stderr, "%s\n", result.failedDeletions.front().description().c_str());
        std::exit(1);
    }
    return result;
}

// The least that a Trash asks for: a note that is made anew, written and synced, and a rename that replaces
// nothing.
void bareTrash(const Strings& paths, const std::string& trash) {
    for (const std::string& path : paths) {
        const std::string name = path.substr(path.rfind('/') + 1);
        const std::string note = trash + "/info/" + name + ".trashinfo";
        const std::string text = "[Trash Info]\nPath=" + path + "\nDeletionDate=2026-01-01T00:00:00\n";
        const int file = open(note.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        require(file >= 0 && write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size()),
                "note");
        require(fsync(file) == 0, "fsync");
        close(file);
        require(renameat2(AT_FDCWD, path.c_str(), AT_FDCWD, (trash + "/files/" + name).c_str(),
                          RENAME_NOREPLACE) == 0,
                "rename");
    }
}

void walk(const std::string& folder) {
    struct Level {
        std::unique_ptr<larkfold::DirectoryListing> listing;
        std::size_t next = 0;
    };
    larkfold::DirectoryReader reader(folder, {}, {});
    std::vector<Level> levels;
    levels.push_back({reader.openRoot()});
    while (!levels.empty()) {
        Level& level = levels.back();
        const auto entries = level.listing->entries();
        while (level.next < entries.size() &&
               entries[level.next].kind != larkfold::DirectoryEntry::Kind::directory) {
            ++level.next;
        }
        if (level.next == entries.size()) {
            levels.pop_back();
        } else {
            levels.push_back({reader.open(*level.listing, level.next++)});
        }
    }
}

void tell(const char* what, const std::vector<double>& ours, const std::vector<double>& theirs) {
    std::printf("{\"what\": \"%s\", \"ours\": %.6f, \"bare\": %.6f, \"ratio\": %.3f}\n", what, median(ours),
                median(theirs), median(ours) / median(theirs));
}

}  // namespace

int main(int count, char** raw) {
    const Strings arguments(raw + 1, raw + count);
    const std::string mode = arguments.empty() ? "" : arguments[0];
    std::vector<double> ours;
    std::vector<double> theirs;
    if (arguments.size() == 4 && (mode == "trash" || mode == "folder" || mode == "remove")) {
        const std::string& folder = arguments[1];
        const int files = std::atoi(arguments[2].c_str());
        unsetenv("XDG_DATA_HOME");
        const int rounds = std::atoi(arguments[3].c_str());
        for (int round = 0; round < rounds; ++round) {
            // Each round has folders of its own, and nothing is cleared away before the end: ext4 does not
            // use an inode again that went a moment ago, and passes each of them when it looks for a free
            // one.
            const std::string top = folder + "/" + std::to_string(round);
            const std::string home = top + "/home";
            const std::string bare = top + "/bare";
            setenv("HOME", home.c_str(), 1);
            // Where the program keeps its own files is there from its first start.
            run({"mkdir", "-p", home + "/.local/share/Larkfold", bare + "/files", bare + "/info"});
            const bool isNested = mode != "trash";
            const Strings mine = makeFiles(home + "/things", files, isNested);
            const Strings others = makeFiles(bare + "/things", files, isNested);
            const auto bareWork = [&] {
                if (mode == "trash") {
                    bareTrash(others, bare);
                } else if (mode == "folder") {
                    walk(bare + "/things");
                } else {
                    run({"du", "-s", "--apparent-size", bare + "/things"});
                    run({"rm", "-rf", bare + "/things"});
                }
            };
            // Who made the map has taken the root's identity.
            const auto root = larkfold::FileDeleter::AllowedRoot::at(home);
            const auto gateWork = [&] {
                gate(mode == "trash" ? mine : Strings{home + "/things"}, root, mode == "remove");
            };
            if (mode == "folder") {
                walk(home + "/things");
                walk(bare + "/things");
            }
            // Neither has always the better place in the turn.
            for (const bool isGate : {round % 2 == 0, round % 2 != 0}) {
                run({"sync"});
                (isGate ? ours : theirs).push_back(isGate ? secondsOf(gateWork) : secondsOf(bareWork));
            }
        }
        for (int round = 0; round < rounds; ++round) {
            run({"rm", "-rf", folder + "/" + std::to_string(round)});
        }
    } else if (arguments.size() == 3 && mode == "hash") {
        std::string digest;
        digest = larkfold::fileSHA256(arguments[1], {});
        for (int round = std::atoi(arguments[2].c_str()); round > 0; --round) {
            theirs.push_back(secondsOf([&] { run({"openssl", "dgst", "-sha256", arguments[1]}); }));
            ours.push_back(secondsOf([&] { digest = larkfold::fileSHA256(arguments[1], {}); }));
        }
    } else if (arguments.size() == 3 && mode == "collapse") {
        const auto pathsOf = [](int number) {
            Strings paths;
            for (int index = 0; index < number; ++index) {
                paths.push_back("/home/ada/projects/" + std::to_string(index % 997) + "/some/folder/" +
                                std::to_string(index) + (index % 3 == 0 ? "" : "/file.txt"));
            }
            return paths;
        };
        const int number = std::atoi(arguments[1].c_str());
        const Strings once = pathsOf(number);
        const Strings twice = pathsOf(2 * number);
        for (int round = std::atoi(arguments[2].c_str()); round > 0; --round) {
            theirs.push_back(secondsOf([&] { larkfold::FileDeleter::collapseNested(once); }));
            ours.push_back(secondsOf([&] { larkfold::FileDeleter::collapseNested(twice); }));
        }
        tell("collapse: twice as many beside once", ours, theirs);
        return 0;
    } else {
        std::fputs("usage: see the head of benchmarks/removal/RemovalBench.cpp\n", stderr);
        return 2;
    }
    tell(mode.c_str(), ours, theirs);
    return 0;
}
