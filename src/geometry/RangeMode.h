// RangeMode.h: which part of the screen a recording takes.
#pragma once

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace quillet {

/// The order of the cases is the order of the panel's buttons.
enum class RangeMode { ratio16x9, ratio9x16, ratio4x3, ratio3x4, free, fullscreen };

inline constexpr std::array<RangeMode, 6> allRangeModes{RangeMode::ratio16x9, RangeMode::ratio9x16,
                                                        RangeMode::ratio4x3,  RangeMode::ratio3x4,
                                                        RangeMode::free,      RangeMode::fullscreen};

/// The label that the user sees, which is also what the settings store keeps: UTF-8, never to be changed or translated.
[[nodiscard]] std::string_view rawValue(RangeMode mode);

/// The mode with exactly this label (whole string, case-sensitive), else nothing.
[[nodiscard]] std::optional<RangeMode> rangeModeFromRawValue(std::string_view rawValue);

/// A mode's identity among others: its label.
[[nodiscard]] inline std::string_view id(RangeMode mode) { return rawValue(mode); }

/// Width divided by height, for the four modes that lock it.
[[nodiscard]] std::optional<double> aspectRatio(RangeMode mode);

} // namespace quillet

/// Modes hash as their labels do.
template <>
struct std::hash<quillet::RangeMode> {
    std::size_t operator()(quillet::RangeMode mode) const noexcept {
        return std::hash<std::string_view>{}(quillet::rawValue(mode));
    }
};
