// ControlView.h: the content of the control window.
#pragma once

#include "ui/ControlState.h"

#include <QWidget>

#include <cstdint>
#include <functional>

namespace quillet {

class BeautifySection;
class CaptionLabel;
class QualityPicker;
class RangeGrid;
class RecordButton;
class Switch;

/// The control panel: every setting and the record button, in one column that scrolls where the window is too low for
/// it. Keeps no state of its own: it shows what show() was last told, and reports what the user does. Where a callback
/// does not lead to another show(), the control goes back to what was shown.
///
/// Colours come from the palette: the accent is Highlight, light or dark follows Window and WindowText.
///
/// Threads: main.
class ControlView : public QWidget {
public:
    explicit ControlView(QWidget* parent = nullptr);

    /// Shows these values. Calls none of the callbacks, and may be called from within any of them. Cheap where little
    /// or nothing has changed.
    void show(const ControlState& state);
    using QWidget::show;

    /// What everything that is shown needs at the present width, so that nothing has to be scrolled to.
    [[nodiscard]] int contentHeight() const;

    // Each is called exactly once for one action of the user (a slider: once for each place it is dragged over).
    std::function<void(RangeMode)> onSelectRange; ///< also for the mode that is selected already
    std::function<void(bool)> onSetCameraEnabled;
    std::function<void(bool)> onSetMicEnabled;
    std::function<void(bool)> onSetTeleprompterEnabled;
    std::function<void(ExportQuality)> onSetQuality;
    std::function<void(bool)> onSetBeautifyEnabled;
    std::function<void(std::int64_t)> onSetBackgroundIndex; ///< 0 to 8
    std::function<void(double)> onSetCornerRadius;          ///< 0 to 0.2, both reachable
    std::function<void(double)> onSetPadding;               ///< 0 to 0.14, both reachable
    std::function<void(bool)> onSetShadowEnabled;
    std::function<void()> onRandomBackground;
    std::function<void()> onToggleRecording;

private:
    QWidget* makeColumn();
    void connectActions();

    QWidget* column;
    RangeGrid* ranges;
    Switch* cameraSwitch;
    Switch* micSwitch;
    Switch* teleprompterSwitch;
    QualityPicker* qualityPicker;
    CaptionLabel* cameraHint;
    BeautifySection* beautify;
    RecordButton* recordButton;
    CaptionLabel* statusLine;
};

} // namespace quillet
