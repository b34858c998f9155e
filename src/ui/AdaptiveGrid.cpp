#include "ui/AdaptiveGrid.h"

#include <algorithm>
#include <cmath>

namespace quillet {

AdaptiveGrid::AdaptiveGrid(QWidget* parent, const Options& wanted) : QLayout(parent), options(wanted) {
    setContentsMargins(0, 0, 0, 0);
    setSpacing(wanted.spacing);
}

void AdaptiveGrid::addItem(QLayoutItem* item) { items.emplace_back(item); }

int AdaptiveGrid::count() const { return static_cast<int>(items.size()); }

QLayoutItem* AdaptiveGrid::itemAt(int index) const {
    return index >= 0 && index < count() ? items[static_cast<std::size_t>(index)].get() : nullptr;
}

QLayoutItem* AdaptiveGrid::takeAt(int index) {
    if (index < 0 || index >= count()) return nullptr;
    QLayoutItem* const taken = items[static_cast<std::size_t>(index)].release();
    items.erase(items.begin() + index);
    return taken;
}

int AdaptiveGrid::columnsIn(int width) const {
    return std::max(1, (width + options.spacing) / (options.minimumWidth + options.spacing));
}

int AdaptiveGrid::rowHeight() const {
    int height = 0;
    for (const auto& item : items)
        height = std::max(height, item->sizeHint().height());
    return height;
}

int AdaptiveGrid::heightForWidth(int width) const {
    if (items.empty()) return 0;
    const int columns = columnsIn(width);
    const int rows = (count() + columns - 1) / columns;
    return rows * rowHeight() + (rows - 1) * options.spacing;
}

QSize AdaptiveGrid::sizeHint() const {
    const int width = 3 * options.minimumWidth + 2 * options.spacing;
    return {width, heightForWidth(width)};
}

QSize AdaptiveGrid::minimumSize() const { return {options.minimumWidth, rowHeight()}; }

void AdaptiveGrid::setGeometry(const QRect& rect) {
    QLayout::setGeometry(rect);
    const int columns = columnsIn(rect.width());
    const double step = (rect.width() + options.spacing) / static_cast<double>(columns);
    const int height = rowHeight();
    for (int i = 0; i < count(); ++i) {
        // Widths that are no whole number are shared out, so that the last column ends where the row does.
        const int column = i % columns;
        const int left = static_cast<int>(std::lround(column * step));
        const int right = static_cast<int>(std::lround((column + 1) * step)) - options.spacing;
        const int top = (i / columns) * (height + options.spacing);
        itemAt(i)->setGeometry({rect.x() + left, rect.y() + top, right - left, height});
    }
}

} // namespace quillet
