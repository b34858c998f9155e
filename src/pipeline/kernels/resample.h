// resample.h: the two passes of a separable filter over 32-bit BGRA pixels.
#pragma once

#include <cstddef>
#include <cstdint>

namespace quillet::kernels {

// Between the passes a channel is 16 bits: (byte - 128) * 64. The middle is taken out so that the filter's overshoot
// has room on both sides. Horizontal weights have 13 binary places (8192 is one), vertical ones 15 (32767 does for one:
// a value comes through unchanged). Each product is rounded to nearest by itself; with weights that add up to one, a
// plain area keeps its value through both passes for up to maximumTaps taps.
//
// Threads: any.

inline constexpr int maximumTaps = 24;
/// Pixels that may be read past the last one named, and outputs that may be written past the last one asked for.
inline constexpr std::size_t overreach = 32;

/// What the fourth byte of a pixel is taken for: itself, or 255 whatever it is.
enum class Fourth { asItIs, opaque };

/// What the horizontal pass reads for each output, laid out for the kernels; both arrays go on for `overreach` outputs
/// more.
struct NearRow {
    const std::int32_t* pairs;   ///< for outputs 2j and 2j+1 with first pixels f and g: f, g, f + 1, g + 1
    const std::int16_t* weights; ///< tap after tap; in each, four times the same weight for each output
    std::size_t weightsPerTap;
    std::size_t taps;
};

/// Horizontal pass where outputs lie dense: among eight in a row, the first pixels are at most 14 apart, among four at
/// most 6, among two at most 2. `pixels` starts at pixel 0. Outputs `begin` (even) to `end` go to `into` and on, 4
/// values each; rounded up to whole vectors.
void filterNear(const NearRow& row, const std::byte* pixels, Fourth fourth, std::size_t begin, std::size_t end,
                std::int16_t* into);

struct FarRow {
    const std::int32_t* first;
    const std::int16_t* weights; ///< output after output; in each, four times the same weight for each tap
    std::size_t taps;            ///< a multiple of four
};

/// Horizontal pass for any distance between outputs.
void filterFar(const FarRow& row, const std::byte* pixels, Fourth fourth, std::size_t begin, std::size_t end,
               std::int16_t* into);

/// Vertical pass: the weighted sum of `taps` rows, as pixels again, colours limited to their alpha. Writes exactly
/// `count` pixels.
void filterColumns(const std::int16_t* const* rows, const std::int16_t* weights, std::size_t taps, std::size_t count,
                   std::byte* into);

/// The same, one value after the other: what the others are compared with.
namespace scalar {
void filterNear(const NearRow& row, const std::byte* pixels, Fourth fourth, std::size_t begin, std::size_t end,
                std::int16_t* into);
void filterFar(const FarRow& row, const std::byte* pixels, Fourth fourth, std::size_t begin, std::size_t end,
               std::int16_t* into);
void filterColumns(const std::int16_t* const* rows, const std::int16_t* weights, std::size_t taps, std::size_t count,
                   std::byte* into);
} // namespace scalar

} // namespace quillet::kernels
