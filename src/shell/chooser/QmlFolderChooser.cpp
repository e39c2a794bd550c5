#include "shell/chooser/QmlFolderChooser.h"

#include <QGuiApplication>
#include <utility>

#include "platform/StandardFolders.h"

namespace larkfold {

QmlFolderChooser::QmlFolderChooser(FolderChooserModel::Dependencies dependencies, QObject* parent)
    : QObject(parent), model_(std::move(dependencies)) {
    connect(&model_, &FolderChooserModel::accepted, this, [this] { answer(model_.choice()); });
}

QmlFolderChooser::~QmlFolderChooser() = default;

void QmlFolderChooser::chooseFolder(const std::string& message,
                                    std::function<void(std::optional<std::string>)> chosen) {
    reject();
    chosen_ = std::move(chosen);
    message_ = QString::fromStdString(message);
    emit messageChanged();
    askDesktop();
}

void QmlFolderChooser::askDesktop() {
    using Answer = DesktopOpenPanel::Answer;
    const std::string start = model_.folder().empty() ? homeDirectoryForCurrentUser() : model_.folder();
    desktopDialog_.ask(message_, start, QGuiApplication::focusWindow(),
                       [this, start](Answer result, const std::string& path) {
                           if (result == Answer::chosen) {
                               answer(path);
                           } else if (result == Answer::turnedBack) {
                               answer(std::nullopt);
                           } else {
                               model_.begin(start);
                               setOpen(true);
                           }
                       });
}

void QmlFolderChooser::reject() {
    answer(std::nullopt);
}

void QmlFolderChooser::setOpen(bool open) {
    if (open != isOpen_) {
        isOpen_ = open;
        emit isOpenChanged();
    }
}

void QmlFolderChooser::answer(std::optional<std::string> path) {
    desktopDialog_.close();
    model_.end();
    setOpen(false);
    // Taken out first: the answer may ask the next question.
    if (auto chosen = std::exchange(chosen_, nullptr)) {
        chosen(std::move(path));
    }
}

}  // namespace larkfold
