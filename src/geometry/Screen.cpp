#include "geometry/Screen.h"

#include <algorithm>

namespace quillet {

const Screen* ScreenList::mainOrFirst() const {
    if (mainIndex && *mainIndex < screens.size()) return &screens[*mainIndex];
    return screens.empty() ? nullptr : &screens.front();
}

const Screen* ScreenList::containing(Point point) const {
    const auto found = std::ranges::find_if(screens, [&](const Screen& s) { return s.frame.contains(point); });
    return found == screens.end() ? nullptr : &*found;
}

} // namespace quillet
