#include "pipeline/kernels/resample.h"

#include <algorithm>

namespace quillet::kernels::scalar {

namespace {

/// The product of two fractions of 15 binary places, rounded to nearest.
int product(int a, int b) { return (a * b + (1 << 14)) >> 15; }

/// A channel of a pixel without its middle, in the upper half of 16 bits.
int raised(const std::byte* pixel, std::size_t channel, Fourth fourth) {
    const std::byte value = channel == 3 && fourth == Fourth::opaque ? std::byte{255} : pixel[channel];
    return (std::to_integer<int>(value) - 128) * 256;
}

} // namespace

void filterNear(const NearRow& row, const std::byte* pixels, Fourth fourth, std::size_t begin, std::size_t end,
                std::int16_t* into) {
    for (std::size_t output = begin; output < end; ++output) {
        const auto first = static_cast<std::size_t>(row.pairs[output / 2 * 4 + output % 2]);
        for (std::size_t channel = 0; channel < 4; ++channel) {
            int sum = 0;
            for (std::size_t tap = 0; tap < row.taps; ++tap)
                sum += product(raised(pixels + (first + tap) * 4, channel, fourth),
                               row.weights[tap * row.weightsPerTap + output * 4 + channel]);
            into[(output - begin) * 4 + channel] = static_cast<std::int16_t>(sum);
        }
    }
}

void filterFar(const FarRow& row, const std::byte* pixels, Fourth fourth, std::size_t begin, std::size_t end,
               std::int16_t* into) {
    for (std::size_t output = begin; output < end; ++output) {
        const auto first = static_cast<std::size_t>(row.first[output]);
        for (std::size_t channel = 0; channel < 4; ++channel) {
            int sum = 0;
            for (std::size_t tap = 0; tap < row.taps; ++tap)
                sum += product(raised(pixels + (first + tap) * 4, channel, fourth),
                               row.weights[(output * row.taps + tap) * 4 + channel]);
            into[(output - begin) * 4 + channel] = static_cast<std::int16_t>(sum);
        }
    }
}

void filterColumns(const std::int16_t* const* rows, const std::int16_t* weights, std::size_t taps, std::size_t count,
                   std::byte* into) {
    for (std::size_t pixel = 0; pixel < count; ++pixel) {
        int alpha = 255;
        for (std::size_t channel = 4; channel-- > 0;) {
            int sum = 32;
            for (std::size_t tap = 0; tap < taps; ++tap)
                sum += product(rows[tap][pixel * 4 + channel], weights[tap]);
            const int value = std::clamp((sum >> 6) + 128, 0, 255);
            if (channel == 3) alpha = value;
            into[pixel * 4 + channel] = static_cast<std::byte>(std::min(value, alpha));
        }
    }
}

} // namespace quillet::kernels::scalar
