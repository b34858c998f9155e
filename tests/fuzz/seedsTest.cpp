// Each fuzz target's function runs over its seeds, and over what a simple mutation makes of them. The search for more
// is scripts/fuzz's.
#include "tests/fuzz/fuzzTargets.h"

#include <gtest/gtest.h>

#include <random>

namespace quillet::fuzz {
namespace {

class FuzzSeeds : public ::testing::TestWithParam<FuzzTarget> {};

TEST_P(FuzzSeeds, areReadWithoutHarm) {
    const std::vector<Bytes> seeds = GetParam().seeds();
    ASSERT_FALSE(seeds.empty());
    for (const Bytes& seed : seeds) {
        ASSERT_FALSE(seed.empty());
        GetParam().read(seed);
        GetParam().read(std::span(seed).first(seed.size() / 2));
    }
    GetParam().read({});
}

TEST_P(FuzzSeeds, areReadWithoutHarmWhenDamaged) {
    std::mt19937 random(7);
    for (Bytes seed : GetParam().seeds())
        for (int round = 0; round < 20; ++round) {
            for (int change = 0; change < 3; ++change)
                seed[random() % seed.size()] = static_cast<std::byte>(random());
            GetParam().read(seed);
        }
}

INSTANTIATE_TEST_SUITE_P(Of, FuzzSeeds, ::testing::ValuesIn(fuzzTargets().begin(), fuzzTargets().end()),
                         [](const auto& target) { return std::string(target.param.name); });

} // namespace
} // namespace quillet::fuzz
