// DiceButton.h: the button that picks a backdrop at random.
#pragma once

#include "ui/PanelButton.h"

namespace quillet {

/// Its sign, a die, is drawn here: few systems have a font with it. Threads: main.
class DiceButton : public PanelButton {
public:
    explicit DiceButton(QWidget* parent);

    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace quillet
