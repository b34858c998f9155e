#include "pipeline/kernels/blend.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "pipeline/kernels/blend.cpp"
// This file is compiled once for each kind of CPU; the order of these two includes matters.
// clang-format off
#include <hwy/foreach_target.h>
#include <hwy/highway.h>
// clang-format on

HWY_BEFORE_NAMESPACE();
namespace quillet::kernels::HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR

// Without vectors there is nothing to do better.
using scalar::composite;
using scalar::copyOpaque;
using scalar::copyReversed;
using scalar::halve;
using scalar::multiplyByMask;

#else

namespace hn = hwy::HWY_NAMESPACE;

using Bytes = hn::ScalableTag<std::uint8_t>;
using Words = hn::Repartition<std::uint16_t, Bytes>;
using Pixels = hn::Repartition<std::uint32_t, Bytes>;

constexpr Bytes bytes;
constexpr Words words;
constexpr Pixels wholePixels;

HWY_INLINE hn::Vec<Bytes> load(const std::byte* at) {
    return hn::LoadU(bytes, reinterpret_cast<const std::uint8_t*>(at));
}

HWY_INLINE void store(hn::Vec<Bytes> value, std::byte* at) {
    hn::StoreU(value, bytes, reinterpret_cast<std::uint8_t*>(at));
}

/// Each byte times the other's, divided by 255 and rounded; even and odd bytes take separate ways, in 16 bits.
HWY_INLINE hn::Vec<Bytes> product(hn::Vec<Bytes> a, hn::Vec<Bytes> b) {
    const auto low = hn::Set(words, std::uint16_t{0xFF});
    const auto half = hn::Set(words, std::uint16_t{128});
    const auto a16 = hn::BitCast(words, a);
    const auto b16 = hn::BitCast(words, b);
    const auto even = hn::Add(hn::Mul(hn::And(a16, low), hn::And(b16, low)), half);
    const auto odd = hn::Add(hn::Mul(hn::ShiftRight<8>(a16), hn::ShiftRight<8>(b16)), half);
    const auto evenBytes = hn::ShiftRight<8>(hn::Add(even, hn::ShiftRight<8>(even)));
    const auto oddBytes = hn::AndNot(low, hn::Add(odd, hn::ShiftRight<8>(odd)));
    return hn::BitCast(bytes, hn::Or(evenBytes, oddBytes));
}

/// One byte in the lowest place of each pixel, spread over all four.
HWY_INLINE hn::Vec<Bytes> spread(hn::Vec<Pixels> lowest) {
    const auto two = hn::Or(lowest, hn::ShiftLeft<8>(lowest));
    return hn::BitCast(bytes, hn::Or(two, hn::ShiftLeft<16>(two)));
}

void copyOpaque(std::byte* into, const std::byte* from, std::size_t count) {
    const std::size_t step = hn::Lanes(wholePixels);
    const auto alpha = hn::BitCast(bytes, hn::Set(wholePixels, 0xFF000000U));
    std::size_t i = 0;
    for (; i + step <= count; i += step)
        store(hn::Or(load(from + i * 4), alpha), into + i * 4);
    scalar::copyOpaque(into + i * 4, from + i * 4, count - i);
}

void copyReversed(std::byte* into, const std::byte* from, std::size_t count) {
    const std::size_t step = hn::Lanes(wholePixels);
    std::size_t i = 0;
    for (; i + step <= count; i += step) {
        const auto pixels = hn::BitCast(wholePixels, load(from + (count - i - step) * 4));
        store(hn::BitCast(bytes, hn::Reverse(wholePixels, pixels)), into + i * 4);
    }
    scalar::copyReversed(into + i * 4, from, count - i);
}

void halve(std::byte* into, const std::byte* upper, const std::byte* lower, std::size_t count) {
    const std::size_t step = hn::Lanes(wholePixels);
    const auto low = hn::Set(words, std::uint16_t{0xFF});
    const auto two = hn::Set(words, std::uint16_t{2});
    std::size_t i = 0;
    for (; i + step <= count; i += step) {
        auto even = two;
        auto odd = two;
        for (const std::byte* row : {upper, lower}) {
            const auto first = hn::BitCast(wholePixels, load(row + i * 8));
            const auto second = hn::BitCast(wholePixels, load(row + (i * 2 + step) * 4));
            const auto left = hn::BitCast(words, hn::ConcatEven(wholePixels, second, first));
            const auto right = hn::BitCast(words, hn::ConcatOdd(wholePixels, second, first));
            even = hn::Add(even, hn::Add(hn::And(left, low), hn::And(right, low)));
            odd = hn::Add(odd, hn::Add(hn::ShiftRight<8>(left), hn::ShiftRight<8>(right)));
        }
        const auto oddBytes = hn::ShiftLeft<8>(hn::ShiftRight<2>(odd));
        store(hn::BitCast(bytes, hn::Or(hn::ShiftRight<2>(even), oddBytes)), into + i * 4);
    }
    scalar::halve(into + i * 4, upper + i * 8, lower + i * 8, count - i);
}

void multiplyByMask(std::byte* pixels, const std::uint8_t* mask, std::size_t count) {
    const hn::Rebind<std::uint8_t, Pixels> maskBytes;
    const std::size_t step = hn::Lanes(wholePixels);
    std::size_t i = 0;
    for (; i + step <= count; i += step) {
        const auto factor = spread(hn::PromoteTo(wholePixels, hn::LoadU(maskBytes, mask + i)));
        store(product(load(pixels + i * 4), factor), pixels + i * 4);
    }
    scalar::multiplyByMask(pixels + i * 4, mask + i, count - i);
}

void composite(std::byte* into, const std::byte* top, const std::byte* bottom, std::size_t count) {
    const std::size_t step = hn::Lanes(wholePixels);
    std::size_t i = 0;
    for (; i + step <= count; i += step) {
        const auto over = load(top + i * 4);
        const auto shining = hn::Not(spread(hn::ShiftRight<24>(hn::BitCast(wholePixels, over))));
        store(hn::SaturatedAdd(over, product(load(bottom + i * 4), shining)), into + i * 4);
    }
    scalar::composite(into + i * 4, top + i * 4, bottom + i * 4, count - i);
}

#endif

} // namespace quillet::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace quillet::kernels {

HWY_EXPORT(copyOpaque);
HWY_EXPORT(copyReversed);
HWY_EXPORT(halve);
HWY_EXPORT(multiplyByMask);
HWY_EXPORT(composite);

void copyOpaque(std::byte* into, const std::byte* from, std::size_t count) {
    HWY_DYNAMIC_DISPATCH(copyOpaque)(into, from, count);
}

void copyReversed(std::byte* into, const std::byte* from, std::size_t count) {
    HWY_DYNAMIC_DISPATCH(copyReversed)(into, from, count);
}

void halve(std::byte* into, const std::byte* upper, const std::byte* lower, std::size_t count) {
    HWY_DYNAMIC_DISPATCH(halve)(into, upper, lower, count);
}

void multiplyByMask(std::byte* pixels, const std::uint8_t* mask, std::size_t count) {
    HWY_DYNAMIC_DISPATCH(multiplyByMask)(pixels, mask, count);
}

void composite(std::byte* into, const std::byte* top, const std::byte* bottom, std::size_t count) {
    HWY_DYNAMIC_DISPATCH(composite)(into, top, bottom, count);
}

} // namespace quillet::kernels
#endif
