#include "shell/disk/map/SunburstRaster.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <numbers>
#include <utility>

#include "shell/disk/map/SunburstPolarRow.h"

namespace larkfold {

namespace {

using Vec = float __attribute__((vector_size(16)));
using IntVec = std::int32_t __attribute__((vector_size(16)));

constexpr float pi = std::numbers::pi_v<float>;
constexpr float turn = 2 * pi;
// Half a pixel on either side: what a pixel covers along the direction towards an edge.
constexpr float halfPixel = 0.5f;
// The keyboard's outline: half its width in units.
constexpr double halfOutline = 1.0;

Vec splat(float value) {
    return Vec{value, value, value, value};
}

float clampToOne(float value) {
    return std::min(std::max(value, 0.0f), 1.0f);
}

// How much of a pixel at `position` lies between two edges.
float share(float position, float from, float to) {
    return clampToOne(position - from + halfPixel) - clampToOne(position - to + halfPixel);
}

Vec magnitude(Vec value) {
    IntVec bits;
    std::memcpy(&bits, &value, sizeof bits);
    bits &= 0x7fffffff;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

// Of each component the same as `clampToOne(from) - clampToOne(to)`. Without a comparison: branches here
// would be guessed wrongly half of the time, and nearly all of the time for a full map is spent here.
Vec clampedDifference(Vec from, Vec to) {
    const Vec one = splat(1);
    return (magnitude(from) - magnitude(from - one) - magnitude(to) + magnitude(to - one)) * splat(0.5f);
}

Vec premultiplied(const SunburstColour& colour) {
    const double factor = colour.opacity * 255;
    return Vec{static_cast<float>(colour.blue * factor), static_cast<float>(colour.green * factor),
               static_cast<float>(colour.red * factor), static_cast<float>(factor)};
}

std::uint32_t packed(Vec colour) {
    const IntVec whole = __builtin_convertvector(colour + splat(0.5f), IntVec);
    return static_cast<std::uint32_t>(whole[0]) | static_cast<std::uint32_t>(whole[1]) << 8 |
           static_cast<std::uint32_t>(whole[2]) << 16 | static_cast<std::uint32_t>(whole[3]) << 24;
}

Vec over(Vec pixel, Vec colour, float coverage) {
    return colour * splat(coverage) + pixel * splat(1 - colour[3] * coverage * (1.0f / 255));
}

// All four components of the white stroke are the same.
Vec strokeOver(Vec pixel, float coverage) {
    constexpr auto opacity = static_cast<float>(SunburstPalette::strokeOpacity);
    return splat(opacity * 255 * coverage) + pixel * splat(1 - opacity * coverage);
}

}  // namespace

SunburstRaster::SunburstRaster(const SunburstLayout& layout, const std::set<UUID>& marked, const View& view,
                               const SunburstColour& discColour, const Opening& opening)
    : view_(view) {
    halfStroke_ = static_cast<float>(SunburstPalette::strokeWidth / 2 * view.scale);
    reach_ = halfPixel + halfStroke_;
    discRadius_ = static_cast<float>(0.12 * view.side);
    discFill_ = premultiplied(discColour);
    discPacked_ = packed(discFill_);

    const std::vector<SunburstLayout::Arc>& arcs = layout.arcs();
    std::array<std::vector<std::uint32_t>, SunburstGeometry::ringCount> arcsOfRing;
    std::vector<SunburstColour> colours;
    colours.reserve(arcs.size());
    places_.resize(arcs.size());
    for (std::size_t i = 0; i < arcs.size(); ++i) {
        const SunburstLayout::Arc& arc = arcs[i];
        const bool isMarked = !marked.empty() && marked.contains(arc.node->id());
        colours.push_back(isMarked ? SunburstPalette::marked() : SunburstPalette::arc(arc.colour, arc.depth));
        places_[i].isMarked = isMarked;
        places_[i].raised =
            isMarked ? SunburstPalette::marked() : SunburstPalette::arc(arc.colour, arc.depth, true);
        arcsOfRing[static_cast<std::size_t>(arc.depth)].push_back(static_cast<std::uint32_t>(i));
    }
    for (int depth = 0; depth < SunburstGeometry::ringCount; ++depth) {
        const std::vector<std::uint32_t>& ofRing = arcsOfRing[static_cast<std::size_t>(depth)];
        if (!ofRing.empty()) {
            addRing(layout, ofRing, depth, opening, colours);
        }
    }
    addBands();
}

SunburstRaster::Segment SunburstRaster::makeSegment(double start, double end, const SunburstColour& colour,
                                                    std::uint32_t arc) {
    const Vec fill = premultiplied(colour);
    return {.fill = fill,
            .start = static_cast<float>(start),
            .end = static_cast<float>(end),
            .startEdge = {static_cast<float>(std::cos(start)), static_cast<float>(std::sin(start))},
            .endEdge = {static_cast<float>(-std::cos(end)), static_cast<float>(-std::sin(end))},
            .isConvex = end - start < std::numbers::pi,
            .packed = packed(fill),
            .arc = arc};
}

void SunburstRaster::addRing(const SunburstLayout& layout, const std::vector<std::uint32_t>& arcsOfRing,
                             double depth, const Opening& opening,
                             const std::vector<SunburstColour>& colours) {
    const SunburstGeometry geometry{.side = view_.side};
    const double innerRadius = geometry.innerRadius(depth + opening.depth);
    // While a folder opens, its outer rings are still off the map.
    const double outerRadius = std::min(0.5 * view_.side, innerRadius + geometry.ringWidth()) -
                               SunburstGeometry::ringGap * view_.scale;
    if (outerRadius <= innerRadius) {
        return;
    }
    Ring ring;
    ring.inner = static_cast<float>(innerRadius);
    ring.outer = static_cast<float>(outerRadius);

    const bool isWhole = opening.start <= 0 && opening.end >= 360;
    const auto toRadians = [&](double degrees) {
        const double angle =
            isWhole ? degrees : opening.start + degrees / 360 * (opening.end - opening.start);
        return angle * std::numbers::pi / 180;
    };
    constexpr double fullTurn = 2 * std::numbers::pi;
    const int index = static_cast<int>(rings_.size());

    const SunburstLayout::Arc& first = layout.arcs()[arcsOfRing.front()];
    if (isWhole && first.isFullCircle()) {
        // Beyond any angle, and small enough for differences to stay exact.
        constexpr double farAway = 10;
        ring.segments.push_back(
            makeSegment(-farAway, farAway, colours[arcsOfRing.front()], arcsOfRing.front()));
        ring.buckets.assign(bucketCount + 2, 0);
        places_[arcsOfRing.front()].ring = index;
        places_[arcsOfRing.front()].start = static_cast<float>(-farAway);
        places_[arcsOfRing.front()].end = static_cast<float>(farAway);
        rings_.push_back(std::move(ring));
        return;
    }

    // The circle as arcs and gaps in turn.
    struct Piece {
        double start;
        double end;
        std::uint32_t arc;
    };
    std::vector<Piece> pieces;
    pieces.reserve(arcsOfRing.size() * 2 + 1);
    double reached = 0;
    for (const std::uint32_t arc : arcsOfRing) {
        // Sums of sizes that do not add up (a tree in the middle of a change) could overlap or pass the end.
        const double start = std::clamp(toRadians(layout.arcs()[arc].start), reached, fullTurn);
        const double end = std::clamp(toRadians(layout.arcs()[arc].end), start, fullTurn);
        if (end <= start) {
            continue;
        }
        if (start > reached) {
            pieces.push_back({reached, start, noArc});
        }
        pieces.push_back({start, end, arc});
        places_[arc].ring = index;
        places_[arc].start = static_cast<float>(start);
        places_[arc].end = static_cast<float>(end);
        reached = end;
    }
    if (reached < fullTurn) {
        pieces.push_back({reached, fullTurn, noArc});
    }

    constexpr SunburstColour gap{.red = 0, .green = 0, .blue = 0, .opacity = 0};
    const auto add = [&](const Piece& piece, double shift) {
        ring.segments.push_back(makeSegment(piece.start + shift, piece.end + shift,
                                            piece.arc == noArc ? gap : colours[piece.arc], piece.arc));
    };
    // What a pixel beside the top can touch beyond it; with the outline's width to spare.
    const double margin =
        std::min(std::numbers::pi, (reach_ + 2 * view_.scale) / std::max(innerRadius - reach_, 0.5));
    std::size_t before = pieces.size();
    while (before > 0 && pieces[before - 1].end - fullTurn > -margin) {
        --before;
    }
    for (std::size_t i = before; i < pieces.size(); ++i) {
        add(pieces[i], -fullTurn);
    }
    const std::size_t firstInside = ring.segments.size();
    for (const Piece& piece : pieces) {
        add(piece, 0);
    }
    for (const Piece& piece : pieces) {
        add(piece, fullTurn);
        if (piece.end > margin) {
            break;
        }
    }

    ring.buckets.reserve(bucketCount + 2);
    std::size_t segment = firstInside;
    for (int bucket = 0; bucket < bucketCount + 2; ++bucket) {
        const float start = static_cast<float>(bucket) * (turn / bucketCount);
        while (segment + 1 < ring.segments.size() && ring.segments[segment].end <= start) {
            ++segment;
        }
        ring.buckets.push_back(static_cast<std::uint32_t>(segment));
    }
    rings_.push_back(std::move(ring));
}

const SunburstRaster::Segment* SunburstRaster::Ring::at(float angle) const {
    const auto bucket = static_cast<std::size_t>(angle * (bucketCount / turn));
    const Segment* segment = segments.data() + buckets[std::min<std::size_t>(bucket, bucketCount + 1)];
    const Segment* last = segments.data() + segments.size() - 1;
    while (segment->end <= angle && segment != last) {
        ++segment;
    }
    // The bucket's start may be rounded up beyond an angle inside of it.
    while (segment->start > angle && segment != segments.data()) {
        --segment;
    }
    return segment;
}

// Splits the radius into what can be painted without regard to any circle's edge, and the edges between.
void SunburstRaster::addBands() {
    std::vector<std::pair<float, float>> edges;
    const auto addEdge = [&](float radius) { edges.emplace_back(radius - reach_, radius + reach_); };
    addEdge(discRadius_);
    for (const Ring& ring : rings_) {
        addEdge(ring.inner);
        addEdge(ring.outer);
    }
    std::sort(edges.begin(), edges.end());
    const auto contentAt = [&](float radius) {
        if (radius < discRadius_) {
            return discBand;
        }
        for (std::size_t i = 0; i < rings_.size(); ++i) {
            if (radius > rings_[i].inner && radius < rings_[i].outer) {
                return static_cast<int>(i);
            }
        }
        return emptyBand;
    };
    float reached = 0;
    for (const auto& [from, to] : edges) {
        if (from > reached) {
            bands_.push_back({.limit = from, .content = contentAt((reached + from) / 2)});
            reached = from;
        }
        if (to > reached) {
            bands_.push_back({.limit = to, .content = edgeBand});
            reached = to;
        }
    }
}

// Lays all arcs of a ring that touch the pixel over it, in order. `segment` is the one
// that holds the pixel's centre.
template <bool isWithinRing>
SunburstRaster::Vec SunburstRaster::blend(const Ring& ring, const Segment* segment, float radius, float angle,
                                          float halfStroke, Vec pixel) {
    const float reach = halfPixel + halfStroke;
    const Segment* const first = ring.segments.data();
    const Segment* const end = first + ring.segments.size();
    while (segment != first && (angle - segment->start) * radius < reach) {
        --segment;
    }
    // Three shares of the pixel side by side: of the arc, of the arc grown and of the arc shrunk by half the
    // stroke. The stroke is what lies between the latter two.
    const Vec startOffsets = Vec{0, halfStroke, -halfStroke, 0} + splat(halfPixel);
    const Vec endOffsets = Vec{0, -halfStroke, halfStroke, 0} + splat(halfPixel);
    Vec ringShares = splat(1);
    if constexpr (!isWithinRing) {
        ringShares = clampedDifference(splat(radius - ring.inner) + startOffsets,
                                       splat(radius - ring.outer) + endOffsets);
        ringShares = ringShares > splat(0) ? ringShares : splat(0);
    }
    for (; segment != end; ++segment) {
        const float fromStart = (angle - segment->start) * radius;
        if (fromStart < -reach) {
            break;
        }
        if (segment->arc == noArc) {
            continue;
        }
        const float fromEnd = (angle - segment->end) * radius;
        Vec shares = clampedDifference(splat(fromStart) + startOffsets, splat(fromEnd) + endOffsets);
        // An arc narrower than its stroke has nothing left when shrunk.
        shares = (shares > splat(0) ? shares : splat(0)) * ringShares;
        pixel = over(pixel, segment->fill, shares[0]);
        pixel = strokeOver(pixel, shares[1] - shares[2]);
    }
    return pixel;
}

SunburstRaster::Vec SunburstRaster::edgePixel(const std::vector<const Ring*>& rings, float radius,
                                              float angle) const {
    Vec pixel{};
    for (const Ring* ring : rings) {
        if (radius > ring->inner - reach_ && radius < ring->outer + reach_) {
            pixel = blend<false>(*ring, ring->at(angle), radius, angle, halfStroke_, pixel);
        }
    }
    return over(pixel, discFill_, clampToOne(discRadius_ - radius + halfPixel));
}

// How many further pixels of the row certainly lie within the segment and away from
// its edges, as this one does.
float SunburstRaster::safeRun(const Segment& segment, float offsetX, float offsetY, float radius,
                              float nearest) const {
    if (!segment.isConvex) {
        // A step comes nearer to an edge by one pixel at most. The arc's length overstates the distance by
        // less than pi / 2, and nothing is further away than the centre.
        return std::min(nearest * 0.63f, radius) - reach_;
    }
    float end = 1e6f;
    for (const Segment::Edge& edge : {segment.startEdge, segment.endEdge}) {
        if (edge.x < 0) {
            end = std::min(end, (reach_ - offsetY * edge.y) / edge.x);
        }
    }
    return end - offsetX;
}

// Pixels between the edges of a ring. Neighbours in a row lie in the same arc or a few arcs further.
void SunburstRaster::paintRing(const Ring& ring, float offsetX, float offsetY, const float* radius,
                               const float* angle, std::uint32_t* pixel, std::uint32_t* end) const {
    const Segment* const first = ring.segments.data();
    const Segment* const last = first + ring.segments.size() - 1;
    const Segment* segment = ring.at(*angle);
    while (pixel < end) {
        while (segment->end <= *angle && segment != last) {
            ++segment;
        }
        while (segment->start > *angle && segment != first) {
            --segment;
        }
        const float fromStart = (*angle - segment->start) * *radius;
        const float toEnd = (segment->end - *angle) * *radius;
        const float nearest = std::min(fromStart, toEnd);
        std::ptrdiff_t run = 1;
        if (nearest >= reach_) {
            const float safe = safeRun(*segment, offsetX, offsetY, *radius, nearest);
            run = std::min<std::ptrdiff_t>(end - pixel, 1 + std::max(0, static_cast<int>(safe)));
            std::fill(pixel, pixel + run, segment->packed);
        } else {
            *pixel = packed(blend<true>(ring, segment, *radius, *angle, halfStroke_, Vec{}));
        }
        pixel += run;
        radius += run;
        angle += run;
        offsetX += static_cast<float>(run);
    }
}

void SunburstRaster::paint(const Pixels& pixels) const {
    if (bands_.empty()) {
        for (int y = 0; y < pixels.height; ++y) {
            std::fill_n(pixels.data + static_cast<std::size_t>(y) * pixels.stride, pixels.width, 0u);
        }
        return;
    }
    const std::size_t room = static_cast<std::size_t>(std::max(pixels.width, 0)) + 4;
    std::vector<float> radius(room);
    std::vector<float> angle(room);
    std::vector<const Ring*> rings;
    rings.reserve(rings_.size());
    for (const Ring& ring : rings_) {
        rings.push_back(&ring);
    }
    const auto centreX = static_cast<float>(view_.centreX);
    const auto centreY = static_cast<float>(view_.centreY);
    const float outermost = bands_.back().limit;
    // The first pixel whose centre lies at or right of an offset from the centre.
    const auto pixelAt = [&](float offset) {
        return std::clamp(static_cast<int>(std::ceil(centreX + offset - halfPixel)), 0, pixels.width);
    };

    for (int y = 0; y < pixels.height; ++y) {
        std::uint32_t* const row = pixels.data + static_cast<std::size_t>(y) * pixels.stride;
        const float offsetY = static_cast<float>(y) + halfPixel - centreY;
        const float ySquared = offsetY * offsetY;
        const auto extent = [&](float limit) {
            return limit * limit > ySquared ? std::sqrt(limit * limit - ySquared) : 0.0f;
        };
        const int first = pixelAt(-extent(outermost));
        const int last = pixelAt(extent(outermost));
        std::fill(row, row + first, 0u);
        std::fill(row + last, row + pixels.width, 0u);
        if (first >= last) {
            continue;
        }
        polarRow(static_cast<float>(first) + halfPixel - centreX, offsetY, last - first, radius.data(),
                 angle.data());
        const auto paintSpan = [&](int content, int from, int to) {
            const float* r = radius.data() + (from - first);
            const float* a = angle.data() + (from - first);
            if (from >= to) {
                return;
            }
            if (content == discBand) {
                std::fill(row + from, row + to, discPacked_);
            } else if (content == emptyBand) {
                std::fill(row + from, row + to, 0u);
            } else if (content == edgeBand) {
                for (int x = from; x < to; ++x) {
                    row[x] = packed(edgePixel(rings, *r++, *a++));
                }
            } else {
                paintRing(rings_[static_cast<std::size_t>(content)],
                          static_cast<float>(from) + halfPixel - centreX, offsetY, r, a, row + from,
                          row + to);
            }
        };
        int innerLeft = pixelAt(0);
        int innerRight = innerLeft;
        for (const Band& band : bands_) {
            const float reached = extent(band.limit);
            const int left = pixelAt(-reached);
            const int right = pixelAt(reached);
            paintSpan(band.content, left, innerLeft);
            paintSpan(band.content, innerRight, right);
            innerLeft = left;
            innerRight = right;
        }
    }
}

SunburstRaster::Rect SunburstRaster::boundsOf(std::size_t arc, int width, int height) const {
    if (arc >= places_.size() || places_[arc].ring < 0) {
        return {};
    }
    const ArcPlace& place = places_[arc];
    const Ring& ring = rings_[static_cast<std::size_t>(place.ring)];
    const double margin = halfPixel + std::max<double>(halfStroke_, halfOutline * view_.scale) + 1;
    double left = std::numeric_limits<double>::max();
    double top = left;
    double right = -left;
    double bottom = right;
    const auto include = [&](double radius, double angle) {
        const double x = view_.centreX + radius * std::sin(angle);
        const double y = view_.centreY - radius * std::cos(angle);
        left = std::min(left, x);
        right = std::max(right, x);
        top = std::min(top, y);
        bottom = std::max(bottom, y);
    };
    for (const float radius : {ring.inner, ring.outer}) {
        include(radius, place.start);
        include(radius, place.end);
    }
    for (int quarter = 0; quarter <= 4; ++quarter) {
        const double angle = quarter * std::numbers::pi / 2;
        if (place.start <= angle && angle <= place.end) {
            include(ring.outer, angle);
        }
    }
    const int x = std::clamp(static_cast<int>(std::floor(left - margin)), 0, width);
    const int y = std::clamp(static_cast<int>(std::floor(top - margin)), 0, height);
    return {.x = x,
            .y = y,
            .width = std::clamp(static_cast<int>(std::ceil(right + margin)), x, width) - x,
            .height = std::clamp(static_cast<int>(std::ceil(bottom + margin)), y, height) - y};
}

void SunburstRaster::paintArc(std::size_t arc, const Highlight& highlight, const Rect& bounds,
                              const Pixels& pixels) const {
    const int width = std::min(bounds.width, pixels.width);
    const int height = std::min(bounds.height, pixels.height);
    for (int y = 0; y < height; ++y) {
        std::fill_n(pixels.data + static_cast<std::size_t>(y) * pixels.stride, width, 0u);
    }
    if (arc >= places_.size() || places_[arc].ring < 0) {
        return;
    }
    const ArcPlace& place = places_[arc];
    Ring lit = rings_[static_cast<std::size_t>(place.ring)];
    const Vec fill = highlight.isRaised ? premultiplied(place.raised) : Vec{};
    Vec solidFill{};
    for (Segment& segment : lit.segments) {
        if (segment.arc == arc) {
            if (highlight.isRaised) {
                segment.fill = fill;
            }
            solidFill = segment.fill;
        }
    }
    std::vector<const Ring*> rings;
    rings.reserve(rings_.size());
    for (std::size_t i = 0; i < rings_.size(); ++i) {
        rings.push_back(static_cast<int>(i) == place.ring ? &lit : &rings_[i]);
    }
    SunburstColour opaque = highlight.background;
    opaque.opacity = 1;
    const Vec background = premultiplied(opaque);
    const auto ontoBackground = [&](Vec pixel) { return pixel + background * splat(1 - pixel[3] / 255); };
    const std::uint32_t solid = highlight.outline ? 0u : packed(ontoBackground(solidFill));
    const Vec outlineFill = highlight.outline ? premultiplied(*highlight.outline) : Vec{};
    const float halfLine = highlight.outline ? static_cast<float>(halfOutline * view_.scale) : halfStroke_;
    const float reach = halfPixel + halfLine;

    const auto centreX = static_cast<float>(view_.centreX);
    const auto centreY = static_cast<float>(view_.centreY);
    const std::size_t room = static_cast<std::size_t>(std::max(width, 0)) + 4;
    std::vector<float> radii(room);
    std::vector<float> angles(room);
    for (int y = 0; y < height; ++y) {
        std::uint32_t* const row = pixels.data + static_cast<std::size_t>(y) * pixels.stride;
        const float offsetY = static_cast<float>(bounds.y + y) + halfPixel - centreY;
        polarRow(static_cast<float>(bounds.x) + halfPixel - centreX, offsetY, width, radii.data(),
                 angles.data());
        for (int x = 0; x < width; ++x) {
            const float radius = radii[static_cast<std::size_t>(x)];
            float angle = angles[static_cast<std::size_t>(x)];
            const float fromInner = radius - lit.inner;
            const float toOuter = lit.outer - radius;
            if (fromInner <= -reach || toOuter <= -reach) {
                continue;
            }
            // An arc beside the top is also felt from the other side of it.
            const float pixelAngle = angle;
            if ((angle - turn - place.start) * radius > -reach) {
                angle -= turn;
            } else if ((angle + turn - place.end) * radius < reach) {
                angle += turn;
            }
            const float fromStart = (angle - place.start) * radius;
            const float toEnd = (place.end - angle) * radius;
            if (fromStart <= -reach || toEnd <= -reach) {
                continue;
            }
            if (std::min({fromInner, toOuter, fromStart, toEnd}) >= reach) {
                row[x] = solid;
                continue;
            }
            if (!highlight.outline) {
                row[x] = packed(ontoBackground(edgePixel(rings, radius, pixelAngle)));
                continue;
            }
            const float outer = share(fromStart, -halfLine, fromStart + toEnd + halfLine) *
                                share(radius, lit.inner - halfLine, lit.outer + halfLine);
            const float inner = std::max(0.0f, share(fromStart, halfLine, fromStart + toEnd - halfLine)) *
                                std::max(0.0f, share(radius, lit.inner + halfLine, lit.outer - halfLine));
            row[x] = packed(outlineFill * splat(outer - inner));
        }
    }
}

}  // namespace larkfold
