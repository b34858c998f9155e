#include "pipeline/kernels/resample.h"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "pipeline/kernels/resample.cpp"
// This file is compiled once for each kind of CPU; the order of these two includes matters.
// clang-format off
#include <hwy/foreach_target.h>
#include <hwy/highway.h>
// clang-format on

HWY_BEFORE_NAMESPACE();
namespace quillet::kernels::HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR

// Without vectors there is nothing to do better.
using scalar::filterColumns;
using scalar::filterFar;
using scalar::filterNear;

#else

namespace hn = hwy::HWY_NAMESPACE;

using Bytes = hn::ScalableTag<std::uint8_t>;
using Values = hn::Repartition<std::int16_t, Bytes>;
using Pixels = hn::Repartition<std::uint32_t, Bytes>;
using Indices = hn::Repartition<std::int32_t, Bytes>;

constexpr Bytes bytes;
constexpr Values values;
constexpr Pixels wholePixels;
constexpr Indices indices;

HWY_INLINE const std::uint8_t* asBytes(const std::byte* at) { return reinterpret_cast<const std::uint8_t*>(at); }
HWY_INLINE std::uint8_t* asBytes(std::byte* at) { return reinterpret_cast<std::uint8_t*>(at); }

/// Pixels from memory, with the middle taken out of each byte.
template <class Tag>
HWY_INLINE hn::Vec<Tag> loadPixels(Tag tag, const std::byte* at, hn::Vec<Tag> alwaysSet) {
    return hn::Xor(hn::Or(hn::LoadU(tag, reinterpret_cast<const std::uint32_t*>(at)), alwaysSet),
                   hn::Set(tag, 0x80808080U));
}

HWY_INLINE std::uint32_t bitsAlwaysSet(Fourth fourth) { return fourth == Fourth::opaque ? 0xFF000000U : 0; }

/// Half a vector of outputs at a time. One load and one permutation fetch two taps: in each 128-bit block the pixels of
/// two outputs for the even tap, then for the odd one, which is how `pairs` is laid out.
template <std::size_t fixedTaps>
HWY_INLINE void filterNearWith(const NearRow& row, const std::byte* pixels, Fourth fourth, std::size_t begin,
                               std::size_t end, std::int16_t* HWY_RESTRICT into) {
    const std::size_t taps = fixedTaps != 0 ? fixedTaps : row.taps;
    const std::size_t step = hn::Lanes(wholePixels) / 2;
    const auto none = hn::Zero(bytes);
    const auto alwaysSet = hn::Set(wholePixels, bitsAlwaysSet(fourth));
    const std::int32_t* HWY_RESTRICT pairs = row.pairs;
    const std::int16_t* HWY_RESTRICT allWeights = row.weights;
    const std::size_t weightsPerTap = row.weightsPerTap;
    for (std::size_t output = begin; output < end; output += step) {
        const std::int32_t base = pairs[output * 2];
        const auto places =
            hn::IndicesFromVec(wholePixels, hn::Sub(hn::LoadU(indices, pairs + output * 2), hn::Set(indices, base)));
        const std::byte* from = pixels + static_cast<std::size_t>(base) * 4;
        const std::int16_t* weights = allWeights + output * 4;
        auto evenSum = hn::Zero(values);
        auto oddSum = hn::Zero(values);
        for (std::size_t tap = 0; tap < taps; tap += 2) {
            const auto run = loadPixels(wholePixels, from + tap * 4, alwaysSet);
            const auto picked = hn::BitCast(bytes, hn::TableLookupLanes(run, places));
            const auto even = hn::BitCast(values, hn::InterleaveLower(bytes, none, picked));
            const auto evenWeight = hn::LoadU(values, weights + tap * weightsPerTap);
            evenSum = hn::Add(evenSum, hn::MulFixedPoint15(even, evenWeight));
            if (tap + 1 == taps) break;
            const auto odd = hn::BitCast(values, hn::InterleaveUpper(bytes, none, picked));
            const auto oddWeight = hn::LoadU(values, weights + (tap + 1) * weightsPerTap);
            oddSum = hn::Add(oddSum, hn::MulFixedPoint15(odd, oddWeight));
        }
        hn::StoreU(hn::Add(evenSum, oddSum), values, into + (output - begin) * 4);
    }
}

void filterNear(const NearRow& row, const std::byte* pixels, Fourth fourth, std::size_t begin, std::size_t end,
                std::int16_t* into) {
    if (row.taps == 4) return filterNearWith<4>(row, pixels, fourth, begin, end, into);
    if (row.taps == 5) return filterNearWith<5>(row, pixels, fourth, begin, end, into);
    if (row.taps == 6) return filterNearWith<6>(row, pixels, fourth, begin, end, into);
    filterNearWith<0>(row, pixels, fourth, begin, end, into);
}

