// FocusShape.h: where a control wants the ring of the keyboard's focus.
#pragma once

#include <QRectF>

namespace quillet {

/// A control's visible outline, in its own coordinates.
struct FocusShape {
    QRectF outline;
    double radius = 0;
};

/// A control whose focus FocusRing shows. Threads: main.
class FocusShaped {
public:
    virtual ~FocusShaped() = default;
    [[nodiscard]] virtual FocusShape focusShape() const = 0;
};

} // namespace quillet
