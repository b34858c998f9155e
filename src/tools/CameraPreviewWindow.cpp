#include "tools/CameraPreviewWindow.h"

#include "tools/drawing.h"
#include "tools/moveWithin.h"

#include <QMouseEvent>
#include <QPainter>

#include <utility>

namespace quillet {

namespace {

constexpr double gripLineWidth = 2; // points

} // namespace

CameraPreviewView::CameraPreviewView(std::function<void(double)> diameterStore, std::shared_ptr<CircleShelf> circles)
    : FloatingWindow({.accessibleName = QStringLiteral("摄像头画面")}), storeDiameter(std::move(diameterStore)),
      bubble(std::move(circles)) {
    setMouseTracking(true);
    setFrame({0, 0, usualBubble, usualBubble});
}

void CameraPreviewView::setPicture(ConstPixelBufferRef newest) {
    const bool comesOrGoes = (picture == nullptr) != (newest == nullptr);
    picture = std::move(newest);
    isPictureDrawn = false;
    if (comesOrGoes)
        redraw();
    else
        update();
}

Size CameraPreviewView::viewSize() const {
    const double unit = scale();
    return {pixelSize().width() / unit, pixelSize().height() / unit};
}

QPainterPath CameraPreviewView::disc() const {
    QPainterPath path;
    path.addEllipse(QRectF(QPointF(), QSizeF(pixelSize())));
    return path;
}

/// A circle around the grip's centre, `radius` in points.
QPainterPath CameraPreviewView::grip(double radius) const {
    const double unit = scale();
    const Size size = viewSize();
    const Point centre = bubbleGripCentre(size);
    QPainterPath path;
    path.addEllipse(QPointF(centre.x, size.height - centre.y) * unit, radius * unit, radius * unit);
    return path;
}

std::optional<QRegion> CameraPreviewView::shape() const {
    if (isTranslucent()) return std::nullopt;
    QPainterPath drawn = disc();
    if (!picture) {
        QPainterPath hole;
        const double ring = bubbleRingWidth * scale();
        hole.addEllipse(QRectF(QPointF(), QSizeF(pixelSize())).adjusted(ring, ring, -ring, -ring));
        drawn = drawn.subtracted(hole);
    }
    QRegion region = solidPixels(drawn, pixelSize());
    if (gripShown) region += solidPixels(grip(bubbleGripRadius + gripLineWidth / 2), pixelSize());
    return region;
}

// What is beneath the transparent corners stays within reach, but for the one with the grip.
std::optional<QRegion> CameraPreviewView::mouseArea() const {
    QPainterPath area = disc();
    area.addPath(grip(bubbleGripReach));
    area.setFillRule(Qt::WindingFill);
    const int zone = static_cast<int>(bubbleGripZone * scale());
    return solidPixels(area, pixelSize())
        .united(QRect(pixelSize().width() - zone, pixelSize().height() - zone, zone, zone));
}

void CameraPreviewView::paintEvent(QPaintEvent* /*event*/) {
    const double unit = scale();
    const BubblePicture::Look look{.side = pixelSize().width(),
                                   .ringWidth = bubbleRingWidth * unit,
                                   .edge = isTranslucent() ? BubblePicture::Edge::soft : BubblePicture::Edge::hard};
    if (!isPictureDrawn || bubble.look() != look) bubble.draw(picture.get(), look);
    isPictureDrawn = true;
    QPainter painter(this);
    usePixels(painter);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.drawImage(QPoint(), bubble.image());
    if (!gripShown) return;
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(systemBlue(1), gripLineWidth * unit));
    painter.setBrush(Qt::white);
    painter.drawPath(grip(bubbleGripRadius));
    if (isTranslucent()) return;
    // Where pixels cannot be covered in part, the grip's edge is made whole from beneath.
    painter.setCompositionMode(QPainter::CompositionMode_DestinationOver);
    painter.fillPath(grip(bubbleGripRadius + gripLineWidth), systemBlue(1));
}

void CameraPreviewView::showGrip() {
    const bool isWanted = hovering || dragMode == BubbleDrag::resize;
    if (isWanted == gripShown) return;
    gripShown = isWanted;
    redraw();
}

void CameraPreviewView::enterEvent(QEnterEvent* /*event*/) {
    hovering = true;
    showGrip();
}

void CameraPreviewView::leaveEvent(QEvent* /*event*/) {
    hovering = false;
    showGrip();
}

BubbleDrag CameraPreviewView::dragAt(Point mouse) const {
    return bubbleDragAt({mouse.x - frame().minX(), mouse.y - frame().minY()}, frame().size());
}

void CameraPreviewView::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    dragStartMouse = mouseAt(*event);
    dragStartFrame = frame();
    dragMode = dragAt(dragStartMouse);
    showGrip();
}

void CameraPreviewView::mouseMoveEvent(QMouseEvent* event) {
    if (dragMode != BubbleDrag::none) return drag(mouseAt(*event));
    const bool isOnGrip = dragAt(mouseAt(*event)) == BubbleDrag::resize;
    const Qt::CursorShape wanted = isOnGrip ? Qt::SizeFDiagCursor : Qt::ArrowCursor;
    if (cursor().shape() != wanted) setCursor(wanted);
}

void CameraPreviewView::drag(Point mouse) {
    const Screen* screen = holdingScreen();
    if (!screen) return;
    const double dx = mouse.x - dragStartMouse.x;
    const double dy = mouse.y - dragStartMouse.y;
    if (dragMode == BubbleDrag::resize) return setFrame(resizedBubble(dragStartFrame, dx));
    setFrame(moveWithin(dragStartFrame, dx, dy, screen->frame));
    if (onLiveMove) onLiveMove(frame());
}

void CameraPreviewView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || dragMode == BubbleDrag::none) return;
    const BubbleDrag ended = std::exchange(dragMode, BubbleDrag::none);
    if (ended == BubbleDrag::resize && storeDiameter) storeDiameter(frame().width);
    if (onFrameCommitted) onFrameCommitted(frame());
    showGrip();
}

// A bubble whose screen has gone comes back into sight.
void CameraPreviewView::screensRearranged() {
    if (returnToScreens() && onFrameCommitted) onFrameCommitted(frame());
}

CameraPreviewController::CameraPreviewController(BubbleDiameterStore diameterStore,
                                                 std::shared_ptr<CircleShelf> circles)
    : store(std::move(diameterStore)), view(store.write, std::move(circles)) {}

void CameraPreviewController::placeDefault(const Screen& screen) {
    view.setFrame(defaultBubbleFrame(bubbleDiameter(store.read ? store.read() : 0), screen));
}

} // namespace quillet
