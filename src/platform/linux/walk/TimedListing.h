// Opening and listing folders by calls that can be given up: those behind which somebody has to answer who
// may be gone, and what is mounted in the walk's way. Linux part of the platform layer only.
//
// A mount that may fail to answer is a *lane*: everything on it is opened and listed here, and after one call
// that was not answered nothing more is asked there.
#pragma once

#include <deque>
#include <memory>
#include <stop_token>
#include <string>
#include <utility>

#include "platform/DirectoryReader.h"
#include "platform/linux/mounts/MountWatch.h"
#include "platform/linux/walk/ListedFolder.h"
#include "platform/linux/walk/SpecialPlace.h"

namespace larkfold {

// One for each walk, and for the walk's thread alone. What cannot be read is told by the folder's error,
// ETIMEDOUT where nobody answered in time. Each listing throws CancellationError.
class TimedListing {
public:
    // `places` is constant from the first listing on. `options` outlive it.
    TimedListing(const DirectoryReaderOptions& options, std::shared_ptr<const SpecialPlace> places,
                 std::stop_token stop);

    // Where the root of the walk lies. Before anything is entered.
    void setRealRoot(std::string path) { realRoot_ = std::move(path); }

    // Fills a folder on the lane on which its parent lies. EXDEV where something is mounted there.
    void listInLane(ListedFolder& folder, int parentDescriptor, const std::string& name) const;

    // Fills a folder with what is mounted at its place, and sets its lane by that.
    void enter(ListedFolder& folder, int parentDescriptor, const std::string& name);

private:
    // Which place, and how many threads listings of its kind may leave behind.
    struct Place {
        int parentDescriptor;
        const std::string& name;  // below it; "." is the parent itself
        bool isEntered;           // what is mounted there is listed, and not refused
        int mostAbandoned;
    };

    // False where nobody answered.
    bool list(ListedFolder& folder, const Place& place) const;
    std::string realPathOf(const ListedFolder& folder) const;

    const DirectoryReaderOptions& options_;
    const std::shared_ptr<const SpecialPlace> places_;
    const std::stop_token stop_;
    std::string realRoot_;
    MountWatch mounts_;
    std::deque<SpecialPlace> lanes_;  // of mounts that were entered; folders point at them
};

}  // namespace larkfold
