#include "pipeline/AudioConverter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

namespace quillet {

namespace {

constexpr int commonRate = 48000;
constexpr int commonChannels = 2;
constexpr int mostChannels = 8;

struct SwrFree {
    void operator()(SwrContext* context) const { swr_free(&context); }
};

AVSampleFormat libraryFormat(SampleType type, SampleLayout layout) {
    const bool isPlanar = layout == SampleLayout::planar;
    switch (type) {
        case SampleType::uint8:
            return isPlanar ? AV_SAMPLE_FMT_U8P : AV_SAMPLE_FMT_U8;
        case SampleType::int16:
            return isPlanar ? AV_SAMPLE_FMT_S16P : AV_SAMPLE_FMT_S16;
        case SampleType::int24in32:
        case SampleType::int32:
            return isPlanar ? AV_SAMPLE_FMT_S32P : AV_SAMPLE_FMT_S32;
        case SampleType::float32:
            return isPlanar ? AV_SAMPLE_FMT_FLTP : AV_SAMPLE_FMT_FLT;
        case SampleType::float64:
            return isPlanar ? AV_SAMPLE_FMT_DBLP : AV_SAMPLE_FMT_DBL;
    }
    return AV_SAMPLE_FMT_NONE;
}

bool isPossible(const AudioFormat& format) {
    return format.channels >= 1 && format.channels <= mostChannels && format.sampleRate >= 1000 &&
           format.sampleRate <= 768'000;
}

/// Whether the bytes are there that the format and the number of frames speak of.
bool isComplete(const AudioSampleBuffer& buffer) {
    const std::size_t frameBytes =
        static_cast<std::size_t>(buffer.format.channels) * sampleBytes(buffer.format.sampleType);
    return buffer.frames >= 1 && buffer.frames <= std::numeric_limits<int>::max() / 64 &&
           buffer.samples.size() / frameBytes >= static_cast<std::size_t>(buffer.frames);
}

template <typename Sample>
void makeFinite(std::vector<std::byte>& bytes) {
    const std::span samples(reinterpret_cast<Sample*>(bytes.data()), bytes.size() / sizeof(Sample));
    constexpr Sample limit{AudioConverter::largestSample};
    for (Sample& sample : samples)
        sample = std::isfinite(sample) ? std::clamp(sample, -limit, limit) : Sample{0};
}

/// Leaves only what the library understands: 24 bits moved up to 32, and every number finite.
void clean(AudioSampleBuffer& buffer) {
    switch (buffer.format.sampleType) {
        case SampleType::int24in32:
            for (std::uint32_t& sample : std::span(reinterpret_cast<std::uint32_t*>(buffer.samples.data()),
                                                   buffer.samples.size() / sizeof(std::uint32_t)))
                sample <<= 8;
            return;
        case SampleType::float32:
            return makeFinite<float>(buffer.samples);
        case SampleType::float64:
            return makeFinite<double>(buffer.samples);
        default:
            return;
    }
}

} // namespace

struct AudioConverter::Library {
    std::unique_ptr<SwrContext, SwrFree> context;

