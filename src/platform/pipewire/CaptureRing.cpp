#include "platform/pipewire/CaptureRing.h"

#include <algorithm>

namespace quillet {

CaptureRing::CaptureRing(std::size_t capacityFrames)
    : samples(2 * capacityFrames), places(capacityFrames / framesPerPlace + 1) {}

bool CaptureRing::push(std::span<const float> stretch, std::chrono::nanoseconds time, std::uint32_t device) {
    const std::size_t place = writtenPlaces.load(std::memory_order_relaxed);
    if (place - readPlaces.load(std::memory_order_acquire) == places.size()) return false;
    const std::size_t waiting = writtenSamples - freedSamples.load(std::memory_order_acquire);
    if (stretch.size() > samples.size() - waiting) return false;

    const std::size_t from = writtenSamples % samples.size();
    const std::size_t untilEdge = std::min(stretch.size(), samples.size() - from);
    std::copy_n(stretch.data(), untilEdge, samples.data() + from);
    std::copy_n(stretch.data() + untilEdge, stretch.size() - untilEdge, samples.data());
    places[place % places.size()] = {time, device, stretch.size()};
    writtenSamples += stretch.size();
    writtenPlaces.store(place + 1, std::memory_order_release);
    return true;
}

std::optional<CapturedSound> CaptureRing::take() {
    const std::size_t place = readPlaces.load(std::memory_order_relaxed);
    if (place == writtenPlaces.load(std::memory_order_acquire)) return std::nullopt;

    const Stretch& stretch = places[place % places.size()];
    const auto microseconds = std::chrono::duration_cast<std::chrono::microseconds>(stretch.time).count();
    CapturedSound sound{commonSilence(static_cast<std::int64_t>(stretch.samples / 2), {microseconds, liveTimescale}),
                        stretch.device};
    const std::span<float> copy = commonSamples(sound.buffer);
    const std::size_t from = readSamples % samples.size();
    const std::size_t untilEdge = std::min(stretch.samples, samples.size() - from);
    std::copy_n(samples.data() + from, untilEdge, copy.data());
    std::copy_n(samples.data(), stretch.samples - untilEdge, copy.data() + untilEdge);
    readSamples += stretch.samples;
    freedSamples.store(readSamples, std::memory_order_release);
    readPlaces.store(place + 1, std::memory_order_release);
    return sound;
}

} // namespace quillet
