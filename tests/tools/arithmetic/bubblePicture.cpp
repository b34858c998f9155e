#include "tools/BubblePicture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

namespace quillet {
namespace {

constexpr int side = 60;
constexpr double middle = side / 2.0;

PixelBufferRef cameraPicture() {
    const PixelBufferRef picture = PixelBuffer::make(160, 120);
    picture->alpha = Alpha::ignored;
    for (int y = 0; y < picture->height(); ++y)
        for (int x = 0; x < picture->width(); ++x) {
            std::byte* const pixel = picture->row(y) + static_cast<std::ptrdiff_t>(x) * 4;
            pixel[0] = static_cast<std::byte>(x);
            pixel[1] = static_cast<std::byte>(2 * y);
            pixel[2] = std::byte{77};
            pixel[3] = std::byte{0};
        }
    return picture;
}

double distance(int x, int y) { return std::hypot(x + 0.5 - middle, y + 0.5 - middle); }

/// Calls with each pixel and its distance from the middle.
template <typename Check>
void forEachPixel(const QImage& image, Check check) {
    ASSERT_EQ(image.size(), QSize(side, side));
    for (int y = 0; y < side; ++y)
        for (int x = 0; x < side; ++x)
            check(x, y, distance(x, y), image.pixel(x, y));
}

TEST(BubblePicture, showsWithinTheRingTheVeryPixelsThatFilmsShow) {
    const PixelBufferRef camera = cameraPicture();
    BubblePicture bubble;
    bubble.draw(camera.get(), {.side = side, .ringWidth = 3, .edge = BubblePicture::Edge::soft});
    CameraCircle film(true);
    ASSERT_TRUE(film.update(*camera, side));
    ASSERT_EQ(film.side(), side);
    int compared = 0;
    forEachPixel(bubble.image(), [&](int x, int y, double r, QRgb pixel) {
        if (r > middle - 4) return;
        QRgb expected;
        std::memcpy(&expected, film.row(y) + static_cast<std::ptrdiff_t>(x) * 4, 4);
        EXPECT_EQ(pixel, expected) << x << ", " << y;
        ++compared;
    });
    EXPECT_GT(compared, 2000);
    // And those are mirrored: the camera's right is on the left.
    EXPECT_GT(qBlue(bubble.image().pixel(10, 30)), qBlue(bubble.image().pixel(50, 30)) + 50);
}

TEST(BubblePicture, takesTheCircleThatAFilmHasDrawnAndLeavesItsOwn) {
    const auto shelf = std::make_shared<CircleShelf>();
    const PixelBufferRef camera = cameraPicture();
    camera->sequence = 1;
    CameraCircle film(true, shelf);
    BubblePicture bubble(shelf);
    const BubblePicture::Look look{.side = side, .ringWidth = 3, .edge = BubblePicture::Edge::soft};
    ASSERT_TRUE(film.update(*camera, side));
    const QRgb there = *reinterpret_cast<const QRgb*>(film.row(30) + 30 * 4);
    // The same number again, though the memory has another picture by now: so it is not drawn anew.
    for (int y = 0; y < camera->height(); ++y)
        std::memset(camera->row(y), 9, static_cast<std::size_t>(camera->width()) * 4);
    bubble.draw(camera.get(), look);
    EXPECT_EQ(bubble.image().pixel(30, 30), there);
    camera->sequence = 2;
    bubble.draw(camera.get(), look);
    EXPECT_NE(bubble.image().pixel(30, 30), there);
    ASSERT_TRUE(film.update(*camera, side));
    EXPECT_EQ(bubble.image().pixel(30, 30), *reinterpret_cast<const QRgb*>(film.row(30) + 30 * 4));
    // The ring is the bubble's alone.
    EXPECT_NE(bubble.image().pixel(1, 30), *reinterpret_cast<const QRgb*>(film.row(30) + 1 * 4));
}

TEST(BubblePicture, hasAWhiteRingOnItsEdgeAndNothingOutside) {
    BubblePicture bubble;
    bubble.draw(nullptr, {.side = side, .ringWidth = 3, .edge = BubblePicture::Edge::soft});
    forEachPixel(bubble.image(), [](int x, int y, double r, QRgb pixel) {
        if (r > middle + 1 || r < middle - 4) {
            EXPECT_EQ(pixel, 0U) << x << ", " << y;
        } else if (r < middle - 0.75 && r > middle - 2.25) {
            EXPECT_NEAR(qAlpha(pixel), 230, 2) << x << ", " << y;
        }
    });
    const QRgb atEdge = bubble.image().pixel(side / 2, 0);
    EXPECT_EQ(qRed(atEdge), qAlpha(atEdge)) << "white, premultiplied";
}

TEST(BubblePicture, isOpaqueToItsEdgeWhereTransparencyWouldBeBlack) {
    BubblePicture bubble;
    bubble.draw(cameraPicture().get(), {.side = side, .ringWidth = 3, .edge = BubblePicture::Edge::hard});
    forEachPixel(bubble.image(), [](int x, int y, double r, QRgb pixel) {
        if (r < middle) {
            EXPECT_EQ(qAlpha(pixel), 255) << x << ", " << y;
        }
        if (r > middle - 2 && r < middle) {
            EXPECT_GT(qRed(pixel), 230) << x << ", " << y;
        }
    });
}

TEST(BubblePicture, followsItsSizeAndPicture) {
    const PixelBufferRef camera = cameraPicture();
    BubblePicture bubble;
    EXPECT_FALSE(bubble.look());
    bubble.draw(camera.get(), {.side = 90, .ringWidth = 3, .edge = BubblePicture::Edge::soft});
    EXPECT_EQ(bubble.image().width(), 90);
    bubble.draw(camera.get(), {.side = side, .ringWidth = 4.5, .edge = BubblePicture::Edge::soft});
    EXPECT_EQ(bubble.look()->side, side);
    EXPECT_EQ(qAlpha(bubble.image().pixel(side / 2, side / 2)), 255);
    bubble.draw(nullptr, {.side = side, .ringWidth = 4.5, .edge = BubblePicture::Edge::soft});
    EXPECT_EQ(bubble.image().pixel(side / 2, side / 2), 0U);
}

} // namespace
} // namespace quillet
