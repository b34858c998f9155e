#include "pipeline/encode/QuantiserControl.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

namespace quillet {
namespace {

constexpr std::int64_t bitRate = 8'000'000;
constexpr int fps = 60;
constexpr std::size_t blocks = 3600;
constexpr std::int64_t picturePeriod = 16'667;

/// An encoder by formula: a changed block costs `changeBits` at quantiser 0 and half as much six steps further.
struct Film {
    double changeBits = 1000;
    double keyBits = 4000;
    QuantiserControl control = {bitRate, fps, blocks};
    double bits = 0;
    std::vector<int> quantisers = {};

    void picture(PictureKind kind, std::size_t changed, std::int64_t microseconds) {
        const int quantiser = control.quantiserFor(kind, changed, microseconds);
        const double cost = kind == PictureKind::key ? blocks * keyBits : static_cast<double>(changed) * changeBits;
        const auto bytes = static_cast<std::size_t>(cost * std::exp2(-quantiser / 6.0) / 8) + 40;
        control.encoded(bytes);
        bits += static_cast<double>(bytes) * 8;
        quantisers.push_back(quantiser);
    }
};

PictureKind kindAt(std::int64_t number, std::int64_t keyEvery) {
    return number % keyEvery == 0 ? PictureKind::key : PictureKind::any;
}

struct Motion {
    const char* name;
    double changeBits;
    double keyBits;
    int picturesPerSecond;
    double share; ///< of the blocks
};

class LastingMotion : public ::testing::TestWithParam<Motion> {};

TEST_P(LastingMotion, takesTheBitRateAndNoMore) {
    const Motion& motion = GetParam();
    Film film{motion.changeBits, motion.keyBits};
    const std::int64_t perSecond = motion.picturesPerSecond;
    const auto changed = static_cast<std::size_t>(blocks * motion.share);
    std::int64_t number = 0;
    const auto play = [&](std::int64_t seconds) {
        const double before = film.bits;
        for (const std::int64_t end = number + seconds * perSecond; number < end; ++number)
            film.picture(kindAt(number, 2 * perSecond), changed, number * 1'000'000 / perSecond);
        return film.bits - before;
    };
    play(10);
    EXPECT_NEAR(play(20) / (20.0 * bitRate), 1, 0.03);
}

INSTANTIATE_TEST_SUITE_P(Table, LastingMotion,
                         ::testing::Values(Motion{"film", 2000, 5000, 60, 1}, Motion{"noise", 9000, 9000, 60, 1},
                                           Motion{"filmOfThirtyPictures", 4000, 5000, 30, 1},
                                           Motion{"halfTheScreen", 4000, 9000, 60, 0.5},
                                           Motion{"fewPictures", 40'000, 60'000, 10, 1}),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST(QuantiserControl, aShortFilmTakesNoMoreThanItsRateEither) {
    Film film{2000, 5000};
    for (std::int64_t i = 0; i < 600; ++i)
        film.picture(kindAt(i, 120), blocks, i * picturePeriod);
    EXPECT_NEAR(film.bits / (10.0 * bitRate), 1, 0.02);
}

TEST(QuantiserControl, stillAndTypingScreensAreWrittenAtTheFloor) {
    Film film;
    for (std::int64_t i = 0; i < 1200; ++i)
        film.picture(kindAt(i, 120), i % 3 == 0 ? 2 : 0, i * picturePeriod);
    EXPECT_EQ(*std::max_element(film.quantisers.begin() + 1, film.quantisers.end()), QuantiserControl::finest);
}

TEST(QuantiserControl, aWindowThatOpensOnAStillScreenIsSharpAtOnce) {
    Film film;
    for (std::int64_t i = 0; i < 300; ++i)
        film.picture(kindAt(i, 120), i == 200 ? blocks / 2 : 0, i * picturePeriod);
    EXPECT_EQ(film.quantisers[200], QuantiserControl::finest);
}

TEST(QuantiserControl, noRateIsEverOverdrawnByMoreThanTheReserve) {
    Film film{9000, 20'000};
    std::int64_t at = 0;
    // Quiet and uproar by turns, at worst just before the reserve is full.
    for (int turn = 0; turn < 20; ++turn) {
        at += 1'900'000;
        for (std::int64_t i = 0; i < 90; ++i, at += picturePeriod)
            film.picture(i == 0 ? PictureKind::key : PictureKind::any, blocks, at);
        const double earned = static_cast<double>(at) / 1e6 * bitRate;
        EXPECT_LE(film.bits, earned + 2.0 * bitRate) << turn;
    }
}

TEST(QuantiserControl, sharpensSlowlyInMotionAndAtOnceWhenItStops) {
    Film film{20'000, 20'000};
    std::int64_t i = 0;
    for (; i < 600; ++i)
        film.picture(kindAt(i, 120), blocks, i * picturePeriod);
    const int inMotion = film.quantisers.back();
    EXPECT_GT(inMotion, QuantiserControl::finest + 10);
    for (; i < 605; ++i) {
        film.picture(PictureKind::any, 1, i * picturePeriod);
        EXPECT_EQ(film.quantisers.back(), inMotion - 2 * static_cast<int>(i - 599));
    }
    // The screen stands still: the picture that comes again two seconds later is as sharp as it will ever be.
    film.picture(PictureKind::any, 0, i * picturePeriod + 2'000'000);
    EXPECT_EQ(film.quantisers.back(), QuantiserControl::finest);
}

TEST(QuantiserControl, timesThatStandStillOrGoBackDoNoHarm) {
    Film film;
    for (int i = 0; i < 600; ++i)
        film.picture(PictureKind::any, blocks, 1'000'000 - i);
    const int overdrawn = film.quantisers.back();
    EXPECT_GT(overdrawn, QuantiserControl::finest + 20);
    film.picture(PictureKind::any, blocks, 60'000'000);
    EXPECT_LT(film.quantisers.back(), overdrawn - 10);
}

} // namespace
} // namespace quillet
