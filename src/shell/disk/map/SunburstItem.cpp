#include "shell/disk/map/SunburstItem.h"

#include <QPainter>
#include <QQuickWindow>
#include <QSGImageNode>
#include <QVariantMap>
#include <algorithm>
#include <cmath>
#include <utility>

#include "platform/qt/PathText.h"
#include "shell/disk/SummaryTexts.h"
#include "shell/disk/map/SunburstMarks.h"
#include "shell/disk/map/SunburstTexts.h"
#include "shell/kit/FigureTexts.h"

namespace larkfold {

namespace {

QColor toQColor(const SunburstColour& colour) {
    return QColor::fromRgbF(static_cast<float>(colour.red), static_cast<float>(colour.green),
                            static_cast<float>(colour.blue), static_cast<float>(colour.opacity));
}

double between(double from, double to, double progress) {
    return from + (to - from) * progress;
}

}  // namespace

SunburstItem::SunburstItem(QQuickItem* parent)
    : QQuickItem(parent), marks_([this] {
          redraw();
          emit legendChanged();
      }) {
    setFlag(ItemHasContents);
    connect(this, &SunburstItem::mapChanged, this, &SunburstItem::legendChanged);
    opening_.setStartValue(0.0);
    opening_.setEndValue(1.0);
    opening_.setDuration(0);
    opening_.setEasingCurve(QEasingCurve::OutCubic);
    connect(&opening_, &QVariantAnimation::valueChanged, this, [this] { polish(); });
    connect(&opening_, &QVariantAnimation::finished, this, &SunburstItem::endOpening);
    connect(this, &QQuickItem::visibleChanged, this, &SunburstItem::layOutAnew);
}

SunburstItem::~SunburstItem() = default;

void SunburstItem::setDriver(DiskScannerViewModel* driver) {
    if (driver == driver_) {
        return;
    }
    if (driver_) {
        driver_->disconnect(this);
    }
    driver_ = driver;
    if (driver_) {
        connect(driver_, &DiskScannerViewModel::scanResultChanged, this, &SunburstItem::layOutAnew);
        connect(driver_, &DiskScannerViewModel::navigationStackChanged, this, &SunburstItem::layOutAnew);
        connect(driver_, &DiskScannerViewModel::selectedForDeletionChanged, this, &SunburstItem::noteMarks);
        connect(driver_, &DiskScannerViewModel::hoveredNodeChanged, this, &SunburstItem::centerChanged);
        connect(driver_, &DiskScannerViewModel::selectedNodeChanged, this, &SunburstItem::summaryChanged);
        connect(driver_, &DiskScannerViewModel::hasSavedIndexChanged, this, &SunburstItem::summaryChanged);
    }
    emit driverChanged();
    emit summaryChanged();
    layOutAnew();
}

void SunburstItem::setDiscColor(const QColor& color) {
    if (color == discColor_) {
        return;
    }
    discColor_ = color;
    emit discColorChanged();
    redraw();
}

void SunburstItem::setOpeningDuration(int milliseconds) {
    if (milliseconds == opening_.duration()) {
        return;
    }
    if (isOpening()) {
        endOpening();
    }
    opening_.setDuration(std::max(0, milliseconds));
    emit openingDurationChanged();
}

// --- What the views read
// ----------------------------------------------------------------------------------------

QString SunburstItem::centerName() const {
    if (!driver_) {
        return {};
    }
    const FileNode::Pointer node = driver_->hoveredNode() ? driver_->hoveredNode() : driver_->currentNode();
    return node ? displayString(node->name()) : QString();
}

QString SunburstItem::centerSize() const {
    if (!driver_) {
        return {};
    }
    const FileNode::Pointer node = driver_->hoveredNode() ? driver_->hoveredNode() : driver_->currentNode();
    return node ? texts::bytes(node->size()) : QString();
}

QString SunburstItem::centerItems() const {
    if (!driver_) {
        return {};
    }
    const FileNode::Pointer node = driver_->hoveredNode() ? driver_->hoveredNode() : driver_->currentNode();
    return node ? texts::itemCount(*node) : QString();
}

bool SunburstItem::isEmpty() const {
    const FileNode::Pointer root = driver_ ? driver_->currentNode() : nullptr;
    return root && root->size() <= 0;
}

QVariantList SunburstItem::legend() const {
    QVariantList rows;
    const FileNode::Pointer root = driver_ ? driver_->currentNode() : nullptr;
    if (!root) {
        return rows;
    }
    const bool isRootCovered =
        marked().contains(root->id()) || SunburstMarks::markedAbove(*root, marked()) != nullptr;
    std::size_t position = 0;
    for (const FileNode::Pointer& child : SunburstLayout::firstChildren(*root, legendLength)) {
        const bool isMarked = marked().contains(child->id());
        const SunburstColour colour =
            isMarked ? SunburstPalette::marked() : SunburstPalette::arc(position, 1);
        rows.append(QVariantMap{{QStringLiteral("name"), displayString(child->name())},
                                {QStringLiteral("sizeText"), texts::bytes(child->size())},
                                {QStringLiteral("color"), toQColor(colour)},
                                {QStringLiteral("isMarked"), isMarked},
                                {QStringLiteral("isHatched"), isMarked || isRootCovered},
                                {QStringLiteral("spokenText"), texts::legendRow(*child, marked())}});
        ++position;
    }
    return rows;
}

double SunburstItem::discDiameterIn(double width, double height) {
    return 2 * SunburstGeometry::inArea(width, height).discRadius();
}

const std::set<UUID>& SunburstItem::marked() const {
    static const std::set<UUID> none;
    return driver_ ? driver_->selectedForDeletion() : none;
}

QString SunburstItem::summaryTitle() const {
    const FileNode::Pointer node = driver_ ? driver_->selectedNode() : nullptr;
    return node ? texts::summaryTitle(*node) : QString();
}

QString SunburstItem::summaryExplanation() const {
    const FileNode::Pointer node = driver_ ? driver_->selectedNode() : nullptr;
    return node ? texts::summaryExplanation(*node, driver_->hasSavedIndex()) : QString();
}

void SunburstItem::dismissSummary() {
    if (driver_ && driver_->selectedNode() && driver_->selectedNode()->isAggregate()) {
        driver_->setSelectedNode(nullptr);
    }
}

// --- Layout and picture
// -----------------------------------------------------------------------------------------

const SunburstLayout& SunburstItem::layout() const {
    if (layoutIsStale_) {
        layout_ = std::make_shared<const SunburstLayout>(driver_ ? driver_->currentNode() : nullptr);
        layoutIsStale_ = false;
    }
    return *layout_;
}

FileNode::Pointer SunburstItem::nodeAt(const QPointF& point) const {
    return layout().hitTest(geometry(), point.x(), point.y());
}

void SunburstItem::layOutAnew() {
    layoutIsStale_ = true;
    if (!driver_ || !driver_->currentNode()) {
        // The tree has been given up: let go of it here, too.
        layout_ = std::make_shared<const SunburstLayout>();
        shown_.reset();
        opening_.stop();
        openingLayout_.reset();
    }
    emit mapChanged();
    emit centerChanged();
    redraw();
}

void SunburstItem::redraw() {
    rasterIsStale_ = true;
    pictureIsStale_ = true;
    emit pictureChanged();
    polish();
}

// What is drawn follows at once, where it is asked for; told is it once in a turn of the main loop, since
// marks change by the thousand.
void SunburstItem::noteMarks() {
    rasterIsStale_ = true;
    pictureIsStale_ = true;
    marks_.note();
}

SunburstColour SunburstItem::disc() const {
    return {.red = discColor_.redF(),
            .green = discColor_.greenF(),
            .blue = discColor_.blueF(),
            .opacity = discColor_.alphaF()};
}

SunburstRaster SunburstItem::rasterOf(const SunburstLayout& layout, const SunburstColour& disc,
                                      const SunburstRaster::Opening& opening) const {
    return {layout, marked(), viewOfPicture(), disc, opening};
}

SunburstRaster::View SunburstItem::viewOfPicture() const {
    const SunburstGeometry map = geometry();
    return {.centreX = (map.centreX - pictureRect_.x()) * scale_,
            .centreY = (map.centreY - pictureRect_.y()) * scale_,
            .side = map.side * scale_,
            .scale = scale_};
}

// Brings layout and raster up to date. The picture lies on whole pixels of the screen, wherever the item
// does: drawn between them it would be blurred.
void SunburstItem::prepare() {
    const SunburstLayout& current = layout();
    if (!rasterIsStale_) {
        return;
    }
    rasterIsStale_ = false;
    scale_ = window() != nullptr ? window()->effectiveDevicePixelRatio() : 1;
    const SunburstGeometry map = geometry();
    const QPointF origin = mapToScene(QPointF(0, 0)) * scale_;
    const auto firstPixel = [&](double from) { return std::floor(from); };
    const double left = firstPixel(origin.x() + (map.centreX - map.side / 2) * scale_);
    const double top = firstPixel(origin.y() + (map.centreY - map.side / 2) * scale_);
    const int side = map.side > 0 ? static_cast<int>(std::ceil(map.side * scale_)) + 1 : 0;
    pictureSize_ = QSize(side, side);
    pictureRect_ =
        QRectF((left - origin.x()) / scale_, (top - origin.y()) / scale_, side / scale_, side / scale_);
    raster_ = rasterOf(current, disc(), {});
}

SunburstItem::Rest SunburstItem::rest() {
    prepare();
    return {.raster = raster_, .rect = pictureRect_, .pixels = pictureSize_};
}

template <typename Painter>
QImage SunburstItem::drawn(const Painter& painter) const {
    QImage image(pictureSize_, QImage::Format_ARGB32_Premultiplied);
    painter.paint({.data = reinterpret_cast<std::uint32_t*>(image.bits()),
                   .width = image.width(),
                   .height = image.height(),
                   .stride = static_cast<std::size_t>(image.bytesPerLine()) / sizeof(std::uint32_t)});
    return image;
}

QImage SunburstItem::drawnMarks() {
    prepare();
    const FileNode::Pointer& root = layout_->root();
    if (!root || marked().empty() || pictureSize_.isEmpty()) {
        return {};
    }
    const SunburstMarks marks(*layout_, marked(), SunburstMarks::markedAbove(*root, marked()) != nullptr,
                              viewOfPicture());
    return marks.isEmpty() ? QImage() : drawn(marks);
}

void SunburstItem::updatePolish() {
    prepare();
    const bool isStale = std::exchange(pictureIsStale_, false);
    const std::shared_ptr<const SunburstLayout> before = std::exchange(shown_, layout_);
    if (before && before != layout_) {
        beginOpening(before);
    }
    if (isOpening()) {
        if (isStale && !opensOutward_ && before == layout_) {
            still_ = drawn(raster_);  // a mark came in between
        }
        picture_ = frameAt(opening_.currentValue().toDouble());
        isNewPicture_ = true;
    } else if (isStale) {
        picture_ = pictureSize_.isEmpty() ? QImage() : drawn(raster_);
        isNewPicture_ = true;
    }
    update();
}

// The part that grows or shrinks is drawn for each frame and laid over the other one, which fades. Mixed here
// and not by the renderer: the software one misplaces pictures below an opacity that changes.
QImage SunburstItem::frameAt(double progress) const {
    const double open = opensOutward_ ? progress : 1 - progress;
    // Two discs lie on each other: together they are to be as opaque as one, as far as that can be.
    SunburstColour coming = disc();
    const double below = coming.opacity * (opensOutward_ ? 1 - progress : progress);
    const double wanted = opensOutward_ ? coming.opacity - below : coming.opacity;
    coming.opacity = below < 1 ? std::min(1.0, wanted / (1 - below)) : 0;
    const QImage moving = drawn(rasterOf(*openingLayout_, coming,
                                         {.start = between(openingFrom_.start, 0, open),
                                          .end = between(openingFrom_.end, 360, open),
                                          .depth = between(openingFrom_.depth, 0, open)}));
    QImage frame(pictureSize_, QImage::Format_ARGB32_Premultiplied);
    frame.fill(Qt::transparent);
    QPainter painter(&frame);
    painter.setOpacity(opensOutward_ ? 1 - progress : progress);
    painter.drawImage(0, 0, still_);
    painter.setOpacity(opensOutward_ ? 1 : 1 - progress);
    painter.drawImage(0, 0, moving);
    return frame;
}

// Looks whether one of the two folders is an arc of the other's map.
void SunburstItem::beginOpening(const std::shared_ptr<const SunburstLayout>& before) {
    const FileNode::Pointer& from = before->root();
    const FileNode::Pointer& to = layout_->root();
    const bool wasOpening = isOpening();
    opening_.stop();
    openingLayout_.reset();
    if (openingDuration() > 0 && isVisible() && from && to && from != to && picture_.size() == pictureSize_) {
        const std::optional<std::size_t> outward = before->arcOf(*to);
        const std::optional<std::size_t> inward = layout_->arcOf(*from);
        if (outward || inward) {
            opensOutward_ = outward.has_value();
            const SunburstLayout::Arc& arc =
                opensOutward_ ? before->arcs()[*outward] : layout_->arcs()[*inward];
            openingFrom_ = {.start = arc.start, .end = arc.end, .depth = static_cast<double>(arc.depth)};
            openingLayout_ = opensOutward_ ? layout_ : before;
            still_ = opensOutward_ ? picture_ : drawn(raster_);
            opening_.start();
        }
    }
    if (wasOpening != isOpening()) {
        emit isOpeningChanged();
    }
}

void SunburstItem::endOpening() {
    opening_.stop();
    openingLayout_.reset();
    still_ = {};
    pictureIsStale_ = true;
    polish();
    emit isOpeningChanged();
}

QSGNode* SunburstItem::updatePaintNode(QSGNode* node, UpdatePaintNodeData*) {
    auto* image = static_cast<QSGImageNode*>(node);
    if (picture_.isNull()) {
        delete image;
        return nullptr;
    }
    if (image == nullptr) {
        image = window()->createImageNode();
        image->setOwnsTexture(true);
        image->setFiltering(QSGTexture::Nearest);
        isNewPicture_ = true;
    }
    if (isNewPicture_) {
        image->setTexture(window()->createTextureFromImage(picture_, QQuickWindow::TextureHasAlphaChannel));
        isNewPicture_ = false;
    }
    image->setRect(pictureRect_);
    return image;
}

void SunburstItem::geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) {
    QQuickItem::geometryChange(newGeometry, oldGeometry);
    if (isOpening()) {
        endOpening();
    }
    redraw();
    if (newGeometry.size() != oldGeometry.size()) {
        emit discDiameterChanged();
    }
}

void SunburstItem::itemChange(ItemChange change, const ItemChangeData& value) {
    QQuickItem::itemChange(change, value);
    if (change == ItemDevicePixelRatioHasChanged || change == ItemSceneChange) {
        redraw();
    }
}

}  // namespace larkfold
