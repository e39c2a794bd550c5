// The picture of the preview in the window, fitted into its place and never enlarged.
#pragma once

#include <QtQml/qqmlregistration.h>

#include <QImage>
#include <QPointer>
#include <QQuickPaintedItem>
#include "shell/disk/QuickLookDataSource.h"

namespace larkfold {

class PreviewImage : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(larkfold::QuickLookDataSource* source READ source WRITE setSource NOTIFY sourceChanged)

public:
    explicit PreviewImage(QQuickItem* parent = nullptr);

    QuickLookDataSource* source() const { return source_; }
    void setSource(QuickLookDataSource* source);

    void paint(QPainter* painter) override;

signals:
    void sourceChanged();

private:
    void followPicture();

    QPointer<QuickLookDataSource> source_;
    QImage image_;
};

}  // namespace larkfold
