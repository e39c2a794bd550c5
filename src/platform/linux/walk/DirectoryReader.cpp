// The directory reader on Linux.
//
// Words: a *folder* is one directory that was opened or is about to be. It is *handed out* when somebody has
// begun to list it, the walk or the helper. The *frontier* is the list of listed folders that still have
// subfolders to hand out, in the order in which the walk will want them; a folder that is being listed holds
// its place in it already, so what comes out of it stands before what was handed out later. The *window*
// counts entries that are listed but that the walk has not taken yet.
//
// One mutex guards everything but the content of a folder that is being listed, which belongs to whoever
// lists it. The lock is taken a handful of times per folder and never held over a system call but `close`.
//
// Descriptors: a folder's descriptor stays open while it has subfolders to hand out, since these are opened
// relative to it. Above a bound the oldest one is closed. The walk opens such a folder again when it comes
// back to it: by ".." from the subfolder that it leaves (so climbing out of a deep tree costs one call per
// level), else downwards from the nearest ancestor that is open; each time the identity has to be the one
// that was noted.

#include "platform/DirectoryReader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <map>
#include <mutex>
#include <system_error>
#include <thread>

#include "platform/Path.h"
#include "platform/linux/calls/CallWithTimeout.h"
#include "platform/linux/calls/FileDescriptor.h"
#include "platform/linux/calls/SystemCalls.h"
#include "platform/linux/mounts/MountTable.h"
#include "platform/linux/walk/FolderLister.h"
#include "platform/linux/walk/ListedFolder.h"
#include "platform/linux/walk/PathDescriptors.h"
#include "platform/linux/walk/RootFolder.h"
#include "platform/linux/walk/SpecialPlace.h"

namespace larkfold {

namespace {

using Folder = ListedFolder;
using FolderPointer = std::shared_ptr<Folder>;

constexpr std::size_t maximumOpenDescriptors = 128;
constexpr std::size_t weightOfFolder = 8;  // entries that a folder counts for in the window beside its own
constexpr int readFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;

// A folder of `parent`; with `crossesMounts` false EXDEV for what is mounted there.
FileDescriptor openSubfolder(int parent, const char* name, bool crossesMounts) {
    return crossesMounts ? FileDescriptor(system_calls::uninterrupted(
                               [&] { return ::openat(parent, name, readFlags | O_NOFOLLOW); }))
                         : path_descriptors::openBelow(parent, name, readFlags, false);
}

}  // namespace

// --- The reader
// -----------------------------------------------------------------------------------------------------

struct DirectoryReader::Impl {
    Impl(std::string rootPath, DirectoryReaderOptions given, std::stop_token given_stop)
        : root(std::move(rootPath)),
          options(std::move(given)),
          outerStop(std::move(given_stop), [this] { innerStop.request_stop(); }),
          stop(innerStop.get_token()),
          walkLister(options) {}
    ~Impl() { innerStop.request_stop(); }

    const std::string root;
    const DirectoryReaderOptions options;
    std::stop_source innerStop;  // the caller's stop, or the end of the reader
    std::stop_callback<std::function<void()>> outerStop;
    const std::stop_token stop;
    std::shared_ptr<SpecialPlace> places =
        std::make_shared<SpecialPlace>();  // constant once the root is open

    std::mutex mutex;
    std::condition_variable_any helperMayGoOn;
    std::condition_variable_any folderListed;
    bool helperSleeps = false;
    bool walkWaits = false;
    int listedAheadNow = 0;
    std::size_t inWindow = 0;
    std::size_t openDescriptors = 0;
    std::size_t evictedFolders = 0;
    std::int64_t hiddenSkipped = 0;
    Folder* frontierFirst = nullptr;
    Folder* openOldest = nullptr;
    Folder* openNewest = nullptr;

    FolderLister walkLister;
    std::jthread helper;  // last: it ends before what it works on

    // --- The frontier. The lock is held.

