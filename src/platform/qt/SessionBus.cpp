#include "platform/qt/SessionBus.h"

#include <QDBusConnection>
#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>
#include <utility>

namespace larkfold::session_bus {

QString portalService() {
    return QStringLiteral("org.freedesktop.portal.Desktop");
}

QString portalPath() {
    return QStringLiteral("/org/freedesktop/portal/desktop");
}

void send(const QDBusMessage& message, std::chrono::milliseconds timeout, QObject* owner,
          std::function<void(const QDBusMessage&)> done) {
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        // A call without a bus never finishes. It is answered here, and later, as a bus would.
        QMetaObject::invokeMethod(
            owner, [done = std::move(done)] { done(QDBusMessage()); }, Qt::QueuedConnection);
        return;
    }
    auto* watcher =
        new QDBusPendingCallWatcher(bus.asyncCall(message, static_cast<int>(timeout.count())), owner);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, owner,
                     [done = std::move(done)](QDBusPendingCallWatcher* finished) {
                         finished->deleteLater();
                         done(finished->reply());
                     });
}

}  // namespace larkfold::session_bus
