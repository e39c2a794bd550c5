// A question whose answer may never come: asked on a thread of its own, for which nobody waits, neither an
// event loop nor the program's end.
#pragma once

#include <QMetaObject>
#include <QObject>
#include <functional>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/Error.h"

namespace larkfold {

class DetachedCall {
public:
    DetachedCall() = default;

    // Asks at once. `answered` is called in the event loop of `owner`'s thread, unless this object has gone
    // before that; `question` throws nothing and holds what it needs. `owner` outlives this object. Throws
    // SystemError where the system gives no thread.
    template <typename T>
    DetachedCall(QObject& owner, std::function<T()> question, std::function<void(T)> answered)
        : door_(std::make_shared<Door>()) {
        door_->owner = &owner;
        try {
            std::thread([door = door_, question = std::move(question), answered = std::move(answered)] {
                T answer = question();
                const std::lock_guard lock(door->mutex);
                if (door->owner == nullptr) {
                    return;
                }
                QMetaObject::invokeMethod(
                    door->owner,
                    [door, answered, answer = std::move(answer)] {
                        if (door->owner != nullptr) {  // written on this thread alone
                            answered(answer);
                        }
                    },
                    Qt::QueuedConnection);
            }).detach();
        } catch (const std::system_error& error) {
            throw SystemError(SystemError::Operation::launch, error.code().value(), {});
        }
    }
    ~DetachedCall() { forget(); }
    DetachedCall(DetachedCall&&) = default;
    DetachedCall& operator=(DetachedCall&& other) noexcept {
        forget();
        door_ = std::move(other.door_);
        return *this;
    }

private:
    struct Door {
        std::mutex mutex;
        QObject* owner = nullptr;  // null when nobody asks any more
    };

    void forget() noexcept {
        if (door_) {
            const std::lock_guard lock(door_->mutex);
            door_->owner = nullptr;
        }
    }

    std::shared_ptr<Door> door_;
};

}  // namespace larkfold
