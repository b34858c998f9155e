// Screen.h: what the program knows of one monitor.
#pragma once

#include "geometry/Rect.h"
#include "geometry/Size.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace quillet {

/// One monitor, as `Screens` in platform/ reports it.
struct Screen {
    std::string name;  ///< for people: the connector's name
    Rect frame;        ///< global screen points
    Rect visibleFrame; ///< global screen points, without panels and docks
    /// What the screen source knows the monitor by; absent when the window system could not say.
    std::optional<std::uint32_t> displayID;
    Size pixelSize;                ///< native pixels of the current mode
    double backingScaleFactor = 1; ///< the toolkit's pixels per point

    /// Pixels per point in both directions, from the widths; a screen without a width has its backing scale factor.
    [[nodiscard]] double scale() const;

    friend bool operator==(const Screen&, const Screen&) = default;
};

/// All monitors in the system's order.
struct ScreenList {
    std::vector<Screen> screens;
    std::optional<std::size_t> mainIndex; ///< the primary one, when the system names one

    /// The primary screen, else the first, else null.
    [[nodiscard]] const Screen* mainOrFirst() const;
    /// The first screen whose frame contains `point`, else null.
    [[nodiscard]] const Screen* containing(Point point) const;
    /// The screen that a window with this frame is on: the one with most of it, the first of equals. Without any, the
    /// main or first one; null when there is no screen.
    [[nodiscard]] const Screen* holding(const Rect& frame) const;
};

} // namespace quillet
