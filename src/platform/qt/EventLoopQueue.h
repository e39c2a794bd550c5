// The main queue, driven by Qt's event loop of the thread that makes it.
#pragma once

#include <QObject>

#include "platform/MainQueue.h"

namespace larkfold {

class EventLoopQueue final : public QObject {
    Q_OBJECT

public:
    explicit EventLoopQueue(QObject* parent = nullptr);
    ~EventLoopQueue() override;

    MainQueue& queue() { return queue_; }

protected:
    bool event(QEvent* event) override;

private:
    MainQueue queue_;
};

}  // namespace larkfold
