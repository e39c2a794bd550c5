// The operations that take something of the user's away: the only ones of this program, and only the gate
// calls them.
//
// An item is *held*: its folder and itself are opened once, without following a link, and everything that is
// asked of it afterwards goes by these descriptors. Names can be exchanged at any time by any program, so a
// name that was checked says nothing about what the system takes away a moment later. Therefore an item is
// never removed where it stands. It is moved, by its name, to a place where nobody else works; what arrived
// there is compared with what is held; and where it is something else it is restored, before anything is
// lost.
//
// Everything of one removal happens on one thread.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "platform/DurableIdentity.h"
#include "platform/Error.h"
#include "platform/FileIdentity.h"

namespace larkfold::user_files {

// Why an item stays although the system itself would have let it go.
class Refusal final : public Error {
public:
    enum class Reason {
        unsafePath,  // it is not where it may be taken from, or another item than the one that was examined
        disproved,   // what was proved of it before does not hold any more
        alreadyInTrash,  // there is no second way into the Trash
        holdsTrash,      // a folder cannot go into what lies within it
        noTrash,         // no Trash can take it; `detail` tells why
        openToOthers,    // other users may write beside it, and there is no place to keep it from them
        removedInPart,   // a folder of which a part has gone; `detail` tells what the rest was in the way of
    };

    explicit Refusal(Reason reason, std::string detail = {}, std::string restsAt = {});

    Reason reason() const { return reason_; }

    // Where the item is now if it had been moved and could not be restored (its old name was taken meanwhile,
    // say); empty where it is in its place.
    const std::string& restsAt() const { return restsAt_; }

    std::string description() const override;

private:
    Reason reason_;
    std::string detail_;
    std::string restsAt_;
};

// What was read of an item when it was taken hold of.
struct ItemValues {
    FileIdentity identity;
    DurableIdentity durableIdentity;
    bool isDirectory = false;
    bool isRegularFile = false;
    bool isSymbolicLink = false;
    bool isVolume = false;           // a file system is mounted here
    bool holdsVolume = false;        // a file system is mounted somewhere below
    std::int64_t fileSize = 0;       // bytes of content
    std::int64_t allocatedSize = 0;  // bytes on disk, of the item itself
};

struct Measure {
    std::optional<std::int64_t>
        logicalBytes;  // content of everything in it; absent where a part was not read
    std::optional<std::int64_t> allocatedBytes;  // on disk, the folders themselves included
};

// What was proved of an item, asked after it was moved and before anything is lost. Where one of the two says
// no or throws, the item is restored.
struct Proof {
    std::function<bool()> stillHolds;  // the whole proof once more
    // Whether nothing has changed since: quick, and asked immediately before the last step.
    std::function<bool()> isUnchanged;
};

// Whether an item may be taken from this path, which has no link in it.
using MayGo = std::function<bool(const std::string& realPath)>;

// How an item goes, for whoever keeps a record of it.
struct Way {
    // Of a removal for good: the name of the private folder beside the item. Nobody else may know it.
    std::string stagingName;
    // Told immediately before each attempt to move the item: where it would be then. May be empty; may throw,
    // which leaves the item where it is.
    std::function<void(const std::string& place)> announce;
};

// A folder within which items may go.
struct Root {
    std::string path;
    // That it had when the items were chosen. Another folder at this path now opens nothing, and one of which
    // this was not known neither.
    std::optional<DurableIdentity> identity;
};

// What the removals of one run share: the roots, held, the mounts as they are, and what the Trash is to be
// told at the end.
class Session {
public:
    explicit Session(const std::vector<Root>& roots);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Where the roots that may be used really are, without a link.
    const std::vector<std::string>& roots() const;

    // Tells each Trash that folders came into the sizes of these. A failure costs nobody anything: the sizes
    // are measured anew by who wants to know them.
    void finish();

    struct Impl;
    Impl& impl() { return *impl_; }

private:
    std::unique_ptr<Impl> impl_;
};

class RetainedCopy;

class HeldItem {
public:
    // Takes hold of the item at `path`, an absolute path. Links in the path of its folder are followed once,
    // here, and none after that; the item itself is not followed. `mayGo` is asked for the path without a
    // link in it under which the item is held, before it is looked at. Throws Refusal where that says no or a
    // link gets into the way, SystemError where the item cannot be looked at.
    static HeldItem hold(Session& session, const std::string& path, const MayGo& mayGo);

    HeldItem(HeldItem&&) noexcept;
    HeldItem& operator=(HeldItem&&) noexcept;
    ~HeldItem();

    // Where it was found, without a link in it.
    const std::string& realPath() const;
    const ItemValues& values() const;

    // SHA-256 of its content; see SHA256.h.
    std::string sha256(const std::stop_token& stop);

    // Whether its size and its times are what they were when it was last hashed.
    bool isUnchangedSinceHash() const;

    // Begins to write its info file in the Trash on another thread, while it is measured: a sync waits for
    // the disk alone. `putIntoTrash` uses it; otherwise it goes again with the item.
    void prepareTrash();

    // Of everything in it, links not followed. Nothing of it is known where a part could not be read or
    // `stop` was requested before all was.
    Measure measure(const std::stop_token& stop) const;

    // Moves it into the Trash of its volume and tells its path there, at which the item then stood, with its
    // info file beside it. `measure`: as measured, for the Trash's
    // own records. `way` names no staging folder. Throws Refusal, SystemError and what `proof` throws;
    // then the item is in its place, or `Refusal::restsAt` tells where.
    std::string putIntoTrash(const Measure& measure, const Proof& proof, const Way& way);

    // Removes it for good, a folder with everything in it. What lies in a Trash goes with the info file of it
    // that was there when the item was taken hold of. Throws as `putIntoTrash`; where a folder could not be
    // removed whole, what is left of it is in its place.
    void removePermanently(const Proof& proof, const Way& way);

private:
    friend class RetainedCopy;
    struct Impl;
    explicit HeldItem(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

// A file that stays: the copy that proves another one to be superfluous.
class RetainedCopy {
public:
    // Takes hold of what stands at `path`, not following a link there. Throws SystemError.
    static RetainedCopy hold(Session& session, const std::string& path);

    RetainedCopy(RetainedCopy&&) noexcept;
    RetainedCopy& operator=(RetainedCopy&&) noexcept;
    ~RetainedCopy();

    bool isRegularFile() const;

    // Whether it is the very item, by the same name in the same folder, however the paths are written: then
    // it would go with it.
    bool isTheSameAs(const HeldItem& item) const;

    std::string sha256(const std::stop_token& stop) const;

    // Whether it had been left alone for a while when it was taken hold of. Only then do its times tell a
    // change: a system enters the time before it writes the bytes, and its clock may stand still for a
    // moment.
    bool hadSettled() const;

    // Whether its size, its times and the number of its names are what they were when it was taken hold of,
    // now that `item` was moved.
    bool isUnchangedBeside(const HeldItem& item) const;

private:
    struct Impl;
    explicit RetainedCopy(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

}  // namespace larkfold::user_files
