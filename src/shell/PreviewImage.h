// A decoded picture in the window, fitted into its place and never enlarged.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QImage>
#include <QQuickPaintedItem>

namespace larkfold {

class PreviewImage : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QImage image READ image WRITE setImage NOTIFY imageChanged)

public:
    explicit PreviewImage(QQuickItem* parent = nullptr);

    QImage image() const { return image_; }
    void setImage(const QImage& image);

    void paint(QPainter* painter) override;

signals:
    void imageChanged();

private:
    QImage image_;
};

}  // namespace larkfold
