// TileDifference.h: takes new pixels over into a picture and tells where they really differ.
#pragma once

#include "media/PixelBuffer.h"

#include <cstddef>

namespace quillet {

/// Makes `frame` hold, in `rect` (which lies inside it), the colours that start at `source`, and adds to `changed` the
/// tiles of `rect` that were not equal before. Whole-screen damage of a screen on which little has changed thus stays
/// little. The fourth byte of a pixel means nothing and does not count.
///
/// Costs a copy where pixels differ and a comparison where they do not.
void takeOver(const PixelRect& rect, const std::byte* source, std::size_t sourceStrideBytes, PixelBuffer& frame,
              PixelRegion& changed);

/// Adds to `changed` the tiles in which two frames of one size differ, in the same sense. Where everything differs this
/// costs next to nothing.
void compareFrames(const PixelBuffer& before, const PixelBuffer& now, PixelRegion& changed);

} // namespace quillet