    void insertBefore(Folder& folder, Folder& successor) {
        folder.frontierAfter = &successor;
        folder.frontierBefore = successor.frontierBefore;
        (folder.frontierBefore != nullptr ? folder.frontierBefore->frontierAfter : frontierFirst) = &folder;
        successor.frontierBefore = &folder;
        folder.inFrontier = true;
    }
    void leaveFrontier(Folder& folder) {
        if (!folder.inFrontier) {
            return;
        }
        (folder.frontierBefore != nullptr ? folder.frontierBefore->frontierAfter : frontierFirst) =
            folder.frontierAfter;
        if (folder.frontierAfter != nullptr) {
            folder.frontierAfter->frontierBefore = folder.frontierBefore;
        }
        folder.inFrontier = false;
        folder.frontierBefore = folder.frontierAfter = nullptr;
    }
    // The first folder in the walk's order that has a subfolder to hand out and its descriptor at hand.
    Folder* firstWithSomethingToHandOut() const {
        Folder* folder = frontierFirst;
        while (folder != nullptr && (folder->state != Folder::State::listed || !folder->isCountedOpen)) {
            folder = folder->frontierAfter;
        }
        return folder;
    }
    // Hands out the next subfolder of `folder`, which must have one and hold its descriptor.
    FolderPointer handOut(Folder& folder) {
        auto child = std::make_shared<Folder>();
        child->indexInParent = folder.nextSubfolder();
        const DirectoryEntry& entry = folder.entries[child->indexInParent];
        child->parent = &folder;
        child->name = entry.name;
        child->lane = folder.lane;
        if (folder.place != nullptr) {
            const auto special = folder.place->below.find(entry.name);
            if (special != folder.place->below.end()) {
                child->place = special->second.get();
                if (special->second->mayFailToAnswer) {
                    child->lane = special->second.get();
                }
            }
        }
        ++folder.owed;
        // It takes its place before its parent, so what it turns out to hold comes before its later siblings.
        insertBefore(*child, folder);
        if (folder.subfoldersLeft == 0) {
            leaveFrontier(folder);
        }
        return child;
    }
    // Whether the walk will want the first folder of the frontier next, with nothing in store before it. To
    // list that one ahead would only make the walk wait for it, once for each level of a chain of folders.
    bool walkHasCaughtUp() const { return inWindow == 0 && listedAheadNow == 0; }
    bool hasSomethingBehind(const Folder& first) const {
        if (first.subfoldersLeft > 1) {
            return true;
        }
        const Folder* other = first.frontierAfter;
        while (other != nullptr && (other->state != Folder::State::listed || !other->isCountedOpen)) {
            other = other->frontierAfter;
        }
        return other != nullptr;
    }
    bool hasSomethingAhead() const {
        const Folder* first = firstWithSomethingToHandOut();
        return first != nullptr && (!walkHasCaughtUp() || hasSomethingBehind(*first));
    }
    FolderPointer handOutAhead() {
        if (inWindow >= options.window || !hasSomethingAhead()) {
            return nullptr;
        }
        if (walkHasCaughtUp()) {
            Folder& first = *firstWithSomethingToHandOut();
            first.handedOut.push_back(handOut(first));  // waits for the walk
        }
        Folder& folder = *firstWithSomethingToHandOut();
        FolderPointer child = handOut(folder);
        folder.handedOut.push_back(child);
        return child;
    }
    void wakeHelper() {
        if (helperSleeps && inWindow <= options.window / 2 && hasSomethingAhead()) {
            helperSleeps = false;
            helperMayGoOn.notify_one();
        }
    }

    // --- Descriptors. The lock is held.

