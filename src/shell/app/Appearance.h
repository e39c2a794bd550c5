// How the desktop wants the window to look. The window follows it; who knows the desktop sets it, and a test
// sets what it wants to see. Main thread only.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QString>

class QGuiApplication;

namespace larkfold {

class Appearance : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The program makes the one there is.")
    Q_PROPERTY(bool prefersDark READ prefersDark NOTIFY prefersDarkChanged)
    Q_PROPERTY(bool reducesMotion READ reducesMotion NOTIFY reducesMotionChanged)
    Q_PROPERTY(double typeScale READ typeScale CONSTANT)
    Q_PROPERTY(QString fontFamily READ fontFamily CONSTANT)

public:
    using QObject::QObject;

    // Chooses the icons, its own among them, and the font of the whole program. Call it once,
    // before any view is made. The desktop's own interface font stays where it names one; otherwise
    // Inter, where that is installed.
    void setUp(QGuiApplication& application);

    bool prefersDark() const { return prefersDark_; }
    bool reducesMotion() const { return reducesMotion_; }
    void setPrefersDark(bool dark);
    void setReducesMotion(bool reduces);

    // How much larger than usual the desktop wants text: 1 to 2.
    double typeScale() const { return typeScale_; }
    QString fontFamily() const { return fontFamily_; }

signals:
    void prefersDarkChanged();
    void reducesMotionChanged();

private:
    bool prefersDark_ = false;
    bool reducesMotion_ = false;
    double typeScale_ = 1;
    QString fontFamily_;
};

}  // namespace larkfold
