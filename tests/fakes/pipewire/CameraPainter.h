// CameraPainter.h: the synthetic camera's picture, as a camera of any format leaves it in memory.
#pragma once

#include "pipeline/libavHandles.h"
#include "platform/pipewire/CameraFormat.h"
#include "platform/pipewire/CameraPicture.h"

#include <span>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace quillet::testing {

/// Threads: one at a time.
class CameraPainter {
public:
    struct Options {
        CameraFormat format;          ///< the size as sent, on its side when turned
        CameraTurn turn = {};         ///< what is done to the picture before it is sent
        std::size_t paddingBytes = 0; ///< behind each row of the first plane; of halved planes half
    };
    explicit CameraPainter(const Options& options);

    /// Of the first plane; 0 for JPEG.
    [[nodiscard]] std::size_t strideBytes() const;
    /// Enough for any picture.
    [[nodiscard]] std::size_t sizeBytes() const;
    /// All planes in one piece, one behind the other; the bytes used, 0 when memory does not suffice.
    [[nodiscard]] std::size_t paint(std::uint64_t number, std::span<std::byte> memory);

private:
    std::size_t encode(std::uint64_t number, std::span<std::byte> memory);

    Options options;
    LibavCodec encoder; // for JPEG, from its first picture on
    LibavFrame encoded;
};

} // namespace quillet::testing
