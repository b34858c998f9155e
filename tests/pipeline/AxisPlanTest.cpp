#include "pipeline/AxisPlan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace quillet {
namespace {

struct Scaling {
    const char* name;
    int source;
    int outputs;
    double start;
    double step;
};

class Plan : public testing::TestWithParam<Scaling> {
protected:
    AxisPlan plan{GetParam().source, GetParam().outputs, GetParam().start, GetParam().step};
};

TEST_P(Plan, weighsEveryOutputWithOne) {
    for (int output = 0; output < plan.outputs(); ++output) {
        const std::int16_t* weights = plan.weights(output);
        EXPECT_EQ(std::accumulate(weights, weights + plan.taps(), 0), 8192) << "output " << output;
    }
}

TEST_P(Plan, readsOnlyPixelsThatThereAreInRisingOrder) {
    EXPECT_LE(plan.taps(), kernels::maximumTaps);
    for (int output = 0; output < plan.outputs(); ++output) {
        EXPECT_GE(plan.first(output), 0);
        EXPECT_LE(plan.first(output) + plan.taps(), GetParam().source);
        EXPECT_GE(plan.first(output), plan.first(std::max(output - 1, 0)));
    }
}

TEST_P(Plan, knowsTheOutputsThatReadAPixel) {
    for (int pixel = 0; pixel < GetParam().source; ++pixel)
        for (const int length : {1, 3}) {
            const auto [from, to] = plan.outputsReading(pixel, pixel + length);
            for (int output = 0; output < plan.outputs(); ++output) {
                const bool reads = plan.first(output) < pixel + length && plan.first(output) + plan.taps() > pixel;
                ASSERT_EQ(reads, output >= from && output < to) << "output " << output << ", pixel " << pixel;
            }
        }
}

TEST_P(Plan, knowsThePixelsThatOutputsRead) {
    const auto [from, to] = plan.sourceOf(0, plan.outputs());
    EXPECT_EQ(from, plan.first(0));
    EXPECT_EQ(to, plan.first(plan.outputs() - 1) + plan.taps());
}

/// The middle of the weights is where the output looks: exact away from the ends, for a filter that keeps slopes.
TEST_P(Plan, looksWhereItsOutputsLie) {
    for (int output = 0; output < plan.outputs(); ++output) {
        const double centre = GetParam().start + (output + 0.5) * GetParam().step;
        const double reach = 2 * std::max(1.0, GetParam().step) + 1;
        if (centre < reach || centre > GetParam().source - reach) continue;
        double mean = 0;
        for (int tap = 0; tap < plan.taps(); ++tap)
            mean += plan.weights(output)[tap] * (plan.first(output) + tap + 0.5) / 8192;
        EXPECT_NEAR(mean, centre, 0.06 * std::max(1.0, GetParam().step)) << "output " << output;
    }
}

INSTANTIATE_TEST_SUITE_P(Table, Plan,
                         testing::Values(Scaling{"sameSize", 40, 40, 0, 1},
                                         Scaling{"inset", 200, 178, -0.3 / 0.88, 1 / 0.88},
                                         Scaling{"half", 100, 50, 0, 2}, Scaling{"third", 100, 33, 0.2, 3},
                                         Scaling{"eleventh", 400, 36, 1, 11}, Scaling{"larger", 30, 100, 0, 0.3},
                                         Scaling{"beyondBothEnds", 10, 60, -10, 0.5}, Scaling{"onePixel", 1, 5, 0, 0.2},
                                         Scaling{"twoPixels", 2, 2, 0, 1}, Scaling{"twoIntoOne", 2, 1, 0, 2}),
                         [](const auto& parameter) { return parameter.param.name; });

TEST(AxisPlan, changesNothingAtTheSameSize) {
    const AxisPlan plan(20, 20, 0, 1);
    for (int output = 0; output < 20; ++output)
        for (int tap = 0; tap < plan.taps(); ++tap)
            EXPECT_EQ(plan.weights(output)[tap], plan.first(output) + tap == output ? 8192 : 0);
}

} // namespace
} // namespace quillet
