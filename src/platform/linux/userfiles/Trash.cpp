#include "platform/linux/userfiles/Trash.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <ctime>
#include <map>

#include "platform/Digits.h"
#include "platform/Error.h"
#include "platform/OwnFiles.h"
#include "platform/Path.h"
#include "platform/StandardFolders.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold::trash {

namespace {

constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
constexpr std::size_t largestTable = std::size_t{16} << 20;

std::string userNumber() {
    return std::to_string(::geteuid());
}

// Opens the folder `name` of `parent`, made with mode 0700 where it is missing. Invalid, with errno set,
// where it is none.
FileDescriptor openOrMake(int parent, const std::string& name) {
    FileDescriptor folder(::openat(parent, name.c_str(), folderFlags));
    if (folder || errno != ENOENT) {
        return folder;
    }
    if (::mkdirat(parent, name.c_str(), 0700) != 0 && errno != EEXIST) {
        return {};
    }
    return FileDescriptor(::openat(parent, name.c_str(), folderFlags));
}

std::string reasonWhy(const std::string& path, int code) {
    const std::string subject = "“" + displayText(path) + "” ";
    if (code == ELOOP || code == ENOTDIR) {
        return subject + "is a link or no folder, so it is not used.";
    }
    return SystemError(SystemError::Operation::open, code, path).description();
}

// Adds the Trash that `descriptor` stands for, with its two folders made where they are missing.
void add(Choice& choice, std::string path, std::string topFolder, FileDescriptor descriptor,
         std::uint64_t mount) {
    FileDescriptor files = openOrMake(descriptor.get(), "files");
    if (!files) {
        choice.reason = reasonWhy(joinedPath(path, "files"), errno);
        return;
    }
    FileDescriptor info = openOrMake(descriptor.get(), "info");
    if (!info) {
        choice.reason = reasonWhy(joinedPath(path, "info"), errno);
        return;
    }
    // The kernel renames within one mount only, whatever the device numbers say.
    const auto filesStatus = path_descriptors::statusOf(files.get());
    const auto infoStatus = path_descriptors::statusOf(info.get());
    if (!filesStatus || !infoStatus || filesStatus->mount != mount || infoStatus->mount != mount) {
        return;
    }
    choice.folders.push_back(
        {std::move(path), std::move(topFolder), std::move(descriptor), std::move(files), std::move(info)});
}

void addHomeTrash(Choice& choice, std::uint64_t mount) {
    const std::string path = homeTrashPath();
    const std::string holding(parentPath(path));
    // Nothing is made on another volume's account.
    bool isThere = true;
    for (std::string existing = holding;; existing = std::string(parentPath(existing))) {
        const FileDescriptor place(::open(existing.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
        if (place) {
            const auto values = path_descriptors::statusOf(place.get());
            if (!values || values->mount != mount) {
                return;
            }
            break;
        }
        if (errno != ENOENT || existing == "/") {
            choice.reason = reasonWhy(existing, errno);
            return;
        }
        isThere = false;
    }
    if (!isThere) {
        try {
            own_files::createFolders(holding);
        } catch (const Error& error) {
            choice.reason = error.description();
            return;
        }
    }
    const FileDescriptor parent(::open(holding.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    FileDescriptor folder = parent ? openOrMake(parent.get(), "Trash") : FileDescriptor();
    if (!folder) {
        choice.reason = reasonWhy(path, errno);
        return;
    }
    add(choice, path, {}, std::move(folder), mount);
}

// A folder that belongs to the user and to nobody else's mischief.
bool isOwn(int descriptor) {
    struct stat values;
    return ::fstat(descriptor, &values) == 0 && values.st_uid == ::geteuid();
}

// `folder`: as it was opened or made just now; errno tells why where it was not.
void addIfOwn(Choice& choice, const std::string& path, const std::string& top, FileDescriptor folder,
              std::uint64_t mount) {
    if (!folder) {
        choice.reason = reasonWhy(path, errno);
    } else if (!isOwn(folder.get())) {
        choice.reason = "“" + displayText(path) + "” belongs to another user, so it is not used.";
    } else {
        add(choice, path, top, std::move(folder), mount);
    }
}

// `$topdir/.Trash/$uid`: the administrator has made `.Trash` for everybody. It counts only as a real folder
// with the sticky bit; otherwise anybody could exchange what lies in it.
void addSharedTrash(Choice& choice, const std::string& top, int topDescriptor, std::uint64_t mount) {
    const std::string sharedPath = joinedPath(top, ".Trash");
    const FileDescriptor shared(::openat(topDescriptor, ".Trash", folderFlags));
    if (!shared) {
        if (errno != ENOENT) {
            choice.reason = reasonWhy(sharedPath, errno);
        }
        return;
    }
    struct stat values;
    if (::fstat(shared.get(), &values) != 0 || (values.st_mode & S_ISVTX) == 0) {
        choice.reason = "“" + displayText(sharedPath) + "” does not have the sticky bit, so it is not used.";
        return;
    }
    const std::string path = joinedPath(sharedPath, userNumber());
    addIfOwn(choice, path, top, openOrMake(shared.get(), userNumber()), mount);
}

// `$topdir/.Trash-$uid`.
void addOwnTrash(Choice& choice, const std::string& top, int topDescriptor, std::uint64_t mount) {
    const std::string name = ".Trash-" + userNumber();
    const std::string path = joinedPath(top, name);
    addIfOwn(choice, path, top, openOrMake(topDescriptor, name), mount);
}

// Where the Trash folder at the beginning of `relative` (below the top of its volume) ends; 0 where
// there is none.
std::size_t endOfVolumeTrash(std::string_view relative) {
    constexpr std::string_view own = ".Trash-";
    constexpr std::string_view shared = ".Trash/";
    const std::size_t begin = relative.starts_with(own)      ? own.size()
                              : relative.starts_with(shared) ? shared.size()
                                                             : 0;
    if (begin == 0) {
        return 0;
    }
    const std::size_t end = std::min(relative.find('/', begin), relative.size());
    return isDigitsOnly(relative.substr(begin, end - begin)) ? end : 0;
}

Membership membershipBelow(std::string_view path, std::string_view trash) {
    Membership membership;
    const std::string files = joinedPath(trash, "files");
    const std::string info = joinedPath(trash, "info");
    membership.isInside =
        (path != files && isAtOrBelow(path, files)) || (path != info && isAtOrBelow(path, info));
    membership.isItem = parentPath(path) == files;
    return membership;
}

bool isPlain(unsigned char byte) {
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') ||
           byte == '-' || byte == '_' || byte == '.' || byte == '~' || byte == '/';
}

std::string percentEncoded(std::string_view bytes) {
    constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    for (const char character : bytes) {
        const auto byte = static_cast<unsigned char>(character);
        if (isPlain(byte)) {
            text += character;
        } else {
            text += '%';
            text += digits[byte >> 4];
            text += digits[byte & 15];
        }
    }
    return text;
}

std::optional<std::string> percentDecoded(std::string_view text) {
    std::string bytes;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '%') {
            bytes += text[at];
            continue;
        }
        unsigned value = 0;
        if (at + 2 >= text.size() ||
            std::from_chars(text.data() + at + 1, text.data() + at + 3, value, 16).ptr !=
                text.data() + at + 3) {
            return std::nullopt;
        }
        bytes += static_cast<char>(value);
        at += 2;
    }
    return bytes;
}

// At most `longest` bytes of the text, not ending within a character.
std::string_view shortened(std::string_view text, std::size_t longest) {
    if (text.size() <= longest) {
        return text;
    }
    std::size_t end = longest;
    // Bytes that are no text have no beginnings of characters to look for.
    for (int back = 0; back < 4 && end > 1; ++back) {
        if ((static_cast<unsigned char>(text[end]) & 0xC0U) != 0x80U) {
            break;
        }
        --end;
    }
    return text.substr(0, end);
}

}  // namespace

std::string homeTrashPath() {
    return joinedPath(applicationSupportDirectory(), "Trash");
}

std::string Folder::pathOf(std::string_view name) const {
    return joinedPath(joinedPath(path, "files"), name);
}

std::string Folder::pathOfNote(std::string_view name) const {
    return joinedPath(joinedPath(path, "info"), std::string(name) + std::string(infoFileSuffix));
}

Choice homeFolderOnMount(std::uint64_t mount) {
    Choice choice;
    addHomeTrash(choice, mount);
    return choice;
}

Choice topFoldersOnMount(std::uint64_t mount, MountWatch& mounts) {
    Choice choice;
    const auto top = mounts.mountPoint(mount);
    if (!top) {
        return choice;
    }
    const FileDescriptor descriptor(::open(top->c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    const auto status = descriptor ? path_descriptors::statusOf(descriptor.get()) : std::nullopt;
    if (status && status->mount == mount) {
        addSharedTrash(choice, *top, descriptor.get(), mount);
        addOwnTrash(choice, *top, descriptor.get(), mount);
    }
    return choice;
}

Membership membershipOf(const std::string& path, const std::optional<std::string>& homeTrash,
                        const std::optional<std::string>& mountPoint) {
    if (homeTrash && isAtOrBelow(path, *homeTrash) && path != *homeTrash) {
        return membershipBelow(path, *homeTrash);
    }
    if (mountPoint && isAtOrBelow(path, *mountPoint) && path != *mountPoint) {
        const std::string_view relative =
            std::string_view(path).substr(*mountPoint == "/" ? 1 : mountPoint->size() + 1);
        if (const std::size_t end = endOfVolumeTrash(relative)) {
            return membershipBelow(path, joinedPath(*mountPoint, relative.substr(0, end)));
        }
    }
    return {};
}

std::string infoFileFor(const Folder& folder, const std::string& path, std::int64_t secondsSince1970) {
    std::string_view told = path;
    if (!folder.topFolder.empty() && isAtOrBelow(path, folder.topFolder)) {
        told = told.substr(folder.topFolder == "/" ? 1 : folder.topFolder.size() + 1);
    }
    std::tm local{};
    const auto time = static_cast<std::time_t>(secondsSince1970);
    ::localtime_r(&time, &local);
    std::array<char, 32> date;
    const std::size_t length = std::strftime(date.data(), date.size(), "%Y-%m-%dT%H:%M:%S", &local);
    return "[Trash Info]\nPath=" + percentEncoded(told) +
           "\nDeletionDate=" + std::string(date.data(), length) + "\n";
}

std::string nameFor(const std::string& name, unsigned attempt, std::size_t longest) {
    std::string_view extension = pathExtension(name);
    std::string end = extension.empty() ? std::string() : "." + std::string(extension);
    std::string_view stem = std::string_view(name).substr(0, name.size() - end.size());
    const std::size_t room = longest - infoFileSuffix.size();
    std::string mark = attempt == 0 ? std::string() : "." + std::to_string(attempt + 1);
    // What stands behind the last dot of a very long name is no extension.
    if (end.size() + mark.size() + 8 > room) {
        end.clear();
        stem = name;
    }
    return std::string(shortened(stem, room - mark.size() - end.size())) + mark + end;
}

void noteSizes(const FileDescriptor& trash, const std::vector<FolderSize>& sizes) {
    // By the descriptor: what stands at the Trash's path by now may be something else.
    const std::string trashPath = path_descriptors::pathThrough(trash.get());
    const std::string table = joinedPath(trashPath, "directorysizes");
    try {
        std::map<std::string, std::string> rows;  // name to line
        std::string old;
        if (own_files::exists(table)) {
            old = own_files::readFile(table, largestTable);
        }
        for (std::size_t from = 0; from < old.size();) {
            const std::size_t end = std::min(old.find('\n', from), old.size());
            const std::string line = old.substr(from, end - from);
            from = end + 1;
            const std::size_t second = line.find(' ', line.find(' ') + 1);
            if (line.find(' ') == std::string::npos || second == std::string::npos) {
                continue;
            }
            const auto name = percentDecoded(std::string_view(line).substr(second + 1));
            if (name && !name->empty() && name->find('/') == std::string::npos &&
                own_files::exists(joinedPath(joinedPath(trashPath, "files"), *name))) {
                rows[*name] = line;
            }
        }
        for (const FolderSize& row : sizes) {
            rows[row.name] = std::to_string(row.bytes) + " " + std::to_string(row.writtenSeconds) + " " +
                             percentEncoded(row.name);
        }
        std::string text;
        for (const auto& [name, line] : rows) {
            text += line + "\n";
        }
        // A cache that its readers compare with the info files' times and that anybody may make anew.
        own_files::writeCache(table, text);
    } catch (const Error&) {
        // The sizes can be measured at any time.
    }
}

}  // namespace larkfold::trash
