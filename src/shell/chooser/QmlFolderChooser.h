// Asks for folders and files: through the desktop's own dialog where there is one, otherwise through one that
// the window shows. Main thread only.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QString>
#include <string>
#include <vector>

#include "platform/OpenPanel.h"
#include "platform/qt/DesktopOpenPanel.h"
#include "shell/chooser/FolderChooserModel.h"

namespace larkfold {

class QmlFolderChooser : public QObject, public OpenPanel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The window has the one there is.")
    // What the dialog is called, what it says beneath, and what its button is called.
    Q_PROPERTY(QString title READ title NOTIFY questionChanged)
    Q_PROPERTY(QString message READ message NOTIFY questionChanged)
    Q_PROPERTY(QString button READ button NOTIFY questionChanged)
    // Whether the window shows its own dialog, over `model`.
    Q_PROPERTY(bool isOpen READ isOpen NOTIFY isOpenChanged)
    Q_PROPERTY(larkfold::FolderChooserModel* model READ model CONSTANT)

public:
    explicit QmlFolderChooser(FolderChooserModel::Dependencies dependencies, QObject* parent = nullptr);
    ~QmlFolderChooser() override;

    // A question that comes while another is open answers that one with nothing.
    void ask(const Question& question, Chosen chosen) override;

    QString title() const;
    QString message() const;  // empty where it stands as the title
    QString button() const;
    bool isOpen() const { return isOpen_; }
    FolderChooserModel* model() { return &model_; }

    // "Cancel". Does nothing while no question is open.
    Q_INVOKABLE void reject();

signals:
    void questionChanged();
    void isOpenChanged();

private:
    void askDesktop();
    void setOpen(bool open);
    void answer(std::vector<std::string> paths);

    FolderChooserModel model_;
    DesktopOpenPanel desktopPanel_;
    Question question_;
    bool isOpen_ = false;
    Chosen chosen_;
};

}  // namespace larkfold
