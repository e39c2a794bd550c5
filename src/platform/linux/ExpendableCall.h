// A system call that may never return, on a thread that can be given up.
//
// A dead network mount or a FUSE file system whose program hangs holds the calling thread for good; no signal frees it.
// So the call is made on a thread of its own: when it does not answer in time, the caller goes on and the thread is
// left behind with everything it holds (which is why the function must own what it touches). The number of threads left
// behind is bounded by the callers, who ask a mount no more once it has failed to answer.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <thread>
#include <utility>

namespace larkfold {

// Runs `call` and returns its value; nothing when it had not returned after `timeout`, when `stop` was requested
// meanwhile, or when no thread could be made. `call` owns (by value or shared pointer) all that it touches, and throws
// nothing.
template <typename T>
std::optional<T> expendableCall(std::function<T()> call, std::chrono::milliseconds timeout, std::stop_token stop = {}) {
    struct Shared {
        std::mutex mutex;
        std::condition_variable_any changed;
        std::optional<T> value;
    };
    auto shared = std::make_shared<Shared>();
    try {
        std::thread([shared, call = std::move(call)] {
            T value = call();
            const std::lock_guard lock(shared->mutex);
            shared->value.emplace(std::move(value));
            shared->changed.notify_all();
        }).detach();
    } catch (const std::system_error&) {
        return std::nullopt;
    }
    std::unique_lock lock(shared->mutex);
    shared->changed.wait_for(lock, stop, timeout, [&] { return shared->value.has_value(); });
    return std::exchange(shared->value, std::nullopt);
}

}  // namespace larkfold
