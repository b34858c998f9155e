// BackgroundLibrary.h: the nine backdrops of the beautify look.
#pragma once

#include "geometry/Size.h"

#include <QImage>

#include <cstdint>
#include <vector>

namespace quillet::BackgroundLibrary {

inline constexpr int presetCount = 9;

/// Backdrop `index` (remainder by nine) at `size` pixels, fractions dropped, at least 1 by 1: opaque, in sRGB values,
/// format ARGB32_Premultiplied (which is BGRA in memory here). Draws afresh at every call. A negative index or a size
/// that is not finite stops the program. Threads: any, without an application object.
[[nodiscard]] QImage image(std::int64_t index, Size size);

} // namespace quillet::BackgroundLibrary