    void countOpen(Folder& folder) {
        folder.isCountedOpen = true;
        folder.openBefore = openNewest;
        folder.openAfter = nullptr;
        (openNewest != nullptr ? openNewest->openAfter : openOldest) = &folder;
        openNewest = &folder;
        ++openDescriptors;
        forgetEviction(folder);
        evictDownTo(maximumOpenDescriptors, &folder);
    }
    void forgetEviction(Folder& folder) {
        if (folder.isEvicted) {
            folder.isEvicted = false;
            --evictedFolders;
        }
    }
    // Closes the oldest descriptors, those of the root and of openings under way excepted.
    void evictDownTo(std::size_t bound, const Folder* kept) {
        for (Folder* candidate = openOldest; candidate != nullptr && openDescriptors > bound;) {
            Folder* next = candidate->openAfter;
            if (candidate->parent != nullptr && candidate->pins == 0 && candidate != kept) {
                closeDescriptor(*candidate);
                candidate->isEvicted = true;
                ++evictedFolders;
            }
            candidate = next;
        }
    }
    void uncountOpen(Folder& folder) {
        (folder.openBefore != nullptr ? folder.openBefore->openAfter : openOldest) = folder.openAfter;
        (folder.openAfter != nullptr ? folder.openAfter->openBefore : openNewest) = folder.openBefore;
        folder.openBefore = folder.openAfter = nullptr;
        folder.isCountedOpen = false;
        --openDescriptors;
    }
    void closeDescriptor(Folder& folder) {
        if (folder.isCountedOpen) {
            uncountOpen(folder);
            folder.descriptor.reset(-1);
        }
    }
    // Closes what nobody will open anything from any more. While some folder has lost its descriptor, the way
    // back up may lead through the ones below it: these stay.
    void closeIfDone(Folder& folder) {
        if (folder.isCountedOpen && folder.owed == 0 && folder.state == Folder::State::listed &&
            evictedFolders == 0 && folder.subfoldersLeft == 0) {
            closeDescriptor(folder);
        }
    }
    // Opens a folder again whose descriptor was closed. Only the walk does this.
    bool reopen(Folder& folder) {
        std::vector<Folder*> way;
        Folder* open = &folder;
        while (open != nullptr && !open->isCountedOpen) {
            way.push_back(open);
            open = open->parent;
        }
        if (open == nullptr) {
            errno = ESTALE;
            return false;
        }
        FileDescriptor at;
        int from = open->descriptor.get();
        std::string piece;
        for (std::size_t left = way.size(); left > 0;) {
            piece.assign(way[--left]->name);
            while (left > 0 &&
                   piece.size() + 1 + way[left - 1]->name.size() < path_descriptors::longestPiece) {
                piece += '/';
                piece += way[--left]->name;
            }
            FileDescriptor next(::openat(from, piece.c_str(), readFlags | O_NOFOLLOW));
            if (!next) {
                return false;
            }
            at = std::move(next);
            from = at.get();
        }
        if (path_descriptors::identityOf(at.get()) != folder.identity) {
            errno = ESTALE;
            return false;
        }
        folder.descriptor = std::move(at);
        countOpen(folder);
        return true;
    }
    bool openAgain(Folder& folder) {
        if (folder.isCountedOpen || reopen(folder)) {
            return true;
        }
        if (errno != EMFILE && errno != ENFILE) {
            return false;
        }
        evictDownTo(0, nullptr);
        return reopen(folder);
    }
    // Called when the walk leaves `child`: its parent gets its descriptor back while the way up is one step.
    void reopenParentOf(Folder& child) {
        Folder* parent = child.parent;
        if (parent == nullptr || parent->isCountedOpen || !child.isCountedOpen || evictedFolders == 0) {
            return;
        }
        FileDescriptor up(::openat(child.descriptor.get(), "..", readFlags));
        if (up && path_descriptors::identityOf(up.get()) == parent->identity) {
            parent->descriptor = std::move(up);
            countOpen(*parent);
        }
    }

    // --- Listing a folder that was handed out. The lock is held at the call and at the return, not in
    // between.

