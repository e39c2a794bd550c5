#include "platform/MainQueue.h"

#include <cstdint>
#include <deque>
#include <mutex>
#include <utility>

namespace larkfold {

struct MainQueue::Impl {
    struct Entry {
        std::uint64_t number;
        std::function<void()> function;
    };

    // Constant after construction.
    std::function<void()> wake;

    // Everything below is protected by the mutex. No function of others runs, and none is destroyed, under
    // it.
    std::mutex mutex;
    std::deque<Entry> entries;
    std::uint64_t nextNumber = 0;
    bool isWakePending = false;

    // The oldest entry with a number below `limit`, taken out.
    bool take(std::uint64_t limit, std::function<void()>& function) {
        const std::lock_guard lock(mutex);
        if (entries.empty() || entries.front().number >= limit) {
            return false;
        }
        function = std::move(entries.front().function);
        entries.pop_front();
        return true;
    }

    // Sees to it that what is left is drained later.
    void wakeForRest() {
        {
            const std::lock_guard lock(mutex);
            if (entries.empty() || isWakePending) {
                return;
            }
            isWakePending = true;
        }
        wake();
    }
};

MainQueue::MainQueue(std::function<void()> wake) : impl_(std::make_unique<Impl>()) {
    impl_->wake = std::move(wake);
}

MainQueue::~MainQueue() = default;

void MainQueue::post(std::function<void()> function) {
    {
        const std::lock_guard lock(impl_->mutex);
        impl_->entries.push_back({impl_->nextNumber++, std::move(function)});
        if (impl_->isWakePending) {
            return;
        }
        impl_->isWakePending = true;
    }
    impl_->wake();
}

void MainQueue::drain() {
    std::uint64_t limit;
    {
        const std::lock_guard lock(impl_->mutex);
        limit = impl_->nextNumber;
        impl_->isWakePending = false;
    }
    // Taken out one at a time, so that a drain from within a function (one that runs an event loop of its
    // own) goes on in order.
    std::function<void()> function;
    while (impl_->take(limit, function)) {
        try {
            function();
        } catch (...) {
            impl_->wakeForRest();
            throw;
        }
        function = nullptr;
    }
}

}  // namespace larkfold
