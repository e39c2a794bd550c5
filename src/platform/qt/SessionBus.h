// Calls to the services of the desktop over the session bus. Main thread only; no call waits for its answer.
#pragma once

#include <QDBusMessage>
#include <QObject>
#include <QString>
#include <chrono>
#include <functional>

namespace larkfold::session_bus {

// The desktop's portal: its name on the bus, and the object that its interfaces stand at.
QString portalService();
QString portalPath();

// Sends the call, and hands on its answer, later: an error where none came within `timeout`, and no reply at
// all (a message of no type) where there is no session bus. Dropped with `owner`.
void send(const QDBusMessage& message, std::chrono::milliseconds timeout, QObject* owner,
          std::function<void(const QDBusMessage&)> done);

}  // namespace larkfold::session_bus
