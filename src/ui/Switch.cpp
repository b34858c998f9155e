#include "ui/Switch.h"

#include "ui/look.h"

#include <QFontMetrics>
#include <QKeyEvent>
#include <QPainter>

namespace quillet {

namespace {

constexpr int trackWidth = 36;
constexpr int trackHeight = 20;
constexpr int gap = 8; // between label and track
constexpr double knobInset = 2;

} // namespace

Switch::Switch(const QString& label, QWidget* parent) : QCheckBox(label, parent) {
    setFont(look::font(look::bodyPixels));
    setAttribute(Qt::WA_Hover);
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    // Not clicked: assistive programs turn a switch without clicking it.
    connect(this, &QCheckBox::toggled, this, [this](bool isOn) {
        if (isOn == shown) return;
        // The press has turned it; whether it stays so is not this widget's decision.
        showOn(shown);
        if (onTurn) onTurn(isOn);
    });
}

void Switch::showOn(bool isOn) {
    shown = isOn;
    setChecked(isOn);
}

QSize Switch::sizeHint() const {
    return {QFontMetrics(font()).horizontalAdvance(text()) + gap + trackWidth, trackHeight};
}

QRectF Switch::track() const {
    return {width() - trackWidth + 0.0, (height() - trackHeight) / 2.0, trackWidth, trackHeight};
}

FocusShape Switch::focusShape() const { return {track(), trackHeight / 2.0}; }

void Switch::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    if (!isEnabled()) painter.setOpacity(look::disabledOpacity);
    painter.setPen(look::primaryText(palette()));
    look::drawLine(painter, rect(), Qt::AlignLeft, text());

    look::Touch touch = look::Touch::none;
    if (isDown())
        touch = look::Touch::pressed;
    else if (underMouse() && isEnabled())
        touch = look::Touch::hovered;
    const QRectF groove = look::snapped(painter, track());
    const QColor off(128, 128, 128, touch == look::Touch::none ? 110 : 140);
    look::fillRounded(painter, groove, groove.height() / 2,
                      isChecked() ? look::touched(look::accent(palette()), touch) : off);
    const double knob = groove.height() - 2 * knobInset;
    const double x = isChecked() ? groove.right() - knobInset - knob : groove.left() + knobInset;
    const QRectF place(x, groove.top() + knobInset, knob, knob);
    if (!isEnabled()) painter.setOpacity(2 * look::disabledOpacity); // fainter, and still a knob
    painter.setBrush(QColor(0, 0, 0, 40));
    painter.drawEllipse(place.translated(0, 0.75));
    painter.setBrush(Qt::white);
    painter.drawEllipse(place);
}

void Switch::keyPressEvent(QKeyEvent* event) {
    const bool enters = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (!enters) return QCheckBox::keyPressEvent(event);
    if (!event->isAutoRepeat()) click();
}

} // namespace quillet
