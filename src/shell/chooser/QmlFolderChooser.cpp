#include "shell/chooser/QmlFolderChooser.h"

#include <QGuiApplication>
#include <utility>

#include "platform/StandardFolders.h"

namespace larkfold {

QmlFolderChooser::QmlFolderChooser(FolderChooserModel::Dependencies dependencies, QObject* parent)
    : QObject(parent), model_(std::move(dependencies)) {
    connect(&model_, &FolderChooserModel::accepted, this, [this] { answer(model_.choices()); });
}

QmlFolderChooser::~QmlFolderChooser() = default;

void QmlFolderChooser::ask(const Question& question, Chosen chosen) {
    reject();
    chosen_ = std::move(chosen);
    question_ = question;
    emit questionChanged();
    askDesktop();
}

QString QmlFolderChooser::title() const {
    return QString::fromStdString(question_.title.empty() ? question_.message : question_.title);
}

QString QmlFolderChooser::message() const {
    return question_.title.empty() ? QString() : QString::fromStdString(question_.message);
}

QString QmlFolderChooser::button() const {
    return question_.button.empty() ? QStringLiteral("Open") : QString::fromStdString(question_.button);
}

void QmlFolderChooser::askDesktop() {
    using Answer = DesktopOpenPanel::Answer;
    const std::string start = model_.folder().empty() ? homeDirectoryForCurrentUser() : model_.folder();
    desktopPanel_.ask(question_, start, QGuiApplication::focusWindow(),
                      [this, start](Answer result, const std::vector<std::string>& paths) {
                          if (result == Answer::unavailable) {
                              model_.begin(start, question_);
                              setOpen(true);
                          } else {
                              answer(paths);
                          }
                      });
}

void QmlFolderChooser::reject() {
    answer({});
}

void QmlFolderChooser::setOpen(bool open) {
    if (open != isOpen_) {
        isOpen_ = open;
        emit isOpenChanged();
    }
}

void QmlFolderChooser::answer(std::vector<std::string> paths) {
    desktopPanel_.close();
    model_.end();
    setOpen(false);
    // Taken out first: the answer may ask the next question.
    if (auto chosen = std::exchange(chosen_, nullptr)) {
        chosen(std::move(paths));
    }
}

}  // namespace larkfold
