// FractionSlider.h: a slider over fractions from 0 to a maximum.
#pragma once

#include "ui/FocusShape.h"

#include <QSlider>

#include <functional>

namespace quillet {

/// Continuous to the eye: a thousand places, the first exactly 0 and the last exactly `maximum`. A press jumps to its
/// place; arrow keys go two hundredths of the way, page keys a tenth, Home and End to the ends. The wheel is left to
/// the panel, which scrolls.
///
/// Threads: main.
class FractionSlider : public QSlider, public FocusShaped {
public:
    FractionSlider(double maximum, QWidget* parent);

    /// The user moved it. Where it stays only showFraction() decides.
    std::function<void(double)> onMove;

    /// The nearest place on the slider; a fraction that is no number counts as 0.
    void showFraction(double fraction);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;
    [[nodiscard]] FocusShape focusShape() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    [[nodiscard]] QRectF knob() const;
    void moveTo(double x);

    double most;
    double shown = 0;
};

} // namespace quillet
