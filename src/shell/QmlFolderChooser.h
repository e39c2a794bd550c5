// Asks for a folder through a dialog that the window shows when it is asked. Main thread only.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QString>
#include <QUrl>
#include <functional>
#include <optional>
#include <string>

#include "disk/FolderChooser.h"

namespace larkfold {

class QmlFolderChooser : public QObject, public FolderChooser {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The window has the one there is.")
    Q_PROPERTY(QString message READ message NOTIFY messageChanged)
    // Where the dialog begins: the user's home folder.
    Q_PROPERTY(QUrl startFolder READ startFolder NOTIFY messageChanged)

public:
    using QObject::QObject;

    // A question that comes while another is open answers that one with nothing.
    void chooseFolder(const std::string& message,
                      std::function<void(std::optional<std::string>)> chosen) override;

    QString message() const { return message_; }
    QUrl startFolder() const;

    // What the dialog came to. A URL that names no local folder counts as turning back.
    Q_INVOKABLE void accept(const QUrl& url);
    Q_INVOKABLE void reject();

signals:
    void messageChanged();
    // The window shows its dialog now.
    void requested();

private:
    void answer(std::optional<std::string> path);

    QString message_;
    std::function<void(std::optional<std::string>)> chosen_;
};

}  // namespace larkfold
