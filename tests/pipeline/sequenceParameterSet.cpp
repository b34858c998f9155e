#include "pipeline/encode/sequenceParameterSet.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace quillet {
namespace {

/// Writes bits as a NAL unit has them.
class UnitWriter {
public:
    void bits(std::uint64_t value, int count) {
        for (int i = count - 1; i >= 0; --i)
            payload.push_back((value >> i & 1) != 0);
    }
    void golomb(std::uint32_t value) {
        int length = 0;
        while ((value + 1) >> (length + 1) != 0)
            ++length;
        bits(0, length);
        bits(value + 1, length + 1);
    }
    /// With the stop bit, padding and emulation prevention bytes.
    [[nodiscard]] std::vector<std::byte> unit() const {
        std::vector<bool> all = payload;
        all.push_back(true);
        while (all.size() % 8 != 0)
            all.push_back(false);
        std::vector<std::byte> bytes;
        int zeros = 0;
        for (std::size_t i = 0; i < all.size(); i += 8) {
            unsigned value = 0;
            for (std::size_t bit = 0; bit < 8; ++bit)
                value = value << 1 | (all[i + bit] ? 1U : 0U);
            if (zeros >= 2 && value <= 3) {
                bytes.push_back(std::byte{3});
                zeros = 0;
            }
            zeros = value == 0 ? zeros + 1 : 0;
            bytes.push_back(static_cast<std::byte>(value));
        }
        return bytes;
    }

private:
    std::vector<bool> payload;
};

struct Shape {
    const char* name;
    bool cropped;
    bool colours;
    bool extendedAspect;
    std::uint32_t orderCountType;
    std::uint32_t rate; ///< pictures a second
};

enum class FixedRate { no, yes };

std::vector<std::byte> parameterSet(const Shape& shape, FixedRate fixed) {
    UnitWriter writer;
    writer.bits(0x67, 8);
    writer.bits(100, 8);
    writer.bits(0, 8);
    writer.bits(42, 8);
    writer.golomb(0);
    writer.golomb(1);
    writer.golomb(0);
    writer.golomb(0);
    writer.bits(0, 2);
    writer.golomb(5);
    writer.golomb(shape.orderCountType);
    if (shape.orderCountType == 0) writer.golomb(4);
    writer.golomb(1);
    writer.bits(0, 1);
    writer.golomb(119);
    writer.golomb(67);
    writer.bits(0b11, 2);
    writer.bits(shape.cropped ? 1 : 0, 1);
    if (shape.cropped)
        for (std::uint32_t side : {0U, 0U, 0U, 4U})
            writer.golomb(side);
    writer.bits(1, 1);
    writer.bits(shape.extendedAspect ? 1 : 0, 1);
    if (shape.extendedAspect) {
        writer.bits(255, 8);
        writer.bits(1, 16);
        writer.bits(1, 16);
    }
    writer.bits(0, 1);
    writer.bits(shape.colours ? 1 : 0, 1);
    if (shape.colours) {
        writer.bits(0b1010, 4);
        writer.bits(1, 1);
        writer.bits(0x010101, 24);
    }
    writer.bits(1, 1);
    writer.golomb(1);
    writer.golomb(1);
    writer.bits(1, 1);
    writer.bits(1, 32);
    writer.bits(shape.rate * 2, 32);
    writer.bits(fixed == FixedRate::yes ? 1 : 0, 1);
    writer.bits(0b0001'1, 5);
    writer.golomb(0);
    writer.golomb(0);
    return writer.unit();
}

class ParameterSet : public ::testing::TestWithParam<Shape> {};

TEST_P(ParameterSet, losesItsFixedRateAndNothingElse) {
    std::vector<std::byte> unit = parameterSet(GetParam(), FixedRate::yes);
    ASSERT_NE(unit, parameterSet(GetParam(), FixedRate::no));
    EXPECT_TRUE(clearFixedFrameRate(unit));
    EXPECT_EQ(unit, parameterSet(GetParam(), FixedRate::no));
    EXPECT_TRUE(clearFixedFrameRate(unit));
    EXPECT_EQ(unit, parameterSet(GetParam(), FixedRate::no));
}

INSTANTIATE_TEST_SUITE_P(Table, ParameterSet,
                         ::testing::Values(Shape{"ordinary", true, true, false, 2, 60},
                                           Shape{"uncropped", false, true, false, 2, 60},
                                           Shape{"withoutColours", false, false, false, 0, 30},
                                           Shape{"odderAspect", true, true, true, 0, 25}),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST(ParameterSet, whatIsNotUnderstoodStaysAsItIs) {
    const std::vector<std::byte> whole = parameterSet({"", true, true, false, 2, 60}, FixedRate::yes);
    for (std::size_t length = 0; length < 20; ++length) {
        std::vector<std::byte> cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        const std::vector<std::byte> before = cut;
        static_cast<void>(clearFixedFrameRate(cut));
        EXPECT_EQ(cut, before) << length;
    }
    std::vector<std::byte> baseline = whole;
    baseline[1] = std::byte{66};
    const std::vector<std::byte> before = baseline;
    EXPECT_FALSE(clearFixedFrameRate(baseline));
    EXPECT_EQ(baseline, before);
}

} // namespace
} // namespace quillet
