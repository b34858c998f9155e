// BeautifySection.h: the panel's rows for the beautify look.
#pragma once

#include "ui/ControlState.h"

#include <QWidget>

#include <cstdint>
#include <functional>

namespace quillet {

class ContinuousSlider;
class PanelButton;
class PreviewPicture;
class SwatchGrid;
class Switch;

/// A switch, and below it, while that is on: preview, backdrops, the random button, two sliders and the shadow's
/// switch.
///
/// Threads: main.
class BeautifySection : public QWidget {
public:
    explicit BeautifySection(QWidget* parent);

    std::function<void(bool)> onSetEnabled;
    std::function<void(std::int64_t)> onSetBackgroundIndex;
    std::function<void()> onRandomBackground;
    std::function<void(double)> onSetCornerRadius;
    std::function<void(double)> onSetPadding;
    std::function<void(bool)> onSetShadowEnabled;

    /// Shows what concerns this section.
    void showState(const ControlState& state);

private:
    QWidget* makeRows();
    void connectActions();

    Switch* enabledSwitch;
    QWidget* rows; // below the switch
    PreviewPicture* preview;
    SwatchGrid* swatches;
    PanelButton* randomButton;
    ContinuousSlider* cornerSlider;
    ContinuousSlider* paddingSlider;
    Switch* shadowSwitch;
};

} // namespace quillet
