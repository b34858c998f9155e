#include "tools/HandlePanel.h"

#include "tools/drawing.h"

#include <QFontMetricsF>
#include <QMouseEvent>
#include <QPainter>

#include <cmath>

namespace quillet {

namespace {

FloatingWindow::Options optionsFor(HandlePanel::Kind kind) {
    return {.accessibleName =
                kind == HandlePanel::Kind::move ? QStringLiteral("移动录制范围") : QStringLiteral("调整录制范围大小")};
}

/// The glyph's place taken by lines, where no font has it: arrows from the middle to both ends of each axis.
void drawArrow(QPainter& painter, QPointF from, QPointF to, double head) {
    const QPointF along = (to - from) / std::hypot(to.x() - from.x(), to.y() - from.y()) * head;
    const QPointF across(-along.y(), along.x());
    painter.drawLine(from, to);
    painter.drawPolyline(QPolygonF({to - along + across, to, to - along - across}));
}

} // namespace

HandlePanel::HandlePanel(Kind wanted, Size size) : FloatingWindow(optionsFor(wanted)), kind(wanted) {
    setCursor(kind == Kind::move ? Qt::OpenHandCursor : Qt::CrossCursor);
    setFrame({0, 0, size.width, size.height});
}

QPainterPath HandlePanel::outline() const {
    const double unit = scale();
    QPainterPath path;
    path.addRoundedRect(QRectF(QPointF(), QSizeF(pixelSize())).adjusted(unit, unit, -unit, -unit), 6 * unit, 6 * unit);
    return path;
}

std::optional<QRegion> HandlePanel::shape() const {
    if (isTranslucent()) return std::nullopt;
    return solidPixels(outline(), pixelSize());
}

void HandlePanel::paintEvent(QPaintEvent* /*event*/) {
    const double unit = scale();
    QPainter painter(this);
    usePixels(painter);
    // What is solid is solid to its last pixel.
    if (!isTranslucent()) painter.fillRect(QRect(QPoint(), pixelSize()), systemBlue(1));
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillPath(outline(), systemBlue(isTranslucent() ? 0.95 : 1));
    painter.strokePath(outline(), QPen(QColor::fromRgbF(1, 1, 1, 0.35F), unit));
    drawGlyph(painter);
}

void HandlePanel::drawGlyph(QPainter& painter) const {
    const QString glyph = kind == Kind::move ? QStringLiteral("\u2725") : QStringLiteral("\u2921");
    const QFont font = systemFont(0.55 * pixelSize().width(), QFont::Bold);
    const QPointF middle(pixelSize().width() / 2.0, pixelSize().height() / 2.0);
    if (canShow(font, glyph)) {
        const QFontMetricsF metrics(font);
        const double width = metrics.horizontalAdvance(glyph);
        painter.setFont(font);
        painter.setPen(Qt::white);
        painter.drawText(QPointF(middle.x() - width / 2, middle.y() - metrics.height() / 2 + metrics.ascent()), glyph);
        return;
    }
    const double reach = 0.24 * pixelSize().width();
    const double head = 0.3 * reach;
    painter.setPen(QPen(Qt::white, 0.06 * pixelSize().width()));
    const auto both = [&](QPointF way) {
        drawArrow(painter, middle, middle + way, head);
        drawArrow(painter, middle, middle - way, head);
    };
    if (kind == Kind::resize) return both({reach, reach});
    both({reach, 0});
    both({0, reach});
}

void HandlePanel::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    startMouse = mouseAt(*event);
    if (onDragStart) onDragStart();
}

void HandlePanel::mouseMoveEvent(QMouseEvent* event) {
    if (!(event->buttons() & Qt::LeftButton)) return;
    const Point mouse = mouseAt(*event);
    if (onDrag) onDrag(mouse.x - startMouse.x, mouse.y - startMouse.y);
}

} // namespace quillet
