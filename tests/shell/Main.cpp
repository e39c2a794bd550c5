// Runs the tests of the shell: drawn as the program draws, open to assistive technology, with its icons, and
// with no way out of this machine.
#include <gtest/gtest.h>

#include <QAccessible>
#include <QGuiApplication>
#include <QIcon>
#include <QNetworkProxy>
#include <QQuickStyle>

#include "support/MachineRequirements.h"

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    larkfold::test::listSkippedTests();
    const QGuiApplication application(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    QQuickStyle::setStyle(QStringLiteral("Basic"));
    QIcon::setThemeSearchPaths({QStringLiteral(":/icons")});
    QIcon::setThemeName(QStringLiteral("larkfold"));
    QAccessible::setActive(true);
    QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy);
    return RUN_ALL_TESTS();
}
