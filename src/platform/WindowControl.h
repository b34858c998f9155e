// WindowControl.h: what a floating window asks of the window system and the toolkit has no words for.
#pragma once

#include "media/PixelRect.h"

#include <QRegion>

#include <cstdint>
#include <optional>

namespace quillet {

/// One window's handle in the window system. The window must outlive it, and never be made anew.
///
/// Pixels are the window system's own, y down. Requests take effect in the order they are made, together with what the
/// toolkit asks for. Threads: main.
class WindowControl {
public:
    virtual ~WindowControl() = default;

    /// The identifier that screen sources know the window by; 0 when there is none.
    [[nodiscard]] virtual std::uint32_t number() const = 0;
    /// Puts the window there, in pixels of the whole desktop, exactly: scale factors round nothing. The toolkit learns
    /// of it by itself. An empty rectangle changes nothing.
    virtual void place(const PixelRect& pixels) = 0;
    /// In front of all windows.
    virtual void raise() = 0;
    /// Cuts the window to `shape`, in its own pixels; absent: the whole rectangle.
    virtual void setShape(const std::optional<QRegion>& shape) = 0;
    /// Where the window takes the mouse, in its own pixels; elsewhere it reaches what lies beneath. Absent: wherever
    /// the window is seen.
    virtual void setMouseRegion(const std::optional<QRegion>& region) = 0;
    /// Asks the compositing manager to draw no shadow around the window.
    virtual void forbidShadow() = 0;
    /// Gives the window the keyboard.
    virtual void takeKeyboard() = 0;
    /// Gives the keyboard back to the window that had it before takeKeyboard(), if this one still has it.
    virtual void returnKeyboard() = 0;
};

} // namespace quillet
