// Two source rows at a time: each pixel is one 32-bit lane, taken apart into 16-bit halves (blue, red) and (green,
// alpha), which the pairwise multiply-and-add turns into luma and chroma without any shuffling of bytes.

#include "pipeline/kernels/BgraToNv12.h"

#include "pipeline/kernels/Bt709.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "pipeline/kernels/BgraToNv12.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#ifndef QUILLET_BGRA_TO_NV12_ONCE
#define QUILLET_BGRA_TO_NV12_ONCE

namespace quillet {

namespace {

void convertPairs(const std::uint8_t* upper, const std::uint8_t* lower, int width, std::uint8_t* upperLuma,
                  std::uint8_t* lowerLuma, std::uint8_t* chroma) {
    const auto luma = [](const std::uint8_t* pixel) {
        return static_cast<std::uint8_t>(
            (pixel[0] * bt709::yBlue + pixel[1] * bt709::yGreen + pixel[2] * bt709::yRed + bt709::lumaOffset) >>
            bt709::fractionBits);
    };
    for (int x = 0; x < width; x += 2) {
        const std::uint8_t* top = upper + 4 * x;
        const std::uint8_t* bottom = lower + 4 * x;
        upperLuma[x] = luma(top);
        upperLuma[x + 1] = luma(top + 4);
        lowerLuma[x] = luma(bottom);
        lowerLuma[x + 1] = luma(bottom + 4);
        const int blue = top[0] + top[4] + bottom[0] + bottom[4];
        const int green = top[1] + top[5] + bottom[1] + bottom[5];
        const int red = top[2] + top[6] + bottom[2] + bottom[6];
        chroma[x] = static_cast<std::uint8_t>(
            (blue * bt709::cbBlue + green * bt709::cbGreen + red * bt709::cbRed + bt709::chromaOffset) >>
            bt709::chromaBits);
        chroma[x + 1] = static_cast<std::uint8_t>(
            (blue * bt709::crBlue + green * bt709::crGreen + red * bt709::crRed + bt709::chromaOffset) >>
            bt709::chromaBits);
    }
}

const std::uint8_t* rowOf(const std::byte* base, std::size_t strideBytes, int y) {
    return reinterpret_cast<const std::uint8_t*>(base) + static_cast<std::size_t>(y) * strideBytes;
}

} // namespace

} // namespace quillet

#endif

HWY_BEFORE_NAMESPACE();

namespace quillet::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR

// One lane holds no pair of 16-bit halves; such CPUs take the plain loop.
void convert(const std::byte* bgra, std::size_t strideBytes, int width, int height, const Nv12Target& target) {
    bgraToNv12Scalar(bgra, strideBytes, width, height, target);
}

#else

using Words = hn::ScalableTag<std::int16_t>;
using Lanes = hn::RepartitionToWide<Words>;
using Pixels = hn::RebindToUnsigned<Lanes>;
using Bytes = hn::Rebind<std::uint8_t, Lanes>;

// low * even coefficient + high * odd coefficient in every 32-bit lane.
HWY_INLINE hn::Vec<Lanes> pairwise(hn::Vec<Words> halves, hn::Vec<Words> factors) {
    auto odd = hn::Zero(Lanes());
    const auto even = hn::ReorderWidenMulAccumulate(Lanes(), halves, factors, hn::Zero(Lanes()), odd);
    return hn::RearrangeToOddPlusEven(even, odd);
}

HWY_INLINE hn::Vec<Words> coefficients(std::int16_t low, std::int16_t high) {
    const std::uint32_t both =
        static_cast<std::uint16_t>(low) | static_cast<std::uint32_t>(static_cast<std::uint16_t>(high)) << 16;
    return hn::BitCast(Words(), hn::Set(Pixels(), both));
}

HWY_INLINE void storeBytes(hn::Vec<Lanes> lanes, std::uint8_t* out) {
    hn::StoreU(hn::U8FromU32(hn::BitCast(Pixels(), lanes)), Bytes(), out);
}

