#include "ui/RangeGrid.h"

#include "ui/AdaptiveGrid.h"
#include "ui/PanelButton.h"

namespace quillet {

namespace {

constexpr int cellWidth = 92;
constexpr int spacing = 8;

/// Checked is chosen.
class RangeButton : public PanelButton {
public:
    RangeButton(RangeMode mode, QWidget* parent)
        : PanelButton(QString::fromUtf8(rawValue(mode)), look::font(12, QFont::Medium),
                      {.radius = 7, .paddingAbove = 7, .paddingBeside = 7}, parent) {
        setCheckable(true);
    }

protected:
    [[nodiscard]] QColor background() const override {
        return isChecked() ? look::touched(look::accent(palette()), touch()) : PanelButton::background();
    }
    [[nodiscard]] QColor foreground() const override {
        return isChecked() ? QColor(Qt::white) : PanelButton::foreground();
    }
};

} // namespace

RangeGrid::RangeGrid(QWidget* parent) : QWidget(parent) {
    auto* const grid = new AdaptiveGrid(this, {.minimumWidth = cellWidth, .spacing = spacing});
    for (std::size_t i = 0; i < buttons.size(); ++i) {
        const RangeMode mode = allRangeModes[i];
        buttons[i] = new RangeButton(mode, this);
        grid->addWidget(buttons[i]);
        // Not clicked: assistive programs check a button without clicking it.
        connect(buttons[i], &QPushButton::toggled, this, [this, mode](bool isChecked) {
            if (isChecked == (mode == shown)) return;
            // The press has checked the button; whether it stays so is not this widget's decision.
            showMode(shown);
            if (onSelect) onSelect(mode);
        });
    }
    showMode(shown);
}

void RangeGrid::showMode(RangeMode mode) {
    shown = mode;
    for (std::size_t i = 0; i < buttons.size(); ++i)
        buttons[i]->setChecked(allRangeModes[i] == mode);
}

} // namespace quillet
