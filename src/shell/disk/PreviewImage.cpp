#include "shell/disk/PreviewImage.h"

#include <QPainter>
#include <algorithm>

namespace larkfold {

PreviewImage::PreviewImage(QQuickItem* parent) : QQuickPaintedItem(parent) {
    setAntialiasing(true);
}

void PreviewImage::setSource(QuickLookDataSource* source) {
    if (source_ == source) {
        return;
    }
    if (source_) {
        source_->disconnect(this);
    }
    source_ = source;
    if (source_) {
        connect(source_, &QuickLookDataSource::contentChanged, this, &PreviewImage::followPicture);
    }
    followPicture();
    emit sourceChanged();
}

void PreviewImage::followPicture() {
    const QImage picture = source_ ? source_->picture() : QImage();
    if (image_.cacheKey() != picture.cacheKey()) {
        image_ = picture;
        update();
    }
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
