#include "shell/kit/Throttle.h"

#include <utility>

namespace larkfold {

Throttle::Throttle(std::function<void()> tell) : tell_(std::move(tell)), tellsAtOnce_(false) {}

Throttle::Throttle(std::chrono::milliseconds interval, std::function<void()> tell)
    : tell_(std::move(tell)), tellsAtOnce_(true) {
    rest_.setInterval(interval);
    rest_.setSingleShot(true);
    QObject::connect(&rest_, &QTimer::timeout, [this] { pass(); });
}

void Throttle::note() {
    if (tellsAtOnce_) {
        hasNews_ = true;
        if (!rest_.isActive()) {
            pass();
        }
    } else if (!std::exchange(hasNews_, true)) {
        QMetaObject::invokeMethod(
            &rest_,
            [this] {
                hasNews_ = false;
                tell_();
            },
            Qt::QueuedConnection);
    }
}

void Throttle::pass() {
    if (std::exchange(hasNews_, false)) {
        rest_.start();
        tell_();
    }
}

}  // namespace larkfold