    // `ahead`: the walk has not come to it. Then a folder that may not answer stays waiting, and so does one
    // that could not be listed for want of a descriptor or of memory: the walk, which can wait and make room,
    // comes to it.
    void listHandedOut(std::unique_lock<std::mutex>& lock, const FolderPointer& child, FolderLister& lister,
                       bool ahead) {
        if (child->lane != nullptr && ahead) {
            return;
        }
        child->state = Folder::State::listing;
        const int parentDescriptor = child->parent->descriptor.get();
        const std::string name(child->name);  // the parent may be dropped meanwhile
        ++child->parent->pins;
        listedAheadNow += ahead ? 1 : 0;
        lock.unlock();
        std::exception_ptr failure = openAndList(child, parentDescriptor, name, lister);
        lock.lock();
        listedAheadNow -= ahead ? 1 : 0;
        if (child->isAbandoned) {
            child->descriptor.reset(-1);
            child->inherited.reset(-1);
            return;
        }
        if (!ahead && isOutOfDescriptors(*child)) {
            evictDownTo(0, nullptr);
            child->error = 0;
            failure = openAndList(child, parentDescriptor, name, lister);  // pinned, so not among the evicted
        }
        --child->parent->pins;
        if (ahead && (failure || isOutOfDescriptors(*child))) {
            child->entries.clear();
            child->descriptor.reset(-1);
            child->error = 0;
            child->state = Folder::State::waiting;
            return;
        }
        if (failure) {
            child->entries.clear();
            child->descriptor.reset(-1);
            settle(*child);
            std::rethrow_exception(failure);
        }
        settle(*child);
        if (ahead) {
            child->windowWeight = child->entries.size() + weightOfFolder;
            inWindow += child->windowWeight;
        }
    }
    // The same for the folder that the walk has come to.
    void listForWalk(std::unique_lock<std::mutex>& lock, const FolderPointer& child) {
        if (openAgain(*child->parent)) {
            listHandedOut(lock, child, walkLister, false);
        } else {
            child->error = errno;
            settle(*child);
        }
    }
    // A folder that was handed out is listed, for better or worse.
    void settle(Folder& folder) {
        folder.state = Folder::State::listed;
        hiddenSkipped += folder.hiddenSkipped;
        if (folder.descriptor) {
            countOpen(folder);
            folder.countSubfolders();
        }
        if (folder.subfoldersLeft == 0) {
            leaveFrontier(folder);
        }
        closeIfDone(folder);
        --folder.parent->owed;
        closeIfDone(*folder.parent);
    }
    static bool isOutOfDescriptors(const Folder& folder) {
        return !folder.descriptor && (folder.error == EMFILE || folder.error == ENFILE);
    }

    // Fills the folder. What is thrown meanwhile is returned.
    std::exception_ptr openAndList(const FolderPointer& folder, int parentDescriptor, const std::string& name,
                                   FolderLister& lister) {
        try {
            if (folder->lane != nullptr) {
                FileDescriptor duplicate(::fcntl(parentDescriptor, F_DUPFD_CLOEXEC, 0));
                if (duplicate) {
                    listWithTimeout(*folder, std::move(duplicate), name);
                } else {
                    folder->error = errno;
                }
                return nullptr;
            }
            folder->descriptor = openSubfolder(parentDescriptor, name.c_str(), options.crossesMounts);
            if (folder->descriptor) {
                lister.list(*folder, stop);
            } else {
                folder->error = errno;
            }
            return nullptr;
        } catch (...) {
            return std::current_exception();
        }
    }

    // Opens `name` below `parent` (by its path where there is none) and lists it on a thread that can be
    // given up. That thread owns everything it touches; what it found is taken over when it arrives in time.
    void listWithTimeout(Folder& folder, FileDescriptor parent, const std::string& name) {
        if (folder.lane != nullptr && folder.lane->hasGivenUp) {
            folder.error = ETIMEDOUT;
            return;
        }
        struct Work {
            FileDescriptor parent;
            std::string name;
            std::shared_ptr<SpecialPlace> places;
            Folder result;
            std::exception_ptr failure;
        };
        auto work = std::make_shared<Work>();
        work->parent = std::move(parent);
        work->name = name;
        work->places = places;
        work->result.place = folder.place;
        const auto answer = callWithTimeout<bool>(
            [work, lister = std::make_shared<FolderLister>(options), crosses = options.crossesMounts,
             stopping = stop] {
                work->result.descriptor = openSubfolder(work->parent.get(), work->name.c_str(), crosses);
                if (!work->result.descriptor) {
                    work->result.error = errno;
                    return true;
                }
                try {
                    lister->list(work->result, stopping);
                } catch (...) {
                    work->failure = std::current_exception();
                }
                return true;
            },
            options.answerTimeout, stop, call_with_timeout::mostAbandonedForListing);
        if (stop.stop_requested()) {
            throw CancellationError();
        }
        if (!answer) {
            if (folder.lane != nullptr) {
                folder.lane->hasGivenUp = true;
            }
            folder.error = ETIMEDOUT;
            return;
        }
        if (work->failure) {
            std::rethrow_exception(work->failure);
        }
        folder.entries = std::move(work->result.entries);
        folder.names = std::move(work->result.names);
        folder.identity = work->result.identity;
        folder.allocatedSize = work->result.allocatedSize;
        folder.error = work->result.error;
        folder.hiddenSkipped = work->result.hiddenSkipped;
        folder.descriptor = std::move(work->result.descriptor);
    }

