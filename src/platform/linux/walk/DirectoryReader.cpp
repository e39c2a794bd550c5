// The directory reader on Linux.
//
// Words: a *folder* is one directory that was opened or is about to be. It is *handed out* when somebody has
// begun to list it, the walk or the helper. The *frontier* is the list of listed folders that still have
// subfolders to hand out, in the order in which the walk will want them; a folder that is being listed holds
// its place in it already, so what comes out of it stands before what was handed out later. The *window*
// counts entries that are listed but that the walk has not taken yet.
//
// One mutex guards everything but the content of a folder that is being listed, which belongs to whoever
// lists it. The lock is taken a handful of times per folder and never held over a system call but `close` and
// the way back to a folder.
//
// Descriptors: a folder's descriptor stays open while it has subfolders to hand out, since these are opened
// relative to it. Above a bound the oldest one is closed. The walk opens such a folder again when it comes
// back to it: by ".." from the subfolder that it leaves (so climbing out of a deep tree costs one call per
// level), else downwards from the nearest ancestor that is open; each time the identity has to be the one
// that was noted.
//
// Mounts: a folder is opened in a way that enters no mount. What is mounted there is entered by the walk
// alone, whenever it came there, by a call that can be given up (see TimedListing.h).

#include "platform/DirectoryReader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>

#include "platform/Path.h"
#include "platform/linux/calls/FileDescriptor.h"
#include "platform/linux/mounts/MountTable.h"
#include "platform/linux/walk/FolderLister.h"
#include "platform/linux/walk/ListedFolder.h"
#include "platform/linux/walk/PathDescriptors.h"
#include "platform/linux/walk/RootFolder.h"
#include "platform/linux/walk/SpecialPlace.h"
#include "platform/linux/walk/TimedListing.h"
#include "platform/linux/walk/WayToFolder.h"

namespace larkfold {

namespace {

using Folder = ListedFolder;
using FolderPointer = std::shared_ptr<Folder>;

constexpr std::size_t maximumOpenDescriptors = 128;
constexpr std::size_t weightOfFolder = 8;  // entries that a folder counts for in the window beside its own
constexpr int readFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;

}  // namespace

// --- The reader
// -----------------------------------------------------------------------------------------------------

struct DirectoryReader::Impl {
    Impl(std::string rootPath, DirectoryReaderOptions given, std::stop_token given_stop)
        : root(std::move(rootPath)),
          options(std::move(given)),
          outerStop(std::move(given_stop), [this] { innerStop.request_stop(); }),
          stop(innerStop.get_token()),
          timedListing(options, places, stop),
          walkLister(options) {}
    ~Impl() { innerStop.request_stop(); }

