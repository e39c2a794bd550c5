#include "platform/qt/Desktop.h"

#include <QColor>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDesktopServices>
#include <QEvent>
#include <QGuiApplication>
#include <QPalette>
#include <QUrl>
#include <chrono>
#include <utility>

#include "platform/Path.h"
#include "platform/qt/PathText.h"
#include "platform/qt/SessionBus.h"

namespace larkfold {

namespace {

const QString portalSettings = QStringLiteral("org.freedesktop.portal.Settings");

// The two settings that are read, by the names that the portal gives them.
const QString appearance = QStringLiteral("org.freedesktop.appearance");
const QString colorScheme = QStringLiteral("color-scheme");
const QString interfaceSettings = QStringLiteral("org.gnome.desktop.interface");
const QString enableAnimations = QStringLiteral("enable-animations");

// For the file manager or the previewer to answer. They may have to be started first.
constexpr std::chrono::seconds answerTimeout{10};

// The value inside of any number of variant wrappers: `Read` of the portal answers with two.
QVariant unwrapped(QVariant value) {
    while (value.metaType() == QMetaType::fromType<QDBusVariant>()) {
        value = value.value<QDBusVariant>().variant();
    }
    return value;
}

QGuiApplication* guiApplication() {
    return qobject_cast<QGuiApplication*>(QCoreApplication::instance());
}

bool paletteIsDark() {
    if (guiApplication() == nullptr) {
        return false;
    }
    const QPalette palette = QGuiApplication::palette();
    return palette.color(QPalette::Window).lightness() < palette.color(QPalette::WindowText).lightness();
}

bool openFolderHolding(const std::string& path) {
    // The encoded form keeps the bytes of a name that is not UTF-8.
    return QDesktopServices::openUrl(QUrl::fromEncoded(fileURLFromPath(parentPath(path))));
}

}  // namespace

Desktop::Desktop(QObject* parent) : QObject(parent) {
    setPrefersDark(paletteIsDark());
    if (QGuiApplication* application = guiApplication()) {
        application->installEventFilter(this);
    }
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (bus.isConnected()) {
        bus.connect(session_bus::portalService(), session_bus::portalPath(), portalSettings,
                    QStringLiteral("SettingChanged"), this, SLOT(settingChanged(QDBusMessage)));
        readSettings();
    }
}

Desktop::~Desktop() = default;

void Desktop::reveal(const std::vector<std::string>& paths, std::function<void(bool)> done) {
    if (paths.empty()) {
        done(false);
        return;
    }
    QStringList urls;
    for (const std::string& path : paths) {
        urls.append(QString::fromLatin1(fileURLFromPath(path)));
    }
    QDBusMessage message = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    message << urls << QString();
    session_bus::send(message, answerTimeout, this,
                      [first = paths.front(), done = std::move(done)](const QDBusMessage& answer) {
                          done(answer.type() == QDBusMessage::ReplyMessage || openFolderHolding(first));
                      });
}

void Desktop::preview(const std::string& path, std::function<void(bool)> done) {
    QDBusMessage message = QDBusMessage::createMethodCall(
        QStringLiteral("org.gnome.NautilusPreviewer"), QStringLiteral("/org/gnome/NautilusPreviewer"),
        QStringLiteral("org.gnome.NautilusPreviewer"), QStringLiteral("ShowFile"));
    // The handle of the parent window, and not to close what is shown already.
    message << QString::fromLatin1(fileURLFromPath(path)) << QString() << false;
    session_bus::send(message, answerTimeout, this, [done = std::move(done)](const QDBusMessage& answer) {
        done(answer.type() == QDBusMessage::ReplyMessage);
    });
}

bool Desktop::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::ApplicationPaletteChange && !portalTellsColors_) {
        setPrefersDark(paletteIsDark());
    }
    return QObject::eventFilter(watched, event);
}

void Desktop::readSettings() {
    const auto read = [this](const QString& group, const QString& key) {
        QDBusMessage message = QDBusMessage::createMethodCall(
            session_bus::portalService(), session_bus::portalPath(), portalSettings, QStringLiteral("Read"));
        message << group << key;
        session_bus::send(message, answerTimeout, this, [this, group, key](const QDBusMessage& answer) {
            if (answer.type() == QDBusMessage::ReplyMessage && !answer.arguments().isEmpty()) {
                takeSetting(group, key, answer.arguments().constFirst());
            }
        });
    };
    read(appearance, colorScheme);
    read(interfaceSettings, enableAnimations);
}

void Desktop::settingChanged(const QDBusMessage& signal) {
    const QVariantList arguments = signal.arguments();
    if (arguments.size() == 3) {
        takeSetting(arguments[0].toString(), arguments[1].toString(), arguments[2]);
    }
}

void Desktop::takeSetting(const QString& group, const QString& key, const QVariant& wrapped) {
    const QVariant value = unwrapped(wrapped);
    if (group == appearance && key == colorScheme) {
        // 0: no preference, 1: dark, 2: light. Without a preference the palette decides.
        bool isNumber = false;
        const uint scheme = value.toUInt(&isNumber);
        portalTellsColors_ = isNumber && (scheme == 1 || scheme == 2);
        setPrefersDark(portalTellsColors_ ? scheme == 1 : paletteIsDark());
    } else if (group == interfaceSettings && key == enableAnimations &&
               value.metaType() == QMetaType::fromType<bool>()) {
        setReducesMotion(!value.toBool());
    }
}

void Desktop::setPrefersDark(bool prefers) {
    if (prefersDark_ != prefers) {
        prefersDark_ = prefers;
        emit prefersDarkChanged();
    }
}

void Desktop::setReducesMotion(bool reduces) {
    if (reducesMotion_ != reduces) {
        reducesMotion_ = reduces;
        emit reducesMotionChanged();
    }
}

}  // namespace larkfold
