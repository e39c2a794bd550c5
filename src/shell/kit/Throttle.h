// Tells of what changes often, and of no more of it than a view can show.
//
// The views ask for their rows and lay out their texts anew each time they are told, while marks change by
// the thousand and reports come hundreds of times a second. Main thread only.
#pragma once

#include <QObject>
#include <QTimer>
#include <chrono>
#include <functional>

namespace larkfold {

class Throttle {
public:
    // Told once in the next turn of the main loop, however much is noted until then.
    explicit Throttle(std::function<void()> tell);
    // Told at once where nothing was for `interval`, and otherwise once at its end.
    Throttle(std::chrono::milliseconds interval, std::function<void()> tell);

    // Something changed.
    void note();

private:
    void pass();

    std::function<void()> tell_;
    bool hasNews_ = false;
    bool tellsAtOnce_;
    QTimer rest_;  // ends with the throttle, and so does what has not been told
};

}  // namespace larkfold