    const std::string root;
    const DirectoryReaderOptions options;
    std::stop_source innerStop;  // the caller's stop, or the end of the reader
    std::stop_callback<std::function<void()>> outerStop;
    const std::stop_token stop;
    std::shared_ptr<SpecialPlace> places =
        std::make_shared<SpecialPlace>();  // constant once the root is open
    TimedListing timedListing;             // the walk's own

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
    // On a mount that did not answer nothing is asked again.
    FileDescriptor openInTime(const WayToFolder& way, SpecialPlace* lane) {
        if (lane != nullptr && lane->hasGivenUp) {
            errno = ETIMEDOUT;
            return {};
        }
        FileDescriptor opened = way.open(options.answerTimeout, stop);
        if (lane != nullptr && !opened && errno == ETIMEDOUT) {
            lane->hasGivenUp = true;
        }
        return opened;
    }
    // Opens a folder again whose descriptor was closed. Only the walk does this.
    bool reopen(Folder& folder) {
        std::vector<Folder*> names;
        Folder* open = &folder;
        while (open != nullptr && !open->isCountedOpen) {
            names.push_back(open);
            open = open->parent;
        }
        if (open == nullptr) {
            errno = ESTALE;
            return false;
        }
        WayToFolder way{.from = open->descriptor.get(),
                        .path = {},
                        .identity = folder.identity,
                        .mayFailToAnswer = open->lane != nullptr};
        for (; !names.empty(); names.pop_back()) {
            way.path += way.path.empty() ? "" : "/";
            way.path += names.back()->name;
            way.mayFailToAnswer = way.mayFailToAnswer || names.back()->lane != nullptr;
        }
        FileDescriptor at = openInTime(way, folder.lane);
        if (!at) {
            return false;
        }
        folder.descriptor = std::move(at);
        countOpen(folder);
        return true;
    }
    bool openAgain(Folder& folder) {
        if (folder.isCountedOpen) {
            return true;
        }
        if (folder.isOutOfReach) {
            errno = ETIMEDOUT;
            return false;
        }
        bool isOpen = reopen(folder);
        if (!isOpen && (errno == EMFILE || errno == ENFILE)) {
            evictDownTo(0, nullptr);
            isOpen = reopen(folder);
        }
        folder.isOutOfReach = !isOpen && errno == ETIMEDOUT;
        return isOpen;
    }
    // Called when the walk leaves `child`: its parent gets its descriptor back while the way up is one step.
    void reopenParentOf(Folder& child) {
        Folder* parent = child.parent;
        if (parent == nullptr || parent->isCountedOpen || !child.isCountedOpen || evictedFolders == 0 ||
            stop.stop_requested()) {
            return;
        }
        FileDescriptor up = openInTime({.from = child.descriptor.get(),
                                        .path = "..",
                                        .identity = parent->identity,
                                        .mayFailToAnswer = child.lane != nullptr || parent->lane != nullptr},
                                       child.lane);
        if (up) {
            parent->descriptor = std::move(up);
            countOpen(*parent);
        }
    }

    // --- Listing a folder that was handed out. The lock is held at the call and at the return, not in
    // between.

    // `ahead`: the walk has not come to it. Then a folder that may not answer stays waiting, and so does one
    // that something is mounted on, or that could not be listed for want of a descriptor or of memory: the
    // walk, which can wait and make room, comes to it.
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
        std::exception_ptr failure = openAndList(child, parentDescriptor, name, lister, ahead);
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
            // Its parent is pinned, so not among the evicted.
            failure = openAndList(child, parentDescriptor, name, lister, ahead);
        }
        --child->parent->pins;
        if (ahead && (failure || isOutOfDescriptors(*child) || isToBeEntered(*child))) {
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

    // Something is mounted there, and it is to be read.
    bool isToBeEntered(const Folder& folder) const {
        return !folder.descriptor && folder.error == EXDEV && options.crossesMounts;
    }

    // Fills the folder. What is thrown meanwhile is returned.
    std::exception_ptr openAndList(const FolderPointer& folder, int parentDescriptor, const std::string& name,
                                   FolderLister& lister, bool ahead) {
        try {
            if (folder->lane == nullptr) {
                folder->descriptor =
                    path_descriptors::openOnSameMount(parentDescriptor, name.c_str(), readFlags);
                if (folder->descriptor) {
                    lister.list(*folder, FolderLister::Values::known, stop);
                } else {
                    folder->error = errno;
                }
            } else if (folder->lane == folder->place && options.crossesMounts) {
                timedListing.enter(*folder, parentDescriptor, name);
            } else {
                timedListing.listInLane(*folder, parentDescriptor, name);
            }
            if (isToBeEntered(*folder) && !ahead) {
                folder->error = 0;
                timedListing.enter(*folder, parentDescriptor, name);
            }
            return nullptr;
        } catch (...) {
            return std::current_exception();
        }
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
        timedListing.setRealRoot(opened->realPath);
        rememberMounts(opened->realPath);
        if (excludesEverything()) {
            folder->identity = path_descriptors::identityOf(opened->descriptor.get());
            return folder;
        }
        if (places->mayFailToAnswer) {
            folder->lane = places.get();
            timedListing.listInLane(*folder, opened->descriptor.get(), ".");
        } else {
            folder->descriptor = std::move(opened->descriptor);
            walkLister.list(*folder, FolderLister::Values::known, stop);
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
