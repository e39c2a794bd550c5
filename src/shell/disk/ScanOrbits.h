// The picture of a scan at work: bodies drift inwards and gather into the rings that the map will have.
//
// One small picture painted on the processor, so that it looks and costs the same with and without a graphics
// card: two dozen bodies with short tails and five rings, 25 times a second. Its pace follows `activity`.
// With `still` it moves not at all. Main thread only, like every item.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QColor>
#include <QElapsedTimer>
#include <QQuickPaintedItem>
#include <QTimer>

namespace larkfold {

class ScanOrbits : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(double activity READ activity WRITE setActivity NOTIFY activityChanged)
    Q_PROPERTY(bool still READ still WRITE setStill NOTIFY stillChanged)
    Q_PROPERTY(QColor accent READ accent WRITE setAccent NOTIFY accentChanged)
    Q_PROPERTY(QColor track READ track WRITE setTrack NOTIFY trackChanged)

public:
    explicit ScanOrbits(QQuickItem* parent = nullptr);

    // 0 to 1.
    double activity() const { return activity_; }
    void setActivity(double activity);
    bool still() const { return still_; }
    void setStill(bool still);
    QColor accent() const { return accent_; }
    void setAccent(const QColor& accent);
    QColor track() const { return track_; }
    void setTrack(const QColor& track);

    void paint(QPainter* painter) override;

signals:
    void activityChanged();
    void stillChanged();
    void accentChanged();
    void trackChanged();

protected:
    void itemChange(ItemChange change, const ItemChangeData& data) override;

private:
    void startOrStop();
    void advance();

    double activity_ = 0;
    bool still_ = false;
    QColor accent_{0x2b, 0x63, 0xe8};
    QColor track_{0xdf, 0xe2, 0xea};

    QTimer timer_;
    QElapsedTimer sinceFrame_;
    double phase_ = 0;  // seconds of the picture's own time
    double pace_ = 0;   // seconds of its time for each of ours
};

}  // namespace larkfold
