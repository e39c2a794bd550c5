#include "platform/UserFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <map>
#include <random>
#include <tuple>
#include <utility>

#include "platform/DirectoryReader.h"
#include "platform/LinkResolution.h"
#include "platform/Path.h"
#include "platform/linux/ExpendableCall.h"
#include "platform/linux/FileDescriptor.h"
#include "platform/linux/FileSHA256.h"
#include "platform/linux/FolderRemoval.h"
#include "platform/linux/MountWatch.h"
#include "platform/linux/PathDescriptors.h"
#include "platform/linux/Trash.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold::user_files {

using path_descriptors::Place;
using Operation = SystemError::Operation;
using Reason = Refusal::Reason;

namespace {

// From here on numbers are drawn instead of counted: a thousand items of one name must not try a million.
constexpr unsigned mostCountedNames = 16;
constexpr unsigned mostNames = 4096;

// Longer than one call takes to write what it is given, and than the coarsest clock of a file system.
constexpr std::int64_t settlingSeconds = 60;

[[noreturn]] void fail(Operation operation, int code, const std::string& path) {
    // A link or another file system got into the way of a path that had neither.
    if (code == ELOOP || code == EXDEV || code == EAGAIN) {
        throw Refusal(Reason::unsafePath);
    }
    throw SystemError(operation, code, path);
}

Place placeOrThrow(int descriptor, const std::string& path) {
    const auto place = path_descriptors::placeOf(descriptor);
    if (!place) {
        fail(Operation::readAttributes, errno, path);
    }
    return *place;
}

// Whether both are the same item of the same kind, on the same mount: so it is not one that shows the same
// item a second time, either.
bool isSameItem(const Place& left, const Place& right) {
    const auto keyOf = [](const Place& place) {
        return std::tuple(place.identity, place.mount, place.mode & S_IFMT);
    };
    return keyOf(left) == keyOf(right);
}

// Who has a full disk needs to know that there is a way that needs no room.
[[noreturn]] void failNote(Operation operation, int code, const std::string& path) {
    if (code == ENOSPC || code == EDQUOT) {
        throw Refusal(
            Reason::noTrash,
            "The disk is full, and Trash keeps a note of each item; permanent deletion needs no room.");
    }
    throw SystemError(operation, code, path);
}

void writeNoteText(int descriptor, std::string_view bytes, const std::string& path) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            failNote(Operation::write, written < 0 ? errno : ENOSPC, path);
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
}

int sync(int descriptor) {
    int result;
    do {
        result = ::fsync(descriptor);
    } while (result != 0 && errno == EINTR);
    return result == 0 ? 0 : errno;
}

// The folder that holds an item, opened without a link on the way.
struct HoldingFolder {
    FileDescriptor descriptor;
    std::string path;  // without a link in it, where that can be told
    int problem = 0;   // why it is not open
};

// Whether whoever keeps the volume answers when the item is asked for; the path has no link in it.
bool isAnsweredAt(const std::string& path) {
    return expendable_call::run<bool>([path] {
               const auto item = path_descriptors::openWithoutLinks(path, O_PATH | O_NOFOLLOW);
               return path_descriptors::placeOf(item.get()).has_value();
           })
        .has_value();
}

// A root of a run, held from its beginning to its end.
struct HeldRoot {
    std::string given;  // as the caller writes it
    std::string path;   // without a link in it
    FileDescriptor descriptor;
};

// The part of `path` below `folder`; nothing where it does not lie there. Empty for the folder itself.
std::optional<std::string> relativeTo(const std::string& folder, const std::string& path) {
    if (!isAtOrBelow(path, folder)) {
        return std::nullopt;
    }
    return path.size() == folder.size() ? std::string() : path.substr(folder == "/" ? 1 : folder.size() + 1);
}

