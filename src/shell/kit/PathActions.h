// What can be done with a path wherever one is shown: copied, shown in the file manager, opened.
//
// Each says in one sentence what came of it, in the same words everywhere; none does nothing in silence.
// Paths are bytes. Main thread only.
#pragma once

#include <QObject>
#include <QString>
#include <functional>
#include <memory>
#include <string>

namespace larkfold {

class Desktop;

class PathActions : public QObject {
public:
    // Asks another program to do it; `done(false)` where none does.
    using Program = std::function<void(const std::string& path, std::function<void(bool)> done)>;
    // Hears why it was not done; an empty text: it was. Not called once the actions are gone, which therefore
    // end with whoever hears.
    using Told = std::function<void(const QString& problem)>;

    // Absent: the desktop's file manager, and the application that it has for the file.
    explicit PathActions(Program revealer = nullptr, Program opener = nullptr, QObject* parent = nullptr);
    ~PathActions() override;

    // Puts the path on the clipboard, and its "file:" address where the path is no text, since only that
    // leads to it. Returns the sentence that tells which of the two it was.
    static QString copy(const std::string& path);

    // `where`: a sentence with a hole for the path, for who could not be shown the item; what is said of it
    // there has been looked at by the caller.
    void reveal(const std::string& path, Told told,
                const QString& where = QStringLiteral("Its path is “%1”."));
    void open(const std::string& path, Told told);

private:
    void ask(const Program& program, const std::string& path, const QString& problem, Told told);

    Program revealer_;
    Program opener_;
    std::unique_ptr<Desktop> desktop_;  // made when first needed
};

}  // namespace larkfold
