#include "tests/fakes/SoundDevice.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

namespace quillet::fakes {

namespace {

template <typename Sample>
void put(std::vector<std::byte>& bytes, std::size_t index, Sample value) {
    std::memcpy(bytes.data() + index * sizeof(Sample), &value, sizeof(Sample));
}

void putSample(AudioSampleBuffer& buffer, std::size_t index, double level) {
    const double bounded = std::clamp(level, -1.0, 1.0);
    switch (buffer.format.sampleType) {
        case SampleType::uint8:
            return put(buffer.samples, index, static_cast<std::uint8_t>(std::lround(bounded * 127) + 128));
        case SampleType::int16:
            return put(buffer.samples, index, static_cast<std::int16_t>(std::lround(bounded * 32767)));
        case SampleType::int24in32: {
            // The upper eight bits hold dirt.
            const auto value = static_cast<std::uint32_t>(static_cast<std::int32_t>(std::lround(bounded * 8388607)));
            return put(buffer.samples, index, (value & 0xffffffU) | 0x5a000000U);
        }
        case SampleType::int32:
            return put(buffer.samples, index, static_cast<std::int32_t>(std::llround(bounded * 2147483647)));
        case SampleType::float32:
            return put(buffer.samples, index, static_cast<float>(level));
        case SampleType::float64:
            return put(buffer.samples, index, level);
    }
}

} // namespace

Sound sine(double hertz, double amplitude) {
    return [=](double seconds) {
        const double level = amplitude * std::sin(2 * std::numbers::pi * std::fmod(hertz * seconds, 1.0));
        return StereoLevel{level, level};
    };
}

Sound clicks(double period, double amplitude) {
    return [=](double seconds) {
        // Times are computed; one that falls short of the whole by a rounding error is the whole.
        const double since = seconds + 1e-9 - std::floor((seconds + 1e-9) / period) * period;
        const double level = since < clickSeconds ? amplitude * std::cos(2 * std::numbers::pi * 2000 * since) : 0;
        return StereoLevel{level, level};
    };
}

SoundDevice::SoundDevice(SoundDeviceOptions wanted) : options(std::move(wanted)), random(options.seed) {}

double SoundDevice::timeOf(std::int64_t index) const {
    return options.start +
           static_cast<double>(index) / (options.format.sampleRate * (1 + options.clockMillionths / 1e6));
}

AudioSampleBuffer SoundDevice::next() {
    AudioSampleBuffer buffer{.format = options.format, .frames = options.frames, .presentationTime = {}, .samples = {}};
    const auto channels = static_cast<std::size_t>(options.format.channels);
    const auto frames = static_cast<std::size_t>(options.frames);
    buffer.samples.resize(frames * channels * sampleBytes(options.format.sampleType));
    for (std::size_t i = 0; i < frames; ++i) {
        const StereoLevel level = options.sound(timeOf(sample + static_cast<std::int64_t>(i)));
        for (std::size_t channel = 0; channel < channels; ++channel) {
            const std::size_t index =
                options.format.layout == SampleLayout::planar ? channel * frames + i : i * channels + channel;
            putSample(buffer, index, channel == 0 ? level.left : (channel == 1 ? level.right : 0));
        }
    }
    const double wrong = options.jitterSeconds * std::uniform_real_distribution<>(-1, 1)(random);
    buffer.presentationTime = {std::llround((now() + wrong) * liveTimescale), liveTimescale};
    sample += options.frames;
    return buffer;
}

void HeardSound::add(const AudioSampleBuffer& buffer) {
    if (buffer.frames == 0) return;
    if (samples.empty()) start = buffer.presentationTime;
    const MediaTime expected = start + MediaTime{frames(), 48000};
    if (buffer.presentationTime.in(48000) != expected.in(48000)) isContiguous = false;
    const auto added = commonSamples(buffer);
    samples.insert(samples.end(), added.begin(), added.end());
}

std::vector<float> HeardSound::channel(int which, double from, double until) const {
    const auto index = [&](double seconds) {
        return std::clamp<std::int64_t>(std::llround((seconds - startSeconds()) * 48000), 0, frames());
    };
    std::vector<float> side;
    for (std::int64_t i = index(from); i < index(until); ++i)
        side.push_back(samples[static_cast<std::size_t>(2 * i + which)]);
    return side;
}

std::vector<double> onsets(const HeardSound& heard, double threshold, int channel) {
    std::vector<double> found;
    const float* const samples = heard.samples.data() + channel;
    const auto limit = static_cast<float>(threshold);
    std::int64_t lastLoud = -48000;
    for (std::int64_t i = 0; i < heard.frames(); ++i) {
        if (std::abs(samples[2 * i]) <= limit) continue;
        if (i - lastLoud > 2400) found.push_back(heard.startSeconds() + static_cast<double>(i) / 48000);
        lastLoud = i;
    }
    return found;
}

SineFit fitSine(std::span<const float> samples, double hertz) {
    // Least squares for a·sin + b·cos.
    const auto angle = [&](std::size_t i) {
        return 2 * std::numbers::pi * std::fmod(hertz * static_cast<double>(i) / 48000, 1.0);
    };
    double ss = 0, cc = 0, sc = 0, xs = 0, xc = 0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double s = std::sin(angle(i));
        const double c = std::cos(angle(i));
        ss += s * s;
        cc += c * c;
        sc += s * c;
        xs += static_cast<double>(samples[i]) * s;
        xc += static_cast<double>(samples[i]) * c;
    }
    const double determinant = ss * cc - sc * sc;
    const double a = (xs * cc - xc * sc) / determinant;
    const double b = (xc * ss - xs * sc) / determinant;
    SineFit fit{.amplitude = std::hypot(a, b), .phase = std::atan2(b, a)};
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double rest = static_cast<double>(samples[i]) - a * std::sin(angle(i)) - b * std::cos(angle(i));
        fit.residualPeak = std::max(fit.residualPeak, std::abs(rest));
        fit.residualPower += rest * rest / static_cast<double>(samples.size());
    }
    return fit;
}

double frequencyOf(std::span<const float> samples, double guess) {
    double hertz = guess;
    // A short stretch first: over a long one a wrong guess is whole turns off.
    for (const std::size_t length : {std::size_t{4800}, std::size_t{9600}, std::size_t{48'000}, samples.size()}) {
        const std::size_t half = std::min(length, samples.size()) / 2;
        const double first = fitSine(samples.first(half), hertz).phase;
        const double second = fitSine(samples.subspan(half, half), hertz).phase;
        // The second half's phase counts from its own first sample.
        const double between = static_cast<double>(half) / 48000;
        const double turned = second - first - 2 * std::numbers::pi * std::fmod(hertz * between, 1.0);
        hertz += std::remainder(turned, 2 * std::numbers::pi) / (2 * std::numbers::pi * between);
    }
    return hertz;
}

} // namespace quillet::fakes
