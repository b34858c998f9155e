#include "pipeline/encode/X264Encoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <vector>

namespace quillet {
namespace {

constexpr int width = 320;
constexpr int height = 240;
constexpr int fps = 60;
constexpr std::int64_t bitRate = 1'500'000;

/// Grain that is new in each picture: what an encoder can foretell nothing of.
class GrainyFilm {
public:
    GrainyFilm() : encoder(makeX264Encoder({width, height, fps, bitRate}, error)), luma(width * height) {}

    [[nodiscard]] bool canBegin() const { return encoder != nullptr; }
    void setHaste(Haste haste) { encoder->setHaste(haste); }
    /// How many bits the next `seconds` take.
    double bitsOf(int seconds) {
        double bits = 0;
        for (const int end = number + seconds * fps; number < end; ++number) {
            std::generate(luma.begin(), luma.end(), [&] { return static_cast<std::uint8_t>(96 + random() % 64); });
            const VideoEncoderPicture picture{luma.data(), width, chroma.data(), width, unchangedBlocks};
            const auto failure = encoder->encode(
                picture, std::int64_t{number} * 1'000'000 / fps,
                number % (2 * fps) == 0 ? PictureKind::key : PictureKind::any,
                [&](const EncodedPicture& encoded) { bits += static_cast<double>(encoded.bytes.size()) * 8; });
            EXPECT_FALSE(failure) << failure->description;
        }
        return bits;
    }

private:
    Error error;
    std::unique_ptr<VideoEncoder> encoder;
    std::mt19937 random{3};
    std::vector<std::uint8_t> luma;
    std::vector<std::uint8_t> chroma = std::vector<std::uint8_t>(width * height / 2, 128);
    std::vector<std::uint8_t> unchangedBlocks = std::vector<std::uint8_t>(width / 16 * height / 16, 0);
    int number = 0;
};

TEST(X264Encoder, lastingMotionTakesTheBitRateAndNoMore) {
    GrainyFilm film;
    ASSERT_TRUE(film.canBegin());
    EXPECT_NEAR(film.bitsOf(6) / (6.0 * bitRate), 1, 0.05);
}

TEST(X264Encoder, inHasteGivesAwayBits) {
    GrainyFilm film;
    ASSERT_TRUE(film.canBegin());
    film.bitsOf(2);
    film.setHaste(Haste::much);
    film.bitsOf(1);
    EXPECT_NEAR(film.bitsOf(2) / (2.0 * bitRate), 0.5, 0.1);
    film.setHaste(Haste::none);
    film.bitsOf(4); // what was saved is spent
    EXPECT_NEAR(film.bitsOf(2) / (2.0 * bitRate), 1, 0.1);
}

} // namespace
} // namespace quillet
