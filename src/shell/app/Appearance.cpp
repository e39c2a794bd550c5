#include "shell/app/Appearance.h"

#include <QFont>
#include <QFontDatabase>
#include <QFontInfo>
#include <QGuiApplication>
#include <QIcon>
#include <algorithm>
#include <array>

namespace larkfold {

namespace {

// What the toolkit answers where no desktop names a font.
bool isNoFontOfADesktop(const QString& family) {
    return family.isEmpty() || family == QLatin1String("Sans Serif") || family == QLatin1String("Sans") ||
           family == QLatin1String("Helvetica");
}

// Desktops ask for 9 to 11 points; up to this many pixels at one's usual resolution that
// is no wish for large text.
constexpr double kUsualPixelSize = 15;

// What task lists show where they do not go by the desktop entry, in the sizes they take it in. Up to 24
// pixels there is a drawing with less in it.
QIcon windowIcon() {
    const QIcon small(QStringLiteral(":/icons/application/com.ostenbrook.larkfold-small.svg"));
    const QIcon full(QStringLiteral(":/icons/application/com.ostenbrook.larkfold.svg"));
    QIcon icon;
    for (const int pixels : std::array{16, 24, 32, 48, 64, 128}) {
        icon.addPixmap((pixels < 32 ? small : full).pixmap(pixels, pixels));
    }
    return icon;
}

}  // namespace

void Appearance::setUp(QGuiApplication& application) {
    QIcon::setThemeSearchPaths({QStringLiteral(":/icons")});
    QIcon::setThemeName(QStringLiteral("larkfold"));
    QGuiApplication::setWindowIcon(windowIcon());

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
