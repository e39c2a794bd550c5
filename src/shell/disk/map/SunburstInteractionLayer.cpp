#include "shell/disk/map/SunburstInteractionLayer.h"

#include <QCursor>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QQuickWindow>
#include <QSGImageNode>
#include <utility>

#include "shell/disk/map/SunburstTexts.h"

namespace larkfold {

namespace {

SunburstColour toColour(const QColor& colour) {
    return {
        .red = colour.redF(), .green = colour.greenF(), .blue = colour.blueF(), .opacity = colour.alphaF()};
}

struct LayerNode : QSGNode {
    QSGImageNode* hover = nullptr;
    QSGImageNode* marks = nullptr;
    QSGImageNode* focus = nullptr;
};

}  // namespace

SunburstInteractionLayer::SunburstInteractionLayer(QQuickItem* parent) : QQuickItem(parent) {
    setFlag(ItemHasContents);
    setAcceptHoverEvents(true);
    setAcceptedMouseButtons(Qt::LeftButton);
    setActiveFocusOnTab(true);
    connect(this, &SunburstInteractionLayer::colorsChanged, this, &QQuickItem::polish);
}

SunburstInteractionLayer::~SunburstInteractionLayer() = default;

DiskScannerViewModel* SunburstInteractionLayer::driver() const {
    return map_ ? map_->driver() : nullptr;
}

void SunburstInteractionLayer::setMap(SunburstItem* map) {
    if (map == map_) {
        return;
    }
    if (map_) {
        map_->disconnect(this);
    }
    map_ = map;
    if (map_) {
        connect(map_, &SunburstItem::driverChanged, this, &SunburstInteractionLayer::follow);
        connect(map_, &SunburstItem::centerChanged, this, &SunburstInteractionLayer::follow);
        connect(map_, &SunburstItem::pictureChanged, this, [this] {
            marksAreStale_ = true;
            follow();
        });
        connect(map_, &SunburstItem::isOpeningChanged, this, [this] {
            marksAreStale_ = true;
            polish();
        });
        // Then something else lies under the pointer, though it rests.
        connect(map_, &SunburstItem::mapChanged, this, [this] {
            pointer_.reset();
            if (const auto arc = showsFocus_ ? focusedArc() : std::nullopt) {
                focused_ = map_->layout().arcs()[*arc].node;
            }
        });
    }
    marksAreStale_ = true;
    emit mapChanged();
    follow();
}

void SunburstInteractionLayer::follow() {
    const FileNode::Pointer hovered = driver() != nullptr ? driver()->hoveredNode() : nullptr;
    const QString segment = hovered ? QString::fromStdString(hovered->id().text()) : QString();
    if (segment != hoveredSegment_) {
        hoveredSegment_ = segment;
        emit hoveredSegmentChanged();
    }
    emit spokenValueChanged();
    polish();
}

QString SunburstInteractionLayer::hoveredSegment() const {
    return hoveredSegment_;
}

QString SunburstInteractionLayer::spokenValue() const {
    const FileNode::Pointer current = driver() != nullptr ? driver()->currentNode() : nullptr;
    if (!current) {
        return {};
    }
    FileNode::Pointer node = showsFocus() ? focused_.lock() : nullptr;
    if (!node) {
        node = driver()->hoveredNode() ? driver()->hoveredNode() : current;
    }
    return texts::arcDescription(*node, *current, driver()->selectedForDeletion());
}

// --- Pointer
// ----------------------------------------------------------------------------------------------------

void SunburstInteractionLayer::hover(const QPointF& point) {
    if (driver() == nullptr) {
        return;
    }
    // After a frame the window asks anew what lies under a pointer that rests. What the keyboard
    // has gone to meanwhile stays.
    if (std::exchange(pointer_, point) == point) {
        return;
    }
    const FileNode::Pointer node = map_->nodeAt(point);
    if (node) {
        driver()->setHoveredNode(node, this);
    } else {
        driver()->clearHoveredNode(this);
    }
    const Qt::CursorShape shape = node && node->isDirectory() ? Qt::PointingHandCursor : Qt::ArrowCursor;
    if (cursor().shape() != shape) {
        setCursor(shape);
    }
}

void SunburstInteractionLayer::hoverEnterEvent(QHoverEvent* event) {
    hover(event->position());
}

void SunburstInteractionLayer::hoverMoveEvent(QHoverEvent* event) {
    hover(event->position());
}

void SunburstInteractionLayer::hoverLeaveEvent(QHoverEvent*) {
    pointer_.reset();
    if (driver() != nullptr) {
        driver()->clearHoveredNode(this);
    }
}

void SunburstInteractionLayer::mousePressEvent(QMouseEvent* event) {
    forceActiveFocus(Qt::MouseFocusReason);
    if (showsFocus_) {
        showsFocus_ = false;
        follow();
    }
    if (map_) {
        pressed_ = map_->nodeAt(event->position());
    }
    event->accept();
}

void SunburstInteractionLayer::mouseReleaseEvent(QMouseEvent* event) {
    const FileNode::Pointer pressed = std::exchange(pressed_, {}).lock();
    // Press and release on the same arc make a click; to leave it in between takes the click back.
    if (driver() != nullptr && pressed && map_->nodeAt(event->position()) == pressed) {
        click(pressed, event->modifiers().testFlag(Qt::ControlModifier));
    }
    event->accept();
}

void SunburstInteractionLayer::mouseUngrabEvent() {
    pressed_.reset();
}

void SunburstInteractionLayer::click(const FileNode::Pointer& node, bool marks) {
    if (driver() == nullptr || !node) {
        return;
    }
    if (marks) {
        driver()->toggleSelection(node);
    } else if (node->isDirectory()) {
        driver()->navigateInto(node);
    } else {
        driver()->setSelectedNode(node);
        driver()->openSummary(node);
    }
}

// --- Keyboard
// ---------------------------------------------------------------------------------------------------

void SunburstInteractionLayer::keyPressEvent(QKeyEvent* event) {
    if (driver() == nullptr) {
        event->ignore();
        return;
    }
    const bool hasAlt = event->modifiers().testFlag(Qt::AltModifier);
    const bool isPlain = (event->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier;
    if (event->key() == Qt::Key_Backspace ? isPlain : event->key() == Qt::Key_Left && hasAlt) {
        driver()->navigateBack();
        return;
    }
    if (!isPlain) {
        event->ignore();
        return;
    }
    const std::optional<std::size_t> arc = focusedArc();
    const FileNode::Pointer node = arc ? map_->layout().arcs()[*arc].node : nullptr;
    switch (event->key()) {
        case Qt::Key_Left:
            moveFocus(Step::left);
            break;
        case Qt::Key_Right:
            moveFocus(Step::right);
            break;
        case Qt::Key_Up:
            moveFocus(Step::outwards);
            break;
        case Qt::Key_Down:
            moveFocus(Step::inwards);
            break;
        case Qt::Key_Home:
            focusOn(map_->layout().arcs().empty() ? nullptr : map_->layout().root());
            break;
        case Qt::Key_Return:
        case Qt::Key_Enter:
            // The folder that is open already is not opened once more.
            if (node && node != driver()->currentNode()) {
                click(node, false);
            }
            break;
        case Qt::Key_Space:
            click(node, true);
            break;
        case Qt::Key_Delete:
            emit reviewRequested();
            break;
        default:
            event->ignore();
    }
}

std::optional<std::size_t> SunburstInteractionLayer::focusedArc() const {
    if (!map_) {
        return std::nullopt;
    }
    const SunburstLayout& layout = map_->layout();
    for (FileNode::Pointer node = focused_.lock(); node; node = node->parent()) {
        if (const std::optional<std::size_t> arc = layout.arcOf(*node)) {
            return arc;
        }
    }
    // Where it is gone, as a summary that was opened, the keyboard is on the folder.
    return showsFocus_ && layout.root() ? layout.arcOf(*layout.root()) : std::nullopt;
}

void SunburstInteractionLayer::moveFocus(Step step) {
    const SunburstLayout& layout = map_->layout();
    const std::vector<SunburstLayout::Arc>& arcs = layout.arcs();
    if (arcs.empty()) {
        return;
    }
    const std::optional<std::size_t> focused = focusedArc();
    if (!focused) {
        // The first key press brings the keyboard to the largest child.
        focusOn(arcs[arcs.size() > 1 ? 1 : 0].node);
        return;
    }
    const SunburstLayout::Arc& arc = arcs[*focused];
    switch (step) {
        case Step::outwards:
            if (*focused + 1 < arcs.size() && arcs[*focused + 1].depth == arc.depth + 1) {
                focusOn(arcs[*focused + 1].node);  // the largest child follows its folder
            } else {
                focusOn(arc.node);
            }
            return;
        case Step::inwards:
            focusOn(arcs[arc.parent].node);
            return;
        case Step::left:
        case Step::right:
            break;
    }
    // Along the ring, in the order of the angles, and round.
    std::size_t next = *focused;
    do {
        next = step == Step::right ? (next + 1) % arcs.size() : (next + arcs.size() - 1) % arcs.size();
    } while (arcs[next].depth != arc.depth);
    focusOn(arcs[next].node);
}

void SunburstInteractionLayer::focusOn(const FileNode::Pointer& node) {
    focused_ = node;
    showsFocus_ = true;
    if (driver() != nullptr) {
        driver()->setHoveredNode(node, &focused_);  // the centre and the list show what the keyboard is on
    }
    follow();
}

void SunburstInteractionLayer::focusInEvent(QFocusEvent* event) {
    QQuickItem::focusInEvent(event);
    showsFocus_ = event->reason() != Qt::MouseFocusReason;
    if (showsFocus_ && driver() != nullptr) {
        const FileNode::Pointer& root = map_->layout().root();
        const std::optional<std::size_t> arc = focusedArc();
        focused_ = arc ? map_->layout().arcs()[*arc].node : root;
        if (arc && focused_.lock() != root) {
            driver()->setHoveredNode(focused_.lock(), &focused_);
        }
    }
    follow();
}

void SunburstInteractionLayer::focusOutEvent(QFocusEvent* event) {
    QQuickItem::focusOutEvent(event);
    if (driver() != nullptr) {
        driver()->clearHoveredNode(&focused_);
    }
    follow();
}

// --- Drawing
// ----------------------------------------------------------------------------------------------------

SunburstInteractionLayer::Overlay SunburstInteractionLayer::overlayOf(std::size_t arc, Look look) const {
    const SunburstItem::Rest rest = map_->rest();
    const SunburstRaster::Rect bounds = rest.raster.boundsOf(arc, rest.pixels.width(), rest.pixels.height());
    if (bounds.width == 0 || bounds.height == 0) {
        return emptyOverlay();
    }
    QImage picture(bounds.width, bounds.height, QImage::Format_ARGB32_Premultiplied);
    rest.raster.paintArc(
        arc,
        {.isRaised = look == Look::raised,
         .outline = look == Look::outlined ? std::optional(toColour(focusColor_)) : std::nullopt,
         .background = toColour(backgroundColor_)},
        bounds,
        {.data = reinterpret_cast<std::uint32_t*>(picture.bits()),
         .width = picture.width(),
         .height = picture.height(),
         .stride = static_cast<std::size_t>(picture.bytesPerLine()) / sizeof(std::uint32_t)});
    const double pixel = rest.rect.width() / rest.pixels.width();
    return {.picture = std::move(picture),
            .rect = QRectF(rest.rect.x() + bounds.x * pixel, rest.rect.y() + bounds.y * pixel,
                           bounds.width * pixel, bounds.height * pixel),
            .isNew = true};
}

SunburstInteractionLayer::Overlay SunburstInteractionLayer::marksOverlay() const {
    if (driver() == nullptr || map_->isOpening()) {
        return emptyOverlay();
    }
    QImage picture = map_->drawnMarks();
    if (picture.isNull()) {
        return emptyOverlay();
    }
    return {.picture = std::move(picture), .rect = map_->rest().rect, .isNew = true};
}

void SunburstInteractionLayer::updatePolish() {
    hoverOverlay_ = focusOverlay_ = emptyOverlay();
    // While a folder opens the arcs are elsewhere.
    if (driver() != nullptr && !map_->isOpening()) {
        const FileNode::Pointer hovered = driver()->hoveredNode();
        if (const auto lit = hovered ? map_->layout().arcOf(*hovered) : std::nullopt) {
            hoverOverlay_ = overlayOf(*lit, Look::raised);
        }
        if (const auto focused = showsFocus() ? focusedArc() : std::nullopt) {
            focusOverlay_ = overlayOf(*focused, Look::outlined);
        }
    }
    if (std::exchange(marksAreStale_, false)) {
        marksOverlay_ = marksOverlay();
    }
    update();
}

SunburstInteractionLayer::Overlay SunburstInteractionLayer::emptyOverlay() {
    QImage nothing(1, 1, QImage::Format_ARGB32_Premultiplied);
    nothing.fill(Qt::transparent);
    return {.picture = std::move(nothing), .rect = QRectF(0, 0, 1, 1), .isNew = true};
}

void SunburstInteractionLayer::show(QSGImageNode& image, const Overlay& overlay) const {
    image.setTexture(window()->createTextureFromImage(overlay.picture, QQuickWindow::TextureHasAlphaChannel));
    image.setRect(overlay.rect);
}

QSGNode* SunburstInteractionLayer::updatePaintNode(QSGNode* node, UpdatePaintNodeData*) {
    auto* layer = static_cast<LayerNode*>(node);
    if (layer == nullptr) {
        // All pictures stand in the scene for good, empty while there is nothing to show: the
        // software renderer draws a picture that joins later without the place of the item it belongs
        // to, until the window changes.
        layer = new LayerNode;
        for (QSGImageNode** image : {&layer->hover, &layer->marks, &layer->focus}) {
            *image = window()->createImageNode();
            (*image)->setOwnsTexture(true);
            (*image)->setFiltering(QSGTexture::Nearest);
            show(**image, emptyOverlay());  // not without a texture: the renderer looks at it at once
            layer->appendChildNode(*image);
        }
        for (Overlay* overlay : {&hoverOverlay_, &marksOverlay_, &focusOverlay_}) {
            overlay->isNew = !overlay->picture.isNull();  // also what an earlier scene has shown
        }
    }
    for (auto [image, overlay] :
         {std::pair(layer->hover, &hoverOverlay_), std::pair(layer->marks, &marksOverlay_),
          std::pair(layer->focus, &focusOverlay_)}) {
        if (overlay->isNew) {
            show(*image, *overlay);
            overlay->isNew = false;
        }
    }
    return layer;
}

}  // namespace larkfold
