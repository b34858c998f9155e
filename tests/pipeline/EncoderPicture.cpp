#include "pipeline/encode/EncoderPicture.h"

#include "pipeline/encode/X264Encoder.h"
#include "pipeline/mp4/FileSink.h"
#include "pipeline/mp4/HybridFile.h"
#include "tests/fakes/ReadMovie.h"
#include "tests/pipeline/support/Recording.h"

#include <gtest/gtest.h>

#include <random>

namespace quillet {
namespace {

using namespace fakes;
using namespace test;

std::vector<std::uint8_t> bytesOf(const VideoEncoderPicture& picture, int width, int height) {
    std::vector<std::uint8_t> bytes;
    for (int y = 0; y < height; ++y) {
        const std::uint8_t* row = picture.luma + static_cast<std::size_t>(y) * picture.lumaStrideBytes;
        bytes.insert(bytes.end(), row, row + width);
    }
    for (int y = 0; y < height / 2; ++y) {
        const std::uint8_t* row = picture.chroma + static_cast<std::size_t>(y) * picture.chromaStrideBytes;
        bytes.insert(bytes.end(), row, row + width);
    }
    return bytes;
}

TEST(EncoderPicture, partialUpdatesEqualAWholeConversionAndMarkTheirBlocks) {
    constexpr int width = 150;
    constexpr int height = 90;
    std::mt19937 random(5);
    const auto frame = solidFrame(width, height, {10, 200, 90});
    const auto partial = EncoderPicture::make(width, height);
    partial->update(*frame, {});
    partial->settle();
    for (int round = 0; round < 60; ++round) {
        FrameDamage damage{false, {}};
        for (unsigned i = 0; i <= random() % 3; ++i) {
            const int x = static_cast<int>(random() % width);
            const int y = static_cast<int>(random() % height);
            const PixelRect rect{x, y, 1 + static_cast<int>(random()) % (width - x),
                                 1 + static_cast<int>(random() % 7)};
            const PixelRect inside = rect.intersection(frame->bounds());
            fill(*frame, inside,
                 {static_cast<std::uint8_t>(round), static_cast<std::uint8_t>(random()),
                  static_cast<std::uint8_t>(random())});
            damage.region.add(inside);
        }
        partial->update(*frame, damage);
        const auto whole = EncoderPicture::make(width, height);
        whole->update(*frame, {});
        ASSERT_EQ(bytesOf(partial->picture(), width, height), bytesOf(whole->picture(), width, height));

        const auto flags = partial->picture().unchangedBlocks;
        ASSERT_EQ(flags.size(), 10U * 6U);
        for (int row = 0; row < 6; ++row)
            for (int column = 0; column < 10; ++column) {
                const PixelRect block{column * 16, row * 16, 16, 16};
                bool touched = false; // by a damage grown to whole 2 x 2 pixels
                for (const PixelRect& rect : damage.region.rects()) {
                    const PixelRect even{rect.x & ~1, rect.y & ~1, ((rect.right() + 1) & ~1) - (rect.x & ~1),
                                         ((rect.bottom() + 1) & ~1) - (rect.y & ~1)};
                    touched = touched || !even.intersection(block).isEmpty();
                }
                ASSERT_EQ(flags[static_cast<std::size_t>(row * 10 + column)], touched ? 0 : 1);
            }
        partial->settle();
        for (const std::uint8_t flag : partial->picture().unchangedBlocks)
            ASSERT_EQ(flag, 1);
    }
}

double peakSignalToNoise(const MoviePicture& picture, const PixelBuffer& frame, const PixelRect& rect) {
    const auto source = EncoderPicture::make(frame.width(), frame.height());
    source->update(frame, {});
    const VideoEncoderPicture wanted = source->picture();
    double error = 0;
    for (int y = rect.y; y < rect.bottom(); ++y)
        for (int x = rect.x; x < rect.right(); ++x) {
            const double difference =
                static_cast<double>(picture.luma[static_cast<std::size_t>(y * picture.width + x)]) -
                wanted.luma[static_cast<std::size_t>(y) * wanted.lumaStrideBytes + static_cast<std::size_t>(x)];
            error += difference * difference;
        }
    return error == 0 ? 99 : 10 * std::log10(255.0 * 255.0 * static_cast<double>(rect.area()) / error);
}

// Blocks that are flagged as unchanged are never looked at again; if one were flagged wrongly, or lost quality from
// being carried along, its picture would be wrong until the next key frame.
TEST(EncoderPicture, everyTileStaysTrueToItsSourceOverManyPartialChangesAndDrops) {
    constexpr int width = 480;
    constexpr int height = 272;
    const TemporaryFolder folder;
    auto writer = RecordingWriter::make(folder.file(), {width, height}, 60, ExportQuality::high);
    ASSERT_TRUE(writer);
    writer->start({0, 60});
    std::mt19937 random(11);
    const auto drawn = solidFrame(width, height, {250, 250, 245});
    std::vector<PixelBufferRef> taken;
    for (int i = 0; i < 180; ++i) {
        const PixelRect rect =
            PixelRect{static_cast<int>(random() % width), static_cast<int>(random() % height), 9, 13}.intersection(
                drawn->bounds());
        fill(*drawn, rect, {static_cast<std::uint8_t>(random()), 40, static_cast<std::uint8_t>(random())});
        const auto frame = copyOf(*drawn);
        frame->sequence = static_cast<std::uint64_t>(i) + 1;
        frame->damage.emplace().add(rect);
        if (i % 5 == 3) {
            // Refused because its time has passed: its damage must come with the next one.
            EXPECT_FALSE(writer->appendVideo(frame, {-1, 60}));
            continue;
        }
        ASSERT_TRUE(appendPatiently(*writer, frame, {i, 60}));
        taken.push_back(frame);
    }
    ASSERT_FALSE(finishAndWait(*writer).error);
    const Movie movie = readMovie(folder.file(), ReadDepth::pictures);
    ASSERT_EQ(movie.pictures.size(), taken.size());
    double worst = 99;
    for (std::size_t i = 0; i < taken.size(); i += 7)
        for (int y = 0; y + 16 <= height; y += 16)
            for (int x = 0; x + 16 <= width; x += 16)
                worst = std::min(worst, peakSignalToNoise(movie.pictures[i], *taken[i], {x, y, 16, 16}));
    EXPECT_GT(worst, 36) << "the worst tile's luma in decibels";
    RecordProperty("worstTileDecibels", std::to_string(worst));
}

TEST(X264Encoder, refusesWithItsReason) {
    Error error;
    EXPECT_FALSE(makeX264Encoder({3, 2, 60, 2'000'000}, error));
    EXPECT_EQ(error.domain, "x264");
    EXPECT_NE(error.description.find("3 x 2"), std::string::npos);
}

TEST(X264Encoder, givesOutEachPictureOnceAndAtMostOneLate) {
    Error error;
    const auto encoder = makeX264Encoder({64, 48, 60, 2'000'000}, error);
    ASSERT_TRUE(encoder) << error.description;
    const auto picture = EncoderPicture::make(64, 48);
    int out = 0;
    for (int i = 0; i < 10; ++i) {
        picture->update(*numberedFrame(64, 48, i), {});
        EXPECT_FALSE(encoder->encode(picture->picture(), i * 20'000, i == 6 ? PictureKind::key : PictureKind::any,
                                     [&](const EncodedPicture& encoded) {
                                         EXPECT_EQ(encoded.isKey, out == 0 || out == 6);
                                         ++out;
                                     }));
        EXPECT_GE(out, i);
    }
    EXPECT_FALSE(encoder->drain([&](const EncodedPicture&) { ++out; }));
    EXPECT_EQ(out, 10);
    ASSERT_GE(encoder->avcConfiguration().size(), 11U);
    EXPECT_EQ(encoder->avcConfiguration()[1], std::byte{100});
}

/// A film of a screen that now stands still and now changes, coded and read back.
struct StillFilm {
    static constexpr int width = 192;
    static constexpr int height = 128;
    static constexpr std::int64_t framePeriod = 16'667;

