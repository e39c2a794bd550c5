// inotify watches single folders, by inode, and tells of each event the number of the watch and a name. So
// the tree of folders is kept here, and every event about a folder (made, moved, removed, replaced) is
// settled by looking at what stands at its place *now*: the event only says where to look. A place that
// changes again while it is looked at sends an event of its own, so the tree ends up right without events
// being paired. An event of a folder that is not where the tree has it, since its own move is still to be
// settled, waits until that is done.
//
// 1. Watch the folders above the root, for their moves, and the places of the links on the way to it.
// 2. Watch the root, list it, and so on downwards: a folder is listed after its watch stands, so whatever is
//    put into it is either seen in the listing or told. Its date is read then too: what was put into it
//    before shows there.
// 3. Gather changes by folder, settle what is told of folders, and deliver after the latency.
// 4. Where events were lost, or the root went: tell, and begin anew with a fresh instance.
//
// Whoever looks at a mount behind which nobody answers may wait for ever, and the table of mounts only says
// what was mounted a moment ago. So folders are opened in a way that enters no mount, and the few that are to
// be entered, by a call that can be given up.
//
// The system's queue holds some 16,000 events. It is emptied into memory during long work, so that a set-up
// beside a busy program does not lose what it is about to watch.
//
// Longer than other files: setting up, following, settling and telling are one thread's work on one state,
// and each of them may have to begin the others anew; in several classes it would be harder to see that they
// agree.

#include "platform/FolderWatcher.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <dirent.h>
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string_view>
#include <system_error>
#include <thread>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "platform/FileIdentity.h"
#include "platform/Path.h"
#include "platform/ThreadName.h"
#include "platform/linux/calls/CallWithTimeout.h"
#include "platform/linux/calls/FileDescriptor.h"
#include "platform/linux/calls/SystemCalls.h"
#include "platform/linux/mounts/MountTable.h"
#include "platform/linux/walk/KernelEntry.h"
#include "platform/linux/walk/PathDescriptors.h"
#include "platform/linux/walk/RootFolder.h"
#include "platform/linux/walk/SpecialPlace.h"
#include "platform/linux/watch/FolderDate.h"
#include "platform/linux/watch/MountsSince.h"
#include "platform/linux/watch/RootLinks.h"
#include "platform/linux/watch/WatchEnd.h"
#include "platform/linux/watch/WatchedFolders.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

namespace {

using Clock = std::chrono::steady_clock;
using Index = WatchedFolders::Index;
constexpr Index none = WatchedFolders::none;

constexpr std::uint32_t folderEvents =
    IN_CREATE | IN_DELETE | IN_MODIFY | IN_ATTRIB | IN_MOVED_FROM | IN_MOVED_TO | IN_ONLYDIR | IN_EXCL_UNLINK;
constexpr std::uint32_t rootEvents = folderEvents | IN_MOVE_SELF | IN_DELETE_SELF;
// Of the folders above the root only that the way to it changes.
constexpr std::uint32_t ancestorEvents = IN_MOVE_SELF | IN_DELETE_SELF | IN_ONLYDIR;

constexpr int readFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
constexpr std::size_t mostOpenLevels = 64;
constexpr unsigned foldersBetweenReads = 256;
// Events kept in memory; more count as lost.
constexpr std::size_t mostBacklog = std::size_t{64} << 20;

bool meansNotThere(int code) {
    return code == ENOENT || code == ENOTDIR || code == ELOOP;
}

// What the thread does, and all it owns.
class Watch {
public:
    struct Tell {
        std::function<void(FolderChanges)> changed;
        std::function<void(WatchCoverage)> covered;
        std::function<void(SystemError)> failed;
    };

