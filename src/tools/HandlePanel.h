// HandlePanel.h: a small square that a window without a mouse of its own is moved or resized by.
#pragma once

#include "tools/FloatingWindow.h"

#include <functional>

namespace quillet {

/// Reports drags as the mouse's way since the press, so that the receiver always starts from where it stood then and a
/// drag back to its beginning leaves no trace. Threads: main.
class HandlePanel : public FloatingWindow {
public:
    enum class Kind { move, resize };

    /// `size` in points.
    HandlePanel(Kind kind, Size size);

    std::function<void()> onDragStart;
    /// (dx, dy) in global screen points, y up.
    std::function<void(double dx, double dy)> onDrag;

protected:
    [[nodiscard]] std::optional<QRegion> shape() const override;
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;

private:
    [[nodiscard]] QPainterPath outline() const;
    void drawGlyph(QPainter& painter) const;

    const Kind kind;
    Point startMouse;
};

} // namespace quillet
