#include "shell/QmlFolderChooser.h"

#include <utility>

#include "platform/StandardFolders.h"
#include "platform/qt/PathText.h"

namespace larkfold {

void QmlFolderChooser::chooseFolder(const std::string& message,
                                    std::function<void(std::optional<std::string>)> chosen) {
    reject();
    chosen_ = std::move(chosen);
    message_ = QString::fromStdString(message);
    emit messageChanged();
    emit requested();
}

void QmlFolderChooser::accept(const QUrl& url) {
    answer(pathFromFileURL(url));
}

QUrl QmlFolderChooser::startFolder() const {
    return QUrl::fromEncoded(fileURLFromPath(homeDirectoryForCurrentUser()));
}

void QmlFolderChooser::reject() {
    answer(std::nullopt);
}

void QmlFolderChooser::answer(std::optional<std::string> path) {
    // Taken out first: the answer may ask the next question.
    if (auto chosen = std::exchange(chosen_, nullptr)) {
        chosen(std::move(path));
    }
}

}  // namespace larkfold
