#include "platform/x11/captureArea.h"

namespace quillet {

PixelRect captureArea(const PixelRect& monitor, const PixelRect& root, int width, int height) {
    const PixelRect area = PixelRect{monitor.x, monitor.y, width, height}.intersection(monitor).intersection(root);
    return area.isEmpty() ? PixelRect{monitor.x, monitor.y, 0, 0} : area;
}

} // namespace quillet
