// XWindowControl.h: a floating window, over the toolkit's own connection to the X server.
#pragma once

#include "platform/WindowControl.h"

#include <xcb/xcb.h>

#include <vector>

namespace quillet {

/// The window is one that window managers leave alone (override-redirect), so that each request goes to the server and
/// nobody else has a say. Threads: main.
class XWindowControl : public WindowControl {
public:
    /// The toolkit's connection: its requests and ours stay in order.
    XWindowControl(xcb_connection_t* toolkits, xcb_window_t controlled) : connection(toolkits), window(controlled) {}

    [[nodiscard]] std::uint32_t number() const override { return window; }
    void place(const PixelRect& pixels) override;
    void raise() override;
    void setShape(const std::optional<QRegion>& shape) override;
    void setMouseRegion(const std::optional<QRegion>& region) override;
    void forbidShadow() override;
    void takeKeyboard() override;
    void returnKeyboard() override;

private:
    void setRegion(std::uint8_t kind, const std::optional<QRegion>& region);
    [[nodiscard]] xcb_window_t keyboardHolder() const;

    xcb_connection_t* connection;
    xcb_window_t window;
    xcb_window_t keyboardLender = XCB_NONE;
};

} // namespace quillet
