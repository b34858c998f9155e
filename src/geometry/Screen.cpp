#include "geometry/Screen.h"

#include <algorithm>

namespace quillet {

double Screen::scale() const {
    const double points = frame.size().width;
    return points > 0 ? pixelSize.width / points : backingScaleFactor;
}

const Screen* ScreenList::mainOrFirst() const {
    if (mainIndex && *mainIndex < screens.size()) return &screens[*mainIndex];
    return screens.empty() ? nullptr : &screens.front();
}

const Screen* ScreenList::containing(Point point) const {
    const auto found = std::ranges::find_if(screens, [&](const Screen& s) { return s.frame.contains(point); });
    return found == screens.end() ? nullptr : &*found;
}

const Screen* ScreenList::holding(const Rect& frame) const {
    const Screen* holder = mainOrFirst();
    double most = 0;
    for (const Screen& each : screens) {
        const Rect common = each.frame.intersection(frame);
        if (common.isEmpty() || common.width * common.height <= most) continue;
        most = common.width * common.height;
        holder = &each;
    }
    return holder;
}

} // namespace quillet
