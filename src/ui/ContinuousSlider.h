// ContinuousSlider.h: a slider between two numbers.
#pragma once

#include "ui/FocusShape.h"

#include <QSlider>

#include <functional>

namespace quillet {

/// Continuous to the eye: a thousand places, the first and the last exactly the range's ends. A press jumps to its
/// place; arrow keys go two hundredths of the way, page keys a tenth, Home and End to the ends. The wheel is left to
/// the panel, which scrolls.
///
/// Threads: main.
class ContinuousSlider : public QSlider, public FocusShaped {
public:
    struct Range {
        double least;
        double most; ///< greater than least
    };
    ContinuousSlider(const Range& ends, QWidget* parent);

    /// The user moved it. Where it stays only showNumber() decides.
    std::function<void(double)> onMove;

    /// The nearest place on the slider; what is no number counts as the least.
    void showNumber(double number);

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

    Range range;
    double shown;
};

} // namespace quillet