void convert(const std::byte* bgra, std::size_t strideBytes, int width, int height, const Nv12Target& target) {
    const int step = static_cast<int>(hn::Lanes(Lanes()));
    const auto byteMask = hn::Set(Pixels(), 0x00FF00FFU);
    const auto yBlueRed = coefficients(bt709::yBlue, bt709::yRed);
    const auto yGreen = coefficients(bt709::yGreen, 0);
    const auto cbBlueRed = coefficients(bt709::cbBlue, bt709::cbRed);
    const auto cbGreen = coefficients(bt709::cbGreen, 0);
    const auto crBlueRed = coefficients(bt709::crBlue, bt709::crRed);
    const auto crGreen = coefficients(bt709::crGreen, 0);
    const auto lumaOffset = hn::Set(Lanes(), bt709::lumaOffset);
    const auto chromaOffset = hn::Set(Lanes(), bt709::chromaOffset);

    for (int y = 0; y < height; y += 2) {
        const std::uint8_t* upper = rowOf(bgra, strideBytes, y);
        const std::uint8_t* lower = rowOf(bgra, strideBytes, y + 1);
        std::uint8_t* upperLuma = target.luma + static_cast<std::size_t>(y) * target.lumaStrideBytes;
        std::uint8_t* lowerLuma = upperLuma + target.lumaStrideBytes;
        std::uint8_t* chroma = target.chroma + static_cast<std::size_t>(y / 2) * target.chromaStrideBytes;

        int x = 0;
        for (; x + step <= width; x += step) {
            const auto top = hn::LoadU(Pixels(), reinterpret_cast<const std::uint32_t*>(upper + 4 * x));
            const auto bottom = hn::LoadU(Pixels(), reinterpret_cast<const std::uint32_t*>(lower + 4 * x));
            const auto topBlueRed = hn::BitCast(Words(), hn::And(top, byteMask));
            const auto topGreen = hn::BitCast(Words(), hn::And(hn::ShiftRight<8>(top), byteMask));
            const auto bottomBlueRed = hn::BitCast(Words(), hn::And(bottom, byteMask));
            const auto bottomGreen = hn::BitCast(Words(), hn::And(hn::ShiftRight<8>(bottom), byteMask));

            const auto luma = [&](auto blueRed, auto green) HWY_ATTR {
                return hn::ShiftRight<bt709::fractionBits>(
                    hn::Add(hn::Add(pairwise(blueRed, yBlueRed), pairwise(green, yGreen)), lumaOffset));
            };
            storeBytes(luma(topBlueRed, topGreen), upperLuma + x);
            storeBytes(luma(bottomBlueRed, bottomGreen), lowerLuma + x);

            const auto blueRed = hn::Add(topBlueRed, bottomBlueRed);
            const auto green = hn::Add(topGreen, bottomGreen);
            const auto cb = hn::Add(pairwise(blueRed, cbBlueRed), pairwise(green, cbGreen));
            const auto cr = hn::Add(pairwise(blueRed, crBlueRed), pairwise(green, crGreen));
            // Each column's neighbour is added, and Cb and Cr come to lie in turn, in one addition.
            const auto columns = hn::Add(hn::OddEven(cr, cb), hn::Shuffle2301(hn::OddEven(cb, cr)));
            storeBytes(hn::ShiftRight<bt709::chromaBits>(hn::Add(columns, chromaOffset)), chroma + x);
        }
        convertPairs(upper + 4 * x, lower + 4 * x, width - x, upperLuma + x, lowerLuma + x, chroma + x);
    }
}

#endif

} // namespace quillet::HWY_NAMESPACE

HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace quillet {

HWY_EXPORT(convert);

void bgraToNv12(const std::byte* bgra, std::size_t strideBytes, int width, int height, const Nv12Target& target) {
    HWY_DYNAMIC_DISPATCH(convert)(bgra, strideBytes, width, height, target);
}

void bgraToNv12Scalar(const std::byte* bgra, std::size_t strideBytes, int width, int height, const Nv12Target& target) {
    for (int y = 0; y < height; y += 2) {
        std::uint8_t* luma = target.luma + static_cast<std::size_t>(y) * target.lumaStrideBytes;
        convertPairs(rowOf(bgra, strideBytes, y), rowOf(bgra, strideBytes, y + 1), width, luma,
                     luma + target.lumaStrideBytes,
                     target.chroma + static_cast<std::size_t>(y / 2) * target.chromaStrideBytes);
    }
}

} // namespace quillet

#endif
