#include "pipeline/ExportQuality.h"

#include "geometry/fatal.h"

namespace quillet {

namespace {

struct Grade {
    ExportQuality quality;
    std::string_view label;
    double bitsPerPixel; ///< of one frame
};

constexpr std::array<Grade, 4> grades{{{ExportQuality::low, "低", 0.05},
                                       {ExportQuality::medium, "中", 0.1},
                                       {ExportQuality::high, "高", 0.2},
                                       {ExportQuality::ultra, "最高", 0.4}}};

const Grade& gradeOf(ExportQuality quality) {
    for (const Grade& grade : grades)
        if (grade.quality == quality) return grade;
    fatal("an export quality outside its cases");
}

} // namespace

std::string_view rawValue(ExportQuality quality) { return gradeOf(quality).label; }

std::optional<ExportQuality> exportQualityFromRawValue(std::string_view rawValue) {
    for (const Grade& grade : grades)
        if (grade.label == rawValue) return grade.quality;
    return std::nullopt;
}

std::int64_t bitrate(ExportQuality quality, std::int64_t width, std::int64_t height, std::int64_t fps) {
    std::int64_t pixels = 0;
    std::int64_t pixelsPerSecond = 0;
    if (__builtin_mul_overflow(width, height, &pixels) || __builtin_mul_overflow(pixels, fps, &pixelsPerSecond))
        fatal("a bit rate of more pixels a second than 64 bits hold");

    constexpr double least = 2'000'000;
    constexpr double most = 120'000'000;
    const double wanted = static_cast<double>(pixelsPerSecond) * gradeOf(quality).bitsPerPixel;
    return static_cast<std::int64_t>(wanted <= least ? least : (wanted > most ? most : wanted));
}

} // namespace quillet
