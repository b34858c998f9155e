// SyntheticSound.h: speakers and a microphone whose every sample is a formula, for tests and for machines without
// sound.
#pragma once

#include "media/MediaTime.h"
#include "pipeline/CameraManager.h"
#include "pipeline/SystemAudioSource.h"

#include <array>
#include <cstdint>
#include <functional>

namespace quillet {

/// What is to be heard at one sample, 48000 of which make a second of the picture's clock.
namespace syntheticSound {

inline constexpr double leftHertz = 440;
inline constexpr double rightHertz = 660;
inline constexpr double microphoneHertz = 1000;
inline constexpr double amplitude = 0.2;
/// At each full second the speakers click and the microphone, half a second later: 2 ms of 3 kHz.
inline constexpr double clickAmplitude = 0.8;
inline constexpr std::int64_t clickSamples = 96;

/// Left and right.
[[nodiscard]] std::array<float, 2> system(std::int64_t sample);
[[nodiscard]] float microphone(std::int64_t sample);

} // namespace syntheticSound

/// `now` is the picture's clock.
[[nodiscard]] SystemAudioSourceFactory syntheticSystemAudioFactory(std::function<MediaTime()> now = mediaTimeNow);

/// For CaptureDeviceFactories::microphone: 16 bits, 48000 Hz, one channel.
[[nodiscard]] decltype(CaptureDeviceFactories::microphone)
syntheticMicrophoneFactory(std::function<MediaTime()> now = mediaTimeNow);

} // namespace quillet
