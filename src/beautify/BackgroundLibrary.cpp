#include "beautify/BackgroundLibrary.h"

#include "geometry/fatal.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <variant>

namespace quillet::BackgroundLibrary {

namespace {

/// 8-bit sRGB values.
struct Colour {
    int red;
    int green;
    int blue;
};

/// From the first colour in the top-left corner to the second in the bottom-right one; lines of equal colour stand
/// perpendicular to the diagonal.
struct Axial {
    Colour start;
    Colour end;
};

/// A glow from its centre to its rim; outside the rim the base shows.
struct Radial {
    Colour centre;
    Colour rim;
    Colour base;
};

using Kind = std::variant<Axial, Radial>;

const std::array<Kind, presetCount> presets{
    Axial{{99, 102, 241}, {168, 85, 247}},               // indigo to violet
    Axial{{251, 146, 60}, {236, 72, 153}},               // orange to pink
    Axial{{20, 184, 166}, {16, 185, 129}},               // teal to green
    Axial{{59, 130, 246}, {6, 182, 212}},                // blue to cyan
    Axial{{147, 51, 234}, {219, 39, 119}},               // purple to deep pink
    Axial{{244, 114, 182}, {251, 191, 36}},              // pink to amber
    Axial{{51, 65, 85}, {15, 23, 42}},                   // slate to near-black navy
    Radial{{37, 99, 235}, {9, 12, 30}, {9, 12, 30}},     // a blue glow in dark navy
    Radial{{16, 185, 129}, {88, 28, 135}, {10, 20, 25}}, // a green glow into purple over near-black
};

constexpr double glowCentreX = 0.32;    // of the width, from the left
constexpr double glowCentreDown = 0.28; // of the height, from the top
constexpr double glowRadius = 0.9;      // of the longer side

int pixels(double extent, const char* what) {
    const std::int64_t whole = std::max<std::int64_t>(1, truncated(extent, what));
    if (whole > std::numeric_limits<int>::max()) fatal("a backdrop too large to draw");
    return static_cast<int>(whole);
}

QRgb opaque(const Colour& colour) { return qRgb(colour.red, colour.green, colour.blue); }

/// Colours between two others, channel by channel, rounded to nearest.
class Blend {
public:
    Blend(const Colour& from, const Colour& to)
        : red{from.red + 0.5, 0.0 + to.red - from.red}, green{from.green + 0.5, 0.0 + to.green - from.green},
          blue{from.blue + 0.5, 0.0 + to.blue - from.blue} {}

    [[nodiscard]] QRgb at(double place) const { return qRgb(red.at(place), green.at(place), blue.at(place)); }

private:
    struct Channel {
        double startAndHalf;
        double difference;
        [[nodiscard]] int at(double place) const { return static_cast<int>(startAndHalf + difference * place); }
    };
    Channel red;
    Channel green;
    Channel blue;
};

void draw(const Axial& axial, QImage& image) {
    const Blend blend(axial.start, axial.end);
    const int columns = image.width();
    const double width = columns;
    const double height = image.height();
    const double lengthSquared = width * width + height * height;
    const double perColumn = width / lengthSquared;
    for (int y = 0; y < image.height(); ++y) {
        const double down = (y + 0.5) * height / lengthSquared;
        auto* row = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < columns; ++x)
            row[x] = blend.at(down + (x + 0.5) * perColumn);
    }
}

void draw(const Radial& radial, QImage& image) {
    const Blend blend(radial.centre, radial.rim);
    const QRgb base = opaque(radial.base);
    const int columns = image.width();
    const double centreX = glowCentreX * columns;
    const double centreY = glowCentreDown * image.height();
    const double radius = glowRadius * std::max(columns, image.height());
    for (int y = 0; y < image.height(); ++y) {
        const double dy = (y + 0.5 - centreY) / radius;
        auto* row = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < columns; ++x) {
            const double dx = (x + 0.5 - centreX) / radius;
            const double squared = dx * dx + dy * dy;
            row[x] = squared <= 1 ? blend.at(std::sqrt(squared)) : base;
        }
    }
}

} // namespace

QImage image(std::int64_t index, Size size) {
    const int width = pixels(size.width, "a backdrop's width");
    const int height = pixels(size.height, "a backdrop's height");
    QImage image(width, height, QImage::Format_ARGB32_Premultiplied);
    if (image.isNull()) fatal("no memory for a backdrop");
    if (index < 0) fatal("a backdrop with a negative index");
    std::visit([&](const auto& kind) { draw(kind, image); }, presets[static_cast<std::size_t>(index % presetCount)]);
    return image;
}

} // namespace quillet::BackgroundLibrary
