#include "platform/synthetic/SyntheticCamera.h"

#include "tests/fakes/x11/eventually.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>
#include <optional>
#include <vector>

namespace quillet {
namespace {

std::optional<std::uint32_t> numberIn(const PixelBuffer& frame) {
    return SyntheticCameraPicture::readNumber([&](double right, double down) {
        const int shorter = std::min(frame.width(), frame.height());
        const int x = static_cast<int>(frame.width() / 2.0 + right * shorter);
        const int y = static_cast<int>(frame.height() / 2.0 + down * shorter);
        return std::to_integer<int>(frame.row(y)[static_cast<std::ptrdiff_t>(x) * 4 + 1]);
    });
}

TEST(SyntheticCameraPicture, carriesItsNumberSafelyEverywhere) {
    for (const std::uint64_t number : {0U, 1U, 2U, 4097U, 65535U, 65536U, 70000U})
        for (const auto& [width, height] : {std::pair{1280, 720}, {480, 640}, {90, 90}, {61, 321}}) {
            const auto patches = SyntheticCameraPicture{width, height}.patches(number);
            const auto colourAt = [&, w = width, h = height](double right, double down) {
                const int shorter = std::min(w, h);
                const PixelRect pixel{static_cast<int>(w / 2.0 + right * shorter),
                                      static_cast<int>(h / 2.0 + down * shorter), 1, 1};
                std::uint32_t colour = 0;
                for (const auto& patch : patches)
                    if (!patch.rect.intersection(pixel).isEmpty()) colour = patch.colour;
                return static_cast<double>(colour >> 8 & 255);
            };
            EXPECT_EQ(SyntheticCameraPicture::readNumber(colourAt), number % 65536)
                << number << " in " << width << " x " << height;
        }
}

TEST(SyntheticCameraPicture, isNotReadWhereItIsDamaged) {
    EXPECT_EQ(SyntheticCameraPicture::readNumber([](double, double) { return 255.0; }), std::nullopt);
    EXPECT_EQ(SyntheticCameraPicture::readNumber([](double, double) { return 0.0; }), std::nullopt);
}

TEST(SyntheticCamera, showsNumberedPicturesBetweenStartAndStop) {
    SerialQueue queue("org.quillet.Quillet.camera");
    std::mutex mutex; // guards what the camera has shown
    std::vector<std::uint32_t> numbers;
    std::vector<std::uint64_t> sequences;
    auto camera = SyntheticCamera::make(queue, [&](const ConstPixelBufferRef& frame) {
        const std::lock_guard guard(mutex);
        numbers.push_back(numberIn(*frame).value_or(0));
        sequences.push_back(frame->sequence);
    });
    const auto count = [&] {
        const std::lock_guard guard(mutex);
        return numbers.size();
    };
    ASSERT_TRUE(camera);
    queue.sync([&] { camera->start(); });
    ASSERT_TRUE(testing::eventually([&] { return count() >= 3; }));
    queue.sync([&] { camera->stop(); });
    const std::size_t shown = count();
    queue.sync([&] { camera->start(); });
    ASSERT_TRUE(testing::eventually([&] { return count() >= shown + 2; }));
    queue.sync([&] { camera.reset(); });
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        EXPECT_EQ(numbers[i], i + 1);
        EXPECT_EQ(sequences[i], i + 1);
    }
}

} // namespace
} // namespace quillet
