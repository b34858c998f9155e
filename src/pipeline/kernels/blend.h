// blend.h: rows of 32-bit BGRA pixels, copied, turned round, halved, masked and laid over each other.
#pragma once

#include <cstddef>
#include <cstdint>

namespace quillet::kernels {

// Colours are premultiplied. Products of bytes are divided by 255 and rounded to nearest, so 255 changes nothing and 0
// leaves nothing. No alignment is asked for; nothing is read or written past `count` pixels. Threads: any.

/// `into` = `from` with every fourth byte 255. The two do not overlap.
void copyOpaque(std::byte* into, const std::byte* from, std::size_t count);

/// `into` = `from` with the last pixel first. The two do not overlap.
void copyReversed(std::byte* into, const std::byte* from, std::size_t count);

/// `count` means of two by two pixels, each byte by itself and rounded to nearest, halves up. `into` may begin where
/// `upper` does, or anywhere before both.
void halve(std::byte* into, const std::byte* upper, const std::byte* lower, std::size_t count);

/// Multiplies all four bytes of each pixel by its byte of `mask`.
void multiplyByMask(std::byte* pixels, const std::uint8_t* mask, std::size_t count);

/// `into` = `top` over `bottom`. `into` may be either of them.
void composite(std::byte* into, const std::byte* top, const std::byte* bottom, std::size_t count);

/// The same, one byte after the other: what the others are compared with.
namespace scalar {
void copyOpaque(std::byte* into, const std::byte* from, std::size_t count);
void copyReversed(std::byte* into, const std::byte* from, std::size_t count);
void halve(std::byte* into, const std::byte* upper, const std::byte* lower, std::size_t count);
void multiplyByMask(std::byte* pixels, const std::uint8_t* mask, std::size_t count);
void composite(std::byte* into, const std::byte* top, const std::byte* bottom, std::size_t count);
} // namespace scalar

} // namespace quillet::kernels
