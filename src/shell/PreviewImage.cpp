#include "shell/PreviewImage.h"

#include <QPainter>
#include <algorithm>

namespace larkfold {

PreviewImage::PreviewImage(QQuickItem* parent) : QQuickPaintedItem(parent) {
    setAntialiasing(true);
}

void PreviewImage::setImage(const QImage& image) {
    if (image_.cacheKey() == image.cacheKey()) {
        return;
    }
    image_ = image;
    setImplicitSize(image_.width(), image_.height());
    emit imageChanged();
    update();
}

void PreviewImage::paint(QPainter* painter) {
    if (image_.isNull()) {
        return;
    }
    const double scale = std::min({1.0, width() / image_.width(), height() / image_.height()});
    const QSizeF size(image_.width() * scale, image_.height() * scale);
    const QRectF target(QPointF((width() - size.width()) / 2, (height() - size.height()) / 2), size);
    painter->setRenderHint(QPainter::SmoothPixmapTransform);
    painter->drawImage(target, image_);
}

}  // namespace larkfold