    TemporaryFolder folder;
    PixelBufferRef frame = solidFrame(width, height, {250, 250, 245});
    std::unique_ptr<EncoderPicture> picture = EncoderPicture::make(width, height);
    std::unique_ptr<VideoEncoder> encoder;
    std::optional<mp4::HybridFile> file;
    std::vector<std::vector<std::byte>> coded = {};
    std::vector<bool> keys = {};
    std::vector<PixelBufferRef> sources = {};
    std::int64_t now = 0;

    StillFilm() {
        Error error;
        encoder = makeX264Encoder({width, height, 60, 4'000'000}, error);
        file.emplace(mp4::FileSink::make(folder.file(), error),
                     mp4::VideoTrackFormat{width, height, 1'000'000, encoder->avcConfiguration()},
                     mp4::AudioTrackFormat{48000, 2, 192'000, 1024, 1024, std::vector<std::byte>(5)});
        picture->update(*frame, {});
    }
    void change(int number) {
        const PixelRect rect{number * 13 % (width - 40), number * 7 % (height - 20), 37, 11};
        fill(*frame, rect, {static_cast<std::uint8_t>(number * 50), 40, static_cast<std::uint8_t>(number * 90)});
        FrameDamage damage{false, {}};
        damage.region.add(rect);
        picture->update(*frame, damage);
    }
    void encode(PictureKind kind) {
        EXPECT_FALSE(encoder->encode(picture->picture(), now, kind, [this](const EncodedPicture& out) {
            coded.emplace_back(out.bytes.begin(), out.bytes.end());
            keys.push_back(out.isKey);
            file->addVideo(out.bytes, now, out.isKey);
        }));
        picture->settle();
        sources.push_back(copyOf(*frame));
        now += framePeriod;
    }
    /// Every picture reads back as what it was.
    void check() {
        ASSERT_EQ(coded.size(), sources.size());
        ASSERT_FALSE(file->flush(now));
        ASSERT_FALSE(file->finish(now, 0));
        const Movie movie = readMovie(folder.file(), ReadDepth::pictures);
        ASSERT_EQ(movie.pictures.size(), sources.size());
        for (std::size_t i = 0; i < sources.size(); ++i)
            EXPECT_GT(peakSignalToNoise(movie.pictures[i], *sources[i], {0, 0, width, height}), 38) << i;
    }
};

TEST(X264Encoder, codesAScreenThatStandsStillOnce) {
    StillFilm film;
    film.encode(PictureKind::key);
    film.encode(PictureKind::any);
    for (int i = 0; i < 3; ++i) {
        film.encode(PictureKind::key);
        film.encode(PictureKind::any);
    }
    for (std::size_t i = 2; i < film.coded.size(); ++i)
        EXPECT_EQ(film.coded[i], film.coded[i - 2]) << i;
    film.check();
}

TEST(X264Encoder, doesNotSendTheSameKeyPictureTwiceOneBehindTheOther) {
    StillFilm film;
    for (int i = 0; i < 4; ++i)
        film.encode(PictureKind::key);
    for (std::size_t i = 1; i < film.coded.size(); ++i)
        EXPECT_NE(film.coded[i], film.coded[i - 1]) << i;
    film.check();
}

// The encoder's pictures build on each other; whatever is given out again must leave the decoder where the encoder is.
TEST(X264Encoder, changesAfterAnyRowOfRepetitionsAreSeen) {
    StillFilm film;
    std::mt19937 random(3);
    for (int i = 0; i < 400; ++i) {
        const bool isStill = i / 20 % 2 == 0;
        if (random() % (isStill ? 9 : 2) == 0) film.change(i);
        film.encode(i == 0 || random() % 4 == 0 ? PictureKind::key : PictureKind::any);
    }
    film.check();
}

} // namespace
} // namespace quillet
