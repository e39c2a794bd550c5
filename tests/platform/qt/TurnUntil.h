#pragma once

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>
#include <chrono>
#include <functional>

namespace larkfold::test {

// Turns the event loop until `isDone()`; false when that did not come about within a minute.
inline bool turnUntil(const std::function<bool()>& isDone) {
    QTimer limit;
    limit.setSingleShot(true);
    limit.start(std::chrono::seconds(60));
    while (!isDone() && limit.isActive()) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return isDone();
}

}  // namespace larkfold::test