    // --- The root.

    bool excludesEverything() const {
        return std::any_of(options.excludedPathPrefixes.begin(), options.excludedPathPrefixes.end(),
                           [&](const std::string& prefix) {
                               const std::string path = standardizedPath(prefix);
                               return path != "/" && isAtOrBelow(root, path);
                           });
    }
    // The mounts at or below the real place of the root that may fail to answer.
    void rememberMounts(const std::string& realRoot) {
        const MountTable table = MountTable::current();
        for (const Mount& mount : table.mounts()) {
            if (!mount.mayFailToAnswer || !mount.isVisible) {
                continue;
            }
            if (const auto relative = relativePath(mount.mountPoint, realRoot)) {
                places->at(*relative).mayFailToAnswer = true;
            }
        }
        const Mount* holding = table.mountHolding(realRoot);
        places->mayFailToAnswer = holding != nullptr && holding->mayFailToAnswer;
    }

    FolderPointer listRoot() {
        auto folder = std::make_shared<Folder>();
        folder->place = places.get();
        auto opened = RootFolder::open(root, options.answerTimeout, stop);
        if (stop.stop_requested()) {
            throw CancellationError();
        }
        folder->state = Folder::State::listed;
        if (!opened) {
            folder->error = opened.error();
            return folder;
        }
        noteExclusions(*places, options.excludedPathPrefixes, root);
        rememberMounts(opened->realPath);
        if (excludesEverything()) {
            folder->identity = path_descriptors::identityOf(opened->descriptor.get());
            return folder;
        }
        if (places->mayFailToAnswer) {
            folder->lane = places.get();
            listWithTimeout(*folder, std::move(opened->descriptor), ".");
        } else {
            folder->descriptor = std::move(opened->descriptor);
            walkLister.list(*folder, stop);
        }
        return folder;
    }

    // --- The helper's life.

    void help() {
        FolderLister lister(options);
        std::unique_lock lock(mutex);
        while (!stop.stop_requested()) {
            const FolderPointer child = handOutAhead();
            if (!child) {
                helperSleeps = true;
                helperMayGoOn.wait(lock, stop, [&] { return !helperSleeps; });
                continue;
            }
            listHandedOut(lock, child, lister, true);
            if (walkWaits) {
                walkWaits = false;
                folderListed.notify_one();
            }
        }
    }

    // --- The walk's side.

    FolderPointer take(Folder& parent, std::size_t index) {
        std::unique_lock lock(mutex);
        FolderPointer child;
        if (parent.handedOutFront < parent.handedOut.size() &&
            parent.handedOut[parent.handedOutFront]->indexInParent == index) {
            child = parent.handedOut[parent.handedOutFront];
            awaitListed(lock, child);
            if (++parent.handedOutFront == parent.handedOut.size()) {
                parent.handedOut.clear();
                parent.handedOutFront = 0;
            }
            inWindow -= std::exchange(child->windowWeight, 0);
        } else {
            child = handOut(parent);
            listForWalk(lock, child);
        }
        parent.openChild = child.get();
        wakeHelper();
        return child;
    }
    // Until the folder that the walk wants is there, the walk lists what comes after it.
    void awaitListed(std::unique_lock<std::mutex>& lock, const FolderPointer& child) {
        while (child->state != Folder::State::listed) {
            if (stop.stop_requested()) {
                throw CancellationError();
            }
            if (child->state == Folder::State::waiting) {
                listForWalk(lock, child);
                return;
            }
            if (const FolderPointer other = handOutAhead()) {
                listHandedOut(lock, other, walkLister, true);
                continue;
            }
            walkWaits = true;
            folderListed.wait(lock, stop, [&] { return !walkWaits; });
        }
    }

