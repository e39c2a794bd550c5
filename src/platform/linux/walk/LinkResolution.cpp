#include "platform/LinkResolution.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/Error.h"
#include "platform/Path.h"
#include "platform/linux/calls/CallWithTimeout.h"
#include "platform/linux/calls/FileDescriptor.h"

#ifndef __linux__
#error "This file is for Linux."
#endif

namespace larkfold {

namespace {

// As many links as the kernel follows in one path.
constexpr int mostLinks = 40;

// Puts the components of `path` on top of `pending`, the first of them uppermost.
void pushComponents(std::string_view path, std::vector<std::string>& pending) {
    const std::size_t bottom = pending.size();
    while (!path.empty()) {
        const std::size_t end = std::min(path.find('/'), path.size());
        const std::string_view component = path.substr(0, end);
        if (!component.empty() && component != ".") {
            pending.emplace_back(component);
        }
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    std::reverse(pending.begin() + static_cast<std::ptrdiff_t>(bottom), pending.end());
}

FileDescriptor openFolder(int parent, const char* name) {
    return FileDescriptor(::openat(parent, name, O_PATH | O_NOFOLLOW | O_DIRECTORY | O_CLOEXEC));
}

LinkResolution unanswered(int error) {
    return {.path = std::nullopt, .error = error};
}

LinkResolution resolve(const std::string& path) {
    if (!path.starts_with('/') || path.find('\0') != std::string::npos) {
        return unanswered(EINVAL);
    }
    std::vector<std::string> pending;
    pushComponents(path, pending);
    std::string resolved;  // without a "/" at its end; empty for the root
    FileDescriptor folder(openFolder(AT_FDCWD, "/"));
    if (!folder) {
        return unanswered(errno);
    }
    bool exists = true;  // false from the first missing component on: then only the text counts
    int links = 0;
    while (!pending.empty()) {
        const std::string component = std::move(pending.back());
        pending.pop_back();
        if (component == "..") {
            resolved.resize(resolved.empty() ? 0 : resolved.rfind('/'));
            if (exists) {
                folder = openFolder(folder.get(), "..");
                if (!folder) {
                    return unanswered(errno);
                }
            }
            continue;
        }
        if (!exists) {
            resolved += "/" + component;
            continue;
        }
        std::array<char, PATH_MAX> target;
        const ssize_t length = ::readlinkat(folder.get(), component.c_str(), target.data(), target.size());
        if (length >= 0) {
            if (++links > mostLinks) {
                return unanswered(ELOOP);
            }
            const std::string_view text(target.data(), static_cast<std::size_t>(length));
            if (text.starts_with('/')) {
                resolved.clear();
                folder = openFolder(AT_FDCWD, "/");
                if (!folder) {
                    return unanswered(errno);
                }
            }
            pushComponents(text, pending);
            continue;
        }
        if (errno == ENOENT) {
            exists = false;
        } else if (errno != EINVAL) {  // EINVAL: there, and no link
            return unanswered(errno);
        }
        resolved += "/" + component;
        if (exists && !pending.empty()) {
            folder = openFolder(folder.get(), component.c_str());
            if (!folder) {
                if (errno != ENOTDIR && errno != ENOENT) {
                    return unanswered(errno);
                }
                exists = false;  // below a file is nothing
            }
        }
    }
    return {.path = resolved.empty() ? "/" : std::move(resolved), .error = 0};
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
            resolved.push_back(resolve(path).path);
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
            LinkResolution answer = resolve(path);
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
