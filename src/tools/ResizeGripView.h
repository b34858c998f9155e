// ResizeGripView.h: the corner by which the teleprompter is resized.
#pragma once

#include "geometry/Point.h"
#include "geometry/Rect.h"

#include <QWidget>

namespace quillet {

class FloatingWindow;

/// Three diagonal strokes. A drag resizes the window and leaves its upper left corner where it is; a press here does
/// not move the window.
///
/// Threads: main.
class ResizeGripView : public QWidget {
public:
    /// In `floating`, which it resizes.
    explicit ResizeGripView(FloatingWindow& floating);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    FloatingWindow& target;
    bool isHeld = false;
    Point startMouse;
    Rect startFrame;
};

} // namespace quillet
