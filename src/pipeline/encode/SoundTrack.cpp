#include "pipeline/encode/SoundTrack.h"

#include "geometry/fatal.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace quillet {

SoundTrack::SoundTrack(std::unique_ptr<AacEncoder> aac, MediaTime start) : encoder(std::move(aac)), placement(start) {
    packet.reserve(AacEncoder::packetSamples * AacEncoder::channels);
}

void SoundTrack::add(AudioSampleBuffer added) {
    if (isPending()) fatal("a sound buffer before the last one was encoded");
    if (added.format != commonAudioFormat ||
        added.samples.size() < static_cast<std::size_t>(added.frames) * AacEncoder::channels * sizeof(float))
        fatal("a sound buffer is not in the common format");
    const AudioPlacement::Place place = placement.add(added.presentationTime, added.frames);
    silence = place.silence;
    next = place.skip;
    end = place.skip + place.take;
    buffer = std::move(added);
}

std::optional<Error> SoundTrack::encode(std::int64_t samples, const AacEncoder::Output& output) {
    constexpr std::size_t channels = AacEncoder::channels;
    while (samples > 0 && isPending()) {
        const auto room = static_cast<std::int64_t>(AacEncoder::packetSamples - packet.size() / channels);
        const std::int64_t step = std::min({samples, room, silence > 0 ? silence : samplesLeft()});
        const std::size_t old = packet.size();
        packet.resize(old + static_cast<std::size_t>(step) * channels); // zeros
        if (silence > 0) {
            silence -= step;
        } else {
            std::memcpy(packet.data() + old,
                        buffer.samples.data() + static_cast<std::size_t>(next) * channels * sizeof(float),
                        static_cast<std::size_t>(step) * channels * sizeof(float));
            std::replace_if(
                packet.begin() + static_cast<std::ptrdiff_t>(old), packet.end(),
                [](float sample) { return !std::isfinite(sample); }, 0.0F);
            next += step;
        }
        samples -= step;
        if (packet.size() == AacEncoder::packetSamples * channels) {
            std::optional<Error> error = encoder->encode(packet, output);
            packet.clear();
            if (error) return error;
        }
    }
    return std::nullopt;
}

std::optional<Error> SoundTrack::finish(const AacEncoder::Output& output) {
    if (placement.length() == 0) return std::nullopt;
    if (!packet.empty())
        if (std::optional<Error> error = encoder->encode(packet, output)) return error;
    return encoder->drain(output);
}

} // namespace quillet
