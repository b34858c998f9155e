// Switch.h: an on-off choice, drawn as a switch.
#pragma once

#include "ui/FocusShape.h"

#include <QCheckBox>

#include <functional>

namespace quillet {

/// Its label, then a track with a knob. To a screen reader a check box of that name.
///
/// Threads: main.
class Switch : public QCheckBox, public FocusShaped {
public:
    Switch(const QString& label, QWidget* parent);

    /// The user turned it. Whether it stays so only showOn() decides.
    std::function<void(bool)> onTurn;

    void showOn(bool isOn);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override { return sizeHint(); }
    [[nodiscard]] FocusShape focusShape() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    [[nodiscard]] bool hitButton(const QPoint& place) const override { return rect().contains(place); }

private:
    [[nodiscard]] QRectF track() const;
    bool shown = false;
};

} // namespace quillet
