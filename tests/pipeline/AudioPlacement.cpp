#include "pipeline/encode/AudioPlacement.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace quillet {
namespace {

constexpr MediaTime start{1'000'000'007, 1'000'000};

/// `samples` after the file's start, exactly.
MediaTime at(std::int64_t samples) { return start + MediaTime{samples, 48000}; }

struct Step {
    std::int64_t time, frames;
    std::int64_t silence, skip, take;
};
struct PlacementCase {
    const char* name;
    std::vector<Step> steps;
};
class Placement : public testing::TestWithParam<PlacementCase> {};

TEST_P(Placement, putsEverySampleAtItsTime) {
    AudioPlacement placement(start);
    std::int64_t length = 0;
    for (const Step& step : GetParam().steps) {
        const AudioPlacement::Place place = placement.add(at(step.time), step.frames);
        EXPECT_EQ(place.silence, step.silence);
        EXPECT_EQ(place.skip, step.skip);
        EXPECT_EQ(place.take, step.take);
        length += step.silence + step.take;
        EXPECT_EQ(placement.length(), length);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Table, Placement,
    testing::Values(PlacementCase{"oneAfterTheOther", {{0, 480, 0, 0, 480}, {480, 480, 0, 0, 480}}},
                    PlacementCase{"lateBeginBecomesSilence", {{7, 480, 7, 0, 480}, {487, 480, 0, 0, 480}}},
                    PlacementCase{"whatLiesBeforeTheStartIsCut", {{-100, 480, 0, 100, 380}, {380, 10, 0, 0, 10}}},
                    PlacementCase{"whollyBeforeTheStartLeavesNothing", {{-480, 480, 0, 480, 0}, {3, 10, 3, 0, 10}}},
                    PlacementCase{"gapsAreFilled", {{0, 480, 0, 0, 480}, {1000, 480, 520, 0, 480}}},
                    PlacementCase{"overlapsAreCut", {{0, 480, 0, 0, 480}, {300, 480, 0, 180, 300}}},
                    PlacementCase{"whollyHeardBeforeLeavesNothing", {{0, 4800, 0, 0, 4800}, {100, 480, 0, 480, 0}}},
                    PlacementCase{"aMillisecondIsTolerated",
                                  {{0, 480, 0, 0, 480}, {528, 480, 0, 0, 480}, {912, 480, 0, 0, 480}}},
                    PlacementCase{"moreThanThatIsNot", {{0, 480, 0, 0, 480}, {529, 480, 49, 0, 480}}},
                    PlacementCase{"earlyByMoreThanThatIsCut", {{0, 480, 0, 0, 480}, {431, 480, 0, 49, 431}}}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST(AudioPlacement, aClockThatWandersNeverGetsFurtherThanTheTolerance) {
    AudioPlacement placement(start);
    for (std::int64_t i = 0; i < 20'000; ++i) {
        const std::int64_t time = i * 481; // each buffer claims a sample more than it has
        const AudioPlacement::Place place = placement.add(at(time), 480);
        ASSERT_LE(std::abs(placement.length() - place.take - time), AudioPlacement::toleranceSamples);
    }
}

} // namespace
} // namespace quillet
