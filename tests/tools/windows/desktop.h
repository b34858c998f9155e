// desktop.h: what the tools' tests have in common: a desktop with a known floor, and hands to use it.
#pragma once

#include "tests/fakes/x11/DesktopEye.h"
#include "tests/tools/windows/onDesktop.h"

#include <cstdlib>

namespace quillet::testing {

constexpr std::uint32_t floorColour = 0x4080c0;

/// A screen of `floorColour` beneath everything. Not quite the whole screen: some compositing managers step aside for
/// that.
class Desktop {
public:
    explicit Desktop(std::uint32_t colour = floorColour)
        : carpet(eye.openPopup(eye.placeOf(eye.root()).grownBy(-1), colour)) {
        const std::uint32_t below = XCB_STACK_MODE_BELOW;
        xcb_configure_window(eye.xcb(), carpet, XCB_CONFIG_WINDOW_STACK_MODE, &below);
        eye.movePointer(5, 5);
    }

    DesktopEye eye;
    xcb_window_t carpet;
};

/// Whether two colours differ by no more than `tolerance` in any channel.
inline bool isNear(std::uint32_t colour, std::uint32_t other, int tolerance = 2) {
    for (const unsigned shift : {0U, 8U, 16U})
        if (std::abs(static_cast<int>(colour >> shift & 255U) - static_cast<int>(other >> shift & 255U)) > tolerance)
            return false;
    return true;
}

/// `colour` at `alpha` over `below`.
inline std::uint32_t over(std::uint32_t colour, double alpha, std::uint32_t below) {
    std::uint32_t result = 0;
    for (const unsigned shift : {0U, 8U, 16U}) {
        const double mixed = alpha * (colour >> shift & 255U) + (1 - alpha) * (below >> shift & 255U);
        result |= static_cast<std::uint32_t>(mixed + 0.5) << shift;
    }
    return result;
}

} // namespace quillet::testing
