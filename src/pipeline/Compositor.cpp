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

// A view of the screen instead of a drawing is worth it from one of this many parts of the region on.
constexpr std::int64_t leastShareOfView = 2;

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
    /// Reader note of what is to be shown, and says where the circle is.
    std::optional<PlacedCircle> begin(const PixelBuffer& screen, const PixelBuffer* cameraFrame,
                                      std::optional<Rect> cameraRect);
    void draw(const PixelBuffer& screen, const std::optional<PlacedCircle>& circle, PixelBuffer& into);
    [[nodiscard]] bool isMostlyDamaged() const;
    PixelBufferRef view(const ConstPixelBufferRef& screen);
    /// Says in the frame what it holds.
    void finish(PixelBuffer& shown);

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
    std::weak_ptr<const PixelBuffer> lastView;
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

std::optional<PlacedCircle> Compositor::Implementation::begin(const PixelBuffer& screen, const PixelBuffer* cameraFrame,
                                                              std::optional<Rect> cameraRect) {
    note(screen);
    std::optional<PlacedCircle> circle = place(cameraFrame, cameraRect);
    moveCircle(circle);
    return circle;
}

void Compositor::Implementation::draw(const PixelBuffer& screen, const std::optional<PlacedCircle>& circle,
                                      PixelBuffer& into) {
    if (into.bounds() != whole) fatal("an output frame of another size than the region's");
    history.advance(damaged);
    const ScreenPicture picture{screen, toMemoryRows(cropRect, screen.height()), circle ? &camera : nullptr,
                                circle ? circle->square.x : 0, circle ? circle->square.y : 0};
    for (const PixelRect& part : history.staleIn(into, whole).rects()) {
        if (frame) {
            frame->draw(part, picture, into);
            continue;
        }
        for (int y = part.y; y < part.bottom(); ++y)
            picture.writeRow(y, part.x, part.right(), into.row(y) + static_cast<std::size_t>(part.x) * 4);
    }
    history.noteDrawn(into);
    into.alpha = Alpha::premultiplied;
    finish(into);
}

void Compositor::Implementation::finish(PixelBuffer& shown) {
    shown.sequence = history.current();
    if (everything)
        shown.damage.reset();
    else
        shown.damage = damaged;
    damaged.clear();
    everything = false;
}

bool Compositor::Implementation::isMostlyDamaged() const {
    std::int64_t pixels = 0;
    for (const PixelRect& part : damaged.rects())
        pixels += part.area();
    return pixels * leastShareOfView > whole.area();
}

/// Null where the region has to be drawn, or would better be.
PixelBufferRef Compositor::Implementation::view(const ConstPixelBufferRef& screen) {
    // A source that misses its frame copies what it needs of it: never more than one, and none for little.
    if (frame || !isMostlyDamaged() || !lastView.expired()) return nullptr;
    const PixelRect region = toMemoryRows(cropRect, screen->height());
    const std::size_t offset = static_cast<std::size_t>(region.x) * 4;
    if (!screen->bounds().contains(region) || offset % PixelBuffer::rowAlignmentBytes != 0) return nullptr;
    // Nobody writes to it: whoever gets it cannot, and this class does so only to frames of its caller's.
    auto* const base = const_cast<std::byte*>(screen->row(region.y)) + offset;
    PixelBufferRef made =
        PixelBuffer::wrap(base, screen->strideBytes(), region.width, region.height, [held = screen] {});
    made->alpha = screen->alpha;
    lastView = made;
    return made;
}

void Compositor::render(const PixelBuffer& screen, const PixelBuffer* camera, std::optional<Rect> cameraRect,
                        PixelBuffer& into) {
    const std::optional<PlacedCircle> circle = implementation->begin(screen, camera, cameraRect);
    implementation->draw(screen, circle, into);
}

ConstPixelBufferRef Compositor::show(const ConstPixelBufferRef& screen, const PixelBuffer* camera,
                                     std::optional<Rect> cameraRect, const Reader& reader) {
    Implementation& my = *implementation;
    const std::optional<PlacedCircle> circle = my.begin(*screen, camera, cameraRect);
    if (PixelBufferRef view = circle || !reader.isPrompt ? nullptr : my.view(screen)) {
        my.history.advance(my.damaged);
        my.finish(*view);
        return view;
    }
    PixelBufferRef into = reader.acquire();
    if (into) my.draw(*screen, circle, *into);
    return into;
}

void Compositor::skip(const PixelBuffer& screen) { implementation->note(screen); }

} // namespace quillet
