#include "support/TemporaryTree.h"

#include <fstream>
#include <sstream>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace larkfold::test {

namespace {

[[noreturn]] void die(const char* what, std::string_view path) {
    std::fprintf(stderr, "temporary tree: %s failed at \"%.*s\": %s\n", what,
                 static_cast<int>(std::min<std::size_t>(path.size(), 500)), path.data(),
                 std::strerror(errno));
    std::abort();
}

std::string folderForTemporaries() {
    const char* folder = std::getenv("TMPDIR");
    return folder != nullptr && *folder != '\0' ? folder : "/tmp";
}

// The folder that holds the item, made where it is missing, as a descriptor: a path may be longer than the
// system takes. `name` becomes the item's own name.
int openParent(const std::string& root, std::string_view relative, std::string& name) {
    int folder = open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0) {
        die("open", root);
    }
    std::size_t at = 0;
    for (std::size_t slash; (slash = relative.find('/', at)) != std::string_view::npos; at = slash + 1) {
        const std::string component(relative.substr(at, slash - at));
        if (component.empty()) {
            continue;
        }
        if (mkdirat(folder, component.c_str(), 0755) != 0 && errno != EEXIST) {
            die("mkdir", relative);
        }
        const int next = openat(folder, component.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (next < 0) {
            die("open", relative);
        }
        close(folder);
        folder = next;
    }
    name = relative.substr(at);
    return folder;
}

void writeContent(int file, std::string_view content, std::string_view path) {
    while (!content.empty()) {
        const ssize_t count = write(file, content.data(), content.size());
        if (count < 0 && errno != EINTR) {
            die("write", path);
        }
        if (count > 0) {
            content.remove_prefix(static_cast<std::size_t>(count));
        }
    }
}

int createFile(const std::string& root, std::string_view relative) {
    std::string name;
    const int folder = openParent(root, relative, name);
    const int file = openat(folder, name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (file < 0) {
        die("create", relative);
    }
    close(folder);
    return file;
}

// A folder on the way down: the folders in it that are still to be removed.
struct Level {
    std::string name;
    std::vector<std::string> folders;
};

// Removes all in the folder but its folders, and returns their names.
std::vector<std::string> emptyOfFiles(int folder, std::string_view path) {
    std::vector<std::string> folders;
    std::vector<std::string> others;
    const int copy = openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR* stream = copy < 0 ? nullptr : fdopendir(copy);
    if (stream == nullptr) {
        die("list", path);
    }
    while (const dirent* entry = readdir(stream)) {
        const std::string_view name = entry->d_name;
        if (name == "." || name == "..") {
            continue;
        }
        bool isFolder = entry->d_type == DT_DIR;
        if (entry->d_type == DT_UNKNOWN) {
            struct stat values{};
            isFolder =
                fstatat(folder, entry->d_name, &values, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(values.st_mode);
        }
        (isFolder ? folders : others).emplace_back(name);
    }
    closedir(stream);
    for (const std::string& name : others) {
        if (unlinkat(folder, name.c_str(), 0) != 0) {
            die("unlink", name);
        }
    }
    return folders;
}

int openForRemoval(int parent, const char* name) {
    int folder = openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (folder < 0 && errno == EACCES) {
        // By name: without a right to it there is no descriptor that could be changed.
        if (fchmodat(parent, name, 0700, 0) == 0) {
            folder = openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        }
    }
    if (folder >= 0) {
        struct stat values{};
        if (fstat(folder, &values) == 0 && (values.st_mode & 0700) != 0700) {
            fchmod(folder, 0700);
        }
    }
    return folder;
}

}  // namespace

TemporaryTree::TemporaryTree() {
    std::string pattern = folderForTemporaries() + "/larkfold-tree.XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        die("mkdtemp", pattern);
    }
    // Without links in it, so that tests may compare paths.
    char* real = realpath(pattern.c_str(), nullptr);
    if (real == nullptr) {
        die("realpath", pattern);
    }
    root_ = real;
    std::free(real);
}

TemporaryTree::~TemporaryTree() {
    removeTree(root_);
}

std::string TemporaryTree::path(std::string_view relative) const {
    return relative.empty() ? root_ : root_ + "/" + std::string(relative);
}

std::string TemporaryTree::file(std::string_view relative, std::string_view content) {
    const int file = createFile(root_, relative);
    writeContent(file, content, relative);
    close(file);
    return path(relative);
}

std::string TemporaryTree::fileOfSize(std::string_view relative, std::int64_t bytes) {
    const int file = createFile(root_, relative);
    const std::string block(static_cast<std::size_t>(std::min<std::int64_t>(bytes, 1 << 20)), 'x');
    for (std::int64_t left = bytes; left > 0; left -= static_cast<std::int64_t>(block.size())) {
        writeContent(file,
                     std::string_view(block).substr(
                         0, static_cast<std::size_t>(std::min<std::int64_t>(left, 1 << 20))),
                     relative);
    }
    close(file);
    return path(relative);
}

std::string TemporaryTree::folder(std::string_view relative) {
    std::string name;
    const int parent = openParent(root_, relative, name);
    if (!name.empty() && mkdirat(parent, name.c_str(), 0755) != 0 && errno != EEXIST) {
        die("mkdir", relative);
    }
    close(parent);
    return path(relative);
}

std::string TemporaryTree::link(std::string_view relative, std::string_view target) {
    std::string name;
    const int parent = openParent(root_, relative, name);
    if (symlinkat(std::string(target).c_str(), parent, name.c_str()) != 0) {
        die("symlink", relative);
    }
    close(parent);
    return path(relative);
}

std::string TemporaryTree::fifo(std::string_view relative) {
    std::string name;
    const int parent = openParent(root_, relative, name);
    if (mkfifoat(parent, name.c_str(), 0644) != 0) {
        die("mkfifo", relative);
    }
    close(parent);
    return path(relative);
}

void removeTree(const std::string& path) {
    struct stat values{};
    if (lstat(path.c_str(), &values) != 0) {
        if (errno == ENOENT) {
            return;
        }
        die("stat", path);
    }
    if (!S_ISDIR(values.st_mode)) {
        if (unlink(path.c_str()) != 0) {
            die("unlink", path);
        }
        return;
    }
    // Down by name and up by "..", with one descriptor at a time, whatever the depth. What lies deeper than
    // this is first moved up to the top: each call costs some kernels a walk from the folder up to the root.
    constexpr std::size_t deepest = 200;
    int folder = openForRemoval(AT_FDCWD, path.c_str());
    const int top = folder < 0 ? -1 : openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (top < 0) {
        die("open", path);
    }
    std::size_t movedCount = 0;
    std::vector<Level> levels;
    levels.push_back({path, emptyOfFiles(folder, path)});
    for (;;) {
        Level& level = levels.back();
        if (!level.folders.empty()) {
            std::string name = std::move(level.folders.back());
            level.folders.pop_back();
            if (levels.size() > deepest) {
                const std::string moved = "larkfold-moved-" + std::to_string(movedCount++);
                if (renameat(folder, name.c_str(), top, moved.c_str()) != 0) {
                    die("rename", name);
                }
                levels.front().folders.push_back(moved);
                continue;
            }
            const int next = openForRemoval(folder, name.c_str());
            if (next < 0) {
                die("open", name);
            }
            close(folder);
            folder = next;
            std::vector<std::string> folders = emptyOfFiles(folder, name);
            levels.push_back({std::move(name), std::move(folders)});
            continue;
        }
        const std::string name = std::move(level.name);
        levels.pop_back();
        if (levels.empty()) {
            break;
        }
        const int parent = openat(folder, "..", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (parent < 0) {
            die("open ..", name);
        }
        close(folder);
        folder = parent;
        if (unlinkat(folder, name.c_str(), AT_REMOVEDIR) != 0) {
            die("rmdir", name);
        }
    }
    close(top);
    close(folder);
    if (rmdir(path.c_str()) != 0) {
        die("rmdir", path);
    }
}

std::string contentOf(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

}  // namespace larkfold::test
