// CameraPicture.h: one picture as a camera left it in memory.
#pragma once

#include <array>
#include <cstddef>

namespace quillet {

/// What has been done to a picture and must be undone before it stands upright: first the flip, left to right, then
/// quarter turns counter-clockwise.
struct CameraTurn {
    bool isFlipped = false;
    int quarters = 0; ///< 0 to 3

    friend bool operator==(const CameraTurn&, const CameraTurn&) = default;
};

/// Readable memory of one plane.
struct CameraPlane {
    const std::byte* data = nullptr;
    std::size_t sizeBytes = 0;
    std::size_t strideBytes = 0; ///< 0: rows follow each other without padding
};

/// Borrowed memory; the planes in the format's order.
struct CameraPicture {
    std::array<CameraPlane, 3> planes;
    std::size_t planeCount = 1; ///< 1 for a format of several: they follow each other in the first one's memory
    CameraTurn turn;
};

} // namespace quillet
