#include "pipeline/WriterEngine.h"

#include <algorithm>
#include <utility>

namespace quillet {

namespace {

constexpr std::int64_t soundStepSamples = AacEncoder::sampleRate / 2;

mp4::AudioTrackFormat audioFormat(const AacEncoder& encoder) {
    return {AacEncoder::sampleRate, AacEncoder::channels,
            AacEncoder::bitRate,    static_cast<std::int64_t>(AacEncoder::packetSamples),
            encoder.priming(),      encoder.decoderConfiguration()};
}

} // namespace

WriterEngine::WriterEngine(WriterParts parts, const VideoTimeline& timeline, MediaTime start)
    : video(std::move(parts.video)), picture(std::move(parts.picture)),
      file(std::move(parts.sink),
           mp4::VideoTrackFormat{parts.width, parts.height, timeline.timescale(), video->avcConfiguration()},
           audioFormat(*parts.audio)),
      sound(std::move(parts.audio), start), clock(std::move(parts.clock)), hasteControl(parts.fps),
      timescale(timeline.timescale()), framePeriod(timeline.framePeriod()) {}

void WriterEngine::keep(std::optional<Error> error) {
    if (error && !failure) failure = std::move(error);
}

void WriterEngine::update(const PixelBuffer& frame, const FrameDamage& damage) {
    if (failure) return;
    if (!begun) begun = clock();
    picture->update(frame, damage);
}

void WriterEngine::encode(std::int64_t ticks, PictureKind kind, std::size_t waiting) {
    if (failure) return;
    if (!begun) begun = clock();
    // Two ticks of a clock finer than microseconds may fall into one.
    lastMicroseconds = std::max(MediaTime{ticks, timescale}.valueIn(1'000'000), lastMicroseconds + 1);
    // Now it is known how long the pictures before this one stand.
    if (file.isFlushDue()) keep(file.flush(endOfLastPicture(ticks)));
    const bool isFirst = !file.hasPicture();
    ticksInEncoder.push_back(ticks);
    keep(video->encode(picture->picture(), lastMicroseconds, kind, [this](const EncodedPicture& out) { take(out); }));
    picture->settle();
    const Haste wanted = hasteControl.after(lastMicroseconds, clock() - *begun, waiting);
    begun.reset();
    if (std::exchange(haste, wanted) != wanted) video->setHaste(wanted);
    if (isFirst) flush(); // from then on there is a file to speak of
}

void WriterEngine::take(const EncodedPicture& encoded) {
    lastTicks = ticksInEncoder.front();
    ticksInEncoder.pop_front();
    file.addVideo(encoded.bytes, lastTicks, encoded.isKey);
}

AacEncoder::Output WriterEngine::packetTaker() {
    return [this](std::span<const std::byte> packet) { file.addAudio(packet); };
}

void WriterEngine::addSound(AudioSampleBuffer buffer) {
    if (!failure) sound.add(std::move(buffer));
}

void WriterEngine::encodeSound() {
    if (!sound.isPending()) return;
    keep(sound.encode(soundStepSamples, packetTaker()));
    flush();
}

void WriterEngine::flush() {
    if (!failure && file.isFlushDue()) keep(file.flush(endOfLastPicture(lastTicks + framePeriod)));
}

// An encoder may hold a picture back; else the one that came out last stands until `next`.
std::int64_t WriterEngine::endOfLastPicture(std::int64_t next) const {
    return ticksInEncoder.empty() ? next : ticksInEncoder.front();
}

void WriterEngine::flushUntil(std::int64_t nowTicks) {
    const std::optional<std::int64_t> first = file.firstUnwrittenTicks();
    if (failure || !first || (nowTicks - *first) * mp4::HybridFile::flushesPerSecond < timescale) return;
    keep(file.flush(endOfLastPicture(lastTicks + framePeriod)));
}

void WriterEngine::drain() {
    while (!failure && sound.isPending())
        encodeSound();
    if (!failure) keep(video->drain([this](const EncodedPicture& out) { take(out); }));
    if (!failure) keep(sound.finish(packetTaker()));
}

bool WriterEngine::finish(std::int64_t nowTicks) {
    drain();
    if (!file.hasPicture()) {
        file.discard();
        return failure.has_value();
    }
    if (!failure) {
        const std::int64_t soundEnd = MediaTime{sound.length(), AacEncoder::sampleRate}.valueIn(timescale);
        const std::int64_t end = soundEnd > lastTicks ? soundEnd : nowTicks;
        keep(file.finish(std::max(end, lastTicks + framePeriod), sound.length()));
    }
    return true;
}

void WriterEngine::abandon() {
    drain();
    if (!file.hasPicture())
        file.discard();
    else if (!failure)
        keep(file.flush(lastTicks + framePeriod));
}

} // namespace quillet
