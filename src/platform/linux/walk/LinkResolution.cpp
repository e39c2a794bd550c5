#include "platform/LinkResolution.h"

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/Error.h"
#include "platform/linux/calls/CallWithTimeout.h"
#include "platform/linux/walk/LinkWalk.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

namespace {

LinkResolution unanswered(int error) {
    return {.path = std::nullopt, .error = error};
}

}  // namespace

std::optional<std::string> pathWithLinksResolved(const std::string& path) {
    return pathsWithLinksResolved({path}).front();
}

std::vector<std::optional<std::string>> pathsWithLinksResolved(const std::vector<std::string>& paths) {
    using Answers = std::vector<std::optional<std::string>>;
    const auto answers = callWithTimeout<Answers>([paths] {
        Answers resolved;
        resolved.reserve(paths.size());
        for (const std::string& path : paths) {
            resolved.push_back(walkLinks(path, {}).path);
        }
        return resolved;
    });
    return answers ? *answers : Answers(paths.size());
}

// All the questions are asked on one expendable thread, which stays behind where this one is told to stop,
// and ends with the question that it is at. It has no way back to whoever asked: how far it is, is looked at
// from here.
std::vector<LinkResolution> resolveLinks(const std::vector<std::string>& paths,
                                         const std::function<void(std::size_t)>& onAnswered,
                                         const std::stop_token& stop) {
    constexpr std::chrono::milliseconds interval{50};
    if (stop.stop_requested()) {
        throw CancellationError();
    }
    struct Shared {
        std::mutex mutex;
        std::condition_variable_any finished;
        std::vector<std::string> paths;
        std::vector<LinkResolution> answers;  // guarded by the mutex, as is what follows
        bool isFinished = false;
        bool isAbandoned = false;
    };
    auto shared = std::make_shared<Shared>();
    shared->paths = paths;
    shared->answers.reserve(paths.size());
    const bool hasStarted = call_with_timeout::start([shared] {
        for (const std::string& path : shared->paths) {
            LinkResolution answer = walkLinks(path, {});
            const std::lock_guard lock(shared->mutex);
            if (shared->isAbandoned) {
                call_with_timeout::noteReturned();
                return;
            }
            shared->answers.push_back(std::move(answer));
        }
        const std::lock_guard lock(shared->mutex);
        shared->isFinished = true;
        if (shared->isAbandoned) {
            call_with_timeout::noteReturned();
        }
        shared->finished.notify_all();
    });
    if (!hasStarted) {
        return {paths.size(), unanswered(EAGAIN)};
    }
    std::unique_lock lock(shared->mutex);
    while (!shared->finished.wait_for(lock, stop, interval, [&] { return shared->isFinished; })) {
        if (stop.stop_requested()) {
            shared->isAbandoned = true;
            call_with_timeout::noteAbandoned();
            throw CancellationError();
        }
        if (onAnswered) {
            const std::size_t answered = shared->answers.size();
            lock.unlock();
            onAnswered(answered);
            lock.lock();
        }
    }
    return std::move(shared->answers);
}

}  // namespace larkfold
