// The map drawn by the toolkit's own painter, arc after arc: slow, and what the rasteriser is held against.
#pragma once

#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <QPen>
#include <set>

#include "platform/UUID.h"
#include "shell/disk/map/SunburstGeometry.h"
#include "shell/disk/map/SunburstLayout.h"
#include "shell/disk/map/SunburstPalette.h"

namespace larkfold::test {

inline QColor toQColor(const SunburstColour& colour) {
    return QColor::fromRgbF(static_cast<float>(colour.red), static_cast<float>(colour.green),
                            static_cast<float>(colour.blue), static_cast<float>(colour.opacity));
}

inline QPainterPath arcPath(const SunburstGeometry& geometry, const SunburstLayout::Arc& arc) {
    const double inner = geometry.innerRadius(arc.depth);
    const double outer = geometry.outerRadius(arc.depth);
    const auto square = [&](double radius) {
        return QRectF(geometry.centreX - radius, geometry.centreY - radius, 2 * radius, 2 * radius);
    };
    QPainterPath path;
    if (arc.isFullCircle()) {
        path.addEllipse(square(outer));
        path.addEllipse(square(inner));
        return path;
    }
    // The painter's angles start at the right and grow the other way round.
    const double span = arc.end - arc.start;
    path.arcMoveTo(square(outer), 90 - arc.start);
    path.arcTo(square(outer), 90 - arc.start, -span);
    path.arcTo(square(inner), 90 - arc.end, span);
    path.closeSubpath();
    return path;
}

inline void drawByPainter(QPainter& painter, const SunburstLayout& layout, const SunburstGeometry& geometry,
                          const std::set<UUID>& marked, const SunburstColour& disc,
                          const FileNode* hovered = nullptr) {
    painter.setRenderHint(QPainter::Antialiasing);
    const QPen pen(QColor::fromRgbF(1, 1, 1, static_cast<float>(SunburstPalette::strokeOpacity)),
                   SunburstPalette::strokeWidth);
    for (const SunburstLayout::Arc& arc : layout.arcs()) {
        const QPainterPath path = arcPath(geometry, arc);
        const SunburstColour colour =
            marked.contains(arc.node->id())
                ? SunburstPalette::marked()
                : SunburstPalette::arc(arc.colour, arc.depth, arc.node.get() == hovered);
        painter.fillPath(path, toQColor(colour));
        painter.strokePath(path, pen);
    }
    painter.setPen(Qt::NoPen);
    painter.setBrush(toQColor(disc));
    painter.drawEllipse(QPointF(geometry.centreX, geometry.centreY), geometry.discRadius(),
                        geometry.discRadius());
}

// `geometry` in units, the picture in pixels.
inline QImage drawnByPainter(const SunburstLayout& layout, const SunburstGeometry& geometry, double scale,
                             int width, int height, const std::set<UUID>& marked, const SunburstColour& disc,
                             const FileNode* hovered = nullptr) {
    QImage image(width, height, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.scale(scale, scale);
    drawByPainter(painter, layout, geometry, marked, disc, hovered);
    return image;
}

}  // namespace larkfold::test
