// A system call that may never return, on a thread that can be given up.
//
// A path on a dead network mount or behind a stuck FUSE server blocks whoever looks at it, out of reach of
// signals. The call is therefore made on a thread of its own; after the wait the caller goes on without an
// answer and the thread stays behind until the mount answers or the program ends. What the call needs it
// owns: it captures by value only.
//
// At most `mostAbandoned` threads are ever left behind; from then on calls count as unanswered at once, until
// one of those comes back. A listing, which may meet any number of dead mounts, has to do with fewer: what it
// uses up must not keep other places from being opened. Safe from any thread. Costs about 30 microseconds.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <utility>

namespace larkfold {

namespace call_with_timeout {

// How long a question to a volume may take where nobody set another limit.
inline constexpr std::chrono::milliseconds shortWait{1'000};

inline constexpr int mostAbandoned = 256;
inline constexpr int mostAbandonedForListing = 32;

// Runs `work` on a detached thread; false, and nothing runs, where `limit` threads are left behind already.
bool start(std::function<void()> work, int limit = mostAbandoned);

// Called when a started thread's caller gives up waiting, and when such a thread comes back after all.
void noteAbandoned();
void noteReturned();

}  // namespace call_with_timeout

// The call's value, or nothing when it did not come in time or `stop` was requested. `call` throws nothing; a
// result that comes too late is destroyed on the thread left behind (so a descriptor in it is closed).
template <typename T>
std::optional<T> callWithTimeout(std::function<T()> call,
                                 std::chrono::milliseconds wait = call_with_timeout::shortWait,
                                 std::stop_token stop = {}, int limit = call_with_timeout::mostAbandoned) {
    struct Shared {
        std::mutex mutex;
        std::condition_variable_any answered;
        std::optional<T> value;
        bool isAbandoned = false;
    };
    auto shared = std::make_shared<Shared>();
    auto work = [shared, call = std::move(call)] {
        std::optional<T> value(call());
        std::unique_lock lock(shared->mutex);
        if (shared->isAbandoned) {
            lock.unlock();
            call_with_timeout::noteReturned();
            return;
        }
        shared->value.swap(value);
        shared->answered.notify_all();
    };
    if (!call_with_timeout::start(std::move(work), limit)) {
        return std::nullopt;
    }
    std::unique_lock lock(shared->mutex);
    shared->answered.wait_for(lock, stop, wait, [&] { return shared->value.has_value(); });
    if (!shared->value) {
        shared->isAbandoned = true;
        call_with_timeout::noteAbandoned();
        return std::nullopt;
    }
    return std::move(shared->value);
}

}  // namespace larkfold
