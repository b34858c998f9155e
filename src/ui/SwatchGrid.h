// SwatchGrid.h: one button for each backdrop.
#pragma once

#include "beautify/BackgroundLibrary.h"

#include <QWidget>

#include <array>
#include <cstdint>
#include <functional>

namespace quillet {

class PanelButton;

/// The nine backdrops as small pictures, the chosen one within an outline of the accent colour. The pictures are drawn
/// once. Threads: main.
class SwatchGrid : public QWidget {
public:
    explicit SwatchGrid(QWidget* parent);

    /// A swatch was pressed, the chosen one's included. What is chosen only showIndex() changes.
    std::function<void(std::int64_t)> onSelect;

    /// An index that is none of the nine chooses none.
    void showIndex(std::int64_t index);

private:
    std::array<PanelButton*, BackgroundLibrary::presetCount> swatches;
    std::int64_t shown = -1;
};

} // namespace quillet
