#include "pipeline/mp4/HybridFile.h"

#include "pipeline/WriterEngine.h"
#include "pipeline/encode/X264Encoder.h"
#include "pipeline/mp4/FileSink.h"
#include "tests/fakes/ReadMovie.h"
#include "tests/pipeline/support/Recording.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <map>
#include <random>
#include <string>

#include <sys/wait.h>

namespace quillet {
namespace {

using namespace fakes;
using namespace test;
using mp4::ByteSink;

constexpr std::size_t pageBytes = 4096;

struct Write {
    std::uint64_t offset;
    std::vector<std::byte> bytes;
};

/// Keeps every write; refuses those from number `failFrom` on.
class RecordingSink final : public ByteSink {
public:
    explicit RecordingSink(std::vector<Write>& kept, std::size_t firstFailure = SIZE_MAX)
        : writes(kept), failFrom(firstFailure) {}

    std::optional<Error> writeAt(std::uint64_t offset, std::span<const std::byte> bytes) override {
        if (writes.size() >= failFrom) return systemError("write", ENOSPC);
        writes.push_back({offset, {bytes.begin(), bytes.end()}});
        return std::nullopt;
    }
    void writeBehind(std::uint64_t, std::uint64_t) override {}
    std::optional<Error> synchronise() override {
        synchronisedAfter.push_back(writes.size());
        return std::nullopt;
    }
    std::optional<Error> close() override { return std::nullopt; }
    void discard() override { writes.clear(); }
    std::optional<std::uint64_t> availableBytes() override { return std::nullopt; }
    [[nodiscard]] std::filesystem::path place() const override { return {}; }

