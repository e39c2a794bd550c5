// The map of the current folder: five rings of arcs, drawn into one picture.
//
// It holds no tree of its own. When the driver's tree, current folder or marks change, it lays out and draws
// anew before the next frame; a question in between is answered from a fresh layout. What follows the pointer
// and the keyboard is `SunburstInteractionLayer`, which lies above and has pictures of its own, so that the
// map is never drawn again for a pointer move.
//
// A folder opens outward from its arc, and closes into it on the way back, within `openingDuration`
// milliseconds. Main thread only.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QColor>
#include <QImage>
#include <QPointer>
#include <QQuickItem>
#include <QString>
#include <QVariantAnimation>
#include <QVariantList>
#include <memory>
#include <set>

#include "disk/DiskScannerViewModel.h"
#include "shell/disk/map/SunburstGeometry.h"
#include "shell/disk/map/SunburstLayout.h"
#include "shell/disk/map/SunburstRaster.h"
#include "shell/kit/Throttle.h"

namespace larkfold {

class SunburstItem : public QQuickItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(
        larkfold::DiskScannerViewModel* driver READ driver WRITE setDriver NOTIFY driverChanged REQUIRED)
    Q_PROPERTY(QColor discColor READ discColor WRITE setDiscColor NOTIFY discColorChanged)
    Q_PROPERTY(
        int openingDuration READ openingDuration WRITE setOpeningDuration NOTIFY openingDurationChanged)
    Q_PROPERTY(bool isOpening READ isOpening NOTIFY isOpeningChanged)

    // The centre: the hovered node if there is one, else the current folder.
    Q_PROPERTY(QString centerName READ centerName NOTIFY centerChanged)
    Q_PROPERTY(QString centerSize READ centerSize NOTIFY centerChanged)
    Q_PROPERTY(QString centerItems READ centerItems NOTIFY centerChanged)
    Q_PROPERTY(double discDiameter READ discDiameter NOTIFY discDiameterChanged)
    // True where the current folder has no size, so that there is nothing but the disc.
    Q_PROPERTY(bool isEmpty READ isEmpty NOTIFY mapChanged)
    // The first children of the current folder as {name, sizeText, color, isMarked, isHatched, spokenText}:
    // as they are drawn in the first ring around it. What goes with a marked folder is hatched as well.
    Q_PROPERTY(QVariantList legend READ legend NOTIFY legendChanged)
    // What the selected summary leaf stands for; empty where something else or nothing is selected.
    Q_PROPERTY(QString summaryTitle READ summaryTitle NOTIFY summaryChanged)
    Q_PROPERTY(QString summaryExplanation READ summaryExplanation NOTIFY summaryChanged)

public:
    static constexpr std::size_t legendLength = 8;

    explicit SunburstItem(QQuickItem* parent = nullptr);
    ~SunburstItem() override;

    DiskScannerViewModel* driver() const { return driver_; }
    void setDriver(DiskScannerViewModel* driver);
    QColor discColor() const { return discColor_; }
    void setDiscColor(const QColor& color);
    int openingDuration() const { return opening_.duration(); }
    void setOpeningDuration(int milliseconds);
    bool isOpening() const { return opening_.state() == QAbstractAnimation::Running; }

    QString centerName() const;
    QString centerSize() const;
    QString centerItems() const;
    double discDiameter() const { return 2 * geometry().discRadius(); }
    bool isEmpty() const;
    QVariantList legend() const;
    QString summaryTitle() const;
    QString summaryExplanation() const;

    // Takes the selection off the summary leaf that is explained.
    Q_INVOKABLE void dismissSummary();

    // The diameter of the disc where a map fills an area of that size.
    Q_INVOKABLE static double discDiameterIn(double width, double height);

    // The layout of the tree as it stands now.
    const SunburstLayout& layout() const;
    SunburstGeometry geometry() const { return SunburstGeometry::inArea(width(), height()); }
    FileNode::Pointer nodeAt(const QPointF& point) const;

    // The map as it rests, for pictures that replace parts of it: brought up to date, with the rectangle of
    // the item that the picture covers and the picture's size in pixels.
    struct Rest {
        const SunburstRaster& raster;
        QRectF rect;
        QSize pixels;
    };
    Rest rest();
    // Hatching and outlines for the same rectangle; null where nothing is marked.
    QImage drawnMarks();

signals:
    void driverChanged();
    void discColorChanged();
    void openingDurationChanged();
    void isOpeningChanged();
    void centerChanged();
    void discDiameterChanged();
    void mapChanged();      // another folder, or another tree
    void pictureChanged();  // anything that is drawn
    void legendChanged();
    void summaryChanged();

protected:
    void updatePolish() override;
    QSGNode* updatePaintNode(QSGNode* node, UpdatePaintNodeData* data) override;
    void geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) override;
    void itemChange(ItemChange change, const ItemChangeData& value) override;

private:
    void layOutAnew();
    void redraw();
    void noteMarks();
    void prepare();
    void beginOpening(const std::shared_ptr<const SunburstLayout>& before);
    void endOpening();
    template <typename Painter>
    QImage drawn(const Painter& painter) const;
    QImage frameAt(double progress) const;
    SunburstRaster rasterOf(const SunburstLayout& layout, const SunburstColour& disc,
                            const SunburstRaster::Opening& opening) const;
    SunburstRaster::View viewOfPicture() const;
    const std::set<UUID>& marked() const;
    SunburstColour disc() const;

    QPointer<DiskScannerViewModel> driver_;
    QColor discColor_{0x2b, 0x63, 0xe8, 0xcc};

    mutable std::shared_ptr<const SunburstLayout> layout_ = std::make_shared<SunburstLayout>();
    mutable bool layoutIsStale_ = true;
    std::shared_ptr<const SunburstLayout> shown_;  // the layout of the latest picture

    // The picture at rest: its raster, and where it lies on the screen's own pixels.
    SunburstRaster raster_;
    QRectF pictureRect_;
    QSize pictureSize_;
    double scale_ = 1;
    bool rasterIsStale_ = true;
    bool pictureIsStale_ = true;
    Throttle marks_;

    QImage picture_;  // on display
    bool isNewPicture_ = false;
    QImage still_;  // while a folder opens or closes: the other map, which comes or goes beneath

    QVariantAnimation opening_;
    std::shared_ptr<const SunburstLayout> openingLayout_;  // the one that grows or shrinks
    SunburstRaster::Opening openingFrom_;
    bool opensOutward_ = true;
};

}  // namespace larkfold
