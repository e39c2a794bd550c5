// The entry of the program: one window over one event loop. It takes no arguments.

#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QVariant>

#include "platform/UserDefaults.h"
#include "platform/qt/Desktop.h"
#include "platform/qt/EventLoopQueue.h"
#include "shell/app/Appearance.h"
#include "shell/app/LarkfoldApp.h"
#include "shell/app/WindowMemory.h"

namespace {

void follow(const larkfold::Desktop& desktop, larkfold::Appearance& appearance) {
    const auto takeOver = [&desktop, &appearance] {
        appearance.setPrefersDark(desktop.prefersDark());
        appearance.setReducesMotion(desktop.reducesMotion());
    };
    QObject::connect(&desktop, &larkfold::Desktop::prefersDarkChanged, &appearance, takeOver);
    QObject::connect(&desktop, &larkfold::Desktop::reducesMotionChanged, &appearance, takeOver);
    takeOver();
}

}  // namespace

int main(int argumentCount, char** arguments) {
    int programNameOnly = argumentCount > 0 ? 1 : 0;
    QGuiApplication application(programNameOnly, arguments);
    QGuiApplication::setApplicationName(QStringLiteral("Larkfold"));
    QGuiApplication::setDesktopFileName(QStringLiteral("com.ostenbrook.larkfold"));
    QQuickStyle::setStyle(QStringLiteral("Basic"));

    larkfold::EventLoopQueue events;
    larkfold::UserDefaults defaults(larkfold::UserDefaults::standardFile(), events.queue());
    larkfold::Desktop desktop;
    larkfold::Appearance appearance;
    appearance.setUp(application);
    follow(desktop, appearance);
    larkfold::LarkfoldApp app({.mainQueue = events.queue(), .defaults = defaults, .appearance = appearance});
    larkfold::WindowMemory windowMemory(defaults);

    QQmlApplicationEngine engine;
    engine.addImportPath(QStringLiteral("qrc:/qt/qml"));
    engine.setInitialProperties({{QStringLiteral("app"), QVariant::fromValue(&app)}});
    engine.load(QUrl(QStringLiteral("qrc:/qt/qml/Larkfold/Shell/Main.qml")));
    if (engine.rootObjects().isEmpty()) {
        return 1;
    }
    if (auto* window = qobject_cast<QQuickWindow*>(engine.rootObjects().first())) {
        windowMemory.attach(*window);
        window->show();
    }
    return QGuiApplication::exec();
}
