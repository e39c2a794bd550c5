// A rounded rectangle with a dashed border, which plain rectangles cannot have. Main thread only, like every
// item.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QColor>
#include <QQuickPaintedItem>

namespace larkfold {

class DashedFrame : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QColor color MEMBER color_ NOTIFY changed)
    Q_PROPERTY(QColor borderColor MEMBER borderColor_ NOTIFY changed)
    Q_PROPERTY(double borderWidth MEMBER borderWidth_ NOTIFY changed)
    Q_PROPERTY(double radius MEMBER radius_ NOTIFY changed)
    Q_PROPERTY(bool dashed MEMBER dashed_ NOTIFY changed)

public:
    explicit DashedFrame(QQuickItem* parent = nullptr);

    void paint(QPainter* painter) override;

signals:
    void changed();

private:
    QColor color_{Qt::white};
    QColor borderColor_{Qt::gray};
    double borderWidth_ = 1;
    double radius_ = 10;
    bool dashed_ = true;
};

}  // namespace larkfold
