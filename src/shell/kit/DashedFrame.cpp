#include "shell/kit/DashedFrame.h"

#include <QPainter>
#include <QPen>

namespace larkfold {

DashedFrame::DashedFrame(QQuickItem* parent) : QQuickPaintedItem(parent) {
    connect(this, &DashedFrame::changed, this, [this] { update(); });
}

void DashedFrame::paint(QPainter* painter) {
    painter->setRenderHint(QPainter::Antialiasing);
    QPen pen(borderColor_, borderWidth_);
    if (dashed_) {
        pen.setDashPattern({4 / borderWidth_, 4 / borderWidth_});
    }
    painter->setPen(pen);
    painter->setBrush(color_);
    const double inset = borderWidth_ / 2;
    painter->drawRoundedRect(QRectF(inset, inset, width() - borderWidth_, height() - borderWidth_), radius_,
                             radius_);
}

}  // namespace larkfold
