#include "tools/ResizeGripView.h"

#include "tools/FloatingWindow.h"
#include "tools/TeleprompterLayout.h"

#include <QMouseEvent>
#include <QPainter>

namespace quillet {

ResizeGripView::ResizeGripView(FloatingWindow& floating) : QWidget(&floating), target(floating) {
    setCursor(Qt::SizeFDiagCursor);
}

void ResizeGripView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(255, 255, 255, 128), 1.5));
    for (const double i : {4.0, 9.0, 14.0})
        painter.drawLine(QPointF(width() - i, height() - 2), QPointF(width() - 2, height() - i));
}

void ResizeGripView::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    isHeld = true;
    startMouse = target.mouseAt(*event);
    startFrame = target.frame();
}

void ResizeGripView::mouseMoveEvent(QMouseEvent* event) {
    if (!isHeld) return;
    const Point mouse = target.mouseAt(*event);
    const Rect wanted = resizedByGrip(startFrame, mouse.x - startMouse.x, mouse.y - startMouse.y);
    target.setFrame(withEvenPixels(wanted, target.scale()));
}

void ResizeGripView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) isHeld = false;
}

} // namespace quillet