// Where its identity is another one by now, or cannot be told, it is not held.
std::optional<HeldRoot> heldRoot(const Root& root, MountWatch& mounts) {
    HeldRoot held{.given = standardizedPath(root.path), .path = {}, .descriptor = {}};
    const auto resolved = root.identity ? pathWithLinksResolved(held.given) : std::nullopt;
    if (!resolved || (mounts.mayFailToAnswer(*resolved) && !isAnsweredAt(*resolved))) {
        return std::nullopt;
    }
    held.path = *resolved;
    held.descriptor = path_descriptors::openWithoutLinks(held.path, O_PATH | O_DIRECTORY);
    const auto place = held.descriptor ? path_descriptors::placeOf(held.descriptor.get()) : std::nullopt;
    if (!place || !place->durableIdentity().isSameAs(*root.identity)) {
        return std::nullopt;
    }
    return held;
}

// Links are followed once. Where somebody may be gone who has to answer, the item itself is asked for first,
// and no longer than a short wait. With `roots` the folder is opened below the one that holds it, by its
// descriptor, and in no other way: a root is the folder that was held at the beginning, whatever stands at
// its path by now. Without, from the top of all paths.
HoldingFolder openFolderOf(const std::string& path, MountWatch& mounts, const std::vector<HeldRoot>* roots) {
    const std::string name(lastPathComponent(path));
    HoldingFolder folder{{}, std::string(parentPath(path))};
    const auto open = [&] {
        const HeldRoot* root = nullptr;
        std::optional<std::string> below;
        if (roots != nullptr) {
            for (const HeldRoot& candidate : *roots) {
                root = &candidate;
                below = relativeTo(candidate.path, folder.path);
                if (!below) {
                    below = relativeTo(candidate.given, folder.path);
                }
                if (below) {
                    folder.path = below->empty() ? candidate.path : joinedPath(candidate.path, *below);
                    break;
                }
            }
            if (!below) {
                folder.problem = ELOOP;  // it may lead into one of them by a link
                return;
            }
        }
        const std::string place = joinedPath(folder.path, name);
        if (mounts.mayFailToAnswer(place) && !isAnsweredAt(place)) {
            folder.problem = ETIMEDOUT;
            return;
        }
        // Where the path has no link in it, opening it so is proof of that.
        folder.descriptor =
            root == nullptr
                ? path_descriptors::openWithoutLinks(folder.path, O_PATH | O_DIRECTORY)
                : path_descriptors::openBelow(root->descriptor.get(), *below, O_PATH | O_DIRECTORY);
        folder.problem = folder.descriptor ? 0 : errno;
    };
    open();
    if (folder.problem == ELOOP) {
        if (auto resolved = pathWithLinksResolved(folder.path)) {
            folder.path = std::move(*resolved);
            // From here on a link on the way is one that was put there meanwhile.
            open();
        }
    }
    return folder;
}

// Opens nothing but regular files: merely opening a device may do something.
std::string sha256OfHeld(int item, const Place& place, const std::string& path, const std::stop_token& stop) {
    if (!S_ISREG(place.mode)) {
        throw SystemError(Operation::read, S_ISDIR(place.mode) ? EISDIR : EOPNOTSUPP, path);
    }
    const FileDescriptor descriptor = path_descriptors::openAgain(item, O_RDONLY | O_NONBLOCK | O_NOCTTY);
    if (!descriptor) {
        throw SystemError(Operation::open, errno, path);
    }
    return sha256OfDescriptor(descriptor.get(), path, stop);
}

void removeName(int folder, const std::string& name, int flags = 0) {
    while (::unlinkat(folder, name.c_str(), flags) != 0 && errno == EINTR) {
    }
}

}  // namespace

// --- Refusal

namespace {

// In the order of the reasons.
constexpr std::string_view sentences[] = {
    "Another item stands at this path now, or it leads somewhere else.",
    "The item or what it was compared with has changed.",
    "This item is in Trash already. To remove it for good, choose permanent deletion.",
    "This folder holds the Trash itself, so it cannot be moved there. Nothing was changed.",
    "No Trash on this volume can take this item, so it stays where it is.",
};
static_assert(std::size(sentences) == static_cast<std::size_t>(Reason::noTrash) + 1);

}  // namespace

Refusal::Refusal(Reason reason, std::string detail, std::string restsAt)
    : reason_(reason), detail_(std::move(detail)), restsAt_(std::move(restsAt)) {}

