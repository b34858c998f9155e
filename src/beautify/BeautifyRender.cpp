#include "beautify/BeautifyRender.h"

#include "beautify/BackgroundLibrary.h"
#include "beautify/DropShadow.h"
#include "geometry/fatal.h"

#include <QBrush>
#include <QColor>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <vector>

namespace quillet::BeautifyRender {

namespace {

constexpr double shadowOpacity = 0.45;
constexpr double shadowDrop = 0.012; // of the canvas's shorter side
/// Of the canvas's shorter side. A blur of 0.03 names the width of the fade on either side: two standard deviations.
constexpr double shadowDeviation = 0.03 / 2;

constexpr double titleBarShare = 0.14; // of the card's height
constexpr double titleBarLimit = 26;
constexpr double dotDiameter = 10;
constexpr std::array<double, 3> dotPlaces{12, 28, 44}; // their centres, from the card's left edge

/// A card many times larger than the canvas fills it whole, however much larger it is.
constexpr double largestScale = 64;

const QColor screenGrey = QColor::fromRgb(237, 237, 237);   // a white level of 0.93
const QColor titleBarGrey = QColor::fromRgb(209, 209, 209); // a white level of 0.82
const std::array<QColor, 3> dotColours{QColor::fromRgb(255, 95, 86), QColor::fromRgb(255, 189, 46),
                                       QColor::fromRgb(39, 201, 63)};

/// Points, y down; the card stands in the middle, so both directions of y agree on its place.
struct Card {
    QRectF frame;
    double radius = 0;

    [[nodiscard]] QPainterPath path() const {
        QPainterPath path;
        path.addRoundedRect(frame, radius, radius);
        return path;
    }
};

Card cardOn(double width, double height, const PreviewOptions& options) {
    const double padding = 2 * std::min(width, height) * options.paddingFraction;
    const double scale = std::min((width - padding) / width, (height - padding) / height);
    if (!(scale > 0)) return {};
    const double kept = std::min(scale, largestScale);
    const double cardWidth = kept * width;
    const double cardHeight = kept * height;
    const double shorter = std::min(cardWidth, cardHeight);
    const double radius = options.cornerFraction > 0 ? std::min(shorter * options.cornerFraction, shorter / 2) : 0;
    return {{(width - cardWidth) * 0.5, (height - cardHeight) * 0.5, cardWidth, cardHeight}, radius};
}

QImage emptyLayer(const QImage& canvas) {
    QImage layer(canvas.size(), QImage::Format_ARGB32_Premultiplied);
    if (layer.isNull()) fatal("no memory for a preview");
    layer.fill(Qt::transparent);
    return layer;
}

/// Paints in points on a layer's pixels.
class LayerPainter : public QPainter {
public:
    LayerPainter(QImage& layer, double pixelRatio) : QPainter(&layer) {
        if (!isActive()) fatal("a preview that cannot be drawn");
        setRenderHint(Antialiasing);
        setPen(Qt::NoPen);
        scale(pixelRatio, pixelRatio);
    }
};

ShapeMask maskOf(const Card& card, const QImage& canvas, double pixelRatio) {
    QImage layer = emptyLayer(canvas);
    LayerPainter(layer, pixelRatio).fillPath(card.path(), Qt::black);
    ShapeMask mask{layer.width(), layer.height(), {}};
    mask.coverage.reserve(static_cast<std::size_t>(mask.width) * static_cast<std::size_t>(mask.height));
    for (int y = 0; y < mask.height; ++y) {
        const auto* row = reinterpret_cast<const QRgb*>(layer.constScanLine(y));
        for (int x = 0; x < mask.width; ++x)
            mask.coverage.push_back(static_cast<std::uint8_t>(qAlpha(row[x])));
    }
    return mask;
}

/// The shadow, and the white shape that casts it.
void drawShadow(QImage& canvas, const Card& card, double shorterSide, double pixelRatio) {
    QImage layer = emptyLayer(canvas);
    const double unit = shorterSide * pixelRatio;
    castShadow(maskOf(card, canvas, pixelRatio), {shadowDeviation * unit, shadowDrop * unit, shadowOpacity},
               [&](int y, const std::byte* black) {
                   std::memcpy(layer.scanLine(y), black, static_cast<std::size_t>(layer.width()) * sizeof(QRgb));
               });
    QPainter(&canvas).drawImage(0, 0, layer);
    LayerPainter(canvas, pixelRatio).fillPath(card.path(), Qt::white);
}

void drawCard(QImage& canvas, const Card& card, double pixelRatio) {
    // The mock screen without its outline, which then is the one edge that is smoothed.
    QImage screen = emptyLayer(canvas);
    screen.fill(screenGrey);
    {
        LayerPainter painter(screen, pixelRatio);
        const QRectF& frame = card.frame;
        const double bar = std::min(frame.height() * titleBarShare, titleBarLimit);
        painter.fillRect(QRectF(frame.left() - 1, frame.top() - 1, frame.width() + 2, bar + 1), titleBarGrey);
        for (std::size_t i = 0; i < dotPlaces.size(); ++i) {
            painter.setBrush(dotColours[i]);
            painter.drawEllipse(QPointF(frame.left() + dotPlaces[i], frame.top() + bar * 0.5), dotDiameter / 2,
                                dotDiameter / 2);
        }
    }
    QBrush brush(screen);
    brush.setTransform(QTransform::fromScale(1 / pixelRatio, 1 / pixelRatio));
    LayerPainter(canvas, pixelRatio).fillPath(card.path(), brush);
}

} // namespace

QImage previewImage(const PreviewOptions& options) {
    const double width = static_cast<double>(std::max<std::int64_t>(1, truncated(options.size.width, "a preview")));
    const double height = static_cast<double>(std::max<std::int64_t>(1, truncated(options.size.height, "a preview")));
    const double ratio = options.pixelRatio;
    QImage canvas = BackgroundLibrary::image(options.bgIndex, {std::round(width * ratio), std::round(height * ratio)});
    const Card card = cardOn(width, height, options);
    if (!card.frame.isEmpty()) {
        if (options.shadow) drawShadow(canvas, card, std::min(width, height), ratio);
        drawCard(canvas, card, ratio);
    }
    canvas.setDevicePixelRatio(ratio);
    return canvas;
}

} // namespace quillet::BeautifyRender
