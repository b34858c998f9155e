// ExportQuality.h: the user's choice of picture quality, and the bit rate that follows.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace quillet {

/// The order of the cases is the order of the picker.
enum class ExportQuality { low, medium, high, ultra };

inline constexpr std::array<ExportQuality, 4> allExportQualities{ExportQuality::low, ExportQuality::medium,
                                                                 ExportQuality::high, ExportQuality::ultra};

/// The label in the picker, which is also what the settings store keeps (UTF-8).
[[nodiscard]] std::string_view rawValue(ExportQuality quality);
/// The quality with exactly this label, else nothing.
[[nodiscard]] std::optional<ExportQuality> exportQualityFromRawValue(std::string_view rawValue);
[[nodiscard]] inline std::string_view id(ExportQuality quality) { return rawValue(quality); }

/// Bits per second for frames of this size: 0.05, 0.1, 0.2 or 0.4 bits per pixel and frame, between 2 and 120 million.
/// A product of the three beyond 64 bits stops the program.
[[nodiscard]] std::int64_t bitrate(ExportQuality quality, std::int64_t width, std::int64_t height, std::int64_t fps);

} // namespace quillet
