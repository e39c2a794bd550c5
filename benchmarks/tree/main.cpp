// Makes the trees that benchmarks, comparisons and tests of scale run over. The same numbers always give the
// same names and sizes, so that figures taken on two days or two machines are about the same tree.
//
//   larkfold_tree ROOT [--files 1000000] [--folders 60000] [--seed 1]   a tree like a developer's disk
//   larkfold_tree ROOT --flat N                                         one folder of N empty files
//   larkfold_tree ROOT --chain N                                        N folders, each in the one before
//
// ROOT must not exist yet. This is a tool beside the program, and speaks with the system directly: what it
// makes is deeper and longer than any path may be, and a million files take seconds only when each costs two
// system calls.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace {

struct Options {
    std::string root;
    std::uint64_t files = 1'000'000;
    std::uint64_t folders = 60'000;
    std::uint64_t seed = 1;
    std::uint64_t flat = 0;
    std::uint64_t chain = 0;
};

[[noreturn]] void fail(const char* what, const std::string& about) {
    std::fprintf(stderr, "larkfold_tree: cannot %s %s: %s\n", what, about.c_str(), std::strerror(errno));
    std::exit(1);
}

[[noreturn]] void usage() {
    std::fputs(
        "usage: larkfold_tree ROOT [--files N] [--folders N] [--seed N] | ROOT --flat N | ROOT --chain N\n",
        stderr);
    std::exit(2);
}

std::uint64_t numberOf(std::string_view text) {
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size()) {
        usage();
    }
    return value;
}

Options optionsOf(int count, char** arguments) {
    Options options;
    for (int i = 1; i < count; ++i) {
        const std::string_view argument = arguments[i];
        if (!argument.starts_with("--")) {
            if (!options.root.empty()) {
                usage();
            }
            options.root = argument;
            continue;
        }
        if (i + 1 == count) {
            usage();
        }
        const std::uint64_t value = numberOf(arguments[++i]);
        if (argument == "--files") {
            options.files = value;
        } else if (argument == "--folders") {
            options.folders = value;
        } else if (argument == "--seed") {
            options.seed = value;
        } else if (argument == "--flat") {
            options.flat = value;
        } else if (argument == "--chain") {
            options.chain = value;
        } else {
            usage();
        }
    }
    if (options.root.empty() || options.folders == 0) {
        usage();
    }
    return options;
}

// The same sequence on every system: the engine is specified by the language, and no distribution of the
// library, which may differ from one to the next, is used.
class Chance {
public:
    explicit Chance(std::uint64_t seed) : engine_(seed) {}

    // At least 0 and below `limit`.
    std::uint64_t below(std::uint64_t limit) { return engine_() % limit; }

private:
    std::mt19937_64 engine_;
};

constexpr std::array<std::string_view, 32> words = {
    "report", "image",   "module",  "index",  "sample",  "archive", "notes",  "draft",
    "config", "holiday", "invoice", "letter", "camera",  "track",   "record", "session",
    "backup", "library", "common",  "render", "shader",  "widget",  "socket", "parser",
    "vector", "matrix",  "summer",  "winter", "project", "client",  "server", "release"};

constexpr std::array<std::string_view, 24> extensions = {
    ".txt", ".cpp", ".h",   ".py",  ".js",  ".json", ".png", ".jpg", ".md",  ".html", ".css", ".o",
    ".pdf", ".xml", ".svg", ".mp3", ".zip", ".tar",  ".rs",  ".go",  ".log", ".so",   ".ttf", ""};

// Names of 12 to 24 bytes, as they are met: two words, a number that makes the name unique in its folder, an
// extension.
std::string nameOf(Chance& chance, std::uint64_t number, bool folder) {
    std::string name(words[chance.below(words.size())]);
    name += folder ? "-" : "_";
    name += words[chance.below(words.size())];
    name += std::to_string(number);
    if (!folder) {
        name += extensions[chance.below(extensions.size())];
    }
    return name;
}

// Most files are small: a sixth is empty, two thirds hold up to 8 KB, the rest up to 64 KB, one in 512 up to
// 4 MB.
std::uint64_t sizeOf(Chance& chance) {
    const std::uint64_t kind = chance.below(512);
    if (kind < 85) {
        return 0;
    }
    if (kind < 427) {
        return 1 + chance.below(8 * 1024);
    }
    if (kind < 511) {
        return 1 + chance.below(64 * 1024);
    }
    return 1 + chance.below(4 * 1024 * 1024);
}

