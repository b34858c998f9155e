// PanelButton.h: a button without the toolkit's frame.
#pragma once

#include "ui/FocusShape.h"
#include "ui/look.h"

#include <QPushButton>

namespace quillet {

/// Text on a rounded fill that answers to the pointer; its accessible name is its text. Return and Enter press it as
/// space does. Subclasses choose the colours or draw more.
///
/// Threads: main.
class PanelButton : public QPushButton, public FocusShaped {
public:
    struct Shape {
        double radius;
        int paddingAbove; ///< and below the text
        int paddingBeside;
    };

    PanelButton(const QString& text, const QFont& textFont, const Shape& wanted, QWidget* parent);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override { return sizeHint(); }
    [[nodiscard]] FocusShape focusShape() const override { return {rect(), shape.radius}; }

protected:
    [[nodiscard]] virtual QColor background() const { return look::fill(touch()); }
    [[nodiscard]] virtual QColor foreground() const { return look::primaryText(palette()); }
    [[nodiscard]] look::Touch touch() const;
    [[nodiscard]] double radius() const { return shape.radius; }
    /// A painter for this widget, fainter while the button is disabled.
    void prepare(QPainter& painter) const;

    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    Shape shape;
};

} // namespace quillet
