// Reports from a working thread to the main thread, of which only the latest matters.
//
// However often the work reports, at most one delivery waits in the main queue, and it delivers the latest
// value. A delivery that was posted before a run's outcome arrives before it.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "platform/MainQueue.h"

namespace larkfold {

// Copies share one slot. `report` may be called from any thread, as long as the main queue lives.
template <typename T>
class CoalescedReports {
public:
    // `deliver` is called on the main thread.
    CoalescedReports(MainQueue& mainQueue, std::function<void(const T&)> deliver)
        : shared_(std::make_shared<Shared>(mainQueue, std::move(deliver))) {}

    void report(const T& value) const {
        {
            const std::lock_guard lock(shared_->mutex);
            const bool isPosted = shared_->latest.has_value();
            shared_->latest = value;
            if (isPosted) {
                return;
            }
        }
        shared_->mainQueue.post([shared = shared_] {
            std::optional<T> latest;
            {
                const std::lock_guard lock(shared->mutex);
                latest.swap(shared->latest);
            }
            if (latest) {
                shared->deliver(*latest);
            }
        });
    }

private:
    struct Shared {
        Shared(MainQueue& queue, std::function<void(const T&)> function)
            : mainQueue(queue), deliver(std::move(function)) {}
        MainQueue& mainQueue;
        std::function<void(const T&)> deliver;  // main thread only
        std::mutex mutex;
        std::optional<T> latest;  // guarded by the mutex
    };

    std::shared_ptr<Shared> shared_;
};

}  // namespace larkfold
