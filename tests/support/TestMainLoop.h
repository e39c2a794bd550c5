// A main thread's loop for tests: a `MainQueue` that is drained by whoever waits for something. No sleeping:
// waiting ends with what is posted, or, for a test that would otherwise hang, with the limit.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>

#include "platform/MainQueue.h"

namespace larkfold::test {

class TestMainLoop {
public:
    MainQueue& queue() { return queue_; }

    // Drains until `isDone()`; false when that did not come about within the limit.
    bool runUntil(const std::function<bool()>& isDone,
                  std::chrono::seconds limit = std::chrono::seconds(60)) {
        const auto end = std::chrono::steady_clock::now() + limit;
        for (;;) {
            if (isDone()) {
                return true;
            }
            {
                std::unique_lock lock(mutex_);
                if (!changed_.wait_until(lock, end, [this] { return isAwake_; })) {
                    return false;
                }
                isAwake_ = false;
            }
            queue_.drain();
        }
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool isAwake_ = false;
    // Last, so that it goes before what its wake function uses.
    MainQueue queue_{[this] {
        const std::lock_guard lock(mutex_);
        isAwake_ = true;
        changed_.notify_all();
    }};
};

}  // namespace larkfold::test
