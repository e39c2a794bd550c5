#include "shell/disk/map/MapSwatch.h"

#include <QPainter>
#include <QPainterPath>
#include <QPen>
#include <numbers>

#include "shell/disk/map/SunburstMarks.h"
#include "shell/disk/map/SunburstPalette.h"

namespace larkfold {

namespace {

QColor toQColor(const SunburstColour& colour) {
    return QColor::fromRgbF(static_cast<float>(colour.red), static_cast<float>(colour.green),
                            static_cast<float>(colour.blue), static_cast<float>(colour.opacity));
}

}  // namespace

MapSwatch::MapSwatch(QQuickItem* parent) : QQuickPaintedItem(parent) {
    connect(this, &MapSwatch::changed, this, [this] { update(); });
}

void MapSwatch::paint(QPainter* painter) {
    constexpr double radius = 3;
    constexpr double line = SunburstMarks::hatchLine;
    const QRectF whole(0, 0, width(), height());
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(Qt::NoPen);
    painter->setBrush(color_);
    painter->drawRoundedRect(whole, radius, radius);
    if (!hatched_) {
        return;
    }
    const QColor dark = toQColor(SunburstPalette::hatchDark());
    const QColor light = toQColor(SunburstPalette::hatchLight());
    QPainterPath shape;
    shape.addRoundedRect(whole, radius, radius);
    painter->setClipPath(shape);
    // Lines that rise to the right, one of them through the middle.
    constexpr double step = SunburstMarks::period * std::numbers::sqrt2 * 0.75;
    for (double sum = (width() + height()) / 2 - 4 * step; sum < width() + height(); sum += step) {
        const auto draw = [&](const QColor& colour, double along) {
            painter->setPen(QPen(colour, line));
            painter->drawLine(QPointF(sum + along, 0), QPointF(sum + along - height(), height()));
        };
        draw(dark, 0);
        draw(light, line * std::numbers::sqrt2);
    }
    painter->setClipping(false);
    painter->setBrush(Qt::NoBrush);
    painter->setPen(QPen(light, line));
    painter->drawRoundedRect(whole.adjusted(line / 2, line / 2, -line / 2, -line / 2), radius, radius);
    painter->setPen(QPen(dark, line));
    constexpr double inside = 1.5 * line;
    painter->drawRoundedRect(whole.adjusted(inside, inside, -inside, -inside), radius - line, radius - line);
}

}  // namespace larkfold
