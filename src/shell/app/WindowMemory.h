// Where the window stood and how large it was when the program ended. Main thread only.
#pragma once

#include <QObject>
#include <QPointer>
#include <QRect>
#include <QTimer>
#include <optional>

class QWindow;

namespace larkfold {

class UserDefaults;

class WindowMemory : public QObject {
    Q_OBJECT

public:
    // `defaults` outlives the memory.
    explicit WindowMemory(UserDefaults& defaults, QObject* parent = nullptr);
    ~WindowMemory() override;

    // Puts the window where it stood, if that still lies on a screen, and remembers from now on where it
    // goes. Call it once, before the window is shown.
    void attach(QWindow& window);

    // The stored rectangle; nothing where none is stored whole.
    std::optional<QRect> storedGeometry() const;

    // Saves at once what has changed.
    void save();

private:
    void note();

    UserDefaults& defaults_;
    QPointer<QWindow> window_;
    QTimer settle_;  // each write is synced to the disk, so a drag is saved once, when it rests
    QRect geometry_;
    bool maximized_ = false;
};

}  // namespace larkfold
