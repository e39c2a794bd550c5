#include "shell/disk/ScanOrbits.h"

#include <QPainter>
#include <QPointF>
#include <QRectF>
#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <numbers>

namespace larkfold {

namespace {

constexpr std::chrono::milliseconds kFrame{40};
constexpr double kTurn = 2 * std::numbers::pi;
// What a still picture shows, and where a moving one begins: a moment at which the rings look settled.
constexpr double kOpeningPhase = 41;

// The rings, as shares of the picture's side: those of the map.
constexpr double kCentre = 0.12;
constexpr int kRings = 5;
constexpr double kRingWidth = (0.5 - kCentre) / kRings;

// One piece of a ring. Angles as shares of a turn.
struct Piece {
    int ring;
    double start;
    double span;
    double hue;
};

constexpr std::array kPieces{
    Piece{.ring = 0, .start = 0.00, .span = 1.00, .hue = 0.61},
    Piece{.ring = 1, .start = 0.00, .span = 0.38, .hue = 0.61},
    Piece{.ring = 1, .start = 0.40, .span = 0.27, .hue = 0.53},
    Piece{.ring = 1, .start = 0.69, .span = 0.17, .hue = 0.45},
    Piece{.ring = 1, .start = 0.88, .span = 0.10, .hue = 0.12},
    Piece{.ring = 2, .start = 0.00, .span = 0.20, .hue = 0.63},
    Piece{.ring = 2, .start = 0.22, .span = 0.13, .hue = 0.58},
    Piece{.ring = 2, .start = 0.41, .span = 0.16, .hue = 0.52},
    Piece{.ring = 2, .start = 0.59, .span = 0.06, .hue = 0.48},
    Piece{.ring = 2, .start = 0.70, .span = 0.09, .hue = 0.42},
    Piece{.ring = 2, .start = 0.89, .span = 0.05, .hue = 0.10},
    Piece{.ring = 3, .start = 0.01, .span = 0.09, .hue = 0.66},
    Piece{.ring = 3, .start = 0.12, .span = 0.05, .hue = 0.62},
    Piece{.ring = 3, .start = 0.24, .span = 0.07, .hue = 0.57},
    Piece{.ring = 3, .start = 0.43, .span = 0.06, .hue = 0.51},
    Piece{.ring = 3, .start = 0.51, .span = 0.03, .hue = 0.49},
    Piece{.ring = 3, .start = 0.71, .span = 0.04, .hue = 0.40},
    Piece{.ring = 4, .start = 0.02, .span = 0.04, .hue = 0.68},
    Piece{.ring = 4, .start = 0.25, .span = 0.03, .hue = 0.57},
    Piece{.ring = 4, .start = 0.44, .span = 0.03, .hue = 0.50},
};

constexpr int kBodies = 24;
constexpr int kTail = 10;
constexpr double kTailStep = 0.034;  // seconds of the picture's time between two beads of a tail

double fraction(double value) {
    return value - std::floor(value);
}

// A number in [0, 1) that belongs to `index`: the same picture every time, and no pattern in it.
double scattered(int index, double salt) {
    return fraction(std::sin(index * 12.9898 + salt * 78.233) * 43758.5453);
}

// Inner rings turn faster, as bodies closer to a mass do.
double angularSpeed(int ring) {
    return 0.028 / std::pow(1.0 + ring, 0.75);
}

struct BodyPosition {
    double radius;  // share of the side
    double angle;   // share of a turn
    double weight;  // 0: not there, 1: fully there
};

// Where a body is: it enters at the rim, falls inwards along a spiral and is taken up by its ring.
BodyPosition positionOf(int body, double phase) {
    const int ring = 1 + body % (kRings - 1);
    const double duration = 7 + 6 * scattered(body, 1);
    const double life = fraction(phase / duration + scattered(body, 2));
    const double goal = kCentre + (ring + 0.5) * kRingWidth;
    const double rim = 0.5 + 0.06 * scattered(body, 3);
    const double fall = life * life * (3 - 2 * life);
    const double radius = rim + (goal - rim) * fall;
    const double angle = scattered(body, 4) + life * (0.55 + 0.5 * scattered(body, 5)) + 0.25 * fall;
    const double weight = std::min({1.0, life * 5, (1 - life) * 4});
    return {.radius = radius, .angle = angle, .weight = weight};
}

QPointF at(const QPointF& centre, double side, const BodyPosition& position) {
    const double angle = (position.angle - 0.25) * kTurn;
    return centre + QPointF(std::cos(angle), std::sin(angle)) * (position.radius * side);
}

}  // namespace

ScanOrbits::ScanOrbits(QQuickItem* parent) : QQuickPaintedItem(parent), phase_(kOpeningPhase) {
    setAntialiasing(true);
    timer_.setInterval(kFrame);
    timer_.setTimerType(Qt::PreciseTimer);
    connect(&timer_, &QTimer::timeout, this, &ScanOrbits::advance);
}

void ScanOrbits::setActivity(double activity) {
    activity = std::clamp(activity, 0.0, 1.0);
    if (activity_ != activity) {
        activity_ = activity;
        emit activityChanged();
    }
}

void ScanOrbits::setStill(bool still) {
    if (still_ != still) {
        still_ = still;
        phase_ = kOpeningPhase;
        startOrStop();
        update();
        emit stillChanged();
    }
}

void ScanOrbits::setAccent(const QColor& accent) {
    if (accent_ != accent) {
        accent_ = accent;
        update();
        emit accentChanged();
    }
}

void ScanOrbits::setTrack(const QColor& track) {
    if (track_ != track) {
        track_ = track;
        update();
        emit trackChanged();
    }
}

void ScanOrbits::itemChange(ItemChange change, const ItemChangeData& data) {
    QQuickPaintedItem::itemChange(change, data);
    if (change == ItemVisibleHasChanged || change == ItemSceneChange) {
        startOrStop();
    }
}

void ScanOrbits::startOrStop() {
    const bool moves = !still_ && isVisible() && window() != nullptr;
    if (moves && !timer_.isActive()) {
        sinceFrame_.start();
        timer_.start();
    } else if (!moves) {
        timer_.stop();
    }
}

void ScanOrbits::advance() {
    // A frame that came late is not made up for in one leap.
    const double seconds = std::min(0.1, static_cast<double>(sinceFrame_.restart()) / 1000);
    const double wanted = 0.45 + 2.0 * activity_;
    pace_ += (wanted - pace_) * std::min(1.0, seconds * 2);
    phase_ += seconds * pace_;
    update();
}

void ScanOrbits::paint(QPainter* painter) {
    const double side = std::min(width(), height());
    const QPointF centre(width() / 2, height() / 2);
    // Room at the rim for bodies that are still outside of the rings.
    const double scale = side / 1.16;
    painter->setRenderHint(QPainter::Antialiasing);

    painter->setBrush(Qt::NoBrush);
    painter->setPen(QPen(track_, std::max(1.0, scale * 0.003)));
    for (int ring = 1; ring <= kRings; ++ring) {
        const double radius = (kCentre + ring * kRingWidth) * scale;
        painter->drawEllipse(centre, radius, radius);
    }

    const double thickness = kRingWidth * scale - std::max(1.5, scale * 0.008);
    for (const Piece& piece : kPieces) {
        const double radius = (kCentre + (piece.ring + 0.5) * kRingWidth) * scale;
        const double drift = still_ ? 0 : phase_ * angularSpeed(piece.ring);
        // Each piece breathes a little, at its own time, as if it were being filled.
        const double breath = still_ ? 1 : 0.9 + 0.1 * std::sin(phase_ * 0.8 + piece.start * 19);
        QColor colour = QColor::fromHsvF(static_cast<float>(piece.hue), 0.62F, 0.94F);
        if (piece.ring == 0) {
            colour = accent_;
        }
        colour.setAlphaF(static_cast<float>((0.92 - 0.13 * piece.ring) * breath));
        painter->setPen(QPen(colour, thickness, Qt::SolidLine, Qt::FlatCap));
        const QRectF box(centre.x() - radius, centre.y() - radius, 2 * radius, 2 * radius);
        if (piece.span >= 1) {
            painter->drawEllipse(box);
        } else {
            const double gap = 0.6 / radius / kTurn;
            // The painter counts sixteenths of a degree, counter-clockwise from three o'clock.
            const auto sixteenths = [](double turn) {
                return static_cast<int>(std::lround(turn * 360 * 16));
            };
            painter->drawArc(box, sixteenths(0.25 - piece.start - drift - gap),
                             -sixteenths(piece.span - 2 * gap));
        }
    }

    painter->setPen(Qt::NoPen);
    QColor core = accent_;
    core.setAlphaF(0.85F);
    painter->setBrush(core);
    const double coreRadius = (kCentre - 0.012) * scale;
    painter->drawEllipse(centre, coreRadius, coreRadius);

    if (still_) {
        return;
    }
    for (int body = 0; body < kBodies; ++body) {
        const double size = (0.006 + 0.007 * scattered(body, 6)) * scale;
        if (positionOf(body, phase_).weight < 0.02) {
            continue;
        }
        for (int step = kTail; step >= 0; --step) {
            const BodyPosition position = positionOf(body, phase_ - step * kTailStep);
            const double share = 1.0 - static_cast<double>(step) / (kTail + 1);
            QColor colour = accent_;
            colour.setAlphaF(static_cast<float>(position.weight * share * share * 0.8));
            painter->setBrush(colour);
            const double radius = size * (0.35 + 0.65 * share);
            painter->drawEllipse(at(centre, scale, position), radius, radius);
        }
    }
}

}  // namespace larkfold
