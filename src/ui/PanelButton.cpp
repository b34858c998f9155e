#include "ui/PanelButton.h"

#include <QFontMetrics>
#include <QKeyEvent>
#include <QPainter>

namespace quillet {

PanelButton::PanelButton(const QString& text, const QFont& textFont, const Shape& wanted, QWidget* parent)
    : QPushButton(text, parent), shape(wanted) {
    setFont(textFont);
    setAttribute(Qt::WA_Hover);
    setFocusPolicy(Qt::StrongFocus);
    setAutoDefault(false);
}

QSize PanelButton::sizeHint() const {
    return {QFontMetrics(font()).horizontalAdvance(text()) + 2 * shape.paddingBeside,
            look::lineHeight(font().pixelSize()) + 2 * shape.paddingAbove};
}

look::Touch PanelButton::touch() const {
    if (isDown()) return look::Touch::pressed;
    return underMouse() && isEnabled() ? look::Touch::hovered : look::Touch::none;
}

void PanelButton::prepare(QPainter& painter) const {
    painter.setRenderHint(QPainter::Antialiasing);
    if (!isEnabled()) painter.setOpacity(look::disabledOpacity);
}

void PanelButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    prepare(painter);
    look::fillRounded(painter, rect(), shape.radius, background());
    painter.setPen(foreground());
    if (isChecked()) painter.setOpacity(1); // still to be read on what is faint already
    look::drawLine(painter, rect(), Qt::AlignHCenter, text());
}

void PanelButton::keyPressEvent(QKeyEvent* event) {
    const bool enters = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (!enters) return QPushButton::keyPressEvent(event);
    if (!event->isAutoRepeat()) click();
}

} // namespace quillet
