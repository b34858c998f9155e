// CaptureLayout.h: which monitor a recording takes, and what of it.
#pragma once

#include "geometry/Rect.h"
#include "geometry/Screen.h"

#include <cstdint>
#include <optional>

namespace quillet {

/// A rectangle of global screen points in the pixels of one screen: origin at its bottom left, y up, rounded to an even
/// size. Films and the program's own windows round alike, so that both agree to the pixel.
[[nodiscard]] Rect displayPixels(const Rect& global, const Screen& screen);

/// Made once when a recording starts; a value that never changes afterwards.
struct CaptureLayout {
    Screen screen;                    ///< the monitor that holds the region's centre
    std::uint32_t displayID;          ///< the same monitor, as the screen source knows it
    double scale;                     ///< device pixels per point, both axes
    Size displayPixelSize;            ///< native pixels of the current mode
    Rect regionGlobal;                ///< global screen points, cut to the screen where they meet; not rounded
    std::optional<Rect> cameraGlobal; ///< the bubble's frame in global screen points, as it came

    /// Nothing when there is no screen, or when the chosen one has no display identifier. A region whose centre lies on
    /// no screen belongs to the main one (else the first); a region that does not meet its screen is kept as it came.
    [[nodiscard]] static std::optional<CaptureLayout> make(Rect region, std::optional<Rect> camera,
                                                           const ScreenList& screens);

    /// `global` in display pixels: origin at the display's bottom left, y up, rounded to an even size.
    [[nodiscard]] Rect displayPixels(const Rect& global) const;

    friend bool operator==(const CaptureLayout&, const CaptureLayout&) = default;
};

} // namespace quillet
