#include "platform/linux/watch/WatchEnd.h"

#include <condition_variable>
#include <mutex>

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

namespace {

struct Closing {
    std::mutex mutex;  // guards every `WatchEnd` as well
    std::condition_variable_any isClosed;
    int count = 0;  // watches whose owner has gone and that are still open
};

// Never destroyed: the thread of a watch may outlive the program's own end.
Closing& closing() {
    static auto& only = *new Closing;
    return only;
}

}  // namespace

void WatchEnd::noteOwnerHasGone() {
    const std::lock_guard lock(closing().mutex);
    hasOwnerGone_ = true;
    closing().count += isClosed_ ? 0 : 1;
}

void WatchEnd::noteClosed() {
    const std::lock_guard lock(closing().mutex);
    isClosed_ = true;
    if (hasOwnerGone_) {
        --closing().count;
        closing().isClosed.notify_all();
    }
}

void WatchEnd::awaitClosed(std::chrono::milliseconds wait, const std::stop_token& stop) {
    std::unique_lock lock(closing().mutex);
    closing().isClosed.wait_for(lock, stop, wait, [] { return closing().count == 0; });
}

}  // namespace larkfold
