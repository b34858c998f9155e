#include "pipeline/kernels/resample.h"

#include "tests/pipeline/kernels/everyTarget.h"
#include "tests/pipeline/kernels/guardedRows.h"

#include <algorithm>

namespace quillet {
namespace {

constexpr std::size_t widest = 2 * 16 + 5;
constexpr std::size_t outputs = 64;

class Resample : public EveryTarget {
protected:
    std::mt19937 random{5};

    kernels::Fourth either() { return between(0, 1) == 0 ? kernels::Fourth::asItIs : kernels::Fourth::opaque; }
    int between(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); }

    std::vector<std::int16_t> weights(std::size_t count, int low, int high) {
        std::vector<std::int16_t> all(count);
        for (std::int16_t& weight : all)
            weight = static_cast<std::int16_t>(between(low, high));
        return all;
    }

    std::vector<std::byte> pixels(std::size_t count) {
        std::vector<std::byte> all(count * 4);
        for (std::byte& byte : all)
            byte = static_cast<std::byte>(random());
        return all;
    }
};

TEST_P(Resample, filtersDenseRowsLikeItsTwin) {
    for (const std::size_t taps : {1U, 2U, 3U, 4U, 5U, 6U, 8U, 24U})
        for (const int farthest : {0, 1, 2}) {
            const std::size_t all = outputs + kernels::overreach;
            std::vector<std::int32_t> first(all, 0);
            for (std::size_t i = 1; i < all; ++i)
                first[i] = first[i - 1] + between(0, farthest);
            std::vector<std::int32_t> pairs;
            for (std::size_t i = 0; i < all; i += 2)
                pairs.insert(pairs.end(), {first[i], first[i + 1], first[i] + 1, first[i + 1] + 1});
            const auto source = pixels(static_cast<std::size_t>(first.back()) + taps + kernels::overreach);
            const auto factors = weights(taps * all * 4, -3000, 8192);
            const kernels::NearRow row{pairs.data(), factors.data(), all * 4, taps};

            for (const std::size_t begin : {0U, 2U, 14U})
                for (std::size_t end = begin; end <= begin + widest; ++end) {
                    const kernels::Fourth fourth = either();
                    std::vector<std::int16_t> into(all * 4, 77);
                    std::vector<std::int16_t> expected(all * 4, 77);
                    kernels::filterNear(row, source.data(), fourth, begin, end, into.data());
                    kernels::scalar::filterNear(row, source.data(), fourth, begin, end, expected.data());
                    const auto asked = static_cast<std::ptrdiff_t>((end - begin) * 4);
                    ASSERT_TRUE(std::equal(into.begin(), into.begin() + asked, expected.begin()))
                        << taps << " taps, outputs " << begin << " to " << end;
                    ASSERT_TRUE(std::all_of(into.begin() + asked + static_cast<std::ptrdiff_t>(kernels::overreach * 4),
                                            into.end(), [](std::int16_t value) { return value == 77; }));
                }
        }
}

TEST_P(Resample, filtersWideRowsLikeItsTwin) {
    for (const std::size_t taps : {4U, 8U, 24U}) {
        std::vector<std::int32_t> first(outputs, 0);
        for (std::size_t i = 1; i < outputs; ++i)
            first[i] = first[i - 1] + between(0, 9);
        const auto source = pixels(static_cast<std::size_t>(first.back()) + taps + kernels::overreach);
        const auto factors = weights(taps * outputs * 4, -3000, 8192);
        const kernels::FarRow row{first.data(), factors.data(), taps};
        for (const std::size_t begin : {0U, 3U})
            for (std::size_t end = begin; end <= begin + widest; ++end) {
                const kernels::Fourth fourth = either();
                std::vector<std::int16_t> into(outputs * 4, 77);
                std::vector<std::int16_t> expected(outputs * 4, 77);
                kernels::filterFar(row, source.data(), fourth, begin, end, into.data());
                kernels::scalar::filterFar(row, source.data(), fourth, begin, end, expected.data());
                ASSERT_EQ(into, expected) << taps << " taps, outputs " << begin << " to " << end;
            }
    }
}

TEST_P(Resample, sumsColumnsLikeItsTwin) {
    for (std::size_t taps = 1; taps <= kernels::maximumTaps; ++taps) {
        std::vector<std::vector<std::int16_t>> memory;
        std::vector<const std::int16_t*> rows;
        for (std::size_t tap = 0; tap < taps; ++tap)
            memory.push_back(weights((widest + 1) * 4 + 1, -10400, 10400));
        for (const auto& row : memory)
            rows.push_back(row.data() + 1);
        // As large as weights with overshoot on both sides come.
        const int heaviest = static_cast<int>(std::min<std::size_t>(32767, 49152 / taps));
        const auto factors = weights(taps, -heaviest, heaviest);
        for (std::size_t width = 0; width <= widest; ++width) {
            GuardedRows into(width * 4, 3);
            GuardedRows expected(width * 4, 3);
            for (std::size_t y = 0; y < GuardedRows::count; ++y) {
                kernels::filterColumns(rows.data(), factors.data(), taps, width, into.row(y));
                kernels::scalar::filterColumns(rows.data(), factors.data(), taps, width, expected.row(y));
            }
            ASSERT_TRUE(into.sameAs(expected)) << taps << " taps, width " << width;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Levels, Resample, testing::ValuesIn(hwy::SupportedAndGeneratedTargets()), targetName);

TEST(ResampleTwin, givesBackWhatOneWholeWeightPicks) {
    for (int value = 0; value < 256; ++value) {
        std::byte pixel[4] = {static_cast<std::byte>(value), std::byte{0}, std::byte{0}, std::byte{255}};
        const std::int32_t first = 0;
        const std::int16_t across[4] = {8192, 8192, 8192, 8192};
        std::int16_t between[4] = {};
        kernels::scalar::filterFar({&first, across, 1}, pixel, kernels::Fourth::asItIs, 0, 1, between);
        EXPECT_EQ(between[0], (value - 128) * 64);
        const std::int16_t* rows[1] = {between};
        const std::int16_t down = 32767;
        kernels::scalar::filterColumns(rows, &down, 1, 1, pixel);
        EXPECT_EQ(std::to_integer<int>(pixel[0]), value);
    }
}

TEST(ResampleTwin, takesTheFourthByteForOpaqueWhereTold) {
    const std::byte pixel[4] = {std::byte{1}, std::byte{2}, std::byte{3}, std::byte{44}};
    const std::int32_t first = 0;
    const std::int16_t across[4] = {8192, 8192, 8192, 8192};
    std::int16_t between[4] = {};
    kernels::scalar::filterFar({&first, across, 1}, pixel, kernels::Fourth::opaque, 0, 1, between);
    const std::int16_t expected[4] = {(1 - 128) * 64, (2 - 128) * 64, (3 - 128) * 64, (255 - 128) * 64};
    EXPECT_TRUE(std::equal(std::begin(between), std::end(between), std::begin(expected)));
    kernels::scalar::filterFar({&first, across, 1}, pixel, kernels::Fourth::asItIs, 0, 1, between);
    EXPECT_EQ(between[3], (44 - 128) * 64);
}

TEST(ResampleTwin, limitsColoursToTheirAlpha) {
    const std::int16_t row[4] = {(200 - 128) * 64, (50 - 128) * 64, (99 - 128) * 64, (100 - 128) * 64};
    const std::int16_t* rows[1] = {row};
    const std::int16_t down = 32767;
    std::byte pixel[4] = {};
    kernels::scalar::filterColumns(rows, &down, 1, 1, pixel);
    const int expected[4] = {100, 50, 99, 100};
    for (std::size_t i = 0; i < 4; ++i)
        EXPECT_EQ(std::to_integer<int>(pixel[i]), expected[i]);
}

} // namespace
} // namespace quillet
