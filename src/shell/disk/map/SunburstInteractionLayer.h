// What follows the pointer and the keyboard on the map: it asks the layout what lies where, tells
// the driver, and draws over the map in pictures of their own: the hovered arc, which covers what is there
// and never mixes with it, then hatching and outlines over what is marked, then the line around the focused
// arc. The marks are drawn anew with the map, and never for a pointer move.
//
// Pointer: a click goes into a folder and selects anything else; with Control (Command on a Mac) it marks.
// Keyboard: left and right move along a ring, up outwards, down inwards; Return goes in or selects, Backspace
// and Alt+Left go back, Space marks, Delete asks for the review. Main thread only.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QColor>
#include <QImage>
#include <QPointF>
#include <QPointer>
#include <QQuickItem>
#include <QString>
#include <memory>
#include <optional>

#include "shell/disk/map/SunburstItem.h"

class QSGImageNode;

namespace larkfold {

class SunburstInteractionLayer : public QQuickItem {
    Q_OBJECT
    QML_ELEMENT
    // The map below, of the same place and size.
    Q_PROPERTY(larkfold::SunburstItem* map READ map WRITE setMap NOTIFY mapChanged REQUIRED)
    // What the map lies on, and the colour of the line around the focused arc.
    Q_PROPERTY(QColor backgroundColor MEMBER backgroundColor_ NOTIFY colorsChanged)
    Q_PROPERTY(QColor focusColor MEMBER focusColor_ NOTIFY colorsChanged)
    // The id of the hovered node, empty where there is none.
    Q_PROPERTY(QString hoveredSegment READ hoveredSegment NOTIFY hoveredSegmentChanged)
    // The focused or else the hovered arc, or the current folder, in words.
    Q_PROPERTY(QString spokenValue READ spokenValue NOTIFY spokenValueChanged)

public:
    explicit SunburstInteractionLayer(QQuickItem* parent = nullptr);
    ~SunburstInteractionLayer() override;

    SunburstItem* map() const { return map_; }
    void setMap(SunburstItem* map);
    QString hoveredSegment() const;
    QString spokenValue() const;
    // The arc that has the keyboard, or null.
    FileNode::Pointer focusedNode() const { return focused_.lock(); }
    bool showsFocus() const { return showsFocus_ && hasActiveFocus(); }

signals:
    void mapChanged();
    void colorsChanged();
    void hoveredSegmentChanged();
    void spokenValueChanged();
    void reviewRequested();

protected:
    void updatePolish() override;
    QSGNode* updatePaintNode(QSGNode* node, UpdatePaintNodeData* data) override;
    void hoverEnterEvent(QHoverEvent* event) override;
    void hoverMoveEvent(QHoverEvent* event) override;
    void hoverLeaveEvent(QHoverEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseUngrabEvent() override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    enum class Step { left, right, outwards, inwards };

    // A picture that lies over the map.
    struct Overlay {
        QImage picture;
        QRectF rect;
        bool isNew = false;
    };

    DiskScannerViewModel* driver() const;
    void follow();
    void hover(const QPointF& point);
    void click(const FileNode::Pointer& node, bool marks);
    void moveFocus(Step step);
    void focusOn(const FileNode::Pointer& node);
    // The focused arc in the layout as it stands: the nearest that is left where the node has no arc any
    // more, and the folder's where nothing is left of it.
    std::optional<std::size_t> focusedArc() const;
    enum class Look { raised, outlined };
    Overlay overlayOf(std::size_t arc, Look look) const;
    Overlay marksOverlay() const;
    static Overlay emptyOverlay();
    void show(QSGImageNode& image, const Overlay& overlay) const;

    QPointer<SunburstItem> map_;
    QColor backgroundColor_ = Qt::white;
    QColor focusColor_ = Qt::black;
    std::weak_ptr<FileNode> focused_;
    bool showsFocus_ = false;
    std::weak_ptr<FileNode> pressed_;
    QString hoveredSegment_;
    std::optional<QPointF> pointer_;  // where it was seen last
    Overlay hoverOverlay_;
    Overlay marksOverlay_;
    Overlay focusOverlay_;
    bool marksAreStale_ = true;
};

}  // namespace larkfold
