#include "platform/UserFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <expected>
#include <future>
#include <optional>
#include <random>
#include <system_error>
#include <tuple>
#include <utility>

#include "platform/Path.h"
#include "platform/ThreadName.h"
#include "platform/linux/calls/FileDescriptor.h"
#include "platform/linux/calls/SystemCalls.h"
#include "platform/linux/mounts/MountWatch.h"
#include "platform/linux/userfiles/FileSHA256.h"
#include "platform/linux/userfiles/FolderMeasure.h"
#include "platform/linux/userfiles/FolderRemoval.h"
#include "platform/linux/userfiles/HoldingFolder.h"
#include "platform/linux/userfiles/RefusalTexts.h"
#include "platform/linux/userfiles/RemovalSession.h"
#include "platform/linux/userfiles/StagingFolder.h"
#include "platform/linux/userfiles/Trash.h"
#include "platform/linux/userfiles/TrashInfoFile.h"
#include "platform/linux/walk/PathDescriptors.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold::user_files {

using path_descriptors::FileStatus;
using Operation = SystemError::Operation;
using Reason = Refusal::Reason;

namespace {

// From here on numbers are drawn instead of counted: a thousand items of one name must not try a million.
constexpr unsigned mostCountedNames = 16;
constexpr unsigned mostNames = 4096;

// How often a Trash that is exchanged under our hands is looked for anew.
constexpr int mostChoices = 3;

// Longer than one call takes to write what it is given, and than the coarsest clock of a file system.
constexpr std::int64_t settlingSeconds = 60;

[[noreturn]] void fail(Operation operation, int code, const std::string& path) {
    // A link or another file system got into the way of a path that had neither.
    if (code == ELOOP || code == EXDEV || code == EAGAIN) {
        throw Refusal(Reason::unsafePath);
    }
    throw SystemError(operation, code, path);
}

FileStatus statusOrThrow(int descriptor, const std::string& path) {
    const auto status = path_descriptors::statusOf(descriptor);
    if (!status) {
        fail(Operation::readAttributes, errno, path);
    }
    return *status;
}

// Whether both are the same item of the same kind, on the same mount: so it is not one that shows the same
// item a second time, either.
bool isSameItem(const FileStatus& left, const FileStatus& right) {
    const auto keyOf = [](const FileStatus& status) {
        return std::tuple(status.identity, status.mount, status.mode & S_IFMT);
    };
    return keyOf(left) == keyOf(right);
}

}  // namespace

// --- Refusal

Refusal::Refusal(Reason reason, std::string detail, std::string restsAt)
    : reason_(reason), detail_(std::move(detail)), restsAt_(std::move(restsAt)) {}

std::string Refusal::description() const {
    return refusalText(reason_, detail_, restsAt_);
}

// --- Session

struct Session::Impl : RemovalSession {
    using RemovalSession::RemovalSession;
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
    FileStatus parentStatus;
    FileStatus status;
    ItemValues values;
    trash::Membership membership;
    std::optional<TrashInfoFile> infoFile;  // of an item that lies in a Trash
    std::optional<FileStatus> hashed;       // as it was when its content was last read

    // The first name in the Trash of the home folder, with an info file that nothing stands beside yet.
    struct Prepared {
        trash::Choice choice;
        std::string trashed;
        std::int64_t seconds = 0;
        std::optional<TrashInfoFile> infoFile;
    };
    std::future<Prepared> prepared;

