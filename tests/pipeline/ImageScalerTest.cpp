#include "pipeline/ImageScaler.h"

#include "tests/pipeline/paintedFrames.h"

#include <algorithm>
#include <cmath>

namespace quillet {
namespace {

using painted::Pixel;

ImageScaler::RowReader rowsOf(const PixelBuffer& frame) {
    return [&frame](int row, int begin, int end, std::byte* room) -> ImageScaler::SourceRow {
        std::memcpy(room + begin * 4, frame.row(row) + begin * 4, static_cast<std::size_t>(end - begin) * 4);
        return {room};
    };
}

ImageScaler scalerFor(const PixelBuffer& source, int width, int height) {
    return {AxisPlan(source.width(), width, 0, static_cast<double>(source.width()) / width),
            AxisPlan(source.height(), height, 0, static_cast<double>(source.height()) / height)};
}

double cubic(double x) {
    x = std::abs(x);
    if (x < 1) return 1.5 * x * x * x - 2.5 * x * x + 1;
    return x < 2 ? -0.5 * x * x * x + 2.5 * x * x - 4 * x + 2 : 0;
}

/// One channel of one output, straight from the filter's definition.
double exactly(const PixelBuffer& source, int width, int height, int x, int y, int Pixel::*channel) {
    const double stepX = static_cast<double>(source.width()) / width;
    const double stepY = static_cast<double>(source.height()) / height;
    const double wideX = std::max(1.0, stepX);
    const double wideY = std::max(1.0, stepY);
    const double atX = (x + 0.5) * stepX;
    const double atY = (y + 0.5) * stepY;
    double sum = 0;
    double weights = 0;
    for (int row = static_cast<int>(atY - 2 * wideY) - 2; row <= atY + 2 * wideY + 2; ++row)
        for (int column = static_cast<int>(atX - 2 * wideX) - 2; column <= atX + 2 * wideX + 2; ++column) {
            const double weight = cubic((column + 0.5 - atX) / wideX) * cubic((row + 0.5 - atY) / wideY);
            const Pixel pixel = painted::pixelAt(source, std::clamp(column, 0, source.width() - 1),
                                                 std::clamp(row, 0, source.height() - 1));
            sum += weight * pixel.*channel;
            weights += weight;
        }
    return std::clamp(sum / weights, 0.0, 255.0);
}

/// Whether a larger picture's output lies on the source's outermost pixels, where the filter is cut short.
bool atTheEnd(int output, int outputs, int source) {
    const double centre = (output + 0.5) * source / outputs;
    return outputs > source && (centre < 1 || centre > source - 1);
}

struct Sizes {
    const char* name;
    int sourceWidth;
    int sourceHeight;
    int width;
    int height;
};

class Scaler : public testing::TestWithParam<Sizes> {};

TEST_P(Scaler, comesWithinOneLevelOfTheFilterInRealNumbers) {
    const auto& [name, sourceWidth, sourceHeight, width, height] = GetParam();
    const PixelBufferRef source = painted::frame(sourceWidth, sourceHeight, painted::speckle);
    const PixelBufferRef into = PixelBuffer::make(width, height);
    scalerFor(*source, width, height).draw(into->bounds(), rowsOf(*source), into->row(0), into->strideBytes());
    for (int y = 0; y < height; y += 3)
        for (int x = 0; x < width; ++x) {
            if (atTheEnd(x, width, sourceWidth) || atTheEnd(y, height, sourceHeight)) continue;
            for (const auto channel : {&Pixel::blue, &Pixel::green, &Pixel::red, &Pixel::alpha})
                ASSERT_NEAR(painted::pixelAt(*into, x, y).*channel, exactly(*source, width, height, x, y, channel), 1.0)
                    << x << ", " << y;
        }
}

TEST_P(Scaler, drawsPartsThatFitTogether) {
    const auto& [name, sourceWidth, sourceHeight, width, height] = GetParam();
    const PixelBufferRef source = painted::frame(sourceWidth, sourceHeight, painted::speckle);
    ImageScaler scaler = scalerFor(*source, width, height);
    const PixelBufferRef whole = PixelBuffer::make(width, height);
    scaler.draw(whole->bounds(), rowsOf(*source), whole->row(0), whole->strideBytes());
    const PixelBufferRef pieced = painted::flat(width, height, {1, 2, 3, 4});
    for (int y = 0; y < height; y += 13)
        for (int x = 0; x < width; x += 7)
            scaler.draw(PixelRect{x, y, 7, 13}.intersection(pieced->bounds()), rowsOf(*source), pieced->row(0),
                        pieced->strideBytes());
    EXPECT_TRUE(painted::samePixels(*pieced, *whole));
}

TEST_P(Scaler, keepsAPlainAreaAsItIs) {
    const auto& [name, sourceWidth, sourceHeight, width, height] = GetParam();
    for (const int level : {0, 1, 77, 127, 128, 254, 255}) {
        const PixelBufferRef source = painted::flat(sourceWidth, sourceHeight, {level, 255, 0, 255});
        const PixelBufferRef into = PixelBuffer::make(width, height);
        scalerFor(*source, width, height).draw(into->bounds(), rowsOf(*source), into->row(0), into->strideBytes());
        ASSERT_TRUE(painted::samePixels(*into, *painted::flat(width, height, {level, 255, 0, 255})));
    }
}

INSTANTIATE_TEST_SUITE_P(Table, Scaler,
                         testing::Values(Sizes{"alike", 61, 33, 61, 33}, Sizes{"inset", 640, 100, 563, 88},
                                         Sizes{"almostHalf", 150, 90, 77, 46}, Sizes{"third", 201, 150, 67, 50},
                                         Sizes{"fifth", 200, 150, 40, 30}, Sizes{"larger", 31, 17, 90, 61},
                                         Sizes{"tiny", 2, 2, 1, 1}, Sizes{"fromOne", 1, 1, 5, 3}),
                         [](const auto& parameter) { return parameter.param.name; });

TEST(ImageScaler, changesNothingAtTheSameSize) {
    const PixelBufferRef source = painted::frame(300, 20, painted::speckle);
    const PixelBufferRef into = PixelBuffer::make(300, 20);
    scalerFor(*source, 300, 20).draw(into->bounds(), rowsOf(*source), into->row(0), into->strideBytes());
    EXPECT_TRUE(painted::samePixels(*into, *source));
}

} // namespace
} // namespace quillet
