// tools.h: what the model asks of the windows that float over the desktop.
#pragma once

#include "geometry/RangeMode.h"
#include "geometry/Rect.h"
#include "geometry/Screen.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace quillet {

/// The outline of the capture range with its two handles. Made hidden.
///
/// Threads: main.
class RegionTool {
public:
    virtual ~RegionTool() = default;

    /// Places the outline on `screen` as the mode wants it; shows and hides nothing.
    virtual void apply(RangeMode mode, const Screen& screen) = 0;
    /// Shows the outline above everything, without taking the keyboard.
    virtual void orderFront() = 0;
    /// Shows, places or hides the handles after whatever else has changed.
    virtual void updateHandles() = 0;
    /// Red and without handles while recording; draws anew and updates the handles.
    virtual void setRecording(bool isRecording) = 0;
    /// Hides the outline and both handles.
    virtual void orderOut() = 0;

    /// The capture range in global screen points.
    [[nodiscard]] virtual Rect frame() const = 0;
    /// The outline's and the handles' windows as the window system knows them.
    [[nodiscard]] virtual std::vector<std::uint32_t> windowIDs() const = 0;
};

/// The camera's round picture. Made hidden, showing the camera that it was made for; hidden again when it goes.
///
/// Threads: main.
class CameraTool {
public:
    virtual ~CameraTool() = default;

    /// In the lower right corner of `screen`, as large as the user left it the last time.
    virtual void placeDefault(const Screen& screen) = 0;
    virtual void orderFront() = 0;

    /// The bubble in global screen points.
    [[nodiscard]] virtual Rect frame() const = 0;
    [[nodiscard]] virtual std::vector<std::uint32_t> windowIDs() const = 0;

    /// The bubble's frame with every step of a move, and at the end of a move or resize.
    std::function<void(Rect)> onLiveMove;
    std::function<void(Rect)> onFrameCommitted;
};

/// The window with the script. Made hidden; hidden again when it goes.
///
/// Threads: main.
class TeleprompterTool {
public:
    virtual ~TeleprompterTool() = default;

    /// At its place on `screen`, above everything.
    virtual void showOn(const Screen& screen) = 0;
    [[nodiscard]] virtual std::vector<std::uint32_t> windowIDs() const = 0;
};

} // namespace quillet