    ~Impl() {
        if (const Prepared unused = takePrepared(); unused.infoFile) {
            unused.infoFile->remove();
        }
    }

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
        item = path_descriptors::openPlace(parent.get(), name);
        if (!item) {
            fail(Operation::readAttributes, errno, standardized);
        }
        // 3. What it is.
        parentStatus = statusOrThrow(parent.get(), folder.path);
        status = statusOrThrow(item.get(), standardized);
        values.identity = status.identity;
        values.durableIdentity = status.durableIdentity();
        values.isDirectory = S_ISDIR(status.mode);
        values.isRegularFile = S_ISREG(status.mode);
        values.isSymbolicLink = S_ISLNK(status.mode);
        values.isVolume = status.mount != parentStatus.mount;
        values.holdsVolume = values.isDirectory && session->mounts.hasMountBelow(realPath);
        values.fileSize = status.size;
        values.allocatedSize = status.allocated;
        // 4. Its info file: the one that belongs to it now.
        membership =
            trash::membershipOf(realPath, session->homeTrash, session->mounts.mountPoint(status.mount));
        if (membership.isItem) {
            infoFile = TrashInfoFile::find(std::string(parentPath(folder.path)), parentStatus.identity, name);
        }
    }

    // --- Hashing.

    std::string sha256(const std::stop_token& stop) {
        hashed = statusOrThrow(item.get(), realPath);
        return sha256OfHeld(item.get(), status, realPath, stop);
    }

    bool isUnchangedSinceHash() const {
        const auto now = path_descriptors::statusOf(item.get());
        return now && hashed && now->size == hashed->size && now->modified == hashed->modified &&
               now->changed == hashed->changed;
    }

    // --- Measuring.

    Measure measure(const std::stop_token& stop) const {
        if (!values.isDirectory) {
            return {.logicalBytes = values.fileSize, .allocatedBytes = values.allocatedSize};
        }
        try {
            return measureOfFolder(item.get(), stop);
        } catch (const CancellationError&) {
            return {};
        }
    }

    // --- Moving, and looking at what was moved.

    // What stands at `arrivedName` of `folder`, if it is the held item with nothing mounted in
    // it; otherwise invalid.
    FileDescriptor openArrived(int folder, const std::string& arrivedName,
                               const std::string& usualPath) const {
        FileDescriptor arrived = path_descriptors::openPlace(folder, arrivedName);
        const auto arrivedStatus = arrived ? path_descriptors::statusOf(arrived.get()) : std::nullopt;
        if (!arrivedStatus || !isSameItem(*arrivedStatus, status) ||
            (values.isDirectory && session->mounts.hasMountWithin(arrived.get(), usualPath))) {
            return {};
        }
        return arrived;
    }

    // Throws unless what arrived is the held item and what was proved of it holds, and tells the descriptor
    // by which it was compared. Before it throws `takeBack` puts the item back, and tells where it rests if
    // it could not, else nothing.
    template <typename TakeBack>
    FileDescriptor verifyArrived(int folder, const std::string& arrivedName, const std::string& usualPath,
                                 const Proof& proof, const TakeBack& takeBack) const {
        FileDescriptor arrived = openArrived(folder, arrivedName, usualPath);
        if (!arrived) {
            throw Refusal(Reason::unsafePath, {}, takeBack());
        }
        require(proof.stillHolds, Reason::disproved, takeBack);
        return arrived;
    }

    template <typename TakeBack>
    static void require(const std::function<bool()>& holds, Reason otherwise, const TakeBack& takeBack) {
        bool isProved = false;
        try {
            isProved = !holds || holds();
        } catch (...) {
            if (const std::string restsAt = takeBack(); !restsAt.empty()) {
                throw Refusal(otherwise, {}, restsAt);
            }
            throw;
        }
        if (!isProved) {
            throw Refusal(otherwise, {}, takeBack());
        }
    }

    // Restores what had been moved to `movedName` of `folder`. Where its old name is taken or the system
    // refuses, it stays there, and its path is told; `usualPath` where the system does not tell that.
    std::string restore(int folder, const std::string& movedName, const std::string& usualPath) const {
        const FileDescriptor moved = path_descriptors::openPlace(folder, movedName);
        if (!moved && errno == ENOENT) {
            return {};  // somebody took it away from there: there is nothing to restore
        }
        const auto movedStatus = moved ? path_descriptors::statusOf(moved.get()) : std::nullopt;
        if (movedStatus && path_descriptors::moveWithoutReplacing(folder, movedName, parent.get(), name,
                                                                  S_ISDIR(movedStatus->mode)) == 0) {
            return {};
        }
        const auto where = path_descriptors::currentPath(folder);
        return where ? joinedPath(*where, movedName) : usualPath;
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

    bool cannotGoIntoTrash() const {
        return membership.isInside || (session->homeTrash && isAtOrBelow(*session->homeTrash, realPath));
    }

    void prepareTrash() {
        if (prepared.valid() || cannotGoIntoTrash()) {
            return;
        }
        try {
            prepared = std::async(std::launch::async, [this] {
                nameThisThread("trash-info");
                Prepared made{.choice = trash::homeFolderOnMount(status.mount),
                              .trashed = trash::nameFor(name, 0, trash::longestName),
                              .seconds = ::time(nullptr),
                              .infoFile = {}};
                if (!made.choice.folders.empty()) {
                    auto written = TrashInfoFile::write(made.choice.folders.front(), made.trashed, realPath,
                                                        made.seconds);
                    if (written) {
                        made.infoFile = std::move(*written);
                    }
                }
                return made;
            });
        } catch (const std::system_error&) {
            // No thread to be had: it is written when it is needed.
        }
    }

    // What could not be prepared is tried again when it is needed, and told then.
    Prepared takePrepared() {
        try {
            return prepared.valid() ? prepared.get() : Prepared();
        } catch (const Error&) {
            return {};
        }
    }

    std::string putIntoTrash(const Measure& measured, const Proof& proof, const Way& way) {
        if (membership.isInside) {
            throw Refusal(Reason::alreadyInTrash);
        }
        if (session->homeTrash && isAtOrBelow(*session->homeTrash, realPath)) {
            throw Refusal(Reason::holdsTrash);
        }
        std::string why;
        Prepared first = takePrepared();
        for (int attempt = 0; attempt < mostChoices; ++attempt) {
            const Trashed trashed = moveIntoFirst(first, measured, proof, way, why);
            if (!trashed.path.empty()) {
                return trashed.path;
            }
            if (!trashed.wasExchanged) {
                break;
            }
        }
        throw Refusal(Reason::noTrash, why);
    }

    struct Trashed {
        std::string path{};         // empty where this Trash did not take it
        bool wasExchanged = false;  // with another folder, while the item was moved
    };

    // Into the first Trash that takes it. `why` comes to tell why others did not.
    Trashed moveIntoFirst(Prepared& first, const Measure& measured, const Proof& proof, const Way& way,
                          std::string& why) {
        for (const bool atHome : {true, false}) {
            const trash::Choice choice = !atHome ? trash::topFoldersOnMount(status.mount, session->mounts)
                                         : first.infoFile ? std::move(first.choice)
                                                          : trash::homeFolderOnMount(status.mount);
            for (const trash::Folder& folder : choice.folders) {
                Trashed trashed = moveInto(folder, first, measured, proof, way);
                if (trashed.wasExchanged) {
                    why = "“" + displayText(folder.path) + "” was exchanged meanwhile.";
                }
                if (trashed.wasExchanged || !trashed.path.empty()) {
                    return trashed;
                }
            }
            if (!choice.reason.empty()) {
                why = choice.reason;
            }
        }
        return {};
    }

    // Tells no path where the Trash lies where the system cannot move this item to without copying it, and
    // where it was exchanged.
    Trashed moveInto(const trash::Folder& folder, Prepared& first, const Measure& measured,
                     const Proof& proof, const Way& way) {
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
            const bool isPrepared = first.infoFile.has_value();
            const std::string trashed = isPrepared ? first.trashed : trash::nameFor(name, number, longest);
            const std::int64_t seconds = isPrepared ? first.seconds : ::time(nullptr);
            // 1. The info file, which takes the name.
            std::expected<TrashInfoFile, int> written =
                isPrepared ? std::expected<TrashInfoFile, int>(std::move(*first.infoFile))
                           : TrashInfoFile::write(folder, trashed, realPath, seconds);
            first.infoFile.reset();
            if (!written && written.error() == EEXIST) {
                ++attempt;
                continue;
            }
            if (!written && longest > 64) {
                longest /= 2;  // some file systems keep shorter names than the system itself
                continue;
            }
            if (!written) {
                throw SystemError(Operation::create, written.error(), folder.pathOfNote(trashed));
            }
            // 2. The item. Something may lie there without an info file.
            try {
                announce(way, folder.pathOf(trashed));
            } catch (...) {
                written->remove();
                throw;
            }
            const int moved = path_descriptors::moveWithoutReplacing(parent.get(), name, folder.files.get(),
                                                                     trashed, values.isDirectory);
            if (moved != 0) {
                written->remove();
                if (moved == EEXIST) {
                    ++attempt;
                    continue;
                }
                if (moved == EXDEV) {
                    return {};
                }
                if (moved == EINVAL && values.isDirectory) {
                    throw Refusal(Reason::holdsTrash);  // that of a volume, itself
                }
                failMove(moved);
            }
            // 3. What arrived, and whether it can be found there.
            switch (settle(folder, trashed, *written, seconds, proof)) {
                case Settled::whereTold:
                    if (values.isDirectory && measured.allocatedBytes) {
                        session->note(folder, {trashed, *measured.allocatedBytes, seconds});
                    }
                    return {.path = folder.pathOf(trashed)};
                case Settled::nameTaken:
                    ++attempt;
                    continue;
                case Settled::trashExchanged:
                    return {.wasExchanged = true};
            }
        }
        throw SystemError(Operation::create, EEXIST, folder.pathOf(name));
    }

    enum class Settled {
        whereTold,       // it stands at its path, and its info file beside it
        nameTaken,       // the info file was replaced by another program's: the item is back in its place
        trashExchanged,  // the path leads to another Trash by now: the item is back in its place
    };

    // Looks at what was moved. The Trash may have been exchanged or emptied since it was opened: then the
    // item would lie without an info file, or the record would name a place that holds something else.
    Settled settle(const trash::Folder& folder, const std::string& trashed, TrashInfoFile& written,
                   std::int64_t seconds, const Proof& proof) const {
        const std::string path = folder.pathOf(trashed);
        const auto takeBack = [&] {
            std::string restsAt = restore(folder.files.get(), trashed, path);
            if (restsAt.empty()) {
                written.remove();
            }
            return restsAt;
        };
        const auto takeBackFor = [&](Settled settled) {
            if (std::string restsAt = takeBack(); !restsAt.empty()) {
                throw Refusal(Reason::unsafePath, {}, std::move(restsAt));
            }
            return settled;
        };
        verifyArrived(folder.files.get(), trashed, path, proof, takeBack);
        for (int attempt = 0; attempt < mostChoices; ++attempt) {
            const FileDescriptor told(::open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
            const auto toldStatus = told ? path_descriptors::statusOf(told.get()) : std::nullopt;
            if (!toldStatus || !isSameItem(*toldStatus, status)) {
                return takeBackFor(Settled::trashExchanged);
            }
            if (written.standsAt(folder.pathOfNote(trashed))) {
                require(proof.isUnchanged, Reason::disproved, takeBack);
                return Settled::whereTold;
            }
            if (written.standsInItsFolder()) {
                return takeBackFor(Settled::trashExchanged);
            }
            // It was deleted, by who empties the Trash say, or another file lies over it.
            std::expected<TrashInfoFile, int> again = std::unexpected(EEXIST);
            require(
                [&] {
                    again = TrashInfoFile::write(folder, trashed, realPath, seconds);
                    return true;
                },
                Reason::unsafePath, takeBack);
            if (!again) {
                return takeBackFor(Settled::nameTaken);
            }
            written = std::move(*again);
        }
        return takeBackFor(Settled::trashExchanged);
    }

    // --- For good.

    void removePermanently(const Proof& proof, const Way& way) {
        // 1. A place where nobody else comes.
        const StagingFolder staging(parent.get(), realPath, status, way.stagingName);
        const int folder = staging.descriptor();
        // 2. The item goes there.
        try {
            announce(way, staging.itemPath());
        } catch (...) {
            staging.discard();
            throw;
        }
        const int moved = path_descriptors::moveWithoutReplacing(parent.get(), name, folder,
                                                                 staging.itemName(), values.isDirectory);
        if (moved != 0) {
            staging.discard();
            if (moved == EBUSY || moved == EXDEV) {
                throw Refusal(Reason::unsafePath);
            }
            throw SystemError(Operation::remove, moved, realPath);
        }
        const auto takeBack = [&] {
            std::string restsAt = restore(folder, staging.itemName(), staging.itemPath());
            if (restsAt.empty()) {
                staging.discard();
            }
            return restsAt;
        };
        // 3. What arrived.
        const FileDescriptor arrived =
            verifyArrived(folder, staging.itemName(), staging.itemPath(), proof, takeBack);
        require(proof.isUnchanged, Reason::disproved, takeBack);
        // 4. Gone: a folder is emptied by the descriptor that was compared. Once begun it is finished: half a
        // folder is of use to nobody.
        Emptied emptied;
        if (values.isDirectory) {
            emptied = emptyFolder(arrived.get(), [&] {
                return !session->mounts.hasMountWithin(arrived.get(), staging.itemPath());
            });
        }
        if (emptied.problem == 0) {
            emptied.problem = unlinkItem(folder, staging.itemName(), values.isDirectory ? AT_REMOVEDIR : 0);
        }
        if (emptied.problem != 0) {
            failRemoval(emptied, takeBack());
        }
        staging.discard();
        if (infoFile) {
            infoFile->remove();
        }
    }

    [[noreturn]] void failRemoval(const Emptied& emptied, std::string restsAt) const {
        const auto reason = [&] {
            return SystemError(Operation::remove, emptied.problem, realPath).description();
        };
        if (emptied.hasBegun) {
            throw Refusal(Reason::removedInPart, reason(), std::move(restsAt));
        }
        if (emptied.problem == ELOOP || emptied.problem == EXDEV || !restsAt.empty()) {
            throw Refusal(Reason::unsafePath, reason(), std::move(restsAt));
        }
        throw SystemError(Operation::remove, emptied.problem, realPath);
    }

    static int unlinkItem(int folder, const std::string& item, int flags) {
        const int result =
            system_calls::uninterrupted([&] { return ::unlinkat(folder, item.c_str(), flags); });
        return result == 0 ? 0 : errno;
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

std::string HeldItem::sha256(const std::stop_token& stop) {
    return impl_->sha256(stop);
}

bool HeldItem::isUnchangedSinceHash() const {
    return impl_->isUnchangedSinceHash();
}

void HeldItem::prepareTrash() {
    impl_->prepareTrash();
}

Measure HeldItem::measure(const std::stop_token& stop) const {
    return impl_->measure(stop);
}

std::string HeldItem::putIntoTrash(const Measure& measure, const Proof& proof, const Way& way) {
    return impl_->putIntoTrash(measure, proof, way);
}

void HeldItem::removePermanently(const Proof& proof, const Way& way) {
    impl_->removePermanently(proof, way);
}

// --- RetainedCopy

struct RetainedCopy::Impl {
    FileDescriptor parent;
    FileDescriptor item;
    std::string name;
    std::string path;
    FileStatus parentStatus;
    FileStatus status;
    bool hadSettled = false;
};

RetainedCopy::RetainedCopy(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
RetainedCopy::RetainedCopy(RetainedCopy&&) noexcept = default;
RetainedCopy& RetainedCopy::operator=(RetainedCopy&&) noexcept = default;
RetainedCopy::~RetainedCopy() = default;

RetainedCopy RetainedCopy::hold(Session& session, const std::string& path) {
    auto impl = std::make_unique<Impl>();
    impl->path = standardizedPath(path);
    impl->name = std::string(lastPathComponent(impl->path));
    HoldingFolder folder = openFolderOf(impl->path, session.impl().mounts, nullptr);
    if (folder.problem != 0) {
        throw SystemError(Operation::readAttributes, folder.problem, impl->path);
    }
    impl->parent = std::move(folder.descriptor);
    impl->item = path_descriptors::openPlace(impl->parent.get(), impl->name);
    if (!impl->item) {
        throw SystemError(Operation::readAttributes, errno, impl->path);
    }
    impl->parentStatus = statusOrThrow(impl->parent.get(), folder.path);
    impl->status = statusOrThrow(impl->item.get(), impl->path);
    impl->hadSettled = impl->status.changed.seconds < ::time(nullptr) - settlingSeconds;
    return RetainedCopy(std::move(impl));
}

bool RetainedCopy::isRegularFile() const {
    return S_ISREG(impl_->status.mode);
}

bool RetainedCopy::isTheSameAs(const HeldItem& item) const {
    return impl_->status.identity == item.values().identity && impl_->name == item.impl_->name &&
           impl_->parentStatus.identity == item.impl_->parentStatus.identity;
}

std::string RetainedCopy::sha256(const std::stop_token& stop) const {
    return sha256OfHeld(impl_->item.get(), impl_->status, impl_->path, stop);
}

bool RetainedCopy::hadSettled() const {
    return impl_->hadSettled;
}

bool RetainedCopy::isUnchangedBeside(const HeldItem& item) const {
    const FileStatus& before = impl_->status;
    const auto now = path_descriptors::statusOf(impl_->item.get());
    // A name of its own is left to it: it may have lost the last one before it was looked at for
    // the first time.
    const std::uint64_t fewestLinks = before.identity == item.values().identity ? 2 : 1;
    if (!now || now->links < fewestLinks || now->size != before.size || now->links != before.links ||
        now->modified != before.modified) {
        return false;
    }
    // Two names of one file: moving one of them is a change of the other, and the only one that is expected.
    return before.identity == item.values().identity || now->changed == before.changed;
}

}  // namespace larkfold::user_files
