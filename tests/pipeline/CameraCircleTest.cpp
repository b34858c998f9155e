#include "pipeline/CameraCircle.h"

#include "tests/pipeline/paintedFrames.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

namespace quillet {
namespace {

PixelBufferRef picture(std::uint64_t sequence, int blue) {
    PixelBufferRef camera = painted::flat(64, 48, {blue, 0, 0, 255});
    camera->sequence = sequence;
    return camera;
}

int blueInTheMiddle(const CameraCircle& circle) {
    return std::to_integer<int>(circle.row(circle.side() / 2)[static_cast<std::size_t>(circle.side()) / 2 * 4]);
}

TEST(CameraCircle, isDrawnOnceForAllWhoShareAShelf) {
    const auto shelf = std::make_shared<CircleShelf>();
    CameraCircle bubble(true, shelf);
    CameraCircle film(true, shelf);
    const PixelBufferRef camera = picture(1, 50);
    ASSERT_TRUE(bubble.update(*camera, 40));
    ASSERT_TRUE(film.update(*camera, 40));
    EXPECT_EQ(film.row(0), bubble.row(0)) << "the very same memory";
    EXPECT_EQ(film.span(20).begin, bubble.span(20).begin);
    EXPECT_LT(film.span(20).begin, film.span(0).begin);
}

TEST(CameraCircle, isItsOwnWhereSizeMirroringOrPictureDiffer) {
    const auto shelf = std::make_shared<CircleShelf>();
    const PixelBufferRef camera = picture(1, 50);
    CameraCircle bubble(true, shelf);
    ASSERT_TRUE(bubble.update(*camera, 40));
    CameraCircle larger(true, shelf);
    ASSERT_TRUE(larger.update(*camera, 42));
    EXPECT_EQ(larger.side(), 42);
    CameraCircle plain(false, shelf);
    ASSERT_TRUE(plain.update(*camera, 40));
    EXPECT_NE(plain.row(0), bubble.row(0));
    const PixelBufferRef next = picture(2, 90);
    CameraCircle film(true, shelf);
    ASSERT_TRUE(film.update(*next, 40));
    EXPECT_EQ(blueInTheMiddle(film), 90);
    EXPECT_EQ(blueInTheMiddle(bubble), 50) << "what is shown does not change beneath";
}

TEST(CameraCircle, neverSharesAPictureThatDoesNotCount) {
    const auto shelf = std::make_shared<CircleShelf>();
    const PixelBufferRef camera = picture(0, 50);
    CameraCircle bubble(true, shelf);
    CameraCircle film(true, shelf);
    ASSERT_TRUE(bubble.update(*camera, 40));
    painted::setPixel(*camera, 32, 24, {255, 255, 255, 255});
    ASSERT_TRUE(film.update(*camera, 40));
    EXPECT_NE(blueInTheMiddle(film), blueInTheMiddle(bubble));
}

TEST(CameraCircle, keepsShowingWhatItHasWhileOthersGoOn) {
    const auto shelf = std::make_shared<CircleShelf>();
    CameraCircle slow(true, shelf);
    CameraCircle fast(true, shelf);
    const PixelBufferRef first = picture(1, 1);
    ASSERT_TRUE(slow.update(*first, 40));
    for (int number = 2; number < 60; ++number) {
        const PixelBufferRef camera = picture(static_cast<std::uint64_t>(number), number);
        ASSERT_TRUE(fast.update(*camera, 40));
        ASSERT_EQ(blueInTheMiddle(fast), number);
        ASSERT_EQ(blueInTheMiddle(slow), 1);
    }
}

/// Rings around the middle of a picture of 720 rows, finer and finer outwards: a wave takes four pixels at its edge.
constexpr int rows = 720;
constexpr double pi = 3.14159265358979;
constexpr double fineness = 360 / (pi / 4);
double ringsAt(double radius) { return 100 * std::cos(radius * radius / fineness); }
double wavesPerPixel(double radius) { return radius / fineness / pi; }

struct Sharpness {
    const char* name;
    int diameter;
};
class CameraCircleSharpness : public testing::TestWithParam<Sharpness> {};

// However it is scaled (filtered at once, or halved first), rings that the circle can show with three pixels each are
// there with most of their contrast, and those that it cannot show do not turn into others.
TEST_P(CameraCircleSharpness, showsWhatItCanAndNothingElse) {
    const int side = GetParam().diameter;
    const double step = static_cast<double>(rows) / side;
    const PixelBufferRef camera = painted::frame(1280, rows, [&](int x, int y) {
        const int level = static_cast<int>(std::lround(128 + ringsAt(std::hypot(x + 0.5 - 640, y + 0.5 - 360))));
        return painted::Pixel{level, level, level, 255};
    });
    CameraCircle circle(true);
    ASSERT_TRUE(circle.update(*camera, side));
    double shown = 0;
    double wanted = 0;
    double ghosts = 0;
    int ghostPlaces = 0;
    for (int y = 0; y < side; ++y)
        for (int x = 0; x < side; ++x) {
            const double radius = std::hypot(x + 0.5 - side / 2.0, y + 0.5 - side / 2.0) * step;
            if (radius > 350) continue;
            const double level = std::to_integer<int>(circle.row(y)[static_cast<std::size_t>(x) * 4]) - 128.0;
            const double waves = wavesPerPixel(radius) * step; // for each pixel of the circle
            if (waves < 1 / 3.0) {
                shown += level * ringsAt(radius);
                wanted += ringsAt(radius) * ringsAt(radius);
            } else if (waves > 0.75) {
                ghosts += std::abs(level);
                ++ghostPlaces;
            }
        }
    std::printf("%d: contrast kept %.2f, ghosts %.1f levels\n", side, shown / wanted,
                ghosts / std::max(ghostPlaces, 1));
    EXPECT_GT(shown / wanted, 0.8);
    EXPECT_LE(ghosts, 12.0 * ghostPlaces);
}

INSTANTIATE_TEST_SUITE_P(Table, CameraCircleSharpness,
                         testing::Values(Sharpness{"small", 90}, Sharpness{"usual", 200},
                                         Sharpness{"onAScaledDisplay", 300}, Sharpness{"doubled", 400},
                                         Sharpness{"large", 700}),
                         [](const auto& each) { return std::string(each.param.name); });

} // namespace
} // namespace quillet
