// VideoEncoder.h: pictures go in, H.264 comes out; the seam for encoders of every kind.
#pragma once

#include "media/Error.h"

#include <span>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace quillet {

struct VideoEncoderOptions {
    int width = 0;            ///< pixels, even
    int height = 0;           ///< pixels, even
    int fps = 60;             ///< pictures expected a second
    std::int64_t bitRate = 0; ///< the average wanted, bits a second
};

/// One picture as the encoder reads it: NV12, BT.709 limited range. Lent for one call.
struct VideoEncoderPicture {
    const std::uint8_t* luma = nullptr;
    std::size_t lumaStrideBytes = 0;
    const std::uint8_t* chroma = nullptr;
    std::size_t chromaStrideBytes = 0;
    /// One byte for each block of 16 x 16 pixels, row by row: 1 where nothing differs from the picture before, else 0.
    std::span<const std::uint8_t> unchangedBlocks;
};

enum class PictureKind { any, key };

/// How much an encoder gives up for speed, within the same profile: each step is cheaper than the one before it.
enum class Haste {
    none,
    some, ///< fewer ways to describe a block are tried
    much, ///< and fewer bits
    most  ///< and fewer still
};

struct EncodedPicture {
    std::span<const std::byte> bytes; ///< NAL units, each behind its length in four bytes; lent for one call
    bool isKey = false;               ///< an IDR picture
};

/// High profile, no reordering: pictures come out in the order in which they went in, each once, at most one picture
/// late.
///
/// Threads: one at a time.
class VideoEncoder {
public:
    using Output = std::function<void(const EncodedPicture&)>;

    virtual ~VideoEncoder() = default;

    /// What decoders must know first: the content of the avcC box.
    [[nodiscard]] virtual const std::vector<std::byte>& avcConfiguration() const = 0;
    /// `microseconds` is the picture's time, which must increase; the rate follows it. What is no key picture may come
    /// out as one where the encoder needs it.
    [[nodiscard]] virtual std::optional<Error> encode(const VideoEncoderPicture& picture, std::int64_t microseconds,
                                                      PictureKind kind, const Output& output) = 0;
    /// From the next picture on. An encoder that knows only one pace stays as it is.
    virtual void setHaste(Haste) {}
    /// Gives out what is still inside. Nothing is encoded afterwards.
    [[nodiscard]] virtual std::optional<Error> drain(const Output& output) = 0;
};

} // namespace quillet
