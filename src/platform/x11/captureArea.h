// captureArea.h: which pixels of the root window make up a display's frame.
#pragma once

#include "media/PixelRect.h"

namespace quillet {

/// The part of the root window that a frame of `width` by `height` pixels shows: the monitor's, from its top left
/// corner on, as far as the frame, the monitor and the root reach. The rest of the frame stays black. Empty, at the
/// monitor's corner, when nothing is left.
[[nodiscard]] PixelRect captureArea(const PixelRect& monitor, const PixelRect& root, int width, int height);

} // namespace quillet
