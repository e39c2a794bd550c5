#include "platform/SerialContext.h"

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>

#include "platform/Error.h"
#include "platform/ThreadName.h"

namespace larkfold {

// Shared by the owner's handle, which keeps it alive, and weakly by the job and by what it posts. When the
// handle goes, the weak references tell the rest that nobody waits any more.
struct Run::State {
    std::stop_source stop;
    // Set on the main thread, read there before each delivery, and by the worker before it begins.
    std::atomic<bool> isDropped{false};
};

Run& Run::operator=(Run&& other) noexcept {
    if (this != &other) {
        drop();
        state_ = std::move(other.state_);
    }
    return *this;
}

Run::~Run() {
    drop();
}

void Run::cancel() {
    if (state_) {
        state_->stop.request_stop();
    }
}

void Run::drop() {
    // Taken out first: a stop callback may come back to this handle.
    if (const std::shared_ptr<State> state = std::move(state_)) {
        state->isDropped = true;
        state->stop.request_stop();
    }
}

struct SerialContext::Impl {
    struct Entry {
        Job job;
        std::weak_ptr<Run::State> state;
        std::stop_source stop;
    };

    // Constant after construction.
    MainQueue& mainQueue;
    std::string name;

    // Main thread only.
    std::thread thread;

    // Protected by the mutex.
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<Entry> waiting;
    std::optional<std::stop_source> running;
    bool isEnding = false;

    Impl(MainQueue& queue, std::string threadName) : mainQueue(queue), name(std::move(threadName)) {}

    static bool isWanted(const std::weak_ptr<Run::State>& weak) {
        const std::shared_ptr<Run::State> state = weak.lock();
        return state && !state->isDropped;
    }

    // Next entry to run; false when the context ends.
    bool take(Entry& entry) {
        std::unique_lock lock(mutex);
        changed.wait(lock, [this] { return isEnding || !waiting.empty(); });
        if (isEnding) {
            return false;
        }
        entry = std::move(waiting.front());
        waiting.pop_front();
        running = entry.stop;
        return true;
    }

    void work() {
        nameThisThread(name);
        Entry entry;
        while (take(entry)) {
            perform(entry);
            {
                const std::lock_guard lock(mutex);
                running.reset();
            }
            entry = Entry{};
        }
    }

    // False where the system has no thread to give.
    bool hasThread() {
        if (!thread.joinable()) {
            try {
                thread = std::thread([this] { work(); });
            } catch (const std::system_error&) {
                return false;
            }
        }
        return true;
    }

    void perform(Entry& entry, std::exception_ptr refusal = nullptr) {
        if (!isWanted(entry.state)) {
            // Never begun: what it captured goes where it came from.
            mainQueue.post([job = std::move(entry.job)] {});
            return;
        }
        std::function<void()> delivery = entry.job(entry.stop.get_token(), std::move(refusal));
        // Posted whether or not it is still wanted: the main thread decides, and destroys it.
        mainQueue.post([state = std::move(entry.state), delivery = std::move(delivery)] {
            if (isWanted(state)) {
                delivery();
            }
        });
    }
};

SerialContext::SerialContext(MainQueue& mainQueue, std::string name)
    : impl_(std::make_unique<Impl>(mainQueue, std::move(name))) {}

SerialContext::~SerialContext() {
    std::deque<Impl::Entry> dropped;
    std::optional<std::stop_source> running;
    {
        const std::lock_guard lock(impl_->mutex);
        impl_->isEnding = true;
        dropped.swap(impl_->waiting);
        running = impl_->running;
    }
    impl_->changed.notify_all();
    if (running) {
        // Outside of the lock: stop callbacks of others run here.
        running->request_stop();
    }
    if (impl_->thread.joinable()) {
        impl_->thread.join();
    }
}

Run SerialContext::enqueue(Job job) {
    auto state = std::make_shared<Run::State>();
    Impl::Entry entry{std::move(job), state, state->stop};
    if (!impl_->hasThread()) {
        impl_->perform(entry,
                       std::make_exception_ptr(SystemError(SystemError::Operation::launch, EAGAIN, "")));
        return Run(std::move(state));
    }
    {
        const std::lock_guard lock(impl_->mutex);
        impl_->waiting.push_back(std::move(entry));
    }
    impl_->changed.notify_one();
    return Run(std::move(state));
}

}  // namespace larkfold
