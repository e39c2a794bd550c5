#include "platform/qt/DesktopOpenPanel.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QGuiApplication>
#include <QList>
#include <QMetaType>
#include <QStringList>
#include <QUrl>
#include <QVariantMap>
#include <chrono>
#include <utility>

#include "platform/UUID.h"
#include "platform/qt/PathText.h"
#include "platform/qt/SessionBus.h"

namespace larkfold {

namespace {

const QString fileChooser = QStringLiteral("org.freedesktop.portal.FileChooser");
const QString requestInterface = QStringLiteral("org.freedesktop.portal.Request");

// The first versions of the interface that can choose files, and folders.
constexpr uint versionWithFiles = 1;
constexpr uint versionWithFolders = 3;

// The portal may have to be started first; who waits longer than this is better served by the
// window's own dialog.
constexpr std::chrono::seconds offerTimeout{3};
constexpr std::chrono::seconds showTimeout{25};

// What the signal `Response` tells first.
constexpr uint responseChosen = 0;
constexpr uint responseTurnedBack = 1;

bool canAsk(const QDBusMessage& versionReply, OpenPanel::Kind kind) {
    if (versionReply.type() != QDBusMessage::ReplyMessage || versionReply.arguments().isEmpty()) {
        return false;
    }
    const auto version = versionReply.arguments().constFirst().value<QDBusVariant>().variant();
    return version.metaType() == QMetaType::fromType<uint>() &&
           version.toUInt() >= (kind == OpenPanel::Kind::file ? versionWithFiles : versionWithFolders);
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
    return QStringLiteral("%1/request/%2/%3").arg(session_bus::portalPath(), sender, token);
}

// A row of a filter, and a filter, as the portal takes them: a(sa(us)).
struct FilterRule {
    uint kind;  // 0: a pattern for names
    QString pattern;
};
struct Filter {
    QString name;
    QList<FilterRule> rules;
};

QDBusArgument& operator<<(QDBusArgument& argument, const FilterRule& rule) {
    argument.beginStructure();
    argument << rule.kind << rule.pattern;
    argument.endStructure();
    return argument;
}
const QDBusArgument& operator>>(const QDBusArgument& argument, FilterRule& rule) {
    argument.beginStructure();
    argument >> rule.kind >> rule.pattern;
    argument.endStructure();
    return argument;  // NOLINT(bugprone-return-const-ref-from-parameter): the toolkit wants this form
}
QDBusArgument& operator<<(QDBusArgument& argument, const Filter& filter) {
    argument.beginStructure();
    argument << filter.name << filter.rules;
    argument.endStructure();
    return argument;
}
const QDBusArgument& operator>>(const QDBusArgument& argument, Filter& filter) {
    argument.beginStructure();
    argument >> filter.name >> filter.rules;
    argument.endStructure();
    return argument;  // NOLINT(bugprone-return-const-ref-from-parameter): likewise
}

// "json" as "*.[jJ][sS][oO][nN]": patterns tell the cases of letters apart, `FileType` does not.
QString patternFor(const std::string& extension) {
    QString pattern = QStringLiteral("*.");
    for (const QChar character : QString::fromStdString(extension)) {
        if (character.unicode() < 0x80 && character.isLetter()) {
            pattern += QLatin1Char('[') + character.toLower() + character.toUpper() + QLatin1Char(']');
        } else {
            pattern += character;
        }
    }
    return pattern;
}

QList<Filter> filtersFor(const OpenPanel::FileType& type) {
    if (type.extensions.empty()) {
        return {};
    }
    Filter filter{.name = QString::fromStdString(type.name), .rules = {}};
    for (const std::string& extension : type.extensions) {
        filter.rules.append(FilterRule{.kind = 0, .pattern = patternFor(extension)});
    }
    return {filter};
}

QVariantMap optionsFor(const OpenPanel::Question& question, const std::string& startFolder,
                       const QString& token) {
    // The folder is bytes with a NUL at their end.
    const QByteArray folder(startFolder.c_str(), static_cast<qsizetype>(startFolder.size()) + 1);
    QVariantMap options{{QStringLiteral("handle_token"), token},
                        {QStringLiteral("modal"), true},
                        {QStringLiteral("directory"), question.kind != OpenPanel::Kind::file},
                        {QStringLiteral("multiple"), question.kind == OpenPanel::Kind::folders},
                        {QStringLiteral("current_folder"), folder}};
    if (!question.button.empty()) {
        options.insert(QStringLiteral("accept_label"), QString::fromStdString(question.button));
    }
    if (question.kind == OpenPanel::Kind::file && !question.fileType.extensions.empty()) {
        qDBusRegisterMetaType<FilterRule>();
        qDBusRegisterMetaType<QList<FilterRule>>();
        qDBusRegisterMetaType<Filter>();
        qDBusRegisterMetaType<QList<Filter>>();
        options.insert(QStringLiteral("filters"), QVariant::fromValue(filtersFor(question.fileType)));
    }
    return options;
}

// Those of the "uris" that the answer holds which are places of this machine.
std::vector<std::string> chosenPaths(const QVariant& results) {
    const auto values = qdbus_cast<QVariantMap>(results);
    std::vector<std::string> paths;
    for (const QString& url : qdbus_cast<QStringList>(values.value(QStringLiteral("uris")))) {
        if (auto path = pathFromFileURL(QUrl::fromEncoded(url.toUtf8()))) {
            paths.push_back(std::move(*path));
        }
    }
    return paths;
}

}  // namespace

DesktopOpenPanel::~DesktopOpenPanel() {
    close();
}

void DesktopOpenPanel::ask(const OpenPanel::Question& question, const std::string& startFolder,
                           const QWindow* window, Done done) {
    close();
    done_ = std::move(done);
    takesSeveral_ = question.kind == OpenPanel::Kind::folders;
    QDBusMessage message = QDBusMessage::createMethodCall(
        session_bus::portalService(), session_bus::portalPath(),
        QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    message << fileChooser << QStringLiteral("version");
    session_bus::send(
        message, offerTimeout, this,
        [this, number = question_, question, startFolder, name = nameOf(window)](const QDBusMessage& reply) {
            if (number != question_) {
                return;
            }
            if (canAsk(reply, question.kind)) {
                show(question, startFolder, name);
            } else {
                answer(Answer::unavailable);
            }
        });
}

void DesktopOpenPanel::show(const OpenPanel::Question& question, const std::string& startFolder,
                            const QString& window) {
    const QDBusConnection bus = QDBusConnection::sessionBus();
    const QString token = QStringLiteral("larkfold_%1")
                              .arg(QString::fromStdString(UUID::make().text()).remove(QLatin1Char('-')));
    listenTo(requestPath(bus, token));
    QDBusMessage message = QDBusMessage::createMethodCall(
        session_bus::portalService(), session_bus::portalPath(), fileChooser, QStringLiteral("OpenFile"));
    message << window << QString::fromStdString(question.title.empty() ? question.message : question.title)
            << optionsFor(question, startFolder, token);
    session_bus::send(message, showTimeout, this, [this, number = question_](const QDBusMessage& reply) {
        if (number != question_) {
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
        bus.disconnect(session_bus::portalService(), request_, requestInterface, QStringLiteral("Response"),
                       this, SLOT(responded(QDBusMessage)));
    }
    request_ = request;
    if (!request_.isEmpty()) {
        // Takes the whole message: with typed arguments the connection may be refused, see `Desktop`.
        bus.connect(session_bus::portalService(), request_, requestInterface, QStringLiteral("Response"),
                    this, SLOT(responded(QDBusMessage)));
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
    if (response != responseChosen) {
        answer(Answer::unavailable);
        return;
    }
    std::vector<std::string> paths = chosenPaths(arguments[1]);
    if (!takesSeveral_ && paths.size() > 1) {
        paths.resize(1);
    }
    // Nothing of this machine among it is like nothing at all.
    answer(paths.empty() ? Answer::turnedBack : Answer::chosen, paths);
}

void DesktopOpenPanel::answer(Answer answer, const std::vector<std::string>& paths) {
    listenTo({});
    ++question_;
    // Taken out first: the answer may ask the next question.
    if (const Done done = std::exchange(done_, nullptr)) {
        done(answer, paths);
    }
}

void DesktopOpenPanel::close() {
    ++question_;
    done_ = nullptr;
    if (request_.isEmpty()) {
        return;
    }
    const QDBusMessage message = QDBusMessage::createMethodCall(session_bus::portalService(), request_,
                                                                requestInterface, QStringLiteral("Close"));
    listenTo({});
    QDBusConnection::sessionBus().send(message);
}

}  // namespace larkfold
