#include "pipeline/Compositor.h"

#include "geometry/fatal.h"
#include "pipeline/BeautifyFrame.h"
#include "pipeline/CameraCircle.h"
#include "pipeline/ContentHistory.h"
#include "pipeline/ScreenPicture.h"

#include <cmath>
#include <utility>

namespace quillet {

namespace {

/// A circle's place in the region, and which picture it shows.
struct PlacedCircle {
    PixelRect square;
    std::uint64_t generation;

    friend bool operator==(const PlacedCircle&, const PlacedCircle&) = default;
};

PixelRect wholeRegion(const Rect& cropRect) {
    const PixelRect region = toMemoryRows({0, 0, cropRect.size().width, cropRect.size().height}, 0);
    if (region.isEmpty()) fatal("a region without pixels");
    return {0, 0, region.width, region.height};
}

} // namespace

struct Compositor::Implementation {
    Implementation(Rect region, bool mirrorCamera, const std::optional<BeautifySettings>& beautify,
                   std::shared_ptr<CircleShelf> circles)
        : cropRect(region), whole(wholeRegion(region)), camera(mirrorCamera, std::move(circles)) {
        if (beautify) frame.emplace(*beautify, whole.width, whole.height);
    }

    void note(const PixelBuffer& screen);
    void damageRegion(const PixelRect& part);
    void damageEverything() {
        damaged.clear();
        damaged.add(whole);
        everything = true;
    }
    std::optional<PlacedCircle> place(const PixelBuffer* cameraFrame, std::optional<Rect> cameraRect);
    void moveCircle(const std::optional<PlacedCircle>& circle);

    const Rect cropRect;
    const PixelRect whole;
    CameraCircle camera;
    std::optional<BeautifyFrame> frame;

    // What is known of the screen frame that came last.
    std::uint64_t lastSequence = 0;
    PixelRect lastBounds;
    Alpha lastAlpha = Alpha::premultiplied;

    std::optional<PlacedCircle> drawnCircle;
    PixelRegion damaged; // output pixels that may have changed since the last render
    bool everything = true;
    ContentHistory history;
};

void Compositor::Implementation::damageRegion(const PixelRect& part) {
    const PixelRect inside = part.intersection(whole);
    if (everything || inside.isEmpty()) return;
    damaged.add(frame ? frame->canvasShowing(inside) : inside);
}

void Compositor::Implementation::note(const PixelBuffer& screen) {
    const bool follows = lastSequence != 0 && screen.sequence == lastSequence + 1 && screen.damage &&
                         screen.bounds() == lastBounds && screen.alpha == lastAlpha;
    lastSequence = screen.sequence;
    lastBounds = screen.bounds();
    lastAlpha = screen.alpha;
    if (!follows) return damageEverything();
    const PixelRect region = toMemoryRows(cropRect, screen.height());
    for (const PixelRect& part : screen.damage->rects())
        damageRegion(part.offsetBy(-region.x, -region.y));
}

std::optional<PlacedCircle> Compositor::Implementation::place(const PixelBuffer* cameraFrame,
                                                              std::optional<Rect> cameraRect) {
    if (!cameraFrame || !cameraRect) {
        camera.clear();
        return std::nullopt;
    }
    // Far outside there is nothing to draw, and no whole numbers to count with.
    const double x = std::round(cameraRect->minX()) - cropRect.minX();
    const double y = std::round(cameraRect->minY()) - cropRect.minY();
    const double diameter = cameraRect->size().width;
    const double reach = diameter + 2;
    const bool near = x < whole.width && x > -reach && y < whole.height && y > -reach;
    if (!near || !camera.update(*cameraFrame, diameter)) return std::nullopt;

    const int side = camera.side();
    const PixelRect square{static_cast<int>(x), whole.height - static_cast<int>(y) - side, side, side};
    if (square.intersection(whole).isEmpty()) return std::nullopt;
    return PlacedCircle{square, camera.generation()};
}

void Compositor::Implementation::moveCircle(const std::optional<PlacedCircle>& circle) {
    if (circle == drawnCircle) return;
    const PixelRect before = drawnCircle ? drawnCircle->square : PixelRect{};
    const PixelRect after = circle ? circle->square : PixelRect{};
    const PixelRect both = before.united(after);
    // A small move is one rectangle, a jump is two.
    if (both.area() <= before.area() + after.area()) {
        damageRegion(both);
    } else {
        damageRegion(before);
        damageRegion(after);
    }
    drawnCircle = circle;
}

Compositor::Compositor(Rect cropRect, bool mirrorCamera, std::optional<BeautifySettings> beautify,
                       std::shared_ptr<CircleShelf> circles)
    : implementation(
          std::make_unique<Implementation>(cropRect.standardised(), mirrorCamera, beautify, std::move(circles))) {}

Compositor::~Compositor() = default;

Size Compositor::outputSize() const { return implementation->cropRect.size(); }

void Compositor::render(const PixelBuffer& screen, const PixelBuffer* camera, std::optional<Rect> cameraRect,
                        PixelBuffer& into) {
    Implementation& my = *implementation;
    if (into.bounds() != my.whole) fatal("an output frame of another size than the region's");
    my.note(screen);
    const std::optional<PlacedCircle> circle = my.place(camera, cameraRect);
    my.moveCircle(circle);
    my.history.advance(my.damaged);

    const ScreenPicture picture{screen, toMemoryRows(my.cropRect, screen.height()), circle ? &my.camera : nullptr,
                                circle ? circle->square.x : 0, circle ? circle->square.y : 0};
    for (const PixelRect& part : my.history.staleIn(into, my.whole).rects()) {
        if (my.frame) {
            my.frame->draw(part, picture, into);
            continue;
        }
        for (int y = part.y; y < part.bottom(); ++y)
            picture.writeRow(y, part.x, part.right(), into.row(y) + static_cast<std::size_t>(part.x) * 4);
    }
    my.history.noteDrawn(into);
    into.alpha = Alpha::premultiplied;
    into.sequence = my.history.current();
    if (my.everything)
        into.damage.reset();
    else
        into.damage = my.damaged;
    my.damaged.clear();
    my.everything = false;
}

void Compositor::skip(const PixelBuffer& screen) { implementation->note(screen); }

} // namespace quillet
