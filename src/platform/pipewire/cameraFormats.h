// cameraFormats.h: camera formats as the server writes them, and the choice among those that a camera offers.
#pragma once

#include "platform/pipewire/CameraFormat.h"
#include "platform/pipewire/spaParameters.h"

#include <span>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace quillet {

/// The largest bubble is 700 points wide; what is sharper than this could not be seen in it on an ordinary display.
inline constexpr int wantedShorterSide = 720;
inline constexpr double wantedFramesPerSecond = 30;

/// What one EnumFormat parameter offers that we can read, in single formats: every size with every rate of a list, and
/// of a range the one that serves us best. Each once, and of endless lists only the beginning. Nothing for what we
/// cannot read.
[[nodiscard]] std::vector<CameraFormat> readOffer(const spa_pod* offer);

/// The offer that the bubble can use best: size up to `wantedShorterSide` and pace up to `wantedFramesPerSecond` count
/// alike, and of equals the one that costs least: fewer pixels, fewer frames, no JPEG.
[[nodiscard]] std::optional<CameraFormat> bestCameraFormat(std::span<const CameraFormat> offers);

/// One negotiated format; nothing for what we cannot read.
[[nodiscard]] std::optional<CameraFormat> readFormat(const spa_pod* format);

/// How a rate is written: a camera says what it has, who asks for it allows for 29.97 being written in many ways.
enum class RateMatch { exact, withinAHundredth };
/// An EnumFormat parameter of exactly this format and its colours.
[[nodiscard]] SpaPod exactFormat(const CameraFormat& format, RateMatch match);
/// One for each arrangement of bytes that we can read, of any size and rate.
[[nodiscard]] std::vector<SpaPod> everyFormat();

} // namespace quillet
