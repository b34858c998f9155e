#include "pipeline/kernels/blend.h"

#include <algorithm>
#include <cstring>

namespace quillet::kernels::scalar {

namespace {

unsigned product(std::byte value, unsigned factor) {
    const unsigned sum = std::to_integer<unsigned>(value) * factor + 128;
    return (sum + (sum >> 8)) >> 8;
}

} // namespace

void copyOpaque(std::byte* into, const std::byte* from, std::size_t count) {
    for (std::size_t i = 0; i < count * 4; ++i)
        into[i] = i % 4 == 3 ? std::byte{255} : from[i];
}

void copyReversed(std::byte* into, const std::byte* from, std::size_t count) {
    for (std::size_t pixel = 0; pixel < count; ++pixel)
        std::memcpy(into + pixel * 4, from + (count - 1 - pixel) * 4, 4);
}

void halve(std::byte* into, const std::byte* upper, const std::byte* lower, std::size_t count) {
    for (std::size_t pixel = 0; pixel < count; ++pixel)
        for (std::size_t i = pixel * 8; i < pixel * 8 + 4; ++i) {
            const unsigned sum = std::to_integer<unsigned>(upper[i]) + std::to_integer<unsigned>(upper[i + 4]) +
                                 std::to_integer<unsigned>(lower[i]) + std::to_integer<unsigned>(lower[i + 4]);
            into[i - pixel * 4] = static_cast<std::byte>((sum + 2) / 4);
        }
}

void multiplyByMask(std::byte* pixels, const std::uint8_t* mask, std::size_t count) {
    for (std::size_t i = 0; i < count * 4; ++i)
        pixels[i] = static_cast<std::byte>(product(pixels[i], mask[i / 4]));
}

void composite(std::byte* into, const std::byte* top, const std::byte* bottom, std::size_t count) {
    for (std::size_t pixel = 0; pixel < count; ++pixel) {
        const unsigned shining = 255 - std::to_integer<unsigned>(top[pixel * 4 + 3]);
        for (std::size_t i = pixel * 4; i < pixel * 4 + 4; ++i) {
            const unsigned sum = std::to_integer<unsigned>(top[i]) + product(bottom[i], shining);
            into[i] = static_cast<std::byte>(std::min(sum, 255U));
        }
    }
}

} // namespace quillet::kernels::scalar
