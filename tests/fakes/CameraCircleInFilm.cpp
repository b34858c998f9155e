#include "tests/fakes/CameraCircleInFilm.h"

#include "platform/synthetic/SyntheticCamera.h"

#include <algorithm>
#include <functional>
#include <vector>

namespace quillet::testing {

namespace {

// The camera's ground, in the film's BT.709 luma.
constexpr double cameraLuma = 16 + 219 * (0.2126 * 0xf0 + 0.7152 * 0xd2 + 0.0722 * 0x3c) / 255;
static_assert(SyntheticCameraPicture::ground == 0xf0d23c);

struct Span {
    double begin, end;
};

/// Where a line of samples first rises and last falls through the middle between the two lumas.
std::optional<Span> spanOf(int count, double threshold, const std::function<int(int)>& at) {
    const auto crossing = [&](int outside, int inside) {
        const double share = (threshold - at(outside)) / (at(inside) - at(outside));
        return outside + share * (inside - outside) + 0.5;
    };
    int first = 0;
    while (first < count && at(first) < threshold)
        ++first;
    if (first == count) return std::nullopt;
    int last = count - 1;
    while (at(last) < threshold)
        --last;
    if (first == 0 || last == count - 1) return std::nullopt; // cut off by the picture's edge
    return Span{crossing(first - 1, first), crossing(last + 1, last)};
}

struct Axis {
    double middle, longest;
};

/// The median of the longer spans' middles: near the circle's ends a span's place is uncertain, and a pointer beside
/// the circle makes some of them longer.
std::optional<Axis> axisOf(const std::vector<Span>& spans) {
    std::vector<double> lengths;
    for (const Span& each : spans)
        lengths.push_back(each.end - each.begin);
    if (lengths.empty()) return std::nullopt;
    const double longest = *std::max_element(lengths.begin(), lengths.end());
    std::vector<double> middles;
    for (const Span& each : spans)
        if (each.end - each.begin >= longest * 0.7) middles.push_back((each.begin + each.end) / 2);
    std::nth_element(middles.begin(), middles.begin() + static_cast<std::ptrdiff_t>(middles.size() / 2), middles.end());
    return Axis{middles[middles.size() / 2], longest};
}

} // namespace

std::optional<CircleInFilm> findCircle(const test::MoviePicture& picture, double groundLuma,
                                       CircleMirroring mirroring) {
    const double threshold = (groundLuma + cameraLuma) / 2;
    const auto luma = [&](int x, int y) {
        return static_cast<int>(picture.luma[static_cast<std::size_t>(y) * static_cast<std::size_t>(picture.width) +
                                             static_cast<std::size_t>(x)]);
    };
    std::vector<Span> rows, columns;
    for (int y = 0; y < picture.height; ++y)
        if (const auto span = spanOf(picture.width, threshold, [&](int x) { return luma(x, y); }))
            rows.push_back(*span);
    for (int x = 0; x < picture.width; ++x)
        if (const auto span = spanOf(picture.height, threshold, [&](int y) { return luma(x, y); }))
            columns.push_back(*span);
    const auto across = axisOf(rows);
    const auto down = axisOf(columns);
    if (!across || !down) return std::nullopt;
    CircleInFilm circle{.centreX = across->middle,
                        .centreY = down->middle,
                        .diameter = (across->longest + down->longest) / 2,
                        .number = {}};
    circle.number = SyntheticCameraPicture::readNumber([&](double right, double downwards) {
        const double x =
            circle.centreX + (mirroring == CircleMirroring::leftToRight ? -right : right) * circle.diameter;
        const double y = circle.centreY + downwards * circle.diameter;
        return (luma(std::clamp(static_cast<int>(x), 0, picture.width - 1),
                     std::clamp(static_cast<int>(y), 0, picture.height - 1)) -
                16) *
               255.0 / 219;
    });
    return circle;
}

} // namespace quillet::testing
