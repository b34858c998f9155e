// Films of hours and of many gigabytes, in seconds: the engine gets the times of a long recording, and each picture is
// followed by filler that takes room in the file but none on the disk. QUILLET_TEST_SECONDS=7200 makes it two hours,
// with sound throughout.
#include "pipeline/WriterEngine.h"
#include "pipeline/encode/X264Encoder.h"
#include "pipeline/mp4/FileSink.h"
#include "tests/fakes/ReadMovie.h"
#include "tests/pipeline/support/Recording.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>

#include <sys/resource.h>
#include <sys/stat.h>

namespace quillet {
namespace {

using namespace fakes;
using namespace test;

constexpr std::uint64_t fourGibibytes = std::uint64_t{4} << 30;

/// Leaves holes where there are only zeros.
class SparseSink final : public mp4::ByteSink {
public:
    explicit SparseSink(std::unique_ptr<mp4::ByteSink> real) : file(std::move(real)) {}
    std::optional<Error> writeAt(std::uint64_t offset, std::span<const std::byte> bytes) override {
        constexpr std::size_t page = 4096;
        for (std::size_t at = 0; at < bytes.size(); at += page) {
            const auto part = bytes.subspan(at, std::min(page, bytes.size() - at));
            // The last part is written in any case: it gives the file its length.
            const bool isEmpty = part[0] == std::byte{} &&
                                 std::memcmp(part.data(), part.data() + 1, part.size() - 1) == 0 &&
                                 at + page < bytes.size();
            if (isEmpty) continue;
            if (auto error = file->writeAt(offset + at, part)) return error;
        }
        return std::nullopt;
    }
    void writeBehind(std::uint64_t, std::uint64_t) override {}
    std::optional<Error> synchronise() override { return std::nullopt; } // holes, and a test's file
    std::optional<Error> close() override { return file->close(); }
    void discard() override { file->discard(); }
    std::optional<std::uint64_t> availableBytes() override { return file->availableBytes(); }
    [[nodiscard]] std::filesystem::path place() const override { return file->place(); }

private:
    std::unique_ptr<mp4::ByteSink> file;
};

/// A real encoder whose pictures each end with `filler` bytes that decoders skip.
class PaddedEncoder final : public VideoEncoder {
public:
    PaddedEncoder(std::unique_ptr<VideoEncoder> its, std::size_t fillerBytes)
        : encoder(std::move(its)), filler(fillerBytes) {}
    [[nodiscard]] const std::vector<std::byte>& avcConfiguration() const override {
        return encoder->avcConfiguration();
    }
    std::optional<Error> encode(const VideoEncoderPicture& picture, std::int64_t microseconds, PictureKind kind,
                                const Output& output) override {
        return encoder->encode(picture, microseconds, kind, padded(output));
    }
    std::optional<Error> drain(const Output& output) override { return encoder->drain(padded(output)); }

private:
    Output padded(const Output& output) {
        return [this, output](const EncodedPicture& picture) {
            bytes.assign(picture.bytes.begin(), picture.bytes.end());
            for (int shift = 24; shift >= 0; shift -= 8)
                bytes.push_back(static_cast<std::byte>(filler >> static_cast<unsigned>(shift)));
            bytes.push_back(std::byte{12}); // ISO 14496-10: filler data
            bytes.resize(bytes.size() + filler - 1);
            output({bytes, picture.isKey});
        };
    }
    std::unique_ptr<VideoEncoder> encoder;
    std::size_t filler;
    std::vector<std::byte> bytes;
};

/// Microseconds. Each even second begins with a key frame, which repeats a picture where none is due just then.
std::int64_t timeOf(std::int64_t second) { return second * 1'000'000 + second % 7 * 100'001; }
bool isRepeat(std::int64_t microseconds) { return microseconds != timeOf(microseconds / 1'000'000); }

std::int64_t peakKibibytes() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

TEST(LongFiles, areRightPastFourGibibytesAndPastTwoToThe31stTick) {
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "one thread, and gigabytes to copy";
#endif
    std::int64_t seconds = 2400; // 2^31 microseconds are 2147.5
    bool withSound = false;
    if (const char* wanted = std::getenv("QUILLET_TEST_SECONDS")) {
        seconds = std::max(std::atoi(wanted), 2200);
        withSound = true;
    }
    constexpr int width = 64;
    constexpr int height = 48;
    const TemporaryFolder folder;
    const MediaTime start{1'000'000'000'007, 1'000'000}; // a machine that has been up for 11 days
    VideoTimeline timeline(start, 60);
    ASSERT_EQ(timeline.timescale(), 1'000'000);
    Error error;
    WriterParts parts;
    parts.width = width;
    parts.height = height;
    parts.sink = std::make_unique<SparseSink>(mp4::FileSink::make(folder.file(), error));
    const auto filler =
        static_cast<std::size_t>((fourGibibytes + (std::uint64_t{64} << 20)) / static_cast<std::uint64_t>(seconds));
    parts.video = std::make_unique<PaddedEncoder>(makeX264Encoder({width, height, 60, 2'000'000}, error), filler);
    parts.audio = AacEncoder::make(error);
    parts.picture = EncoderPicture::make(width, height);
    auto engine = std::make_unique<WriterEngine>(std::move(parts), timeline, start);

    std::int64_t afterAMinute = 0;
    for (std::int64_t second = 0; second < seconds; ++second) {
        const auto place = timeline.addFrame(start + MediaTime{timeOf(second), 1'000'000});
        ASSERT_TRUE(place);
        for (std::int64_t i = 0; i < place->keyRepeats; ++i) // as the writer's thread does
            engine->encode(place->firstKeyRepeat + i * timeline.keyDistance(), PictureKind::key);
        engine->update(*numberedFrame(width, height, static_cast<int>(second)), {});
        engine->encode(place->ticks, place->isKey ? PictureKind::key : PictureKind::any);
        if (withSound) {
            engine->addSound(soundOf(second * 48'000, 48'000, tone, start));
            while (engine->isSoundPending())
                engine->encodeSound();
        }
        if (second == 60) afterAMinute = peakKibibytes();
    }
    ASSERT_FALSE(engine->error()) << engine->error()->description;
    std::cout << seconds << " s: memory grew by " << (peakKibibytes() - afterAMinute) / 1024
              << " MiB after the first minute\n";

    const auto expectRight = [&](const char* when) {
        SCOPED_TRACE(when);
        const Movie movie = readMovie(folder.file());
        ASSERT_TRUE(movie.video);
        std::vector<std::int64_t> own; // without the key frames that repeat a picture
        for (const MoviePacket& packet : movie.video->packets)
            if (!isRepeat(packet.pts)) own.push_back(packet.pts);
        ASSERT_GE(static_cast<std::int64_t>(own.size()), seconds - 1); // the last one may still be in memory
        for (std::int64_t second = 0; second < static_cast<std::int64_t>(own.size()); ++second)
            ASSERT_EQ(own[static_cast<std::size_t>(second)], timeOf(second));
        if (withSound) {
            ASSERT_TRUE(movie.audio);
            EXPECT_GT(static_cast<std::int64_t>(movie.audio->packets.size()), (seconds - 2) * 48'000 / 1024);
        }
    };
    if (withSound) expectRight("while it is written");
    ASSERT_TRUE(engine->finish(timeline.ticksAt(start + MediaTime{seconds, 1})));
    ASSERT_FALSE(engine->error()) << engine->error()->description;
    EXPECT_GT(std::filesystem::file_size(folder.file()), fourGibibytes);
    EXPECT_EQ(topBoxes(folder.file()), (std::vector<std::string>{"ftyp", "mdat", "moov"}));
    if (withSound) expectRight("finished");

    // Everything is where the index says: the last pictures, beyond the fourth gibibyte, show their numbers.
    const Movie movie = readMovie(folder.file(), ReadDepth::pictures);
    ASSERT_GE(static_cast<std::int64_t>(movie.pictures.size()), seconds);
    EXPECT_NEAR(movie.durationSeconds, static_cast<double>(seconds), 0.1);
    for (const MoviePicture& picture : movie.pictures) {
        const std::int64_t second = picture.pts / 1'000'000;
        if (!isRepeat(picture.pts)) {
            ASSERT_NEAR(picture.colourAt(30, 30)[0], 15 + static_cast<double>(second % 16) * 15, 2) << second;
        }
    }
}

} // namespace
} // namespace quillet