/// One output at a time, four of its taps in 128 bits of pixels.
void filterFar(const FarRow& row, const std::byte* pixels, Fourth fourth, std::size_t begin, std::size_t end,
               std::int16_t* into) {
    const hn::FixedTag<std::uint8_t, 16> fourPixels;
    const hn::Repartition<std::int16_t, decltype(fourPixels)> twoPixels;
    const hn::Repartition<std::uint32_t, decltype(fourPixels)> pixelTag;
    const hn::Half<decltype(twoPixels)> onePixel;
    const auto none = hn::Zero(fourPixels);
    const auto alwaysSet = hn::Set(pixelTag, bitsAlwaysSet(fourth));
    for (std::size_t output = begin; output < end; ++output) {
        const std::byte* from = pixels + static_cast<std::size_t>(row.first[output]) * 4;
        const std::int16_t* weights = row.weights + output * row.taps * 4;
        auto sum = hn::Zero(twoPixels);
        auto upperSum = hn::Zero(twoPixels);
        for (std::size_t tap = 0; tap < row.taps; tap += 4) {
            const auto run = hn::BitCast(fourPixels, loadPixels(pixelTag, from + tap * 4, alwaysSet));
            const auto lower = hn::BitCast(twoPixels, hn::InterleaveLower(fourPixels, none, run));
            const auto upper = hn::BitCast(twoPixels, hn::InterleaveUpper(fourPixels, none, run));
            sum = hn::Add(sum, hn::MulFixedPoint15(lower, hn::LoadU(twoPixels, weights + tap * 4)));
            upperSum = hn::Add(upperSum, hn::MulFixedPoint15(upper, hn::LoadU(twoPixels, weights + tap * 4 + 8)));
        }
        sum = hn::Add(sum, upperSum);
        const auto total = hn::Add(hn::LowerHalf(onePixel, sum), hn::UpperHalf(onePixel, sum));
        hn::StoreU(total, onePixel, into + (output - begin) * 4);
    }
}

template <std::size_t fixedTaps>
HWY_INLINE std::size_t filterColumnsWith(const std::int16_t* const* rowsInMemory, const std::int16_t* weightsInMemory,
                                         std::size_t manyTaps, std::size_t count, std::byte* into) {
    const std::size_t taps = fixedTaps != 0 ? fixedTaps : manyTaps;
    // Copies, because bytes written through `into` could otherwise be these for all the compiler knows.
    const std::int16_t* rows[fixedTaps != 0 ? fixedTaps : maximumTaps];
    std::int16_t weights[fixedTaps != 0 ? fixedTaps : maximumTaps];
    for (std::size_t tap = 0; tap < taps; ++tap) {
        rows[tap] = rowsInMemory[tap];
        weights[tap] = weightsInMemory[tap];
    }
    const hn::Rebind<std::int8_t, Values> narrow;
    const hn::Rebind<std::uint8_t, Values> narrowBytes;
    const hn::Repartition<std::uint32_t, decltype(narrowBytes)> narrowPixels;
    const std::size_t step = hn::Lanes(values) / 4;
    const auto middle = hn::Set(narrowBytes, std::uint8_t{0x80});
    if (count < step) return 0;
    // The last vector may cover pixels for a second time.
    for (std::size_t next = 0; next < count; next += step) {
        const std::size_t pixel = std::min(next, count - step);
        auto sum = hn::Set(values, std::int16_t{32});
        for (std::size_t tap = 0; tap < taps; ++tap)
            sum = hn::Add(sum,
                          hn::MulFixedPoint15(hn::LoadU(values, rows[tap] + pixel * 4), hn::Set(values, weights[tap])));
        const auto level = hn::DemoteTo(narrow, hn::ShiftRight<6>(sum));
        const auto picture = hn::Xor(hn::BitCast(narrowBytes, level), middle);
        const auto alpha = hn::ShiftRight<24>(hn::BitCast(narrowPixels, picture));
        const auto twice = hn::Or(alpha, hn::ShiftLeft<8>(alpha));
        const auto limit = hn::BitCast(narrowBytes, hn::Or(twice, hn::ShiftLeft<16>(twice)));
        hn::StoreU(hn::Min(picture, limit), narrowBytes, asBytes(into + pixel * 4));
    }
    return count;
}

void filterColumns(const std::int16_t* const* rows, const std::int16_t* weights, std::size_t taps, std::size_t count,
                   std::byte* into) {
    std::size_t done = 0;
    if (taps == 4)
        done = filterColumnsWith<4>(rows, weights, taps, count, into);
    else if (taps == 5)
        done = filterColumnsWith<5>(rows, weights, taps, count, into);
    else if (taps == 6)
        done = filterColumnsWith<6>(rows, weights, taps, count, into);
    else
        done = filterColumnsWith<0>(rows, weights, taps, count, into);
    if (done == count) return;

    const std::int16_t* rest[maximumTaps] = {};
    for (std::size_t tap = 0; tap < taps; ++tap)
        rest[tap] = rows[tap] + done * 4;
    scalar::filterColumns(rest, weights, taps, count - done, into + done * 4);
}

#endif

} // namespace quillet::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace quillet::kernels {

HWY_EXPORT(filterNear);
HWY_EXPORT(filterFar);
HWY_EXPORT(filterColumns);

void filterNear(const NearRow& row, const std::byte* pixels, Fourth fourth, std::size_t begin, std::size_t end,
                std::int16_t* into) {
    HWY_DYNAMIC_DISPATCH(filterNear)(row, pixels, fourth, begin, end, into);
}

void filterFar(const FarRow& row, const std::byte* pixels, Fourth fourth, std::size_t begin, std::size_t end,
               std::int16_t* into) {
    HWY_DYNAMIC_DISPATCH(filterFar)(row, pixels, fourth, begin, end, into);
}

void filterColumns(const std::int16_t* const* rows, const std::int16_t* weights, std::size_t taps, std::size_t count,
                   std::byte* into) {
    HWY_DYNAMIC_DISPATCH(filterColumns)(rows, weights, taps, count, into);
}

} // namespace quillet::kernels
#endif
