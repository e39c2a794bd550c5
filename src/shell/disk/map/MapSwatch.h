// One colour of the map for its legend, hatched and outlined as the map does it where `hatched`. Main thread
// only, like every item.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QColor>
#include <QQuickPaintedItem>

namespace larkfold {

class MapSwatch : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QColor color MEMBER color_ NOTIFY changed)
    Q_PROPERTY(bool hatched MEMBER hatched_ NOTIFY changed)

public:
    explicit MapSwatch(QQuickItem* parent = nullptr);

    void paint(QPainter* painter) override;

signals:
    void changed();

private:
    QColor color_{Qt::gray};
    bool hatched_ = false;
};

}  // namespace larkfold
