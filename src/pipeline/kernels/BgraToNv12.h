// BgraToNv12.h: screen pixels become the encoder's: BT.709, limited range, half the colour resolution.
#pragma once

#include <cstddef>
#include <cstdint>

namespace quillet {

/// Where one rectangle's luma and its interleaved Cb, Cr pairs go; the chroma rows are half as many.
struct Nv12Target {
    std::uint8_t* luma = nullptr;
    std::size_t lumaStrideBytes = 0;
    std::uint8_t* chroma = nullptr;
    std::size_t chromaStrideBytes = 0;
};

/// Converts `width` x `height` pixels, both even and at least 2, from BGRA rows at `bgra`. The fourth byte has no
/// influence. Each chroma sample is the mean of its 2 x 2 pixels, so it is sited at their centre (chroma location type
/// 1). Nothing outside the rectangle is read or written; no alignment is asked for. Integer arithmetic with 15
/// fractional bits, rounded once: the result is the same on every CPU.
///
/// Threads: any, also at the same time on different targets.
void bgraToNv12(const std::byte* bgra, std::size_t strideBytes, int width, int height, const Nv12Target& target);

/// The same arithmetic, one pixel at a time: what the kernel is compared with.
void bgraToNv12Scalar(const std::byte* bgra, std::size_t strideBytes, int width, int height, const Nv12Target& target);

} // namespace quillet
