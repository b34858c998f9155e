// Bt709.h: the numbers of BT.709 limited range as the conversion kernels use them.
#pragma once

#include <cstdint>

namespace quillet::bt709 {

// Kr = 0.2126, Kg = 0.7152, Kb = 0.0722; luma spans 219 steps from 16, chroma 224 around 128. Times 2^15, rounded so
// that greys get exactly no colour (each chroma row adds up to 0).
inline constexpr int fractionBits = 15;
inline constexpr std::int16_t yBlue = 2032;
inline constexpr std::int16_t yGreen = 20127;
inline constexpr std::int16_t yRed = 5983;
inline constexpr std::int16_t cbBlue = 14392;
inline constexpr std::int16_t cbGreen = -11094;
inline constexpr std::int16_t cbRed = -3298;
inline constexpr std::int16_t crBlue = -1320;
inline constexpr std::int16_t crGreen = -13072;
inline constexpr std::int16_t crRed = 14392;

static_assert(cbBlue + cbGreen + cbRed == 0 && crBlue + crGreen + crRed == 0);

inline constexpr std::int32_t lumaOffset = (16 << fractionBits) + (1 << (fractionBits - 1));
// Chroma comes from sums of four pixels: two more fractional bits.
inline constexpr int chromaBits = fractionBits + 2;
inline constexpr std::int32_t chromaOffset = (128 << chromaBits) + (1 << (chromaBits - 1));

} // namespace quillet::bt709