    std::vector<Write>& writes;
    std::size_t failFrom;
    std::vector<std::size_t> synchronisedAfter; // how many writes
};

/// The file after the first `count` writes and `part` bytes of the next.
void replay(const std::vector<Write>& writes, std::size_t count, std::size_t part, const std::filesystem::path& path) {
    std::ofstream(path, std::ios::trunc).close();
    std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
    for (std::size_t i = 0; i < std::min(writes.size(), count + 1); ++i) {
        const std::size_t length = i < count ? writes[i].bytes.size() : part;
        file.seekp(static_cast<std::streamoff>(writes[i].offset));
        file.write(reinterpret_cast<const char*>(writes[i].bytes.data()), static_cast<std::streamsize>(length));
    }
}

std::unique_ptr<WriterEngine> makeEngine(std::unique_ptr<ByteSink> sink, const VideoTimeline& timeline,
                                         MediaTime start) {
    Error error;
    WriterParts parts;
    parts.width = 64;
    parts.height = 48;
    parts.sink = std::move(sink);
    parts.video = makeX264Encoder({64, 48, 60, 2'000'000}, error);
    parts.audio = AacEncoder::make(error);
    parts.picture = EncoderPicture::make(64, 48);
    return std::make_unique<WriterEngine>(std::move(parts), timeline, start);
}

/// Three seconds of numbered frames, sound from the second second on.
void recordThreeSeconds(WriterEngine& engine, VideoTimeline& timeline) {
    for (int i = 0; i < 180; ++i) {
        const auto place = timeline.addFrame({i, 60});
        engine.update(*numberedFrame(64, 48, i), {});
        engine.encode(place->ticks, place->isKey ? PictureKind::key : PictureKind::any);
        if (i >= 60) {
            engine.addSound(soundOf(i * 800, 800, tone));
            while (engine.isSoundPending())
                engine.encodeSound();
        }
    }
}

TEST(HybridFile, canBePlayedWhereverTheRowOfWritesIsCut) {
    const MediaTime start{0, 60};
    std::vector<Write> writes;
    VideoTimeline timeline(start, 60);
    const auto engine = makeEngine(std::make_unique<RecordingSink>(writes), timeline, start);
    recordThreeSeconds(*engine, timeline);
    ASSERT_TRUE(engine->finish(0));
    ASSERT_FALSE(engine->error());
    ASSERT_GE(writes.size(), 9U);

    const TemporaryFolder folder;
    std::size_t pictures = 0;
    bool soundSeen = false;
    for (std::size_t count = 1; count <= writes.size(); ++count) {
        // The system tears a write only where a page ends.
        std::vector<std::size_t> parts{0};
        if (count < writes.size())
            for (std::size_t part = pageBytes - writes[count].offset % pageBytes; part < writes[count].bytes.size();
                 part += pageBytes)
                parts.push_back(part);
        for (const std::size_t part : parts) {
            SCOPED_TRACE(std::to_string(count) + " writes and " + std::to_string(part) + " bytes");
            replay(writes, count, part, folder.file());
            const Movie movie = readMovie(folder.file(), ReadDepth::pictures);
            ASSERT_TRUE(movie.video);
            ASSERT_GE(movie.pictures.size(), pictures); // never less than after fewer writes
            for (std::size_t i = 0; i < movie.pictures.size(); ++i) {
                ASSERT_EQ(movie.pictures[i].pts * 60, static_cast<std::int64_t>(i) * movie.video->timescale);
                // The last one of a torn fragment may be half there.
                if (part == 0) {
                    ASSERT_NEAR(movie.pictures[i].colourAt(30, 30)[0], 15 + static_cast<double>(i % 16) * 15, 2);
                }
            }
            if (part == 0) pictures = movie.pictures.size();
            soundSeen = soundSeen || (movie.audio && !movie.sound.empty());
            // A track is never there without a sample, except for the moment between two writes when it is announced.
            if (movie.audio && count == writes.size()) {
                EXPECT_FALSE(movie.audio->packets.empty());
            }
        }
    }
    EXPECT_EQ(pictures, 180U);
    EXPECT_TRUE(soundSeen);
}

/// A file of these writes on a disk that surely has the first `certain` of them, and of all others those pages, each as
/// it was after one of the writes, that the dice say; and so its size.
std::string leftByPowerLoss(const std::vector<Write>& writes, std::size_t certain, std::size_t count,
                            std::mt19937& dice) {
    std::string now;
    std::string left;
    std::size_t size = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const Write& write = writes[i];
        const std::size_t end = static_cast<std::size_t>(write.offset) + write.bytes.size();
        now.resize(std::max(now.size(), end));
        now.replace(static_cast<std::size_t>(write.offset), write.bytes.size(),
                    reinterpret_cast<const char*>(write.bytes.data()), write.bytes.size());
        if (i < certain) {
            left = now;
            size = now.size();
            continue;
        }
        left.resize(std::max(left.size(), now.size()));
        for (std::size_t page = static_cast<std::size_t>(write.offset) / pageBytes * pageBytes; page < end;
             page += pageBytes)
            if (dice() % 2 == 0) left.replace(page, pageBytes, now, page, pageBytes);
        if (dice() % 3 > 0) size = now.size();
    }
    left.resize(size);
    return left;
}

/// A finished film: its writes, and after how many of them each synchronisation came.
void finishThreeSeconds(std::vector<Write>& writes, std::vector<std::size_t>& synchronisedAfter) {
    const MediaTime start{0, 60};
    VideoTimeline timeline(start, 60);
    auto sink = std::make_unique<RecordingSink>(writes);
    const RecordingSink& seen = *sink;
    const auto engine = makeEngine(std::move(sink), timeline, start);
    recordThreeSeconds(*engine, timeline);
    ASSERT_TRUE(engine->finish(0));
    ASSERT_FALSE(engine->error());
    synchronisedAfter = seen.synchronisedAfter;
}

TEST(HybridFile, canBePlayedWhateverALossOfPowerLeaves) {
    std::vector<Write> writes;
    std::vector<std::size_t> synchronisedAfter;
    ASSERT_NO_FATAL_FAILURE(finishThreeSeconds(writes, synchronisedAfter));

    const TemporaryFolder folder;
    std::mt19937 dice(7);
    std::map<std::size_t, std::size_t> certainPictures; // by the writes that are certain
    for (int round = 0; round < 200; ++round) {
        const std::size_t count = 1 + dice() % writes.size();
        // Synchronised at some time before, at the latest when the order was to be kept.
        std::size_t certain = 1 + dice() % count;
        for (const std::size_t kept : synchronisedAfter)
            if (kept < count) certain = std::max(certain, kept);
        SCOPED_TRACE("round " + std::to_string(round) + ": " + std::to_string(certain) + " of " +
                     std::to_string(count) + " writes");
        if (certainPictures.count(certain) == 0) {
            replay(writes, certain, 0, folder.file());
            certainPictures[certain] = readMovie(folder.file(), ReadDepth::pictures).pictures.size();
        }
        const std::size_t pictures = certainPictures[certain];
        std::ofstream(folder.file(), std::ios::binary) << leftByPowerLoss(writes, certain, count, dice);
        const Movie movie = readMovie(folder.file(), ReadDepth::pictures);
        ASSERT_TRUE(movie.video);
        ASSERT_GE(movie.pictures.size(), pictures);
        for (std::size_t i = 0; i < pictures; ++i) {
            ASSERT_EQ(movie.pictures[i].pts * 60, static_cast<std::int64_t>(i) * movie.video->timescale);
            ASSERT_NEAR(movie.pictures[i].colourAt(30, 30)[0], 15 + static_cast<double>(i % 16) * 15, 2);
        }
    }
}

TEST(HybridFile, endsAsAnOrdinaryFile) {
    const TemporaryFolder folder;
    const MediaTime start{0, 60};
    VideoTimeline timeline(start, 60);
    Error error;
    const auto engine = makeEngine(mp4::FileSink::make(folder.file(), error), timeline, start);
    recordThreeSeconds(*engine, timeline);
    engine->flushUntil(0);
    EXPECT_EQ(topBoxes(folder.file())[2], "moov");
    ASSERT_TRUE(engine->finish(0));
    EXPECT_EQ(topBoxes(folder.file()), (std::vector<std::string>{"ftyp", "mdat", "moov"}));
    const Movie movie = readMovie(folder.file(), ReadDepth::pictures);
    EXPECT_EQ(movie.pictures.size(), 180U);
    EXPECT_NEAR(movie.durationSeconds, 3, 1e-3);
    EXPECT_NEAR(movie.soundStart, 0, 1e-9);
    // Silence first, then the tone: placed to the sample.
    EXPECT_NEAR(static_cast<double>(movie.sound[40'000][0]), 0, 1e-2);
    EXPECT_NEAR(static_cast<double>(movie.sound[60'012][0]), 0.5, 0.02);
}

TEST(HybridFile, aLateFirstPictureIsShownAtItsTime) {
    const TemporaryFolder folder;
    const MediaTime start{0, 60};
    VideoTimeline timeline(start, 60);
    Error error;
    const auto engine = makeEngine(mp4::FileSink::make(folder.file(), error), timeline, start);
    for (int i = 45; i < 60; ++i) {
        const auto place = timeline.addFrame({i, 60});
        engine->update(*numberedFrame(64, 48, i), {});
        engine->encode(place->ticks, place->isKey ? PictureKind::key : PictureKind::any);
    }
    ASSERT_TRUE(engine->finish(0));
    const Movie movie = readMovie(folder.file());
    EXPECT_NEAR(movie.video->startSeconds, 0.75, 1e-6);
    ASSERT_EQ(movie.video->packets.size(), 15U);
    EXPECT_EQ(movie.video->packets[0].pts, 45'000);
    EXPECT_NEAR(movie.durationSeconds, 1, 1e-3);
}

TEST(HybridFile, afterAFailedWriteNothingMoreIsWritten) {
    const MediaTime start{0, 60};
    std::vector<Write> writes;
    VideoTimeline timeline(start, 60);
    const auto engine = makeEngine(std::make_unique<RecordingSink>(writes, 3), timeline, start);
    recordThreeSeconds(*engine, timeline);
    EXPECT_TRUE(engine->finish(0));
    ASSERT_TRUE(engine->error());
    EXPECT_EQ(engine->error()->code, ENOSPC);
    EXPECT_EQ(writes.size(), 3U);
    const TemporaryFolder folder;
    replay(writes, 3, 0, folder.file());
    EXPECT_GT(readMovie(folder.file(), ReadDepth::pictures).pictures.size(), 10U);
}

TEST(HybridFile, theDiskHasTheTablesBeforeTheFileTurnsOrdinaryAndAllOfItInTheEnd) {
    std::vector<Write> writes;
    std::vector<std::size_t> synchronisedAfter;
    ASSERT_NO_FATAL_FAILURE(finishThreeSeconds(writes, synchronisedAfter));
    // The first one stands between the sound track's announcement and its first samples.
    ASSERT_EQ(synchronisedAfter.size(), 3U);
    EXPECT_EQ(writes[synchronisedAfter[0] - 1].offset, writes.back().offset + writes.back().bytes.size());
    EXPECT_EQ(synchronisedAfter[1], writes.size() - 1);
    EXPECT_EQ(synchronisedAfter[2], writes.size());
    EXPECT_EQ(writes.back().bytes.size(), 16U);
}

TEST(HybridFile, pointsBeyondFourGibibytesAndLongTimes) {
    mp4::SampleTable table(mp4::SampleTable::Sync::marked);
    table.add(10, 0, true);
    table.add(11, 5'000'000'000, false);
    table.addChunk(100, 1);
    table.addChunk(0x1'2345'6789, 1);
    mp4::BoxWriter out;
    table.write(out, 5'000'016'667);
    const auto view = out.view();
    const std::string bytes(reinterpret_cast<const char*>(view.data()), view.size());
    EXPECT_EQ(bytes.find("stco"), std::string::npos);
    const std::size_t co64 = bytes.find("co64");
    ASSERT_NE(co64, std::string::npos);
    EXPECT_EQ(bytes.substr(co64 + 8, 20), std::string("\0\0\0\2\0\0\0\0\0\0\0\x64\0\0\0\1\x23\x45\x67\x89", 20));
    EXPECT_NE(bytes.find(std::string("\xFF\xFF\xFF\xFF\0\0\0\1", 8)), std::string::npos); // cut, not wrapped
}

/// A process that records in real time and is killed: what is missing at the end, in seconds, or nothing if the file
/// cannot be played.
std::optional<double> missingAfterKill(int milliseconds, bool still) {
    const TemporaryFolder folder;
    const auto began = std::chrono::steady_clock::now();
    const pid_t child = ::fork();
    if (child == 0) {
        auto writer = RecordingWriter::make(folder.file(), {320, 240}, 60, ExportQuality::low);
        const MediaTime first = mediaTimeNow();
        writer->start(first);
        std::int64_t sound = 0;
        for (int i = 0;; ++i) {
            const MediaTime now = mediaTimeNow();
            if (!still || i == 0) static_cast<void>(writer->appendVideo(numberedFrame(320, 240, i), now));
            if (i % 12 == 0) writer->advance(now);
            const std::int64_t due = (now - first).valueIn(48000);
            if (!still && due > sound) writer->appendAudio(soundOf(sound, due - sound, tone, first));
            sound = due;
            ::usleep(16'000);
        }
    }
    ::usleep(static_cast<useconds_t>(milliseconds) * 1000);
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    const double lasted = std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
    const Movie movie = readMovie(folder.file(), ReadDepth::pictures);
    if (!movie.video || movie.pictures.empty()) return std::nullopt;
    const double last = static_cast<double>(movie.pictures.back().pts) / static_cast<double>(movie.video->timescale);
    return lasted - last;
}

TEST(HybridFile, aKilledRecorderLosesLittle) {
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "threads after fork are beyond the thread sanitizer";
#endif
    int tries = 4;
    if (const char* wanted = std::getenv("QUILLET_TEST_KILLS")) tries = std::atoi(wanted);
    double worstMoving = 0;
    double worstStill = 0;
    for (int i = 0; i < tries; ++i) {
        const bool still = i % 2 == 1;
        const auto missing = missingAfterKill(still ? 2300 + i * 97 % 1500 : 700 + i * 131 % 1900, still);
        ASSERT_TRUE(missing) << "try " << i;
        (still ? worstStill : worstMoving) = std::max(still ? worstStill : worstMoving, *missing);
    }
    std::cout << "missing at most " << worstMoving << " s of a moving picture, " << worstStill
              << " s of a still one, in " << tries << " tries\n";
    EXPECT_LT(worstMoving, 2.0);
    EXPECT_LT(worstStill, 3.0); // of which the last two show nothing that is not in the file
}

} // namespace
} // namespace quillet
