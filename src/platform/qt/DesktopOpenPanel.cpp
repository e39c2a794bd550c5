#include "platform/qt/DesktopOpenPanel.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>
#include <QDBusVariant>
#include <QGuiApplication>
#include <QMetaType>
#include <QStringList>
#include <QUrl>
#include <QVariantMap>
#include <optional>
#include <utility>

#include "platform/UUID.h"
#include "platform/qt/PathText.h"

namespace larkfold {

namespace {

const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString fileChooser = QStringLiteral("org.freedesktop.portal.FileChooser");
const QString requestInterface = QStringLiteral("org.freedesktop.portal.Request");

// The first version of the interface that can choose folders.
constexpr uint versionWithFolders = 3;

// Milliseconds. The portal may have to be started first; who waits longer than this is better served by the
// window's own dialog.
constexpr int offerTimeout = 3'000;
constexpr int showTimeout = 25'000;

// What the signal `Response` tells first.
constexpr uint responseChosen = 0;
constexpr uint responseTurnedBack = 1;

void send(const QDBusMessage& message, int timeout, QObject* owner,
          std::function<void(const QDBusMessage&)> done) {
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        // A call without a bus never finishes. It is answered here, and later, as a bus would.
        QMetaObject::invokeMethod(
            owner, [done = std::move(done)] { done(QDBusMessage()); }, Qt::QueuedConnection);
        return;
    }
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(message, timeout), owner);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, owner,
                     [done = std::move(done)](QDBusPendingCallWatcher* finished) {
                         finished->deleteLater();
                         done(finished->reply());
                     });
}

bool choosesFolders(const QDBusMessage& versionReply) {
    if (versionReply.type() != QDBusMessage::ReplyMessage || versionReply.arguments().isEmpty()) {
        return false;
    }
    const auto version = versionReply.arguments().constFirst().value<QDBusVariant>().variant();
    return version.metaType() == QMetaType::fromType<uint>() && version.toUInt() >= versionWithFolders;
}

// The window as the portal names it. Other display systems tell no name that this release of the toolkit
// could ask for; the dialog then stands beside the window instead of over it.
QString nameOf(const QWindow* window) {
    if (window == nullptr || QGuiApplication::platformName() != QLatin1String("xcb")) {
        return {};
    }
    return QStringLiteral("x11:%1").arg(window->winId(), 0, 16);
}

// The object that will stand for the question: known before it is asked, so that no answer comes too early.
QString requestPath(const QDBusConnection& bus, const QString& token) {
    const QString sender = bus.baseService().mid(1).replace(QLatin1Char('.'), QLatin1Char('_'));
    return QStringLiteral("%1/request/%2/%3").arg(portalPath, sender, token);
}

// The first of the "uris" that the answer holds.
std::optional<std::string> chosenPath(const QVariant& results) {
    const auto values = qdbus_cast<QVariantMap>(results);
    const QStringList urls = qdbus_cast<QStringList>(values.value(QStringLiteral("uris")));
    return urls.isEmpty() ? std::nullopt : pathFromFileURL(QUrl::fromEncoded(urls.constFirst().toUtf8()));
}

}  // namespace

DesktopOpenPanel::~DesktopOpenPanel() {
    close();
}

void DesktopOpenPanel::ask(const QString& title, const std::string& startFolder, const QWindow* window,
                           Done done) {
    close();
    done_ = std::move(done);
    QDBusMessage message = QDBusMessage::createMethodCall(
        portalService, portalPath, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    message << fileChooser << QStringLiteral("version");
    send(message, offerTimeout, this,
         [this, question = question_, title, startFolder, name = nameOf(window)](const QDBusMessage& reply) {
             if (question != question_) {
                 return;
             }
             if (choosesFolders(reply)) {
                 show(title, startFolder, name);
             } else {
                 answer(Answer::unavailable);
             }
         });
}

void DesktopOpenPanel::show(const QString& title, const std::string& startFolder, const QString& window) {
    const QDBusConnection bus = QDBusConnection::sessionBus();
    const QString token = QStringLiteral("larkfold_%1")
                              .arg(QString::fromStdString(UUID::make().text()).remove(QLatin1Char('-')));
    listenTo(requestPath(bus, token));
    // The folder is bytes with a NUL at their end.
    const QByteArray folder(startFolder.c_str(), static_cast<qsizetype>(startFolder.size()) + 1);
    const QVariantMap options{{QStringLiteral("handle_token"), token},
                              {QStringLiteral("modal"), true},
                              {QStringLiteral("directory"), true},
                              {QStringLiteral("current_folder"), folder}};
    QDBusMessage message =
        QDBusMessage::createMethodCall(portalService, portalPath, fileChooser, QStringLiteral("OpenFile"));
    message << window << title << options;
    send(message, showTimeout, this, [this, question = question_](const QDBusMessage& reply) {
        if (question != question_) {
            return;
        }
        if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
            answer(Answer::unavailable);
            return;
        }
        // Portals of old name the object as they like.
        const QString object = reply.arguments().constFirst().value<QDBusObjectPath>().path();
        if (!object.isEmpty() && object != request_) {
            listenTo(object);
        }
    });
}

void DesktopOpenPanel::listenTo(const QString& request) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!request_.isEmpty()) {
        bus.disconnect(portalService, request_, requestInterface, QStringLiteral("Response"), this,
                       SLOT(responded(QDBusMessage)));
    }
    request_ = request;
    if (!request_.isEmpty()) {
        // Takes the whole message: with typed arguments the connection may be refused, see `Desktop`.
        bus.connect(portalService, request_, requestInterface, QStringLiteral("Response"), this,
                    SLOT(responded(QDBusMessage)));
    }
}

void DesktopOpenPanel::responded(const QDBusMessage& signal) {
    const QVariantList arguments = signal.arguments();
    if (signal.path() != request_ || arguments.size() != 2) {
        return;
    }
    const uint response = arguments[0].toUInt();
    if (response == responseTurnedBack) {
        answer(Answer::turnedBack);
        return;
    }
    const auto path = response == responseChosen ? chosenPath(arguments[1]) : std::nullopt;
    if (path) {
        answer(Answer::chosen, *path);
    } else if (response == responseChosen) {
        answer(Answer::turnedBack);  // something that is no folder of this machine
    } else {
        answer(Answer::unavailable);
    }
}

void DesktopOpenPanel::answer(Answer answer, const std::string& path) {
    listenTo({});
    ++question_;
    // Taken out first: the answer may ask the next question.
    if (const Done done = std::exchange(done_, nullptr)) {
        done(answer, path);
    }
}

void DesktopOpenPanel::close() {
    ++question_;
    done_ = nullptr;
    if (request_.isEmpty()) {
        return;
    }
    const QDBusMessage message =
        QDBusMessage::createMethodCall(portalService, request_, requestInterface, QStringLiteral("Close"));
    listenTo({});
    QDBusConnection::sessionBus().send(message);
}

}  // namespace larkfold
