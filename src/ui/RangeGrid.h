// RangeGrid.h: one button for each range mode.
#pragma once

#include "geometry/RangeMode.h"

#include <QWidget>

#include <array>
#include <functional>

namespace quillet {

class PanelButton;

/// The modes in their order, the chosen one on the accent colour. Threads: main.
class RangeGrid : public QWidget {
public:
    explicit RangeGrid(QWidget* parent);

    /// A button was pressed, the chosen one's included. What is chosen only showMode() changes.
    std::function<void(RangeMode)> onSelect;

    void showMode(RangeMode mode);

private:
    std::array<PanelButton*, allRangeModes.size()> buttons;
    RangeMode shown = RangeMode::ratio16x9;
};

} // namespace quillet
