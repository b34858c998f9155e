#include "tools/RegionOverlayWindow.h"

#include "tools/drawing.h"
#include "tools/moveWithin.h"
#include "tools/regionArithmetic.h"

#include <QFontMetricsF>
#include <QPainter>

#include <algorithm>
#include <cmath>

namespace quillet {

namespace {

// Points.
constexpr double choosingThickness = 3;
constexpr double recordingThickness = 2;
constexpr double labelFontSize = 12;
constexpr double pillLeft = 42; // clears the move handle
constexpr double pillTop = 6;
constexpr double pillPadding = 4;
constexpr double pillRadius = 4;

constexpr Rect firstFrame{0, 0, 960, 540};

} // namespace

RegionOverlayView::RegionOverlayView()
    : FloatingWindow({.accessibleName = QStringLiteral("录制范围"), .mouse = Mouse::passesThrough}) {
    setFrame(firstFrame);
}

void RegionOverlayView::setRecordingMode(bool isRecordingNow) {
    isRecording = isRecordingNow;
    redraw();
}

void RegionOverlayView::setFullscreenMode(bool isFullscreenNow) {
    isFullscreen = isFullscreenNow;
    redraw();
}

void RegionOverlayView::setRegion(const Rect& region) {
    const bool isResized = region.size() != frame().size();
    setFrame(region);
    if (isResized) redraw();
}

/// In whole pixels, so that every edge is sharp.
int RegionOverlayView::thickness() const {
    const double points = isRecording ? recordingThickness : choosingThickness;
    return std::max(1, static_cast<int>(std::lround(points * scale())));
}

QRegion RegionOverlayView::outline() const {
    if (isRecording && isFullscreen) return {};
    const QRect whole(QPoint(), pixelSize());
    const int border = thickness();
    return QRegion(whole).subtracted(whole.adjusted(border, border, -border, -border));
}

QString RegionOverlayView::label() const {
    const Size size = frame().size();
    return QStringLiteral("%1 × %2").arg(truncated(size.width, "a width")).arg(truncated(size.height, "a height"));
}

QFont RegionOverlayView::labelFont() const { return systemFont(labelFontSize * scale(), QFont::DemiBold); }

QRect RegionOverlayView::pill() const {
    const QFontMetricsF metrics(labelFont());
    const double unit = scale();
    const double border = 2 * pillPadding * unit;
    return QRectF(pillLeft * unit, pillTop * unit, metrics.horizontalAdvance(label()) + border,
                  metrics.height() + border)
        .toAlignedRect();
}

// Also where transparency works: compositing managers and screen sources then leave the inside alone, large as it may
// be.
std::optional<QRegion> RegionOverlayView::shape() const {
    QRegion drawn = outline();
    if (!hasLabel()) return drawn;
    if (isTranslucent()) return drawn.united(pill());
    QPainterPath path;
    path.addRoundedRect(pill(), pillRadius * scale(), pillRadius * scale());
    return drawn.united(solidPixels(path, pixelSize()));
}

void RegionOverlayView::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    usePixels(painter);
    const auto alpha = [&](double wanted) { return isTranslucent() ? wanted : 1; };
    const QColor colour = isRecording ? systemRed(alpha(0.95)) : systemBlue(alpha(0.9));
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    for (const QRect& side : outline())
        painter.fillRect(side, colour);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    if (hasLabel()) drawLabel(painter);
}

void RegionOverlayView::drawLabel(QPainter& painter) const {
    const double unit = scale();
    const QRect place = pill();
    painter.setPen(Qt::NoPen);
    painter.setBrush(systemBlue(isTranslucent() ? 0.85 : 1));
    painter.setRenderHint(QPainter::Antialiasing, isTranslucent());
    if (isTranslucent())
        painter.drawRoundedRect(place, pillRadius * unit, pillRadius * unit);
    else
        painter.drawRect(place); // the window's shape rounds it
    painter.setPen(Qt::white);
    painter.setFont(labelFont());
    const double baseline = place.top() + pillPadding * unit + QFontMetricsF(labelFont()).ascent();
    painter.drawText(QPointF(place.left() + pillPadding * unit, baseline), label());
}

RegionOverlayController::RegionOverlayController()
    : moveHandle(HandlePanel::Kind::move, moveHandleSize), resizeHandle(HandlePanel::Kind::resize, resizeHandleSize) {
    for (HandlePanel* handle : {&moveHandle, &resizeHandle})
        handle->onDragStart = [this] { dragStartFrame = window.frame(); };
    window.onScreensRearranged = [this] { followScreens(); };
    moveHandle.onDrag = [this](double dx, double dy) { dragMove(dx, dy); };
    resizeHandle.onDrag = [this](double dx, double dy) { dragResize(dx, dy); };
}

void RegionOverlayController::apply(RangeMode mode, const Screen& screen) {
    appliedMode = mode;
    aspect = aspectRatio(mode);
    window.setFullscreenMode(mode == RangeMode::fullscreen);
    window.setRegion(placedRegion(mode, window.frame().size(), screen));
    updateHandles();
}

void RegionOverlayController::orderOut() {
    window.orderOut();
    updateHandles();
}

void RegionOverlayController::setRecording(bool isRecordingNow) {
    isRecording = isRecordingNow;
    window.setRecordingMode(isRecordingNow);
    updateHandles();
    // What is recorded stays in its place until the end.
    if (!isRecording) followScreens();
}

void RegionOverlayController::updateHandles() {
    if (!window.isVisible() || window.isFullscreenMode() || isRecording) {
        moveHandle.orderOut();
        resizeHandle.orderOut();
        return;
    }
    placeHandles();
    moveHandle.orderFront();
    resizeHandle.orderFront();
}

void RegionOverlayController::placeHandles() {
    moveHandle.setFrame(moveHandleFrame(window.frame()));
    resizeHandle.setFrame(resizeHandleFrame(window.frame()));
}

void RegionOverlayController::dragMove(double dx, double dy) {
    const Screen* screen = window.holdingScreen();
    if (!screen) return;
    window.setRegion(moveWithin(dragStartFrame, dx, dy, screen->frame));
    // Nothing else can have risen above them at every step.
    placeHandles();
}

void RegionOverlayController::dragResize(double dx, double dy) {
    const Screen* screen = window.holdingScreen();
    if (!screen) return;
    window.setRegion(resizedRegion(dragStartFrame, dx, dy, aspect, screen->frame));
    placeHandles();
}

void RegionOverlayController::followScreens() {
    const Screen* screen = window.holdingScreen();
    if (!screen || !appliedMode || isRecording) return;
    const Rect& whole = screen->frame;
    const bool isWhole = frame() == whole;
    const bool isOnIt =
        moveWithin(frame(), 0, 0, whole) == frame() && frame().width <= whole.width && frame().height <= whole.height;
    if (*appliedMode == RangeMode::fullscreen ? !isWhole : !isOnIt) apply(*appliedMode, *screen);
    updateHandles();
}

std::vector<std::uint32_t> RegionOverlayController::windowIDs() const {
    return {window.windowNumber(), moveHandle.windowNumber(), resizeHandle.windowNumber()};
}

} // namespace quillet