    Watch(std::string root, FolderWatcherOptions options, Tell tell, std::stop_token stop)
        : root_(std::move(root)),
          options_(std::move(options)),
          tell_(std::move(tell)),
          stop_(std::move(stop)) {
        buffer_.resize(std::size_t{64} * 1024);
        wake_.reset(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    }

    void run() {
        const std::stop_callback wakeUp(stop_, [this] {
            const std::uint64_t one = 1;
            static_cast<void>(::write(wake_.get(), &one, sizeof one));
        });
        WatchEnd::awaitClosed(options_.answerTimeout, stop_);
        if (!begin()) {
            return;
        }
        while (!stop_.stop_requested()) {
            wait();
            if (stop_.stop_requested()) {
                return;
            }
            readEvents();
            settleEvents();
            if (mustBeginAnew_ && !beginAnew()) {
                return;
            }
            tellCoverage();
            deliverWhenDue();
        }
    }

private:
    struct Level {
        Index folder = none;
        FileDescriptor descriptor;         // closed while deep below it
        std::vector<std::string> folders;  // still to be entered, the last one first
    };

    // --- Setting up

    // False, and told, where nothing can be watched.
    bool begin() {
        mustBeginAnew_ = false;
        haveMountsChanged_ = false;
        folders_.clear();
        ancestors_.clear();
        changed_.clear();
        backlog_.clear();
        movedAway_.clear();
        unsettled_.clear();
        coverage_ = {};
        inotify_.reset(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
        if (!inotify_ || !wake_) {
            return fail(errno);
        }
        if (!links_.follow(root_, inotify_.get(), options_.answerTimeout, stop_)) {
            return !stop_.stop_requested() && fail(ETIMEDOUT);
        }
        auto opened = RootFolder::open(root_, options_.answerTimeout, stop_);
        if (stop_.stop_requested()) {
            return false;
        }
        if (!opened) {
            return fail(opened.error());
        }
        realRoot_ = opened->realPath;
        identity_ = path_descriptors::identityOf(opened->descriptor.get());
        rememberPlaces();
        if (places_->mayFailToAnswer) {
            return fail(EREMOTE);
        }
        watchAncestors();
        if (!links_.isSameWay(options_.answerTimeout, stop_)) {
            mustBeginAnew_ = true;  // other links than those whose places are watched may have led here
        }
        const int watch = addWatch(opened->descriptor.get(), rootEvents);
        if (watch < 0) {
            return fail(errno);
        }
        if (options_.since) {
            changedSince_ = options_.since->time;
            if (links_.mayHaveChangedSince(options_.since->time) ||
                haveMountsChanged(options_.since->mounts, table_, realRoot_, *places_,
                                  options_.skipHiddenFiles)) {
                loseEvents();
            }
        }
        const Index top = add(none, "", watch, opened->descriptor.get(), places_.get());
        follow(top, std::move(opened->descriptor));
        if (stop_.stop_requested()) {
            return false;
        }
        changedSince_.reset();  // from here on events tell
        if (due_) {
            deliver();
        }
        hasToldCoverage_ = false;
        tellCoverage();
        return true;
    }

    bool beginAnew() {
        loseEvents();
        deliver();
        if (!begin()) {
            return false;
        }
        loseEvents();  // between the loss and now
        return true;
    }

    bool fail(int code) {
        tell_.failed(SystemError(SystemError::Operation::open, code, root_));
        return false;
    }

    // By a call that may never return. Invalid, with errno set, where it did not in time.
    FileDescriptor openInTime(const std::function<FileDescriptor()>& open) const {
        struct Opened {
            std::shared_ptr<FileDescriptor> descriptor;
            int error = 0;
        };
        const auto opened = callWithTimeout<Opened>(
            [open] {
                auto descriptor = std::make_shared<FileDescriptor>(open());
                const int error = *descriptor ? 0 : errno;
                return Opened{.descriptor = std::move(descriptor), .error = error};
            },
            options_.answerTimeout, stop_);
        if (!opened || opened->error != 0) {
            errno = opened ? opened->error : ETIMEDOUT;
            return {};
        }
        return std::move(*opened->descriptor);
    }

    void rememberPlaces() {
        places_ = std::make_unique<SpecialPlace>();
        noteExclusions(*places_, options_.excludedPathPrefixes, root_);
        // Taken note of before the table is read, so that a change in between is seen the next time.
        mountChanges_.reset(::open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC));
        table_ = MountTable::current();
        mounts_ = mountsBelow();
        for (const auto& [relative, mount] : mounts_) {
            SpecialPlace& place = places_->at(relative);
            place.isMountPoint = true;
            place.mayFailToAnswer = mount.mayFailToAnswer;
        }
        const Mount* holding = table_.mountHolding(realRoot_);
        places_->mayFailToAnswer = holding != nullptr && holding->mayFailToAnswer;
        rootMount_ = holding == nullptr ? 0 : holding->id;
        links_.noteMounts(table_);
    }

    // The mounts as they are, read again where something was mounted or unmounted. That is settled later.
    const MountTable& mountTable() {
        pollfd asked{.fd = mountChanges_.get(), .events = POLLPRI, .revents = 0};
        if (mountChanges_ && ::poll(&asked, 1, 0) > 0) {
            haveMountsChanged_ = true;
            table_ = MountTable::current();
        }
        return table_;
    }

    struct MountBelow {
        int id = 0;
        bool mayFailToAnswer = false;
    };
    using MountsBelow = std::unordered_map<std::string, MountBelow>;

    MountsBelow mountsBelow() const {
        MountsBelow found;
        for (const Mount& mount : table_.mounts()) {
            const auto relative = relativePath(mount.mountPoint, realRoot_);
            if (mount.isVisible && relative) {
                found[std::string(*relative)] = {.id = mount.id, .mayFailToAnswer = mount.mayFailToAnswer};
            }
        }
        return found;
    }

    void watchAncestors() {
        if (realRoot_ == "/") {
            return;
        }
        std::string_view path = realRoot_;
        do {
            path = parentPath(path);
            // One that may not be read cannot be watched, and is not this user's to move.
            const int watch =
                ::inotify_add_watch(inotify_.get(), std::string(path).c_str(), ancestorEvents | IN_MASK_ADD);
            if (watch >= 0) {
                ancestors_.insert(watch);
            }
        } while (path != "/");
    }

    int addWatch(int descriptor, std::uint32_t events) const {
        // A folder that is mounted at a second place keeps what it is watched for at the first.
        return ::inotify_add_watch(inotify_.get(), path_descriptors::pathThrough(descriptor).c_str(),
                                   events | IN_MASK_ADD);
    }

    // --- Following folders

    // Lists a folder that has just been watched, and follows what lies below it.
    void follow(Index top, FileDescriptor descriptor) {
        std::vector<Level> levels;
        levels.push_back({.folder = top, .descriptor = std::move(descriptor), .folders = {}});
        listFolders(levels.back());
        while (!levels.empty() && !stop_.stop_requested() && !mustBeginAnew_) {
            Level& level = levels.back();
            if (level.folders.empty()) {
                levels.pop_back();
                continue;
            }
            if (++sinceRead_ % foldersBetweenReads == 0) {
                readEvents();
            }
            if (!level.descriptor) {
                level.descriptor = openWatched(level.folder);
            }
            const std::string name = std::move(level.folders.back());
            level.folders.pop_back();
            if (!level.descriptor) {
                noteUnsettled(level.folder, name, errno);
                continue;
            }
            FileDescriptor child = openChild(level.folder, level.descriptor.get(), name);
            if (!child) {
                noteUnopened(errno);
                continue;
            }
            const Index folder = watchAt(level.folder, name, child.get());
            if (folder == none) {
                continue;
            }
            levels.push_back({.folder = folder, .descriptor = std::move(child), .folders = {}});
            listFolders(levels.back());
            if (levels.size() > mostOpenLevels) {
                levels[levels.size() - 1 - mostOpenLevels].descriptor.reset();
            }
        }
    }

    // In the order of their names, as the scan goes: where a folder has two places, both count the same one.
    void listFolders(Level& level) {
        const SpecialPlace* place = folders_.place(level.folder);
        for (;;) {
            const long count = system_calls::uninterrupted([&] {
                return ::syscall(SYS_getdents64, level.descriptor.get(), buffer_.data(), buffer_.size());
            });
            if (count <= 0) {
                if (count < 0) {
                    noteUnopened(errno);
                }
                break;
            }
            for (long at = 0; at < count;) {
                const auto* entry = reinterpret_cast<const KernelEntry*>(buffer_.data() + at);
                at += entry->length;
                // Of what kind it is where the file system does not say, opening it as a folder tells: a look
                // at it might have to wait for an answer.
                if ((entry->type == DT_DIR || entry->type == DT_UNKNOWN) && covers(place, entry->name)) {
                    level.folders.emplace_back(entry->name);
                }
            }
        }
        std::sort(level.folders.begin(), level.folders.end(), std::greater<>());
    }

    // Whether an entry of that name is to be watched, where `place` is what is known of its folder.
    bool covers(const SpecialPlace* place, std::string_view name) {
        if (name == "." || name == ".." || (options_.skipHiddenFiles && name.starts_with('.'))) {
            return false;
        }
        const SpecialPlace* child = SpecialPlace::child(place, name);
        if (child == nullptr) {
            return true;
        }
        if (!child->isExcluded && child->mayFailToAnswer) {
            coverage_.leavesOutMounts = true;
        }
        return !child->isExcluded && !child->mayFailToAnswer;
    }

    // Of a place in a folder that could not be opened.
    void noteUnsettled(Index folder, const std::string& name, int code) {
        if (meansNotThere(code)) {
            unsettled_.push_back({.watch = folders_.watch(folder), .name = name});
        } else {
            noteUnopened(code);
        }
    }

    void noteUnopened(int code) {
        // What may not be read is left out of a scan as well; what vanished is told; of a mount that is not
        // entered note has been taken.
        if (code != EACCES && code != EPERM && code != EXDEV && !meansNotThere(code)) {
            coverage_.hasUnopenedFolders = true;
        }
    }

    // A folder where the tree has it. Invalid, with ENOENT, where it is not there (any more, or yet).
    FileDescriptor openWatched(Index folder) {
        FileDescriptor opened = openPlaceOf(folder);
        if (opened && path_descriptors::identityOf(opened.get()) != folders_.identity(folder)) {
            opened.reset();
            errno = ENOENT;
        }
        return opened;
    }

    // What stands at a folder's place.
    FileDescriptor openPlaceOf(Index folder) {
        if (!openRoot_) {
            openRoot_ = openInTime(
                [path = root_] { return path_descriptors::openFolder(path, readFlags & ~O_NOFOLLOW); });
            if (!openRoot_ || path_descriptors::identityOf(openRoot_.get()) != identity_) {
                openRoot_.reset();
                mustBeginAnew_ = true;
                errno = ENOENT;
                return {};
            }
        }
        const std::string path = folders_.relativePath(folder);
        FileDescriptor opened = path_descriptors::openBelow(openRoot_.get(), path, readFlags, false);
        if (opened || errno != EXDEV) {
            return opened;
        }
        const Mount* mount = mountTable().mountHolding(joinedPath(realRoot_, path));
        return openAcrossMounts(mount, openRoot_.get(), path);
    }

    // `mount` is the last one on the way. Invalid, with EXDEV, where somebody may fail to answer.
    FileDescriptor openAcrossMounts(const Mount* mount, int from, const std::string& path) const {
        if (mount != nullptr && !mount->mayFailToAnswer) {
            // Another one may be mounted on top at this very moment.
            const auto held = std::make_shared<FileDescriptor>(::fcntl(from, F_DUPFD_CLOEXEC, 0));
            FileDescriptor opened = openInTime(
                [held, path] { return path_descriptors::openBelow(held->get(), path, readFlags); });
            if (opened || errno != ETIMEDOUT) {
                return opened;
            }
        }
        errno = EXDEV;
        return {};
    }

    // Opens a folder within one that is watched. What is mounted there may not be known yet: it was mounted a
    // moment ago, or came along with a folder that moved, which the system does not tell.
    FileDescriptor openChild(Index parent, int parentDescriptor, const std::string& name) {
        FileDescriptor child = path_descriptors::openBelow(parentDescriptor, name, readFlags, false);
        if (child || errno != EXDEV) {
            return child;
        }
        const std::string folder = folders_.relativePath(parent);
        const std::string relative = folder.empty() ? name : joinedPath(folder, name);
        const std::string path = joinedPath(realRoot_, relative);
        const Mount* mount = mountTable().mountAt(path);
        if (mount == nullptr) {
            table_ = MountTable::current();
            mount = table_.mountAt(path);
        }
        if (mount != nullptr) {
            mounts_[relative] = {.id = mount->id, .mayFailToAnswer = mount->mayFailToAnswer};
            rememberMount(relative);
        }
        child = openAcrossMounts(mount, parentDescriptor, name);
        if (!child && errno == EXDEV) {
            coverage_.leavesOutMounts = true;
        }
        return child;
    }

    // Watches what was opened at a place. Gives the folder where it is new and has to be listed; none where
    // it is known already, perhaps at another place from which it came here, or cannot be watched.
    Index watchAt(Index parent, const std::string& name, int descriptor) {
        const SpecialPlace* place = SpecialPlace::child(folders_.place(parent), name);
        for (;;) {
            const int watch = addWatch(descriptor, folderEvents);
            if (watch < 0) {
                if (errno == ENOSPC || errno == ENOMEM) {
                    coverage_.isLimitReached = true;
                } else {
                    noteUnopened(errno);
                }
                return none;
            }
            const Index known = folders_.byWatch(watch);
            const Index here = folders_.child(parent, name);
            if (here != none && here != known) {
                remove(here);  // something else stands here now; `known` may have been a part of it
                continue;
            }
            if (here != none || ancestors_.contains(watch)) {
                return none;
            }
            if (known == none) {
                return add(parent, name, watch, descriptor, place);
            }
            // A second way to a folder: the first one counts, as in a scan.
            const SpecialPlace* before = folders_.place(known);
            if (known == folders_.root() || (place != nullptr && place->isMountPoint) ||
                (before != nullptr && before->isMountPoint)) {
                return none;
            }
            if (folders_.isAtOrBelow(parent, known)) {
                mustBeginAnew_ =
                    true;  // the tree kept here is behind in a way that cannot be mended in place
                return none;
            }
            folders_.move(known, parent, name, place);
            return none;
        }
    }

    // Puts a folder that has just been watched into the tree.
    Index add(Index parent, const std::string& name, int watch, int descriptor, const SpecialPlace* place) {
        struct stat values;
        if (::fstat(descriptor, &values) != 0) {
            return folders_.add(parent, name, watch, FileIdentity(), place);
        }
        const Index folder =
            folders_.add(parent, name, watch, FileIdentity{values.st_dev, values.st_ino}, place);
        // Not of when it was modified, which is anybody's to set.
        if (changedSince_ && mayBeSince(values.st_ctim, *changedSince_)) {
            noteChange(folder, ".");
        }
        return folder;
    }

    void remove(Index folder) {
        folders_.remove(folder, [this](int watch) {
            changed_.erase(watch);  // its removal is a change of the folder above it
            ::inotify_rm_watch(inotify_.get(), watch);
            // Each sends an event of its own.
            if (++sinceRead_ % foldersBetweenReads == 0) {
                readEvents();
            }
        });
        if (folders_.root() == none) {
            mustBeginAnew_ = true;
        }
    }

    // --- Events

    void wait() {
        pollfd asked[] = {{.fd = inotify_.get(), .events = POLLIN, .revents = 0},
                          {.fd = wake_.get(), .events = POLLIN, .revents = 0},
                          {.fd = mountChanges_.get(), .events = POLLPRI, .revents = 0}};
        int milliseconds = -1;
        if (due_) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(*due_ - Clock::now());
            milliseconds = static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, INT_MAX));
        }
        openRoot_.reset();  // held any longer it would keep its volume from being unmounted
        if (mustBeginAnew_) {
            // It went wrong while it was set up: whatever is going on there gets a moment.
            ::poll(&asked[1], 1, static_cast<int>(options_.latency.count()));
            return;
        }
        ::poll(asked, mountChanges_ ? 3 : 2, haveMountsChanged_ ? 0 : milliseconds);
        haveMountsChanged_ =
            haveMountsChanged_ || (mountChanges_ && (asked[2].revents & (POLLPRI | POLLERR)) != 0);
    }

    // Takes what the system holds ready into memory.
    void readEvents() {
        for (;;) {
            if (backlog_.size() > mostBacklog) {
                mustBeginAnew_ = true;
                backlog_.clear();
            }
            const std::size_t used = backlog_.size();
            constexpr std::size_t piece = std::size_t{64} * 1024;
            backlog_.resize(used + piece);
            const ssize_t count = system_calls::uninterrupted([&] {
                // The checker takes a lock that was given back long before for one that is held; and nothing
                // waits here. NOLINTNEXTLINE(clang-analyzer-unix.BlockInCriticalSection)
                return ::read(inotify_.get(), backlog_.data() + used, piece);
            });
            backlog_.resize(used + (count > 0 ? static_cast<std::size_t>(count) : 0));
            if (count <= 0) {
                return;
            }
        }
    }

    void settleEvents() {
        // What is settled may read further events, behind those at hand.
        while (!mustBeginAnew_ && !stop_.stop_requested()) {
            if (settled_ < backlog_.size()) {
                inotify_event event;
                std::memcpy(&event, backlog_.data() + settled_, sizeof event);
                // A copy: settling may move the backlog.
                const char* bytes = backlog_.data() + settled_ + sizeof event;
                const std::string name(bytes, ::strnlen(bytes, event.len));
                settled_ += sizeof event + event.len;
                settle(event, name);
                continue;
            }
            backlog_.clear();
            settled_ = 0;
            if (movedAway_.empty() && unsettled_.empty()) {
                break;
            }
            // The other half of a move is in the queue by now, unless the folder left for good.
            readEvents();
            if (!backlog_.empty() || settleTheRest()) {
                continue;
            }
            dropMovedAway();
            if (!settleTheRest()) {
                readEvents();
                mustBeginAnew_ = mustBeginAnew_ || (backlog_.empty() && !unsettled_.empty());
            }
        }
        if (haveMountsChanged_ && !mustBeginAnew_) {
            haveMountsChanged_ = false;
            settleMounts();
        }
        if (mustBeginAnew_) {
            backlog_.clear();
            settled_ = 0;
        }
    }

    void settle(const inotify_event& event, const std::string& name) {
        if ((event.mask & IN_Q_OVERFLOW) != 0) {
            mustBeginAnew_ = true;
            return;
        }
        if (links_.mayChangeWay(event, name)) {
            mustBeginAnew_ = true;
            return;
        }
        const Index folder = folders_.byWatch(event.wd);
        if (folder == none) {
            // Of a folder that left; or the way to the root has changed.
            if (ancestors_.contains(event.wd) && (event.mask & (IN_MOVE_SELF | IN_DELETE_SELF)) != 0) {
                mustBeginAnew_ = true;
            }
            return;
        }
        if ((event.mask & IN_IGNORED) != 0) {
            remove(folder);
            return;
        }
        if (name.empty()) {
            // Of a folder below the root the one above it tells as well.
            if (folder == folders_.root()) {
                if ((event.mask & (IN_MOVE_SELF | IN_DELETE_SELF | IN_UNMOUNT)) != 0) {
                    mustBeginAnew_ = true;
                } else {
                    loseEvents();  // its own rights changed, and with them what can be read at all
                }
            }
            return;
        }
        if (!covers(folders_.place(folder), name)) {
            return;
        }
        noteChange(folder, name);
        if ((event.mask & IN_ISDIR) != 0) {
            settlePlace(folder, name, (event.mask & IN_MOVED_FROM) != 0);
        }
    }

    // Settles what had to wait for a folder's own move. True where that led any further.
    bool settleTheRest() {
        bool isAnySettled = false;
        for (const Unsettled& place : std::exchange(unsettled_, {})) {
            const Index folder = folders_.byWatch(place.watch);
            const std::size_t waiting = unsettled_.size();
            if (folder != none) {  // otherwise it has left, or was listed anew
                settlePlace(folder, place.name, false);
            }
            isAnySettled = isAnySettled || unsettled_.size() == waiting;
        }
        return isAnySettled;
    }

    // Makes the tree what stands at that place now.
    void settlePlace(Index parent, const std::string& name, bool hasMovedAway) {
        const FileDescriptor folder = openWatched(parent);
        if (!folder) {
            noteUnsettled(parent, name, errno);
            return;
        }
        FileDescriptor item = openChild(parent, folder.get(), name);
        if (!item) {
            const int problem = errno;
            noteUnopened(problem);
            const Index here = folders_.child(parent, name);
            if (here == none) {
                return;
            }
            if (hasMovedAway && problem == ENOENT) {
                movedAway_.push_back(folders_.watch(here));
            } else if (meansNotThere(problem)) {
                remove(here);
            }
            return;
        }
        const Index added = watchAt(parent, name, item.get());
        if (added != none) {
            follow(added, std::move(item));
        }
    }

    // Folders that left their place and turned up nowhere else.
    void dropMovedAway() {
        for (const int watch : std::exchange(movedAway_, {})) {
            const Index folder = folders_.byWatch(watch);
            if (folder == none || folder == folders_.root()) {
                continue;
            }
            const FileDescriptor parent = openWatched(folders_.parent(folder));
            if (mustBeginAnew_) {
                return;
            }
            const std::string name(folders_.name(folder));
            if (!parent || (!path_descriptors::openBelow(parent.get(), name, readFlags, false) &&
                            meansNotThere(errno))) {
                remove(folder);
            }
        }
    }

    // Something was mounted or unmounted somewhere.
    void settleMounts() {
        table_ = MountTable::current();
        const Mount* holding = table_.mountHolding(realRoot_);
        if ((holding != nullptr && holding->id != rootMount_) || links_.haveMountsChanged(table_)) {
            mustBeginAnew_ = true;  // the root itself or the way to it is covered, or not any more
            return;
        }
        MountsBelow now = mountsBelow();
        std::vector<std::string> places;
        for (const auto& [place, mount] : now) {
            const auto before = mounts_.find(place);
            if (before == mounts_.end() || before->second.id != mount.id) {
                places.push_back(place);
            }
        }
        for (const auto& [place, mount] : mounts_) {
            if (!now.contains(place)) {
                places.push_back(place);
            }
        }
        mounts_ = std::move(now);
        if (std::none_of(mounts_.begin(), mounts_.end(),
                         [](const auto& mount) { return mount.second.mayFailToAnswer; })) {
            coverage_.leavesOutMounts = false;  // those that go are entered below
        }
        std::sort(places.begin(), places.end());  // what holds others first
        for (const std::string& place : places) {
            settleMount(place);
        }
    }

    // Takes over what is known of a mount. Gives the folder that holds its place; none where that
    // is not covered.
    Index rememberMount(const std::string& relative) {
        SpecialPlace& place = places_->at(relative);
        const auto mount = mounts_.find(relative);
        place.isMountPoint = mount != mounts_.end();
        place.mayFailToAnswer = place.isMountPoint && mount->second.mayFailToAnswer;
        // The way there may have been without need of care until now.
        Index parent = folders_.root();
        const SpecialPlace* at = places_.get();
        std::string_view rest = relative;
        for (auto slash = rest.find('/'); slash != std::string_view::npos; slash = rest.find('/')) {
            const std::string_view name = rest.substr(0, slash);
            at = SpecialPlace::child(at, name);
            parent = parent == none ? none : folders_.child(parent, name);
            if (parent == none || at == nullptr || at->isExcluded) {
                return none;
            }
            folders_.setPlace(parent, at);
            rest.remove_prefix(slash + 1);
        }
        return parent;
    }

    void settleMount(const std::string& relative) {
        const Index parent = rememberMount(relative);
        const SpecialPlace& place = places_->at(relative);
        const std::string name(lastPathComponent(relative));
        if (parent == none || place.isExcluded || (options_.skipHiddenFiles && name.starts_with('.'))) {
            return;
        }
        if (const Index here = folders_.child(parent, name); here != none) {
            folders_.setPlace(here, &place);
            remove(here);  // another file system stands there now
        }
        noteChange(parent, name);
        if (covers(folders_.place(parent), name)) {
            settlePlace(parent, name, false);
        }
    }

    // --- Telling

    void noteChange(Index folder, const std::string& name) {
        changed_.try_emplace(folders_.watch(folder), name);
        setDue();
    }

    void loseEvents() {
        eventsAreLost_ = true;
        setDue();
    }

    void setDue() {
        if (!due_) {
            due_ = Clock::now() + options_.latency;
        }
    }

    void deliverWhenDue() {
        if (due_ && Clock::now() >= *due_) {
            deliver();
        }
    }

    void deliver() {
        FolderChanges changes{.eventsAreLost = std::exchange(eventsAreLost_, false), .paths = {}};
        if (!changes.eventsAreLost) {
            for (const auto& [watch, name] : changed_) {
                const Index folder = folders_.byWatch(watch);
                if (folder != none && !hasChangedAbove(folder)) {
                    changes.paths.push_back(
                        joinedPath(joinedPath(root_, folders_.relativePath(folder)), name));
                }
            }
        }
        changed_.clear();
        due_.reset();
        if (changes.eventsAreLost || !changes.paths.empty()) {
            tell_.changed(std::move(changes));
        }
    }

    bool hasChangedAbove(Index folder) const {
        for (Index at = folders_.parent(folder); at != none; at = folders_.parent(at)) {
            if (changed_.contains(folders_.watch(at))) {
                return true;
            }
        }
        return false;
    }

    void tellCoverage() {
        if (hasToldCoverage_ && told_.isComplete() == coverage_.isComplete() &&
            told_.isLimitReached == coverage_.isLimitReached &&
            told_.leavesOutMounts == coverage_.leavesOutMounts) {
            return;
        }
        coverage_.folders = static_cast<std::int64_t>(folders_.size());
        told_ = coverage_;
        hasToldCoverage_ = true;
        tell_.covered(coverage_);
    }

    const std::string root_;
    std::string realRoot_;
    RootLinks links_;  // on the way to it
    std::optional<FileIdentity> identity_;
    std::optional<FolderMoment> changedSince_;  // during the set-up
    const FolderWatcherOptions options_;
    const Tell tell_;
    const std::stop_token stop_;

    FileDescriptor wake_;
    FileDescriptor inotify_;
    FileDescriptor mountChanges_;
    FileDescriptor openRoot_;  // while events are settled
    std::unique_ptr<SpecialPlace> places_;
    MountTable table_;
    int rootMount_ = 0;  // the number of the mount that holds the root
    MountsBelow mounts_;
    WatchedFolders folders_;
    std::unordered_set<int> ancestors_;  // watches
    std::vector<char> buffer_;
    unsigned sinceRead_ = 0;

    std::vector<char> backlog_;  // events as the system wrote them
    std::size_t settled_ = 0;    // how much of it is settled
    struct Unsettled {
        int watch = -1;
        std::string name;
    };
    std::vector<Unsettled> unsettled_;  // places in folders that are not where the tree has them
    std::vector<int> movedAway_;        // watches of folders that left their place and may turn up at another
    bool haveMountsChanged_ = false;
    bool mustBeginAnew_ = false;

    std::unordered_map<int, std::string> changed_;  // by watch: the name of one changed item
    bool eventsAreLost_ = false;
    std::optional<Clock::time_point> due_;
    WatchCoverage coverage_;
    WatchCoverage told_;
    bool hasToldCoverage_ = false;
};

}  // namespace

