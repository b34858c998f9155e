// CameraCircleInFilm.h: finds the synthetic camera's circle in a decoded picture.
#pragma once

#include "tests/fakes/ReadMovie.h"

#include <cstdint>
#include <optional>

namespace quillet::testing {

/// Pixels of the film, y down, a pixel's middle at a half.
struct CircleInFilm {
    double centreX = 0;
    double centreY = 0;
    double diameter = 0;
    std::optional<std::uint32_t> number; ///< what the camera's picture counts; nothing where it cannot be read
};

enum class CircleMirroring { none, leftToRight };

/// Nothing when there is no circle. `groundLuma` is the plain desktop's in the film, darker than the camera's ground.
/// Each row's and column's outermost change from one to the other is found to a fraction of a pixel; the middle of each
/// pair lies on the circle's axis.
[[nodiscard]] std::optional<CircleInFilm> findCircle(const test::MoviePicture& picture, double groundLuma,
                                                     CircleMirroring mirroring);

} // namespace quillet::testing
