// yuvToBgra.h: one row of a camera's picture, luma and colour differences, becomes pixels.
#pragma once

#include <cstddef>
#include <cstdint>

namespace quillet {

enum class YuvStandard { bt601, bt709 };
enum class YuvRange {
    limited, ///< luma from 16 to 235, colour differences from 16 to 240
    full,    ///< both from 0 to 255
};

/// The way back to colours: factors of luma with 14 fractional bits, of colour differences with 13.
struct YuvFactors {
    std::int16_t lumaOffset;
    std::int16_t luma;
    std::int16_t cbToBlue;
    std::int16_t cbToGreen; ///< negative, like the next
    std::int16_t crToGreen;
    std::int16_t crToRed;

    [[nodiscard]] static YuvFactors make(YuvStandard standard, YuvRange range);
};

/// Where a row's samples stand. `cb` and `cr` are half as many as luma, rounded up, but in the last.
enum class YuvLayout {
    planar,         ///< three rows
    semiPlanar,     ///< Cb and Cr in turns from `cb`; `cr` unused
    yuyv,           ///< everything from `luma`: Y, Cb, Y, Cr
    uyvy,           ///< everything from `luma`: Cb, Y, Cr, Y
    planarAllPixels ///< three rows with a sample for each pixel
};

struct YuvRow {
    YuvLayout layout = YuvLayout::planar;
    const std::uint8_t* luma = nullptr;
    const std::uint8_t* cb = nullptr;
    const std::uint8_t* cr = nullptr;
};

} // namespace quillet

namespace quillet::kernels {

/// Writes `width` opaque BGRA pixels. Two neighbours share their colour differences as they come. Reads nothing past
/// the row's samples and writes nothing past its pixels; no alignment is asked for. Each product is rounded to 1/64 of
/// a level, the sum once: within one level of the exact result, and the same on every CPU.
///
/// Threads: any.
void yuvToBgra(std::byte* into, const YuvRow& row, std::size_t width, const YuvFactors& factors);

} // namespace quillet::kernels

namespace quillet::kernels::scalar {

/// The same arithmetic, one pixel at a time: what the kernel is compared with.
void yuvToBgra(std::byte* into, const YuvRow& row, std::size_t width, const YuvFactors& factors);

} // namespace quillet::kernels::scalar
