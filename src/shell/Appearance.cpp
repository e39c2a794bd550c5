#include "shell/Appearance.h"

#include <QFont>
#include <QFontDatabase>
#include <QFontInfo>
#include <QGuiApplication>
#include <QIcon>
#include <algorithm>

namespace larkfold {

namespace {

// What the toolkit answers where no desktop names a font.
bool isNoFontOfADesktop(const QString& family) {
    return family.isEmpty() || family == QLatin1String("Sans Serif") || family == QLatin1String("Sans") ||
           family == QLatin1String("Helvetica");
}

// Desktops ask for 9 to 11 points; up to this many pixels at one's usual resolution that is no wish for large
// text.
constexpr double kUsualPixelSize = 15;

}  // namespace

void Appearance::setUp(QGuiApplication& application) {
    QIcon::setThemeSearchPaths({QStringLiteral(":/icons")});
    QIcon::setThemeName(QStringLiteral("larkfold"));

    QFont font = application.font();
    typeScale_ = std::clamp(QFontInfo(font).pixelSize() / kUsualPixelSize, 1.0, 2.0);
    if (isNoFontOfADesktop(font.family()) && QFontDatabase::hasFamily(QStringLiteral("Inter"))) {
        font.setFamily(QStringLiteral("Inter"));
        application.setFont(font);
    }
    fontFamily_ = font.family();
}

void Appearance::setPrefersDark(bool dark) {
    if (prefersDark_ != dark) {
        prefersDark_ = dark;
        emit prefersDarkChanged();
    }
}

void Appearance::setReducesMotion(bool reduces) {
    if (reducesMotion_ != reduces) {
        reducesMotion_ = reduces;
        emit reducesMotionChanged();
    }
}

}  // namespace larkfold
