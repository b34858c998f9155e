#include "ui/Divider.h"

#include "ui/look.h"

#include <QPainter>

#include <cmath>

namespace quillet {

Divider::Divider(QWidget* parent) : QWidget(parent) {
    setFixedHeight(1);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void Divider::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const double ratio = devicePixelRatio();
    QRectF whole = look::snapped(painter, rect());
    whole.setHeight(std::max(1.0, std::floor(ratio)) / ratio);
    painter.fillRect(whole, look::line(palette()));
}

} // namespace quillet