    // Forgets a folder and everything that was listed below it.
    void drop(Folder& dropped) {
        const std::lock_guard lock(mutex);
        reopenParentOf(dropped);
        if (dropped.parent != nullptr) {
            dropped.parent->openChild = nullptr;
            closeIfDone(*dropped.parent);
        }
        std::vector<FolderPointer> pending;
        release(dropped, pending);
        while (!pending.empty()) {
            const FolderPointer folder = std::move(pending.back());
            pending.pop_back();
            release(*folder, pending);
        }
        wakeHelper();
    }
    void release(Folder& folder, std::vector<FolderPointer>& pending) {
        leaveFrontier(folder);
        forgetEviction(folder);
        inWindow -= std::exchange(folder.windowWeight, 0);
        for (std::size_t i = folder.handedOutFront; i < folder.handedOut.size(); ++i) {
            FolderPointer& child = folder.handedOut[i];
            child->parent = nullptr;
            if (child->state == Folder::State::listing) {
                // The helper is at it and may be opening it relative to this folder: it takes
                // the descriptor along.
                leaveFrontier(*child);
                child->isAbandoned = true;
                if (folder.isCountedOpen) {
                    uncountOpen(folder);
                    child->inherited = std::move(folder.descriptor);
                }
            } else {
                pending.push_back(std::move(child));
            }
        }
        folder.handedOut.clear();
        folder.handedOutFront = 0;
        if (folder.openChild != nullptr) {
            folder.openChild->parent = nullptr;
            folder.openChild = nullptr;
        }
        closeDescriptor(folder);
    }
};

// --- The public face
// ------------------------------------------------------------------------------------------------

DirectoryReader::DirectoryReader(std::string root, DirectoryReaderOptions options, std::stop_token stop)
    : impl_(std::make_unique<Impl>(standardizedPath(root), std::move(options), std::move(stop))) {}

DirectoryReader::~DirectoryReader() = default;

std::unique_ptr<DirectoryListing> DirectoryReader::openRoot() {
    FolderPointer folder = impl_->listRoot();
    folder->reader = impl_.get();
    {
        const std::lock_guard lock(impl_->mutex);
        impl_->hiddenSkipped += folder->hiddenSkipped;
        if (folder->descriptor) {
            impl_->countOpen(*folder);
            folder->countSubfolders();
            if (folder->subfoldersLeft > 0) {
                impl_->frontierFirst = folder.get();
                folder->inFrontier = true;
            }
        }
    }
    // Without a subfolder there is nothing to read ahead.
    const bool hasSubfolders = folder->inFrontier;
    auto listing = std::make_unique<DirectoryListing>(std::move(folder));
    if (impl_->options.readsAhead && hasSubfolders) {
        try {
            impl_->helper = std::jthread([reader = impl_.get()] { reader->help(); });
        } catch (const std::system_error&) {
            // No thread to be had: the walk lists everything itself.
        }
    }
    return listing;
}

std::unique_ptr<DirectoryListing> DirectoryReader::open(const DirectoryListing& parent, std::size_t index) {
    if (impl_->stop.stop_requested()) {
        throw CancellationError();
    }
    FolderPointer folder = impl_->take(parent.impl(), index);
    folder->reader = impl_.get();
    return std::make_unique<DirectoryListing>(std::move(folder));
}

std::int64_t DirectoryReader::hiddenSkipped() const {
    const std::lock_guard lock(impl_->mutex);
    return impl_->hiddenSkipped;
}

DirectoryListing::DirectoryListing(std::shared_ptr<Impl> impl) : impl_(std::move(impl)) {}

DirectoryListing::~DirectoryListing() {
    if (impl_->reader != nullptr) {
        impl_->reader->drop(*impl_);
    }
}

std::span<const DirectoryEntry> DirectoryListing::entries() const {
    return impl_->entries;
}

int DirectoryListing::error() const {
    return impl_->error;
}

std::optional<FileIdentity> DirectoryListing::identity() const {
    return impl_->identity;
}

std::int64_t DirectoryListing::allocatedSize() const {
    return impl_->allocatedSize;
}

}  // namespace larkfold
