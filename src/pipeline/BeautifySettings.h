// BeautifySettings.h: how the recorded picture is framed.
#pragma once

#include <cstdint>

namespace quillet {

/// Nothing here is checked: the panel bounds the fractions, and a padding of 0.5 or more leaves no picture.
struct BeautifySettings {
    std::int64_t backgroundIndex = 0; ///< preset of BackgroundLibrary
    double cornerRadius = 0.045;      ///< fraction of the shorter side of the inset picture
    double padding = 0.06;            ///< margin on each side, fraction of the shorter side of the canvas
    bool shadowEnabled = true;

    friend bool operator==(const BeautifySettings&, const BeautifySettings&) = default;
};

} // namespace quillet
