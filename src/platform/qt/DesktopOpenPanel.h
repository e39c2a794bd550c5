// The desktop's own dialog for choosing folders and files.
//
// It is asked for over D-Bus (the portal's file chooser), which every desktop that has a dialog offers, and
// which tells whether it can choose folders before anything is shown. Main thread only. Every call is
// asynchronous: a desktop that does not answer never holds up the window.
//
// It is no `OpenPanel` by itself: where there is no such dialog, whoever asks has to offer another one.
#pragma once

#include <QDBusMessage>
#include <QObject>
#include <QString>
#include <QWindow>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/OpenPanel.h"

namespace larkfold {

class DesktopOpenPanel : public QObject {
    Q_OBJECT

public:
    enum class Answer {
        chosen,
        turnedBack,
        unavailable  // nothing was shown to the user, or what was shown broke off
    };
    // `paths` are absolute bytes, as `OpenPanel` tells them; none unless `chosen`.
    using Done = std::function<void(Answer answer, const std::vector<std::string>& paths)>;

    explicit DesktopOpenPanel(QObject* parent = nullptr) : QObject(parent) {}
    ~DesktopOpenPanel() override;

    // Shows the dialog over `window` (may be null), beginning in `startFolder`, and calls `done` once, later.
    // A question that is open is closed and not answered any more.
    void ask(const OpenPanel::Question& question, const std::string& startFolder, const QWindow* window,
             Done done);

    // Closes the dialog; it is not answered any more.
    void close();

private slots:
    void responded(const QDBusMessage& signal);

private:
    void show(const OpenPanel::Question& question, const std::string& startFolder, const QString& window);
    void listenTo(const QString& request);
    void answer(Answer answer, const std::vector<std::string>& paths = {});

    Done done_;
    bool takesSeveral_ = false;
    QString request_;             // the object of the question that is shown; empty while none is
    std::uint64_t question_ = 0;  // tells a late reply to an earlier question
};

}  // namespace larkfold