    /// Null when the library refuses.
    static std::unique_ptr<Library> make(const AudioFormat& format, Speed speed) {
        AVChannelLayout in{};
        AVChannelLayout out{};
        av_channel_layout_default(&in, format.channels);
        av_channel_layout_default(&out, commonChannels);
        SwrContext* opened = nullptr;
        const int rate = static_cast<int>(std::lround(format.sampleRate));
        if (swr_alloc_set_opts2(&opened, &out, AV_SAMPLE_FMT_FLT, commonRate, &in,
                                libraryFormat(format.sampleType, format.layout), rate, 0, nullptr) < 0)
            return nullptr;
        auto made = std::make_unique<Library>();
        made->context.reset(opened);
        av_opt_set_sample_fmt(opened, "internal_sample_fmt", AV_SAMPLE_FMT_FLTP, 0);
        av_opt_set_double(opened, "rematrix_maxval", 1, 0);
        if (speed == Speed::adjustable) {
            // Any ratio, not only the exact one of the two rates; between two phases of the filter by a straight line.
            av_opt_set_int(opened, "flags", SWR_FLAG_RESAMPLE, 0);
            av_opt_set_int(opened, "exact_rational", 0, 0);
            av_opt_set_int(opened, "linear_interp", 1, 0);
        }
        constexpr std::array<double, 2> monoToBoth{1, 1}; // the library's own choice would be 3 dB quieter
        if (format.channels == 1 && swr_set_matrix(opened, monoToBoth.data(), 1) < 0) return nullptr;
        return swr_init(opened) < 0 ? nullptr : std::move(made);
    }
};

AudioConverter::AudioConverter(Speed wanted) : speed(wanted) {}
AudioConverter::~AudioConverter() = default;
AudioConverter::AudioConverter(AudioConverter&&) noexcept = default;
AudioConverter& AudioConverter::operator=(AudioConverter&&) noexcept = default;

bool AudioConverter::prepare(const AudioFormat& format) {
    if (inFormat == format) return library != nullptr;
    inFormat = format;
    library = Library::make(format, speed);
    if (!library) return false;
    ++made;
    setSpeed(millionths);
    return true;
}

bool AudioConverter::canConvert(const AudioSampleBuffer& buffer) {
    return isPossible(buffer.format) && isComplete(buffer) && hasUsableTime(buffer);
}

std::optional<AudioSampleBuffer> AudioConverter::convert(AudioSampleBuffer buffer) {
    if (!canConvert(buffer)) return std::nullopt;
    clean(buffer);
    if (speed == Speed::fixed && buffer.format == commonAudioFormat) return buffer;
    if (!prepare(buffer.format)) return std::nullopt;

    const int frames = static_cast<int>(buffer.frames);
    const MediaTime behind{std::llround(pendingFrames() * 1000), commonRate * 1000};
    const int capacity = static_cast<int>(commonRate / buffer.format.sampleRate * frames + 32);
    AudioSampleBuffer converted = commonSilence(capacity, buffer.presentationTime);

    std::array<const std::uint8_t*, mostChannels> planes{};
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(buffer.samples.data());
    const std::size_t planeBytes = static_cast<std::size_t>(frames) * sampleBytes(buffer.format.sampleType);
    for (std::size_t channel = 0; channel < static_cast<std::size_t>(buffer.format.channels); ++channel)
        planes.at(channel) = bytes + (buffer.format.layout == SampleLayout::planar ? channel * planeBytes : 0);
    auto* output = reinterpret_cast<std::uint8_t*>(converted.samples.data());
    const int count = swr_convert(library->context.get(), &output, capacity, planes.data(), frames);
    if (count < 0) return std::nullopt;

    converted.frames = count;
    converted.samples.resize(static_cast<std::size_t>(count) * commonChannels * sizeof(float));
    if (behind.value > 0) converted.presentationTime = buffer.presentationTime - behind;
    return converted;
}

void AudioConverter::setSpeed(double lengthenedByMillionths) {
    millionths = lengthenedByMillionths;
    if (!library || speed != Speed::adjustable) return;
    // The library counts whole frames over a distance, after which it would forget; nobody waits twenty seconds.
    constexpr int distance = 1'000'000;
    swr_set_compensation(library->context.get(), static_cast<int>(std::lround(millionths)), distance);
}

double AudioConverter::pendingFrames() const {
    constexpr std::int64_t fine = 1000;
    return library ? static_cast<double>(swr_get_delay(library->context.get(), commonRate * fine)) / fine : 0;
}

void AudioConverter::restart() {
    if (!library) return;
    // The filter is kept, only what it has heard is forgotten.
    if (swr_init(library->context.get()) < 0)
        library.reset();
    else
        setSpeed(millionths);
}

} // namespace quillet
