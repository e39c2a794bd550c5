// Asks for a folder: through the desktop's own dialog where there is one, otherwise through one that the
// window shows. Main thread only.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QString>
#include <functional>
#include <optional>
#include <string>

#include "disk/FolderChooser.h"
#include "platform/qt/DesktopOpenPanel.h"
#include "shell/chooser/FolderChooserModel.h"

namespace larkfold {

class QmlFolderChooser : public QObject, public FolderChooser {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The window has the one there is.")
    Q_PROPERTY(QString message READ message NOTIFY messageChanged)
    // Whether the window shows its own dialog, over `model`.
    Q_PROPERTY(bool isOpen READ isOpen NOTIFY isOpenChanged)
    Q_PROPERTY(larkfold::FolderChooserModel* model READ model CONSTANT)

public:
    explicit QmlFolderChooser(FolderChooserModel::Dependencies dependencies, QObject* parent = nullptr);
    ~QmlFolderChooser() override;

    // A question that comes while another is open answers that one with nothing.
    void chooseFolder(const std::string& message,
                      std::function<void(std::optional<std::string>)> chosen) override;

    QString message() const { return message_; }
    bool isOpen() const { return isOpen_; }
    FolderChooserModel* model() { return &model_; }

    // "Cancel". Does nothing while no question is open.
    Q_INVOKABLE void reject();

signals:
    void messageChanged();
    void isOpenChanged();

private:
    void askDesktop();
    void setOpen(bool open);
    void answer(std::optional<std::string> path);

    FolderChooserModel model_;
    DesktopOpenPanel desktopDialog_;
    QString message_;
    bool isOpen_ = false;
    std::function<void(std::optional<std::string>)> chosen_;
};

}  // namespace larkfold