// Writes the first block for real and leaves a hole behind it, so that the sizes on disk and in content
// differ from file to file and a million files still fit a small disk. A quarter is written whole.
void makeFile(int folder, const std::string& name, std::uint64_t size, bool whole) {
    static const std::string block(64 * 1024, 'x');
    const int file = openat(folder, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (file < 0) {
        fail("create", name);
    }
    std::uint64_t left =
        whole ? std::min<std::uint64_t>(size, block.size()) : std::min<std::uint64_t>(size, 4096);
    while (left > 0) {
        const ssize_t written = write(file, block.data(), left);
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            fail("write", name);
        }
        left -= static_cast<std::uint64_t>(written);
    }
    if (size > 4096 && ftruncate(file, static_cast<off_t>(size)) != 0) {
        fail("size", name);
    }
    if (close(file) != 0) {
        fail("close", name);
    }
}

int openFolder(int parent, const std::string& name) {
    const int folder = openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (folder < 0) {
        fail("open", name);
    }
    return folder;
}

int makeFolder(int parent, const std::string& name) {
    if (mkdirat(parent, name.c_str(), 0755) != 0) {
        fail("create", name);
    }
    return openFolder(parent, name);
}

// How many of the tree's folders lie directly in each folder, a few levels deep: children are given out
// breadth first, between 0 and 12 to each folder, until all are used up.
struct Folder {
    std::size_t parent = 0;
    std::string name;
    std::vector<std::size_t> children;
    std::uint64_t files = 0;
};

std::vector<Folder> planFolders(const Options& options, Chance& chance) {
    std::vector<Folder> folders(1);
    folders.reserve(options.folders);
    for (std::size_t at = 0; folders.size() < options.folders; ++at) {
        // The folder made last always gets one, or the tree could end early.
        const std::uint64_t minimum = at + 1 == folders.size() ? 1 : 0;
        const std::uint64_t count = std::max(minimum, chance.below(13));
        for (std::uint64_t i = 0; i < count && folders.size() < options.folders; ++i) {
            folders[at].children.push_back(folders.size());
            Folder child;
            child.parent = at;
            child.name = nameOf(chance, folders.size(), true);
            folders.push_back(std::move(child));
        }
    }
    // Three quarters of the files are spread by chance, with many folders that hold few and few that hold
    // many.
    for (std::uint64_t i = 0; i < options.files; ++i) {
        std::uint64_t at = chance.below(folders.size());
        if (chance.below(4) == 0) {
            at = std::min(at, chance.below(folders.size()));
        }
        ++folders[at].files;
    }
    return folders;
}

void makeTree(const Options& options, int root) {
    Chance chance(options.seed);
    const std::vector<Folder> folders = planFolders(options, chance);
    struct Level {
        std::size_t folder;
        int descriptor;
        std::size_t next;
    };
    std::vector<Level> stack{{0, root, 0}};
    std::uint64_t made = 0;
    const auto fill = [&](std::size_t folder, int descriptor) {
        for (std::uint64_t i = 0; i < folders[folder].files; ++i) {
            const std::uint64_t size = sizeOf(chance);
            makeFile(descriptor, nameOf(chance, i, false), size, chance.below(4) == 0);
            ++made;
        }
    };
    fill(0, root);
    while (!stack.empty()) {
        Level& level = stack.back();
        if (level.next == folders[level.folder].children.size()) {
            if (level.descriptor != root) {
                close(level.descriptor);
            }
            stack.pop_back();
            continue;
        }
        const std::size_t child = folders[level.folder].children[level.next++];
        const int descriptor = makeFolder(level.descriptor, folders[child].name);
        fill(child, descriptor);
        stack.push_back({child, descriptor, 0});
    }
    std::printf("{\"files\": %llu, \"folders\": %zu}\n", static_cast<unsigned long long>(made),
                folders.size());
}

void makeFlat(std::uint64_t count, int root) {
    Chance chance(1);
    for (std::uint64_t i = 0; i < count; ++i) {
        makeFile(root, nameOf(chance, i, false), 0, false);
    }
    std::printf("{\"files\": %llu, \"folders\": 1}\n", static_cast<unsigned long long>(count));
}

// Never by path: from some depth on no path is short enough for the system.
void makeChain(std::uint64_t depth, int root) {
    int folder = root;
    for (std::uint64_t i = 0; i < depth; ++i) {
        const int next = makeFolder(folder, "d");
        if (folder != root) {
            close(folder);
        }
        folder = next;
    }
    makeFile(folder, "end.txt", 10, false);
    std::printf("{\"files\": 1, \"folders\": %llu}\n", static_cast<unsigned long long>(depth + 1));
}

}  // namespace

int main(int count, char** arguments) {
    const Options options = optionsOf(count, arguments);
    if (mkdir(options.root.c_str(), 0755) != 0) {
        fail("create", options.root);
    }
    const int root = openFolder(AT_FDCWD, options.root);
    if (options.chain > 0) {
        makeChain(options.chain, root);
    } else if (options.flat > 0) {
        makeFlat(options.flat, root);
    } else {
        makeTree(options, root);
    }
    return std::fflush(stdout) == 0 ? 0 : 1;
}
