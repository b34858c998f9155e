// CameraFormat.h: what a camera sends: the arrangement of its bytes, its size and its colours.
#pragma once

#include "pipeline/kernels/yuvToBgra.h"

namespace quillet {

/// Pixels of four bytes are named in memory order; x is a byte of no meaning, which alpha also counts as: a camera's
/// picture is opaque.
enum class CameraLayout { bgrx, rgbx, xrgb, xbgr, bgr, rgb, yuy2, uyvy, nv12, i420, yv12, jpeg };

struct CameraFormat {
    CameraLayout layout = CameraLayout::bgrx;
    int width = 0;
    int height = 0;
    double framesPerSecond = 0; ///< 0: unknown or changing
    // Of formats with luma. What cameras on a wire mean when they do not say; a JPEG says it itself.
    YuvStandard standard = YuvStandard::bt601;
    YuvRange range = YuvRange::limited;

    friend bool operator==(const CameraFormat&, const CameraFormat&) = default;
};

} // namespace quillet
