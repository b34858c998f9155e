// WriterEngine.h: the writer's work without its thread: convert, encode, write.
#pragma once

#include "media/AudioSampleBuffer.h"
#include "media/PixelBuffer.h"
#include "pipeline/encode/AacEncoder.h"
#include "pipeline/encode/EncoderPicture.h"
#include "pipeline/encode/HasteControl.h"
#include "pipeline/encode/SoundTrack.h"
#include "pipeline/encode/VideoEncoder.h"
#include "pipeline/encode/VideoTimeline.h"
#include "pipeline/mp4/HybridFile.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

namespace quillet {

/// What the engine is made of; each part is replaceable.
struct WriterParts {
    std::unique_ptr<mp4::ByteSink> sink;
    std::unique_ptr<VideoEncoder> video;
    std::unique_ptr<EncoderPicture> picture;
    std::unique_ptr<AacEncoder> audio;
    int width = 0;  ///< pixels
    int height = 0; ///< pixels
    int fps = 60;   ///< pictures expected a second
    std::function<std::chrono::nanoseconds()> clock = [] {
        return std::chrono::steady_clock::now().time_since_epoch();
    };
};

/// Pictures and sounds in the order of their times, each kind by itself, become one file. After the first error
/// everything is dropped and what is in the file stays.
///
/// Threads: one at a time.
class WriterEngine {
public:
    /// `timeline` for the track's clock; the caller decides with it where pictures stand.
    WriterEngine(WriterParts parts, const VideoTimeline& timeline, MediaTime start);

    /// The picture is `frame` from now on; `damage` as EncoderPicture::update takes it. The frame is not needed
    /// afterwards.
    void update(const PixelBuffer& frame, const FrameDamage& damage);
    /// The picture as it is stands in the file at `ticks`, which must increase. `waiting`: how many pictures are behind
    /// it already; when they come faster than they can be encoded, the encoder is told to hurry.
    void encode(std::int64_t ticks, PictureKind kind, std::size_t waiting = 0);

    /// A sound buffer; only when isSoundPending() says no.
    void addSound(AudioSampleBuffer buffer);
    [[nodiscard]] bool isSoundPending() const { return sound.isPending(); }
    /// Encodes up to half a second of the pending sound.
    void encodeSound();

    /// The recording has reached `nowTicks`: what has waited for long enough goes to the file.
    void flushUntil(std::int64_t nowTicks);

    /// Completes the file; the last picture stands until the sound's end or, if that lies before it, until `nowTicks`.
    /// False when there was neither a picture nor an error. Without a picture the file is gone. error() tells how it
    /// went.
    bool finish(std::int64_t nowTicks);
    /// Writes what is there and leaves the file as one in fragments (removes it if there is no picture).
    void abandon();

    [[nodiscard]] const std::optional<Error>& error() const { return failure; }
    /// Where the finished file is.
    [[nodiscard]] std::filesystem::path place() const { return file.place(); }

private:
    void take(const EncodedPicture& picture);
    void keep(std::optional<Error> error);
    void flush();
    void drain();
    [[nodiscard]] std::int64_t endOfLastPicture(std::int64_t next) const;
    [[nodiscard]] AacEncoder::Output packetTaker();

    std::unique_ptr<VideoEncoder> video;
    std::unique_ptr<EncoderPicture> picture;
    mp4::HybridFile file;
    SoundTrack sound;
    std::function<std::chrono::nanoseconds()> clock;
    HasteControl hasteControl;
    Haste haste = Haste::none;
    std::optional<std::chrono::nanoseconds> begun; // the work on the next picture
    std::int32_t timescale;
    std::int64_t framePeriod;

    std::deque<std::int64_t> ticksInEncoder; // of pictures that have not come out yet
    std::int64_t lastTicks = 0;              // of the last picture that came out
    std::int64_t lastMicroseconds = -1;
    std::optional<Error> failure;
};

} // namespace quillet
