#include "shell/kit/PathActions.h"

#include <QClipboard>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QPointer>
#include <QUrl>
#include <utility>

#include "platform/qt/Desktop.h"
#include "platform/qt/PathText.h"

namespace larkfold {

PathActions::PathActions(Program revealer, Program opener, QObject* parent)
    : QObject(parent), revealer_(std::move(revealer)), opener_(std::move(opener)) {
    if (!revealer_) {
        revealer_ = [this](const std::string& path, std::function<void(bool)> done) {
            if (!desktop_) {
                desktop_ = std::make_unique<Desktop>();
            }
            desktop_->reveal({path}, std::move(done));
        };
    }
    if (!opener_) {
        opener_ = [](const std::string& path, const std::function<void(bool)>& done) {
            // The encoded form keeps the bytes of a name that is not UTF-8.
            done(QDesktopServices::openUrl(QUrl::fromEncoded(fileURLFromPath(path))));
        };
    }
}

PathActions::~PathActions() = default;

QString PathActions::copy(const std::string& path) {
    const QString asText = QString::fromUtf8(path.data(), static_cast<qsizetype>(path.size()));
    const bool isText = asText.toStdString() == path;
    QGuiApplication::clipboard()->setText(isText ? asText : QString::fromLatin1(fileURLFromPath(path)));
    return isText
               ? QStringLiteral("The path was copied.")
               : QStringLiteral(
                     "This name is not valid text, so its exact address (“file://…”) was copied instead of "
                     "the path.");
}

void PathActions::reveal(const std::string& path, Told told, const QString& where) {
    ask(revealer_, path, QStringLiteral("No file manager answered, so the item could not be shown. ") + where,
        std::move(told));
}

void PathActions::open(const std::string& path, Told told) {
    ask(opener_, path,
        QStringLiteral("No application answered, so the item could not be opened. Its path is “%1”."),
        std::move(told));
}

void PathActions::ask(const Program& program, const std::string& path, const QString& problem, Told told) {
    program(path, [actions = QPointer(this), text = problem.arg(displayString(path)),
                   told = std::move(told)](bool isDone) {
        if (actions) {
            told(isDone ? QString() : text);
        }
    });
}

}  // namespace larkfold
