#include "ui/ContinuousSlider.h"

#include "ui/look.h"

#include <QMouseEvent>
#include <QPainter>
#include <QSignalBlocker>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>

namespace quillet {

namespace {

constexpr int places = 1000;
constexpr double knobSize = 16;
constexpr double grooveHeight = 4;
constexpr int height = 22;

} // namespace

ContinuousSlider::ContinuousSlider(const Range& ends, QWidget* parent)
    : QSlider(Qt::Horizontal, parent), range(ends), shown(ends.least) {
    setRange(0, places);
    setSingleStep(places / 50);
    setPageStep(places / 10);
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_Hover);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    connect(this, &QSlider::valueChanged, this, [this](int place) {
        showNumber(shown);
        const auto number = [&] { return range.least + (range.most - range.least) * place / places; };
        if (onMove) onMove(place == places ? range.most : number());
    });
}

void ContinuousSlider::showNumber(double number) {
    shown = number;
    const double share = (number - range.least) / (range.most - range.least);
    const int place = share > 0 ? static_cast<int>(std::lround(std::min(share, 1.0) * places)) : 0;
    const QSignalBlocker quiet(this);
    setValue(place);
}

QSize ContinuousSlider::sizeHint() const { return {160, quillet::height}; }

QSize ContinuousSlider::minimumSizeHint() const { return {40, quillet::height}; }

FocusShape ContinuousSlider::focusShape() const {
    const double inset = (rect().height() - knobSize) / 2;
    return {QRectF(rect()).adjusted(0, inset, 0, -inset), knobSize / 2};
}

QRectF ContinuousSlider::knob() const {
    const double share = static_cast<double>(value()) / places;
    return {share * (width() - knobSize), (rect().height() - knobSize) / 2, knobSize, knobSize};
}

void ContinuousSlider::moveTo(double x) {
    const double share = (x - knobSize / 2) / std::max(1.0, width() - knobSize);
    setValue(static_cast<int>(std::lround(std::clamp(share, 0.0, 1.0) * places)));
    update();
}

void ContinuousSlider::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    if (!isEnabled()) painter.setOpacity(look::disabledOpacity);
    const QRectF place = knob();
    const double middle = place.center().x();
    const double top = (rect().height() - grooveHeight) / 2;
    look::fillRounded(painter, {0, top, width() + 0.0, grooveHeight}, grooveHeight / 2, look::groove(palette()));
    look::fillRounded(painter, {0, top, middle, grooveHeight}, grooveHeight / 2, look::accent(palette()));
    // The knob is whole even where the slider is faint.
    painter.setOpacity(1);
    painter.setBrush(QColor(0, 0, 0, 46));
    painter.drawEllipse(place.translated(0, 0.75).adjusted(-0.25, -0.25, 0.25, 0.25));
    painter.setBrush(isEnabled() ? QColor(Qt::white) : QColor(225, 225, 225));
    painter.drawEllipse(place.adjusted(0.5, 0.5, -0.5, -0.5));
}

void ContinuousSlider::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return event->ignore();
    setSliderDown(true);
    moveTo(event->position().x());
}

void ContinuousSlider::mouseMoveEvent(QMouseEvent* event) {
    if (!isSliderDown()) return event->ignore();
    moveTo(event->position().x());
}

void ContinuousSlider::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return event->ignore();
    setSliderDown(false);
}

void ContinuousSlider::wheelEvent(QWheelEvent* event) { event->ignore(); }

} // namespace quillet
