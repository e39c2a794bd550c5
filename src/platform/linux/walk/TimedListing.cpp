#include "platform/linux/walk/TimedListing.h"

#include <fcntl.h>

#include <cerrno>
#include <exception>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/Error.h"
#include "platform/Path.h"
#include "platform/linux/calls/CallWithTimeout.h"
#include "platform/linux/calls/FileDescriptor.h"
#include "platform/linux/calls/SystemCalls.h"
#include "platform/linux/walk/FolderLister.h"
#include "platform/linux/walk/PathDescriptors.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

namespace {

constexpr int readFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW;

// The thread that may be left behind owns everything that it touches.
struct Work {
    FileDescriptor parent;
    std::string name;
    bool entersMounts;
    std::shared_ptr<const SpecialPlace> places;
    FolderLister lister;
    std::stop_token stop;
    ListedFolder result;
    std::exception_ptr failure;

    FileDescriptor open() const {
        return entersMounts ? FileDescriptor(system_calls::uninterrupted(
                                  [&] { return ::openat(parent.get(), name.c_str(), readFlags); }))
                            : path_descriptors::openOnSameMount(parent.get(), name.c_str(), readFlags);
    }

    void run() {
        result.descriptor = open();
        if (!result.descriptor) {
            result.error = errno;
            return;
        }
        try {
            lister.list(result, FolderLister::Values::asked, stop);
        } catch (...) {
            failure = std::current_exception();
        }
    }
};

}  // namespace

TimedListing::TimedListing(const DirectoryReaderOptions& options, std::shared_ptr<const SpecialPlace> places,
                           std::stop_token stop)
    : options_(options), places_(std::move(places)), stop_(std::move(stop)) {}

void TimedListing::listInLane(ListedFolder& folder, int parentDescriptor, const std::string& name) const {
    if (folder.lane->hasGivenUp) {
        folder.error = ETIMEDOUT;
        return;
    }
    folder.lane->hasGivenUp = !list(folder, {.parentDescriptor = parentDescriptor,
                                             .name = name,
                                             .isEntered = false,
                                             .mostAbandoned = call_with_timeout::mostAbandonedForListing});
}

// It may have come a moment ago, and be another one already than the table tells: what it is, is asked of
// what was opened. The table beforehand says only how many threads it may cost, so that dead mounts that use
// up their share keep no local disk from being read.
void TimedListing::enter(ListedFolder& folder, int parentDescriptor, const std::string& name) {
    const SpecialPlace* outer = folder.parent->lane;
    if (outer != nullptr && outer->hasGivenUp) {
        folder.error = ETIMEDOUT;
        return;
    }
    const bool mayFail = outer != nullptr || mounts_.mayFailToAnswer(realPathOf(folder));
    list(folder, {.parentDescriptor = parentDescriptor,
                  .name = name,
                  .isEntered = true,
                  .mostAbandoned = mayFail ? call_with_timeout::mostAbandonedForListing
                                           : call_with_timeout::mostAbandoned});
    if (folder.descriptor) {
        const bool isLane = !folder.mount || mounts_.mayFailToAnswer(*folder.mount);
        folder.lane = isLane ? &lanes_.emplace_back() : nullptr;
    }
}

bool TimedListing::list(ListedFolder& folder, const Place& place) const {
    FileDescriptor parent(::fcntl(place.parentDescriptor, F_DUPFD_CLOEXEC, 0));
    if (!parent) {
        folder.error = errno;
        return true;
    }
    const auto work = std::make_shared<Work>(Work{.parent = std::move(parent),
                                                  .name = place.name,
                                                  .entersMounts = place.isEntered,
                                                  .places = places_,
                                                  .lister = FolderLister(options_),
                                                  .stop = stop_,
                                                  .result = {},
                                                  .failure = nullptr});
    work->result.place = folder.place;
    const auto answer = callWithTimeout<bool>(
        [work] {
            work->run();
            return true;
        },
        options_.answerTimeout, stop_, place.mostAbandoned);
    if (stop_.stop_requested()) {
        throw CancellationError();
    }
    if (!answer) {
        folder.error = ETIMEDOUT;
        return false;
    }
    if (work->failure) {
        std::rethrow_exception(work->failure);
    }
    ListedFolder& result = work->result;
    folder.entries = std::move(result.entries);
    folder.names = std::move(result.names);
    folder.identity = result.identity;
    folder.mount = result.mount;
    folder.allocatedSize = result.allocatedSize;
    folder.error = result.error;
    folder.hiddenSkipped = result.hiddenSkipped;
    folder.descriptor = std::move(result.descriptor);
    return true;
}

std::string TimedListing::realPathOf(const ListedFolder& folder) const {
    std::vector<std::string_view> names;
    for (const ListedFolder* at = &folder; at->parent != nullptr; at = at->parent) {
        names.push_back(at->name);
    }
    std::string path = realRoot_;
    for (; !names.empty(); names.pop_back()) {
        path = joinedPath(path, names.back());
    }
    return path;
}

}  // namespace larkfold
