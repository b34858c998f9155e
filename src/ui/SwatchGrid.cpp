#include "ui/SwatchGrid.h"

#include "ui/AdaptiveGrid.h"
#include "ui/PanelButton.h"

#include <QBrush>
#include <QPainter>
#include <QTransform>

#include <cmath>

namespace quillet {

namespace {

constexpr int cellWidth = 62;
constexpr int cellHeight = 38;
constexpr int spacing = 6;
constexpr double cornerRadius = 5;
constexpr double outlineWidth = 3;
constexpr Size pictureSize{120, 74};

/// Checked is chosen.
class Swatch : public PanelButton {
public:
    Swatch(int number, QWidget* parent)
        : PanelButton(QString(), look::font(look::captionPixels),
                      {.radius = cornerRadius, .paddingAbove = 0, .paddingBeside = 0}, parent),
          index(number) {
        setCheckable(true);
        setAccessibleName(QStringLiteral("背景 %1").arg(index + 1));
    }

    [[nodiscard]] QSize sizeHint() const override { return {cellWidth, cellHeight}; }

protected:
    void paintEvent(QPaintEvent*) override {
        if (picture.isNull()) picture = BackgroundLibrary::image(index, pictureSize);
        QPainter painter(this);
        painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
        const QRectF place = look::snapped(painter, rect());
        QBrush brush(picture);
        brush.setTransform(QTransform::fromTranslate(place.x(), place.y())
                               .scale(place.width() / picture.width(), place.height() / picture.height()));
        // A chosen one ends beneath the middle of its outline: nothing of it shows around the smooth corners.
        const double inset = isChecked() ? outlineWidth / 2 : 0;
        const QRectF body = place.adjusted(inset, inset, -inset, -inset);
        const double corner = radius() - inset / 2;
        const auto fill = [&](const QBrush& with) {
            painter.setPen(Qt::NoPen);
            painter.setBrush(with);
            painter.drawRoundedRect(body, corner, corner);
        };
        fill(brush);
        if (touch() == look::Touch::pressed)
            fill(QColor(0, 0, 0, 50));
        else if (touch() == look::Touch::hovered)
            fill(QColor(255, 255, 255, 36));
        if (isChecked()) {
            painter.setPen(QPen(look::accent(palette()), outlineWidth));
            painter.setBrush(Qt::NoBrush);
            painter.drawRoundedRect(body, corner, corner);
        }
        if (isEnabled()) return;
        // The whole is made fainter: one by one, the picture would shine through the outline.
        QColor veil = palette().color(QPalette::Window);
        veil.setAlphaF(static_cast<float>(1 - look::disabledOpacity));
        look::fillRounded(painter, rect(), radius(), veil);
    }

private:
    int index;
    QImage picture;
};

} // namespace

SwatchGrid::SwatchGrid(QWidget* parent) : QWidget(parent) {
    auto* const grid = new AdaptiveGrid(this, {.minimumWidth = cellWidth, .spacing = spacing});
    for (std::size_t i = 0; i < swatches.size(); ++i) {
        swatches[i] = new Swatch(static_cast<int>(i), this);
        grid->addWidget(swatches[i]);
        // Not clicked: assistive programs check a swatch without clicking it.
        connect(swatches[i], &QPushButton::toggled, this, [this, i](bool isChecked) {
            if (isChecked == (static_cast<std::int64_t>(i) == shown)) return;
            // The press has checked the swatch; whether it stays so is not this widget's decision.
            showIndex(shown);
            if (onSelect) onSelect(static_cast<std::int64_t>(i));
        });
    }
}

void SwatchGrid::showIndex(std::int64_t index) {
    shown = index;
    for (std::size_t i = 0; i < swatches.size(); ++i)
        swatches[i]->setChecked(static_cast<std::int64_t>(i) == index);
}

} // namespace quillet
