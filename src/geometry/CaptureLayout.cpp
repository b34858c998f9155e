#include "geometry/CaptureLayout.h"

namespace quillet {

Rect displayPixels(const Rect& global, const Screen& screen) {
    const double scale = screen.scale();
    return Rect{scale * (global.minX() - screen.frame.minX()), scale * (global.minY() - screen.frame.minY()),
                scale * global.size().width, scale * global.size().height}
        .integralEven();
}

std::optional<CaptureLayout> CaptureLayout::make(Rect region, std::optional<Rect> camera, const ScreenList& screens) {
    const Screen* screen = screens.containing(region.centre());
    if (!screen) screen = screens.mainOrFirst();
    if (!screen || !screen->displayID) return std::nullopt;

    const Rect onScreen = region.intersection(screen->frame);
    return CaptureLayout{.screen = *screen,
                         .displayID = *screen->displayID,
                         .scale = screen->scale(),
                         .displayPixelSize = screen->pixelSize,
                         .regionGlobal = onScreen.isEmpty() ? region : onScreen,
                         .cameraGlobal = camera};
}

Rect CaptureLayout::displayPixels(const Rect& global) const { return quillet::displayPixels(global, screen); }

} // namespace quillet