std::string Refusal::description() const {
    std::string text(sentences[static_cast<std::size_t>(reason_)]);
    if (!detail_.empty()) {
        text += " " + detail_;
    }
    if (!restsAt_.empty()) {
        text += " It could not be put back in its place; it is kept at “" + displayText(restsAt_) + "”.";
    }
    return text;
}

// --- Session

struct Session::Impl {
    struct TrashNews {
        FileDescriptor trash;
        std::vector<trash::FolderSize> sizes;
    };

    explicit Impl(const std::vector<Root>& given) {
        for (const Root& root : given) {
            if (auto held = heldRoot(root, mounts)) {
                rootPaths.push_back(held->path);
                roots.push_back(std::move(*held));
            }
        }
    }

    MountWatch mounts;
    std::vector<HeldRoot> roots;
    std::vector<std::string> rootPaths;
    // Where the Trash of the home folder really is; nothing where that cannot be told.
    std::optional<std::string> homeTrash = pathWithLinksResolved(trash::homeTrashPath());
    std::map<std::string, TrashNews> news;  // by the Trash's path

    void note(const trash::Folder& folder, trash::FolderSize size) {
        TrashNews& row = news[folder.path];
        if (!row.trash) {
            row.trash = FileDescriptor(::fcntl(folder.descriptor.get(), F_DUPFD_CLOEXEC, 0));
        }
        row.sizes.push_back(std::move(size));
    }
};

Session::Session(const std::vector<Root>& roots) : impl_(std::make_unique<Impl>(roots)) {}
Session::~Session() = default;

const std::vector<std::string>& Session::roots() const {
    return impl_->rootPaths;
}

void Session::finish() {
    for (const auto& [path, row] : impl_->news) {
        if (row.trash) {
            trash::noteSizes(row.trash, row.sizes);
        }
    }
    impl_->news.clear();
}

// --- HeldItem

struct HeldItem::Impl {
    Session::Impl* session = nullptr;  // outlives the item
    FileDescriptor parent;
    FileDescriptor item;  // stands for its place only: nothing is opened for reading before it is to be read
    std::string name;
    std::string realPath;
    Place parentPlace;
    Place place;
    ItemValues values;

    // --- Holding.

