// Pairs of pixels in 16-bit lanes: the first of each pair in one vector, the second in another, so that both take the
// colour differences that they share without any shuffling. The two results lie in one lane's two bytes in the end,
// which is the order of the pixels again.

#include "pipeline/kernels/yuvToBgra.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "pipeline/kernels/yuvToBgra.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();

namespace quillet::kernels::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR

// One lane holds no pair; such CPUs take the plain loop.
void convertYuv(std::byte* into, const YuvRow& row, std::size_t width, const YuvFactors& factors) {
    scalar::yuvToBgra(into, row, width, factors);
}

#else

using Words = hn::ScalableTag<std::int16_t>;
using UnsignedWords = hn::RebindToUnsigned<Words>;
using Bytes = hn::Repartition<std::uint8_t, Words>;
using HalfBytes = hn::Rebind<std::uint8_t, Words>;
using WordVector = hn::Vec<Words>;
using UnsignedVector = hn::Vec<UnsignedWords>;

struct Pairs {
    WordVector first;
    WordVector second;
    WordVector cb;
    WordVector cr;
};

HWY_INLINE WordVector lowBytes(UnsignedVector words) {
    return hn::BitCast(Words(), hn::And(words, hn::Set(UnsignedWords(), 0xFFU)));
}
HWY_INLINE WordVector highBytes(UnsignedVector words) { return hn::BitCast(Words(), hn::ShiftRight<8>(words)); }
HWY_INLINE UnsignedVector loadWords(const std::uint8_t* bytes) {
    return hn::BitCast(UnsignedWords(), hn::LoadU(Bytes(), bytes));
}

struct Planar {
    HWY_INLINE static Pairs load(const YuvRow& row, std::size_t pair) {
        const UnsignedVector luma = loadWords(row.luma + 2 * pair);
        return {lowBytes(luma), highBytes(luma), hn::PromoteTo(Words(), hn::LoadU(HalfBytes(), row.cb + pair)),
                hn::PromoteTo(Words(), hn::LoadU(HalfBytes(), row.cr + pair))};
    }
};

struct SemiPlanar {
    HWY_INLINE static Pairs load(const YuvRow& row, std::size_t pair) {
        const UnsignedVector luma = loadWords(row.luma + 2 * pair);
        const UnsignedVector colour = loadWords(row.cb + 2 * pair);
        return {lowBytes(luma), highBytes(luma), lowBytes(colour), highBytes(colour)};
    }
};

/// Whole pairs as words: the first word carries the first luma and Cb, the second the second luma and Cr.
HWY_INLINE void loadPairs(const YuvRow& row, std::size_t pair, UnsignedVector& first, UnsignedVector& second) {
    // As bytes: rows may begin anywhere.
    const UnsignedVector low = loadWords(row.luma + 4 * pair);
    const UnsignedVector high = loadWords(row.luma + 4 * pair + 2 * hn::Lanes(Words()));
    first = hn::ConcatEven(UnsignedWords(), high, low);
    second = hn::ConcatOdd(UnsignedWords(), high, low);
}

struct Yuyv {
    HWY_INLINE static Pairs load(const YuvRow& row, std::size_t pair) {
        UnsignedVector first, second;
        loadPairs(row, pair, first, second);
        return {lowBytes(first), lowBytes(second), highBytes(first), highBytes(second)};
    }
};

struct Uyvy {
    HWY_INLINE static Pairs load(const YuvRow& row, std::size_t pair) {
        UnsignedVector first, second;
        loadPairs(row, pair, first, second);
        return {highBytes(first), highBytes(second), lowBytes(first), lowBytes(second)};
    }
};

