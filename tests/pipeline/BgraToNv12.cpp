#include "pipeline/kernels/BgraToNv12.h"

#include <gtest/gtest.h>
#include <hwy/highway.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

namespace quillet {
namespace {

constexpr std::uint8_t guard = 0xA5;

/// A source and a target with guard bytes behind every row, at odd strides.
struct Planes {
    Planes(int columns, int rows) : width(columns), height(rows) {
        const auto w = static_cast<std::size_t>(width);
        const auto h = static_cast<std::size_t>(height);
        sourceStride = 4 * w + 7;
        lumaStride = w + 5;
        chromaStride = w + 3;
        source.resize(sourceStride * h - 7); // nothing may be read past the last pixel
        luma.assign(lumaStride * h, guard);
        chroma.assign(chromaStride * h / 2, guard);
    }

    [[nodiscard]] Nv12Target target() { return {luma.data(), lumaStride, chroma.data(), chromaStride}; }

    int width, height;
    std::size_t sourceStride, lumaStride, chromaStride;
    std::vector<std::byte> source;
    std::vector<std::uint8_t> luma, chroma;
};

/// Restores the choice of the best CPU level.
struct TargetGuard {
    ~TargetGuard() {
        hwy::SetSupportedTargetsForTest(0);
        hwy::GetChosenTarget().Update(hwy::SupportedTargets());
    }
};

TEST(BgraToNv12, equalsItsScalarTwinAtEveryCpuLevel) {
    const TargetGuard restore;
    std::mt19937 random(7);
    int levels = 0;
    for (const std::int64_t level : hwy::SupportedAndGeneratedTargets()) {
        hwy::SetSupportedTargetsForTest(level);
        hwy::GetChosenTarget().Update(level);
        ++levels;
        for (int width = 2; width <= 70; width += 2)
            for (const int height : {2, 4, 6}) {
                SCOPED_TRACE(std::string(hwy::TargetName(level)) + " " + std::to_string(width));
                Planes vector(width, height);
                for (std::byte& value : vector.source)
                    value = static_cast<std::byte>(random());
                Planes scalar = vector;
                bgraToNv12(vector.source.data(), vector.sourceStride, width, height, vector.target());
                bgraToNv12Scalar(scalar.source.data(), scalar.sourceStride, width, height, scalar.target());
                ASSERT_EQ(vector.luma, scalar.luma);
                ASSERT_EQ(vector.chroma, scalar.chroma);
                for (int y = 0; y < height; ++y)
                    for (std::size_t x = static_cast<std::size_t>(width); x < vector.lumaStride; ++x)
                        ASSERT_EQ(vector.luma[static_cast<std::size_t>(y) * vector.lumaStride + x], guard);
            }
    }
    EXPECT_GE(levels, 1);
}

TEST(BgraToNv12, isWithinOneStepOfTheExactFormula) {
    for (int blue = 0; blue < 256; blue += 15)
        for (int green = 0; green < 256; green += 15)
            for (int red = 0; red < 256; red += 15) {
                Planes planes(2, 2);
                for (int y = 0; y < 2; ++y)
                    for (int x = 0; x < 2; ++x) {
                        std::byte* pixel =
                            planes.source.data() + static_cast<std::size_t>(y) * planes.sourceStride + 4 * x;
                        pixel[0] = static_cast<std::byte>(blue);
                        pixel[1] = static_cast<std::byte>(green);
                        pixel[2] = static_cast<std::byte>(red);
                    }
                bgraToNv12(planes.source.data(), planes.sourceStride, 2, 2, planes.target());
                const double y = 0.2126 * red + 0.7152 * green + 0.0722 * blue;
                ASSERT_NEAR(planes.luma[0], 16 + y * 219 / 255, 0.51);
                ASSERT_NEAR(planes.chroma[0], 128 + (blue - y) / 1.8556 * 224 / 255, 0.52);
                ASSERT_NEAR(planes.chroma[1], 128 + (red - y) / 1.5748 * 224 / 255, 0.52);
            }
}

TEST(BgraToNv12, alphaHasNoInfluence) {
    Planes opaque(34, 2);
    Planes clear(34, 2);
    std::mt19937 random(3);
    for (std::size_t i = 0; i < opaque.source.size(); ++i) {
        opaque.source[i] = static_cast<std::byte>(random());
        clear.source[i] = opaque.source[i];
    }
    for (std::size_t y = 0; y < 2; ++y)
        for (std::size_t x = 0; x < 34; ++x) {
            opaque.source[y * opaque.sourceStride + 4 * x + 3] = std::byte{255};
            clear.source[y * clear.sourceStride + 4 * x + 3] = std::byte{0};
        }
    bgraToNv12(opaque.source.data(), opaque.sourceStride, 34, 2, opaque.target());
    bgraToNv12(clear.source.data(), clear.sourceStride, 34, 2, clear.target());
    EXPECT_EQ(opaque.luma, clear.luma);
    EXPECT_EQ(opaque.chroma, clear.chroma);
}

} // namespace
} // namespace quillet
