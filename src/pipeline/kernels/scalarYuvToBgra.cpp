#include "pipeline/kernels/yuvToBgra.h"

#include <algorithm>
#include <cmath>

namespace quillet {

YuvFactors YuvFactors::make(YuvStandard standard, YuvRange range) {
    const double red = standard == YuvStandard::bt709 ? 0.2126 : 0.299;
    const double blue = standard == YuvStandard::bt709 ? 0.0722 : 0.114;
    const double green = 1 - red - blue;
    const bool isLimited = range == YuvRange::limited;
    const double lumaSteps = isLimited ? 255.0 / 219 : 1;
    const double colourSteps = isLimited ? 255.0 / 224 : 1;
    const auto fixed = [](double factor, int fractionBits) {
        return static_cast<std::int16_t>(std::lround(std::ldexp(factor, fractionBits)));
    };
    return {.lumaOffset = static_cast<std::int16_t>(isLimited ? 16 : 0),
            .luma = fixed(lumaSteps, 14),
            .cbToBlue = fixed(2 * (1 - blue) * colourSteps, 13),
            .cbToGreen = fixed(-2 * (1 - blue) * blue / green * colourSteps, 13),
            .crToGreen = fixed(-2 * (1 - red) * red / green * colourSteps, 13),
            .crToRed = fixed(2 * (1 - red) * colourSteps, 13)};
}

} // namespace quillet

namespace quillet::kernels::scalar {

namespace {

struct Samples {
    int luma;
    int cb;
    int cr;
};

Samples samplesAt(const YuvRow& row, std::size_t x) {
    const std::size_t pair = x / 2;
    const std::size_t second = x % 2;
    switch (row.layout) {
        case YuvLayout::planar:
            return {row.luma[x], row.cb[pair], row.cr[pair]};
        case YuvLayout::semiPlanar:
            return {row.luma[x], row.cb[2 * pair], row.cb[2 * pair + 1]};
        case YuvLayout::yuyv:
            return {row.luma[4 * pair + 2 * second], row.luma[4 * pair + 1], row.luma[4 * pair + 3]};
        case YuvLayout::uyvy:
            return {row.luma[4 * pair + 2 * second + 1], row.luma[4 * pair], row.luma[4 * pair + 2]};
        case YuvLayout::planarAllPixels:
            return {row.luma[x], row.cb[x], row.cr[x]};
    }
    return {};
}

/// What vector instructions do with 16-bit numbers: the upper half of the doubled product, rounded.
int product(int value, std::int16_t factor) { return (value * factor + (1 << 14)) >> 15; }

std::byte level(int sixtyFourths) { return static_cast<std::byte>(std::clamp((sixtyFourths + 32) >> 6, 0, 255)); }

} // namespace

void yuvToBgra(std::byte* into, const YuvRow& row, std::size_t width, const YuvFactors& factors) {
    for (std::size_t x = 0; x < width; ++x, into += 4) {
        const Samples samples = samplesAt(row, x);
        const int luma = product((samples.luma - factors.lumaOffset) * 128, factors.luma);
        const int cb = (samples.cb - 128) * 256;
        const int cr = (samples.cr - 128) * 256;
        into[0] = level(luma + product(cb, factors.cbToBlue));
        into[1] = level(luma + product(cb, factors.cbToGreen) + product(cr, factors.crToGreen));
        into[2] = level(luma + product(cr, factors.crToRed));
        into[3] = std::byte{255};
    }
}

} // namespace quillet::kernels::scalar