// Between the owner and the thread, which may outlive it for an instant: the system takes a tenth of a second
// to give back the watches of a large tree, and nobody should wait for that.
struct FolderWatcher::Impl {
    // Gone with the watcher, and then nothing that waits in the main queue is called any more.
    std::shared_ptr<const Handlers> handlers;
    // Where the thread posts, for as long as there is an owner.
    struct Door {
        std::mutex mutex;
        MainQueue* mainQueue;
    };
    std::shared_ptr<Door> door = std::make_shared<Door>();
    std::shared_ptr<WatchEnd> end = std::make_shared<WatchEnd>();
    std::jthread thread;
};

FolderWatcher::FolderWatcher(MainQueue& mainQueue, std::string root, FolderWatcherOptions options,
                             Handlers handlers)
    : impl_(std::make_unique<Impl>()) {
    impl_->handlers = std::make_shared<const Handlers>(std::move(handlers));
    impl_->door->mainQueue = &mainQueue;
    const auto onMainThread = [door = impl_->door, alive = std::weak_ptr(impl_->handlers)](auto handler,
                                                                                           auto value) {
        const std::lock_guard lock(door->mutex);
        if (door->mainQueue == nullptr) {
            return;
        }
        door->mainQueue->post([alive, handler, value = std::move(value)] {
            if (const auto present = alive.lock(); present && (*present).*handler) {
                ((*present).*handler)(value);
            }
        });
    };
    Watch::Tell tell{
        .changed =
            [onMainThread](FolderChanges changes) { onMainThread(&Handlers::changed, std::move(changes)); },
        .covered = [onMainThread](WatchCoverage coverage) { onMainThread(&Handlers::covered, coverage); },
        .failed = [onMainThread](SystemError error) { onMainThread(&Handlers::failed, std::move(error)); },
    };
    try {
        impl_->thread =
            std::jthread([root, options = std::move(options), tell, end = impl_->end](std::stop_token stop) {
                nameThisThread("folder-watch");
                Watch(root, options, tell, std::move(stop)).run();
                end->noteClosed();
            });
    } catch (const std::system_error&) {
        tell.failed(SystemError(SystemError::Operation::launch, EAGAIN, ""));
    }
}

FolderWatcher::~FolderWatcher() {
    {
        const std::lock_guard lock(impl_->door->mutex);
        impl_->door->mainQueue = nullptr;
    }
    if (impl_->thread.joinable()) {
        impl_->end->noteOwnerHasGone();
        impl_->thread.request_stop();
        impl_->thread.detach();
    }
}

}  // namespace larkfold
