#include "pipeline/encode/DamageLedger.h"

#include <gtest/gtest.h>

namespace quillet {
namespace {

PixelBufferRef frame(std::uint64_t sequence, std::optional<PixelRect> damage) {
    PixelBufferRef made = PixelBuffer::make(64, 64);
    made->sequence = sequence;
    if (damage) made->damage.emplace().add(*damage);
    return made;
}

constexpr PixelRect first{0, 0, 4, 4};
constexpr PixelRect second{20, 8, 6, 2};

TEST(DamageLedger, theFirstFrameIsNewEverywhere) {
    DamageLedger ledger;
    FrameDamage damage;
    ledger.note(*frame(1, first));
    ledger.take(damage);
    EXPECT_TRUE(damage.isEverything);
}

TEST(DamageLedger, framesThatAreNotTakenLeaveTheirDamage) {
    DamageLedger ledger;
    FrameDamage damage;
    ledger.note(*frame(1, first));
    ledger.take(damage);
    ledger.note(*frame(2, first)); // dropped
    ledger.note(*frame(3, second));
    ledger.take(damage);
    ASSERT_FALSE(damage.isEverything);
    EXPECT_EQ(damage.region.rects(), (std::vector<PixelRect>{first, second}));
    ledger.note(*frame(4, second));
    ledger.take(damage);
    EXPECT_EQ(damage.region.rects(), std::vector<PixelRect>{second});
}

struct BreakCase {
    const char* name;
    std::uint64_t sequence;
    std::optional<PixelRect> damage;
};
class Break : public testing::TestWithParam<BreakCase> {};

TEST_P(Break, makesEverythingCount) {
    DamageLedger ledger;
    FrameDamage damage;
    ledger.note(*frame(5, first));
    ledger.take(damage);
    ledger.note(*frame(GetParam().sequence, GetParam().damage));
    ledger.take(damage);
    EXPECT_TRUE(damage.isEverything);
    // Also when the frame that broke the row was not taken.
    ledger.note(*frame(GetParam().sequence, GetParam().damage));
    ledger.note(*frame(GetParam().sequence + 1, first));
    ledger.take(damage);
    EXPECT_TRUE(damage.isEverything);
}

INSTANTIATE_TEST_SUITE_P(Table, Break,
                         testing::Values(BreakCase{"gap", 7, first}, BreakCase{"same", 5, first},
                                         BreakCase{"backwards", 4, first}, BreakCase{"uncounted", 0, first},
                                         BreakCase{"undamaged", 6, std::nullopt}),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST(DamageLedger, anEmptyDamageIsNoDamage) {
    DamageLedger ledger;
    FrameDamage damage;
    ledger.note(*frame(1, first));
    ledger.take(damage);
    const PixelBufferRef still = frame(2, std::nullopt);
    still->damage.emplace();
    ledger.note(*still);
    ledger.take(damage);
    EXPECT_FALSE(damage.isEverything);
    EXPECT_TRUE(damage.region.isEmpty());
}

} // namespace
} // namespace quillet
