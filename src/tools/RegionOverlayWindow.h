// RegionOverlayWindow.h: the outline that shows which part of the screen will be recorded.
#pragma once

#include "geometry/RangeMode.h"
#include "tools/FloatingWindow.h"
#include "tools/HandlePanel.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace quillet {

/// The outline: its frame is exactly the capture range, and only what is drawn is there. The mouse goes through.
///
/// Threads: main.
class RegionOverlayView : public FloatingWindow {
public:
    RegionOverlayView();

    [[nodiscard]] bool recordingMode() const { return isRecording; }
    void setRecordingMode(bool isRecordingNow);
    [[nodiscard]] bool isFullscreenMode() const { return isFullscreen; }
    void setFullscreenMode(bool isFullscreenNow);
    /// A new frame, and a new label with it.
    void setRegion(const Rect& region);

    /// The arrangement of screens has changed.
    std::function<void()> onScreensRearranged;

protected:
    void screensRearranged() override {
        if (onScreensRearranged) onScreensRearranged();
    }
    [[nodiscard]] std::optional<QRegion> shape() const override;
    void paintEvent(QPaintEvent* event) override;

private:
    [[nodiscard]] int thickness() const;
    [[nodiscard]] QRegion outline() const;
    [[nodiscard]] bool hasLabel() const { return !isRecording && !isFullscreen; }
    [[nodiscard]] QString label() const;
    [[nodiscard]] QFont labelFont() const;
    [[nodiscard]] QRect pill() const;
    void drawLabel(QPainter& painter) const;

    bool isRecording = false;
    bool isFullscreen = false;
};

/// The outline and the two handles that move and resize it. Made hidden. When the screens change so that the range is
/// not wholly on one any more, or no longer the whole one, it is placed anew; but never while recording. Threads: main.
class RegionOverlayController {
public:
    RegionOverlayController();
    RegionOverlayController(const RegionOverlayController&) = delete;
    RegionOverlayController& operator=(const RegionOverlayController&) = delete;

    /// Places the outline on `screen` as the mode wants it; shows and hides nothing but the handles.
    void apply(RangeMode mode, const Screen& screen);
    /// Shows the outline in front of everything, without taking the keyboard. The handles: updateHandles().
    void orderFront() { window.orderFront(); }
    /// Hides the outline and both handles.
    void orderOut();
    /// Shows, places or hides the handles after whatever else has changed: they are there while the outline is, but not
    /// in full screen and not while recording.
    void updateHandles();
    /// Thin, red and without handles while recording.
    void setRecording(bool isRecording);

    /// The capture range in global screen points.
    [[nodiscard]] Rect frame() const { return window.frame(); }
    /// The outline, the move handle, the resize handle.
    [[nodiscard]] std::vector<std::uint32_t> windowIDs() const;

    RegionOverlayView window;
    HandlePanel moveHandle;
    HandlePanel resizeHandle;

private:
    void dragMove(double dx, double dy);
    void dragResize(double dx, double dy);
    void placeHandles();
    void followScreens();

    std::optional<RangeMode> appliedMode;
    std::optional<double> aspect;
    bool isRecording = false;
    Rect dragStartFrame;
};

} // namespace quillet
