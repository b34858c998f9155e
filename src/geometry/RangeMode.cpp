#include "geometry/RangeMode.h"

#include "geometry/fatal.h"

namespace quillet {

std::string_view rawValue(RangeMode mode) {
    switch (mode) {
        case RangeMode::ratio16x9:
            return "16:9 横";
        case RangeMode::ratio9x16:
            return "9:16 竖";
        case RangeMode::ratio4x3:
            return "4:3 横";
        case RangeMode::ratio3x4:
            return "3:4 竖";
        case RangeMode::free:
            return "自由框选";
        case RangeMode::fullscreen:
            return "全屏";
    }
    fatal("a range mode outside its enumeration");
}

std::optional<RangeMode> rangeModeFromRawValue(std::string_view text) {
    for (const RangeMode mode : allRangeModes)
        if (rawValue(mode) == text) return mode;
    return std::nullopt;
}

std::optional<double> aspectRatio(RangeMode mode) {
    switch (mode) {
        case RangeMode::ratio16x9:
            return 16.0 / 9.0;
        case RangeMode::ratio9x16:
            return 9.0 / 16.0;
        case RangeMode::ratio4x3:
            return 4.0 / 3.0;
        case RangeMode::ratio3x4:
            return 3.0 / 4.0;
        case RangeMode::free:
        case RangeMode::fullscreen:
            return std::nullopt;
    }
    fatal("a range mode outside its enumeration");
}

} // namespace quillet
