// PictureFormats.h: how the server's drawing extension reads each kind of pixels.
#pragma once

#include "platform/x11/XConnection.h"

#include <xcb/render.h>
#include <xcb/xcb.h>

#include <cstdint>
#include <unordered_map>

namespace quillet {

/// Asked for once. Threads: a value.
class PictureFormats {
public:
    explicit PictureFormats(const XConnection& connection);

    /// 0 for a visual that RENDER does not know.
    [[nodiscard]] xcb_render_pictformat_t ofVisual(std::uint32_t visual) const;
    /// Pixels that are nothing but coverage, 8 bits each.
    [[nodiscard]] xcb_render_pictformat_t coverage() const { return alphaOnly; }

private:
    std::unordered_map<std::uint32_t, xcb_render_pictformat_t> formats;
    xcb_render_pictformat_t alphaOnly = 0;
};

} // namespace quillet
