// The end of a watch, which comes in two steps: its owner goes, and a moment later its thread has given back
// what the system had granted it, which takes a tenth of a second for a large tree. Until then that still
// counts against the limits of this user, and another watch might be refused what is about to be free. So
// whoever begins a watch waits for those whose owners have gone. Linux part of the platform layer only. Safe
// from any thread.
#pragma once

#include <chrono>
#include <stop_token>

namespace larkfold {

// One for each watch, held by its owner and by its thread.
class WatchEnd {
public:
    // Each at most once, in any order.
    void noteOwnerHasGone();
    void noteClosed();

    // Until all watches of this process whose owners have gone are closed; for `wait` at most, and not after
    // a request to stop.
    static void awaitClosed(std::chrono::milliseconds wait, const std::stop_token& stop);

private:
    bool hasOwnerGone_ = false;
    bool isClosed_ = false;
};

}  // namespace larkfold
