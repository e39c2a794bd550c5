#include "platform/qt/EventLoopQueue.h"

#include <QCoreApplication>
#include <QEvent>

namespace larkfold {

namespace {

QEvent::Type drainEvent() {
    static const int type = QEvent::registerEventType();
    return static_cast<QEvent::Type>(type);
}

}  // namespace

EventLoopQueue::EventLoopQueue(QObject* parent)
    : QObject(parent),
      // Posting an event is the one thing that another thread may do to an object of this one.
      queue_([this] { QCoreApplication::postEvent(this, new QEvent(drainEvent())); }) {}

EventLoopQueue::~EventLoopQueue() = default;

bool EventLoopQueue::event(QEvent* event) {
    if (event->type() == drainEvent()) {
        queue_.drain();
        return true;
    }
    return QObject::event(event);
}

}  // namespace larkfold
