#include "ui/PreviewPicture.h"

#include "beautify/BeautifyRender.h"
#include "ui/look.h"

#include <QBrush>
#include <QPainter>
#include <QTransform>

#include <algorithm>
#include <cmath>

namespace quillet {

namespace {

constexpr Size previewSize{320, 180};
constexpr double cornerRadius = 6;
/// Beyond this a preview only costs: more than twice the panel's width on a screen of scale 2.
constexpr double mostPixelsPerPoint = 5;

QImage draw(const PreviewPicture::Look& look, double pixelRatio) {
    return BeautifyRender::previewImage({.bgIndex = std::max<std::int64_t>(0, look.backgroundIndex),
                                         .cornerFraction = look.cornerRadius,
                                         .paddingFraction = look.padding,
                                         .shadow = look.shadowEnabled,
                                         .size = previewSize,
                                         .pixelRatio = pixelRatio});
}

} // namespace

PreviewPicture::PreviewPicture(QWidget* parent) : QWidget(parent) {
    QSizePolicy policy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
    setAccessibleName(QStringLiteral("美化效果预览"));
}

void PreviewPicture::showLook(const Look& newLook) {
    if (look == newLook) return;
    look = newLook;
    picture = QImage();
    update();
}

QSize PreviewPicture::sizeHint() const {
    return {static_cast<int>(previewSize.width), static_cast<int>(previewSize.height)};
}

int PreviewPicture::heightForWidth(int width) const {
    return static_cast<int>(std::lround(width * previewSize.height / previewSize.width));
}

void PreviewPicture::paintEvent(QPaintEvent*) {
    const double wanted = std::min(width() * devicePixelRatio() / previewSize.width, mostPixelsPerPoint);
    if (picture.isNull() || pixelRatio != wanted) {
        picture = draw(look, wanted);
        picture.setDevicePixelRatio(1); // the brush below counts in pixels
        pixelRatio = wanted;
    }
    QPainter painter(this);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    const QRectF shape = look::snapped(painter, rect());
    QBrush brush(picture);
    brush.setTransform(QTransform::fromTranslate(shape.x(), shape.y())
                           .scale(shape.width() / picture.width(), shape.height() / picture.height()));
    look::fillRounded(painter, rect(), cornerRadius, brush);
}

} // namespace quillet