/// Rounded levels of both pixels, from 64ths; the first's in the low bytes.
HWY_INLINE hn::Vec<Bytes> levels(WordVector first, WordVector second, WordVector colour) {
    const auto half = hn::Set(Words(), 32);
    const auto lowest = hn::Zero(Words());
    const auto highest = hn::Set(Words(), 255);
    const auto clamped = [&](WordVector luma) HWY_ATTR {
        const auto sum = hn::SaturatedAdd(hn::SaturatedAdd(luma, colour), half);
        return hn::Min(hn::Max(hn::ShiftRight<6>(sum), lowest), highest);
    };
    return hn::BitCast(Bytes(), hn::Or(clamped(first), hn::ShiftLeft<8>(clamped(second))));
}

template <class Layout>
HWY_INLINE std::size_t convertPairs(std::byte* into, const YuvRow& row, std::size_t pairs, const YuvFactors& factors) {
    const std::size_t step = hn::Lanes(Words());
    const auto lumaOffset = hn::Set(Words(), factors.lumaOffset);
    const auto lumaFactor = hn::Set(Words(), factors.luma);
    const auto colourOffset = hn::Set(Words(), 128);
    const auto cbToBlue = hn::Set(Words(), factors.cbToBlue);
    const auto cbToGreen = hn::Set(Words(), factors.cbToGreen);
    const auto crToGreen = hn::Set(Words(), factors.crToGreen);
    const auto crToRed = hn::Set(Words(), factors.crToRed);
    const auto opaque = hn::Set(Bytes(), 255);
    std::size_t pair = 0;
    for (; pair + step <= pairs; pair += step) {
        const Pairs samples = Layout::load(row, pair);
        const auto scaled = [&](WordVector luma) HWY_ATTR {
            return hn::MulFixedPoint15(hn::ShiftLeft<7>(hn::Sub(luma, lumaOffset)), lumaFactor);
        };
        const auto first = scaled(samples.first);
        const auto second = scaled(samples.second);
        const auto cb = hn::ShiftLeft<8>(hn::Sub(samples.cb, colourOffset));
        const auto cr = hn::ShiftLeft<8>(hn::Sub(samples.cr, colourOffset));
        const auto green = hn::Add(hn::MulFixedPoint15(cb, cbToGreen), hn::MulFixedPoint15(cr, crToGreen));
        hn::StoreInterleaved4(levels(first, second, hn::MulFixedPoint15(cb, cbToBlue)), levels(first, second, green),
                              levels(first, second, hn::MulFixedPoint15(cr, crToRed)), opaque, Bytes(),
                              reinterpret_cast<std::uint8_t*>(into) + 8 * pair);
    }
    return pair;
}

void convertYuv(std::byte* into, const YuvRow& row, std::size_t width, const YuvFactors& factors) {
    std::size_t done = 0;
    YuvRow rest = row;
    switch (row.layout) {
        case YuvLayout::planar:
            done = convertPairs<Planar>(into, row, width / 2, factors);
            rest.luma += 2 * done;
            rest.cb += done;
            rest.cr += done;
            break;
        case YuvLayout::semiPlanar:
            done = convertPairs<SemiPlanar>(into, row, width / 2, factors);
            rest.luma += 2 * done;
            rest.cb += 2 * done;
            break;
        case YuvLayout::yuyv:
            done = convertPairs<Yuyv>(into, row, width / 2, factors);
            rest.luma += 4 * done;
            break;
        case YuvLayout::uyvy:
            done = convertPairs<Uyvy>(into, row, width / 2, factors);
            rest.luma += 4 * done;
            break;
        case YuvLayout::planarAllPixels:
            break; // too rare for a loop of its own
    }
    scalar::yuvToBgra(into + 8 * done, rest, width - 2 * done, factors);
}

#endif

} // namespace quillet::kernels::HWY_NAMESPACE

HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace quillet::kernels {

HWY_EXPORT(convertYuv);

void yuvToBgra(std::byte* into, const YuvRow& row, std::size_t width, const YuvFactors& factors) {
    HWY_DYNAMIC_DISPATCH(convertYuv)(into, row, width, factors);
}

} // namespace quillet::kernels

#endif