    void hold(const std::string& path, const MayGo& mayGo) {
        const std::string standardized = standardizedPath(path);
        name = std::string(lastPathComponent(standardized));
        // 1. Its folder.
        HoldingFolder folder = openFolderOf(standardized, session->mounts, &session->roots);
        // 2. Whether it may go from there at all; that is told before anything else.
        realPath = joinedPath(folder.path, name);
        if (standardized == "/" || !mayGo(realPath)) {
            throw Refusal(Reason::unsafePath);
        }
        if (folder.problem != 0) {
            fail(Operation::readAttributes, folder.problem, standardized);
        }
        parent = std::move(folder.descriptor);
        item = FileDescriptor(::openat(parent.get(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
        if (!item) {
            fail(Operation::readAttributes, errno, standardized);
        }
        // 3. What it is.
        parentPlace = placeOrThrow(parent.get(), folder.path);
        place = placeOrThrow(item.get(), standardized);
        values.identity = place.identity;
        values.durableIdentity = place.durableIdentity();
        values.isDirectory = S_ISDIR(place.mode);
        values.isRegularFile = S_ISREG(place.mode);
        values.isSymbolicLink = S_ISLNK(place.mode);
        values.isVolume = place.mount != parentPlace.mount;
        values.holdsVolume = values.isDirectory && session->mounts.hasMountBelow(realPath);
        values.fileSize = place.size;
        values.allocatedSize = place.allocated;
    }

    // --- Measuring.

    Measure measure(const std::stop_token& stop) const {
        if (!values.isDirectory) {
            return {.logicalBytes = values.fileSize, .allocatedBytes = values.allocatedSize};
        }
        try {
            return measureFolder(stop);
        } catch (const CancellationError&) {
            return {};
        }
    }

    Measure measureFolder(const std::stop_token& stop) const {
        struct Level {
            std::unique_ptr<DirectoryListing> listing;
            std::size_t next = 0;
        };
        DirectoryReader reader(path_descriptors::pathThrough(item.get()), {}, stop);
        std::vector<Level> levels;
        levels.push_back({reader.openRoot()});
        std::int64_t logical = 0;
        std::int64_t allocated = 0;
        while (!levels.empty()) {
            Level& level = levels.back();
            if (level.next == 0) {
                // One part that was not read, and nothing is known of the whole.
                if (level.listing->error() != 0) {
                    return {};
                }
                allocated += level.listing->allocatedSize();
            }
            const auto entries = level.listing->entries();
            std::size_t index = level.next;
            for (; index < entries.size(); ++index) {
                if (entries[index].error != 0) {
                    return {};
                }
                if (entries[index].kind == DirectoryEntry::Kind::directory) {
                    break;
                }
                logical += entries[index].fileSize;
                allocated += entries[index].allocatedSize;
            }
            if (index == entries.size()) {
                levels.pop_back();
                continue;
            }
            level.next = index + 1;
            levels.push_back({reader.open(*level.listing, index)});
        }
        return {.logicalBytes = logical, .allocatedBytes = allocated};
    }

    // --- Moving, and looking at what was moved.

    // Whether what stands at `arrivedName` of `folder` is the held item, with nothing mounted in it.
    bool isHeldItem(int folder, const std::string& arrivedName, const std::string& usualPath) const {
        const FileDescriptor arrived(::openat(folder, arrivedName.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
        const auto arrivedPlace = arrived ? path_descriptors::placeOf(arrived.get()) : std::nullopt;
        if (!arrivedPlace || !isSameItem(*arrivedPlace, place)) {
            return false;
        }
        if (!values.isDirectory) {
            return true;
        }
        // A path that is too long for the system to tell is taken to be what it has to be.
        return !session->mounts.hasMountBelow(
            path_descriptors::currentPath(arrived.get()).value_or(usualPath));
    }

    // Throws unless what arrived is the held item and what was proved of it holds. Before that `takeBack`
    // puts it back, and tells where it rests if it could not, else nothing.
    template <typename TakeBack>
    void verifyArrived(int folder, const std::string& arrivedName, const std::string& usualPath,
                       const StillProved& stillProved, const TakeBack& takeBack) const {
        Reason reason = Reason::unsafePath;
        try {
            if (isHeldItem(folder, arrivedName, usualPath)) {
                if (!stillProved || stillProved()) {
                    return;
                }
                reason = Reason::disproved;
            }
        } catch (...) {
            if (const std::string restsAt = takeBack(); !restsAt.empty()) {
                throw Refusal(Reason::disproved, {}, restsAt);
            }
            throw;
        }
        throw Refusal(reason, {}, takeBack());
    }

    // Puts back what had been moved to `movedName` of `folder`. False where its old name is taken or the
    // system refuses: then it stays there.
    bool putBack(int folder, const std::string& movedName) const {
        struct stat moved;
        if (::fstatat(folder, movedName.c_str(), &moved, AT_SYMLINK_NOFOLLOW) != 0) {
            return errno == ENOENT;  // somebody took it away from there: there is nothing to put back
        }
        return path_descriptors::moveWithoutReplacing(folder, movedName, parent.get(), name,
                                                      S_ISDIR(moved.st_mode)) == 0;
    }

    static void announce(const Way& way, const std::string& place) {
        if (way.announce) {
            way.announce(place);
        }
    }

    [[noreturn]] void failMove(int code) const {
        if (code == EBUSY) {  // a file system was mounted there meanwhile
            throw Refusal(Reason::unsafePath);
        }
        throw SystemError(Operation::move, code, realPath);
    }

    // --- Trash.

    std::string putIntoTrash(const Measure& measured, const StillProved& stillProved, const Way& way) {
        if (trash::membershipOf(realPath, session->homeTrash, session->mounts.mountPoint(place.mount))
                .isInside) {
            throw Refusal(Reason::alreadyInTrash);
        }
        if (session->homeTrash && isAtOrBelow(*session->homeTrash, realPath)) {
            throw Refusal(Reason::holdsTrash);
        }
        std::string why;
        for (const bool atHome : {true, false}) {
            const trash::Choice choice = atHome ? trash::homeFolderOnMount(place.mount)
                                                : trash::topFoldersOnMount(place.mount, session->mounts);
            for (const trash::Folder& folder : choice.folders) {
                if (const auto path = moveInto(folder, measured, stillProved, way)) {
                    return *path;
                }
            }
            if (!choice.reason.empty()) {
                why = choice.reason;
            }
        }
        throw Refusal(Reason::noTrash, why);
    }

    // Nothing where the Trash lies where the system cannot move this item to without copying it.
    std::optional<std::string> moveInto(const trash::Folder& folder, const Measure& measured,
                                        const StillProved& stillProved, const Way& way) {
        std::optional<std::minstd_rand> draw;
        std::size_t longest = trash::longestName;
        for (unsigned attempt = 0; attempt < mostNames;) {
            unsigned number = attempt;
            if (attempt >= mostCountedNames) {
                if (!draw) {
                    draw.emplace(std::random_device{}());
                }
                number = mostCountedNames + static_cast<unsigned>((*draw)());
            }
            const std::string trashed = trash::nameFor(name, number, longest);
            const std::string note = trashed + std::string(trash::noteSuffix);
            const std::int64_t seconds = ::time(nullptr);
            // 1. The note, which takes the name.
            const int noted = writeNote(folder, note, seconds);
            if (noted == EEXIST) {
                ++attempt;
                continue;
            }
            if (noted == ENAMETOOLONG && longest > 64) {
                longest /= 2;  // some file systems keep shorter names than the system itself
                continue;
            }
            if (noted != 0) {
                failNote(Operation::create, noted, joinedPath(joinedPath(folder.path, "info"), note));
            }
            // 2. The item. Something may lie there without a note.
            try {
                announce(way, folder.pathOf(trashed));
            } catch (...) {
                removeName(folder.info.get(), note);
                throw;
            }
            const int moved = path_descriptors::moveWithoutReplacing(parent.get(), name, folder.files.get(),
                                                                     trashed, values.isDirectory);
            if (moved != 0) {
                removeName(folder.info.get(), note);
                if (moved == EEXIST) {
                    ++attempt;
                    continue;
                }
                if (moved == EXDEV) {
                    return std::nullopt;
                }
                if (moved == EINVAL && values.isDirectory) {
                    throw Refusal(Reason::holdsTrash);  // that of a volume, itself
                }
                failMove(moved);
            }
            // 3. What arrived.
            verifyTrashed(folder, trashed, note, stillProved);
            if (values.isDirectory && measured.allocatedBytes) {
                session->note(folder, {trashed, *measured.allocatedBytes, seconds});
            }
            return folder.pathOf(trashed);
        }
        throw SystemError(Operation::create, EEXIST, folder.pathOf(name));
    }

    void verifyTrashed(const trash::Folder& folder, const std::string& trashed, const std::string& note,
                       const StillProved& stillProved) const {
        const auto takeBack = [&] {
            if (!putBack(folder.files.get(), trashed)) {
                return folder.pathOf(trashed);
            }
            removeName(folder.info.get(), note);
            return std::string();
        };
        verifyArrived(folder.files.get(), trashed, folder.pathOf(trashed), stillProved, takeBack);
    }

    // Writes the note durably: an item without its note could not be put back by anybody. Tells 0, or EEXIST
    // or ENAMETOOLONG where another name is to be tried; throws for the rest, and has left nothing.
    int writeNote(const trash::Folder& folder, const std::string& note, std::int64_t seconds) const {
        int opened;
        do {
            opened = ::openat(folder.info.get(), note.c_str(),
                              O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
        } while (opened < 0 && errno == EINTR);
        FileDescriptor descriptor(opened);
        if (!descriptor) {
            return errno;
        }
        const std::string path = joinedPath(joinedPath(folder.path, "info"), note);
        try {
            writeNoteText(descriptor.get(), trash::noteFor(folder, realPath, seconds), path);
            if (const int problem = sync(descriptor.get())) {
                failNote(Operation::sync, problem, path);
            }
            if (!descriptor.close()) {
                failNote(Operation::write, errno, path);
            }
        } catch (...) {
            removeName(folder.info.get(), note);
            throw;
        }
        return 0;
    }

    // --- For good.

    // Where an item is while it is compared for the last time: in a folder of its own beside its place, that
    // nobody but the user may enter. On a disk too full for one more folder, by a name that nobody knows in
    // its own folder: who has filled a disk must be able to remove.
    struct Holder {
        FileDescriptor folder;
        std::string item;      // its name there
        std::string itemPath;  // told to the user where it has to stay there
        std::string made;      // the folder's name beside the item's place; empty where none was made
    };

    Holder makeHolder(const std::string& fresh) const {
        const std::string freshPath = joinedPath(std::string(parentPath(realPath)), fresh);
        if (::mkdirat(parent.get(), fresh.c_str(), 0700) != 0) {
            const int code = errno;
            if (code != ENOSPC && code != EDQUOT) {
                throw SystemError(Operation::remove, code, realPath);
            }
            Holder holder{FileDescriptor(::fcntl(parent.get(), F_DUPFD_CLOEXEC, 0)), fresh, freshPath, {}};
            if (!holder.folder) {
                throw SystemError(Operation::remove, errno, realPath);
            }
            return holder;
        }
        Holder holder{path_descriptors::openBelow(parent.get(), fresh, O_RDONLY | O_DIRECTORY, false), name,
                      joinedPath(freshPath, name), fresh};
        if (!holder.folder) {
            const int code = errno;
            discard(holder);
            fail(Operation::remove, code, realPath);
        }
        // Where everybody may write, another user could have exchanged it. On some file systems everything
        // belongs to the one who mounted them, the item too.
        const auto made = path_descriptors::placeOf(holder.folder.get());
        if (!made || (made->owner != ::geteuid() && made->owner != place.owner)) {
            discard(holder);
            throw Refusal(Reason::unsafePath);
        }
        return holder;
    }

    void discard(const Holder& holder) const {
        if (!holder.made.empty()) {
            removeName(parent.get(), holder.made, AT_REMOVEDIR);
        }
    }

    void removePermanently(const StillProved& stillProved, const Way& way) {
        const auto membership =
            trash::membershipOf(realPath, session->homeTrash, session->mounts.mountPoint(place.mount));
        // 1. A place that nobody else knows.
        const Holder holder = makeHolder(way.stagingName);
        const int folder = holder.folder.get();
        // 2. The item goes there.
        try {
            announce(way, holder.itemPath);
        } catch (...) {
            discard(holder);
            throw;
        }
        const int moved = path_descriptors::moveWithoutReplacing(parent.get(), name, folder, holder.item,
                                                                 values.isDirectory);
        if (moved != 0) {
            discard(holder);
            if (moved == EBUSY || moved == EXDEV) {
                throw Refusal(Reason::unsafePath);
            }
            throw SystemError(Operation::remove, moved, realPath);
        }
        const auto takeBack = [&] {
            if (!putBack(folder, holder.item)) {
                return holder.itemPath;
            }
            discard(holder);
            return std::string();
        };
        // 3. What arrived.
        verifyArrived(folder, holder.item, holder.itemPath, stillProved, takeBack);
        // 4. Gone. Once begun it is finished: half a folder is of use to nobody.
        const int problem = values.isDirectory ? removeFolderWithContents(folder, holder.item)
                                               : unlinkItem(folder, holder.item);
        if (problem != 0) {
            const std::string restsAt = takeBack();
            if (problem == ELOOP || problem == EXDEV || !restsAt.empty()) {
                throw Refusal(Reason::unsafePath,
                              SystemError(Operation::remove, problem, realPath).description(), restsAt);
            }
            throw SystemError(Operation::remove, problem, realPath);
        }
        discard(holder);
        if (membership.isItem) {
            removeNoteBesideFiles();
        }
    }

    static int unlinkItem(int folder, const std::string& item) {
        int result;
        do {
            result = ::unlinkat(folder, item.c_str(), 0);
        } while (result != 0 && errno == EINTR);
        return result == 0 ? 0 : errno;
    }

    // The held folder is a Trash's `files`: its sister `info` has the note.
    void removeNoteBesideFiles() const {
        const FileDescriptor trashFolder(::openat(parent.get(), "..", O_PATH | O_DIRECTORY | O_CLOEXEC));
        const FileDescriptor info =
            trashFolder ? path_descriptors::openBelow(trashFolder.get(), "info", O_PATH | O_DIRECTORY, false)
                        : FileDescriptor();
        if (info) {
            removeName(info.get(), name + std::string(trash::noteSuffix));
        }
    }
};

HeldItem::HeldItem(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
HeldItem::HeldItem(HeldItem&&) noexcept = default;
HeldItem& HeldItem::operator=(HeldItem&&) noexcept = default;
HeldItem::~HeldItem() = default;

HeldItem HeldItem::hold(Session& session, const std::string& path, const MayGo& mayGo) {
    auto impl = std::make_unique<Impl>();
    impl->session = &session.impl();
    impl->hold(path, mayGo);
    return HeldItem(std::move(impl));
}

const std::string& HeldItem::realPath() const {
    return impl_->realPath;
}

const ItemValues& HeldItem::values() const {
    return impl_->values;
}

std::string HeldItem::sha256(const std::stop_token& stop) const {
    return sha256OfHeld(impl_->item.get(), impl_->place, impl_->realPath, stop);
}

Measure HeldItem::measure(const std::stop_token& stop) const {
    return impl_->measure(stop);
}

std::string HeldItem::putIntoTrash(const Measure& measure, const StillProved& stillProved, const Way& way) {
    return impl_->putIntoTrash(measure, stillProved, way);
}

void HeldItem::removePermanently(const StillProved& stillProved, const Way& way) {
    impl_->removePermanently(stillProved, way);
}

// --- HeldKeeper

struct HeldKeeper::Impl {
    FileDescriptor parent;
    FileDescriptor item;
    std::string name;
    std::string path;
    Place parentPlace;
    Place place;
    bool hadSettled = false;
};

HeldKeeper::HeldKeeper(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
HeldKeeper::HeldKeeper(HeldKeeper&&) noexcept = default;
HeldKeeper& HeldKeeper::operator=(HeldKeeper&&) noexcept = default;
HeldKeeper::~HeldKeeper() = default;

HeldKeeper HeldKeeper::hold(Session& session, const std::string& path) {
    auto impl = std::make_unique<Impl>();
    impl->path = standardizedPath(path);
    impl->name = std::string(lastPathComponent(impl->path));
    HoldingFolder folder = openFolderOf(impl->path, session.impl().mounts, nullptr);
    if (folder.problem != 0) {
        throw SystemError(Operation::readAttributes, folder.problem, impl->path);
    }
    impl->parent = std::move(folder.descriptor);
    impl->item =
        FileDescriptor(::openat(impl->parent.get(), impl->name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    if (!impl->item) {
        throw SystemError(Operation::readAttributes, errno, impl->path);
    }
    impl->parentPlace = placeOrThrow(impl->parent.get(), folder.path);
    impl->place = placeOrThrow(impl->item.get(), impl->path);
    impl->hadSettled = impl->place.changed.seconds < ::time(nullptr) - settlingSeconds;
    return HeldKeeper(std::move(impl));
}

bool HeldKeeper::isRegularFile() const {
    return S_ISREG(impl_->place.mode);
}

bool HeldKeeper::isTheSameAs(const HeldItem& item) const {
    return impl_->place.identity == item.values().identity && impl_->name == item.impl_->name &&
           impl_->parentPlace.identity == item.impl_->parentPlace.identity;
}

std::string HeldKeeper::sha256(const std::stop_token& stop) const {
    return sha256OfHeld(impl_->item.get(), impl_->place, impl_->path, stop);
}

bool HeldKeeper::hadSettled() const {
    return impl_->hadSettled;
}

bool HeldKeeper::isUnchangedBeside(const HeldItem& item) const {
    const Place& before = impl_->place;
    const auto now = path_descriptors::placeOf(impl_->item.get());
    // A name of its own is left to it: it may have lost the last one before it was looked at for the first
    // time.
    const std::uint64_t fewestLinks = before.identity == item.values().identity ? 2 : 1;
    if (!now || now->links < fewestLinks || now->size != before.size || now->links != before.links ||
        now->modified != before.modified) {
        return false;
    }
    // Two names of one file: moving one of them is a change of the other, and the only one that is expected.
    return before.identity == item.values().identity || now->changed == before.changed;
}

}  // namespace larkfold::user_files
