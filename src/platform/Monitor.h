// Monitor.h: one monitor as the window system tells it.
#pragma once

#include "media/PixelRect.h"

#include <cstdint>
#include <string>

namespace quillet {

struct Monitor {
    std::string name;     ///< for people: the connector's name
    std::uint32_t id = 0; ///< what a screen source knows it by; the same for every client as long as the server runs
    PixelRect rect;       ///< in pixels of the whole desktop, y downwards
    bool isPrimary = false;

    friend bool operator==(const Monitor&, const Monitor&) = default;
};

} // namespace quillet
