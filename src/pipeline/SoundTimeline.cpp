#include "pipeline/SoundTimeline.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

namespace quillet {

namespace {

constexpr std::int32_t rate = 48000;

} // namespace

SoundTimeline::SoundTimeline() = default;

AudioSampleBuffer SoundTimeline::emptyStretch() const { return commonSilence(0, end()); }

void SoundTimeline::cut() {
    if (state == State::cut) return;
    state = State::cut;
    converter.restart(); // the few frames that it still holds are heard in the fading echo
    seam.cut();
    drift.placed();
}

void SoundTimeline::changeDevice() {
    cut();
    drift.reset();
    converter.setSpeed(0);
}

AudioSampleBuffer SoundTimeline::silenceUntil(std::int64_t until) {
    const std::int64_t gap = until - position;
    if (gap > longestGapFrames) position = until;
    AudioSampleBuffer stretch = commonSilence(gap > 0 && gap <= longestGapFrames ? gap : 0, end());
    position += stretch.frames;
    seam.pass(commonSamples(stretch));
    return stretch;
}

void SoundTimeline::append(AudioSampleBuffer& stretch, AudioSampleBuffer buffer) {
    std::optional<AudioSampleBuffer> converted = converter.convert(std::move(buffer));
    if (!converted) return;
    seam.pass(commonSamples(*converted));
    stretch.samples.insert(stretch.samples.end(), converted->samples.begin(), converted->samples.end());
    stretch.frames += converted->frames;
    position += converted->frames;
}

bool SoundTimeline::leaveOut(AudioSampleBuffer& buffer, std::int64_t frames) {
    if (frames >= buffer.frames) return false;
    if (frames <= 0) return true;
    const auto channels = static_cast<std::size_t>(buffer.format.channels);
    const bool isPlanar = buffer.format.layout == SampleLayout::planar;
    const std::size_t step = sampleBytes(buffer.format.sampleType) * (isPlanar ? 1 : channels);
    const std::size_t rows = isPlanar ? channels : 1;
    const std::size_t whole = step * static_cast<std::size_t>(buffer.frames);
    const std::size_t less = step * static_cast<std::size_t>(frames);
    std::vector<std::byte> rest;
    rest.reserve(rows * (whole - less));
    for (std::size_t row = 0; row < rows; ++row) {
        const auto begin = buffer.samples.begin() + static_cast<std::ptrdiff_t>(row * whole + less);
        rest.insert(rest.end(), begin, begin + static_cast<std::ptrdiff_t>(whole - less));
    }
    buffer.samples = std::move(rest);
    buffer.frames -= frames;
    return true;
}

AudioSampleBuffer SoundTimeline::place(AudioSampleBuffer buffer) {
    if (!AudioConverter::canConvert(buffer)) return emptyStretch();
    if (buffer.format != lastFormat) {
        // What the converter still holds goes with it.
        if (begun) changeDevice();
        lastFormat = buffer.format;
    }
    const double sampleRate = buffer.format.sampleRate;
    if (!std::exchange(begun, true)) position = buffer.presentationTime.valueIn(rate);

    if (state == State::running) {
        const double place = end().seconds() + converter.pendingFrames() / rate;
        const double error = buffer.presentationTime.seconds() - place;
        if (std::abs(error) <= toleranceSeconds) {
            drift.observe(error, static_cast<double>(buffer.frames) / sampleRate);
            converter.setSpeed(drift.millionths());
            AudioSampleBuffer stretch = emptyStretch();
            append(stretch, std::move(buffer));
            return stretch;
        }
        cut();
    }

    const std::int64_t gap = buffer.presentationTime.valueIn(rate) - position;
    AudioSampleBuffer stretch = silenceUntil(position + gap);
    // Rounded up, so that nothing stands before its time.
    const auto early = static_cast<std::int64_t>(std::ceil(static_cast<double>(-gap) * sampleRate / rate));
    if (!leaveOut(buffer, early)) return stretch;
    state = State::running;
    seam.open();
    append(stretch, std::move(buffer));
    return stretch;
}

AudioSampleBuffer SoundTimeline::fillUntil(MediaTime time) {
    const std::int64_t until = time.valueIn(rate);
    if (!std::exchange(begun, true)) position = until;
    if (until > position) cut();
    return silenceUntil(until);
}

} // namespace quillet
