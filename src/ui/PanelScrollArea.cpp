#include "ui/PanelScrollArea.h"

#include "ui/look.h"

#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>

#include <algorithm>
#include <cmath>

namespace quillet {

namespace {

constexpr int barWidth = 12;
constexpr double handleWidth = 5;
constexpr double handleWidthTouched = 7;
constexpr double shortestHandle = 28;
constexpr double inset = 3; // from the window's edges

/// A handle without a groove. A press beside the handle brings it there.
class SlimScrollBar : public QScrollBar {
public:
    explicit SlimScrollBar(QWidget* parent) : QScrollBar(Qt::Vertical, parent) {
        setAttribute(Qt::WA_Hover);
        setFocusPolicy(Qt::NoFocus);
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        const bool touched = underMouse() || isSliderDown();
        const double wide = touched ? handleWidthTouched : handleWidth;
        QColor colour = look::primaryText(palette());
        colour.setAlphaF(touched ? 0.5F : 0.3F);
        look::fillRounded(painter, {width() - inset - wide, handleTop(), wide, handleLength()}, wide / 2, colour);
    }
    void mousePressEvent(QMouseEvent* event) override {
        if (event->button() != Qt::LeftButton) return event->ignore();
        const double y = event->position().y();
        const bool onHandle = y >= handleTop() && y < handleTop() + handleLength();
        grip = onHandle ? y - handleTop() : handleLength() / 2;
        setSliderDown(true);
        moveHandle(y);
    }
    void mouseMoveEvent(QMouseEvent* event) override {
        if (isSliderDown()) moveHandle(event->position().y());
    }
    void mouseReleaseEvent(QMouseEvent* event) override {
        if (event->button() == Qt::LeftButton) setSliderDown(false);
        update();
    }

private:
    [[nodiscard]] double grooveLength() const { return height() - 2 * inset; }
    [[nodiscard]] double handleLength() const {
        const double share = pageStep() / std::max(1.0, maximum() - minimum() + 0.0 + pageStep());
        return std::min(grooveLength(), std::max(shortestHandle, grooveLength() * share));
    }
    [[nodiscard]] double handleTop() const {
        const double share = (value() - minimum()) / std::max(1.0, maximum() - minimum() + 0.0);
        return inset + share * (grooveLength() - handleLength());
    }
    void moveHandle(double y) {
        const double share = (y - grip - inset) / std::max(1.0, grooveLength() - handleLength());
        setValue(minimum() + static_cast<int>(std::lround(std::clamp(share, 0.0, 1.0) * (maximum() - minimum()))));
        update();
    }

    double grip = 0; // where on the handle the pointer holds it
};

} // namespace

PanelScrollArea::PanelScrollArea(QWidget* parent) : QScrollArea(parent), bar(new SlimScrollBar(this)) {
    setFrameShape(QFrame::NoFrame);
    setWidgetResizable(true);
    setFocusPolicy(Qt::NoFocus);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    viewport()->setAutoFillBackground(false);

    QScrollBar* const own = verticalScrollBar();
    own->setSingleStep(20);
    bar->hide();
    connect(own, &QScrollBar::rangeChanged, bar, [this, own](int low, int high) {
        bar->setRange(low, high);
        bar->setPageStep(own->pageStep());
        bar->setVisible(high > low);
    });
    connect(own, &QScrollBar::valueChanged, bar, &QScrollBar::setValue);
    connect(bar, &QScrollBar::valueChanged, own, &QScrollBar::setValue);
}

void PanelScrollArea::resizeEvent(QResizeEvent* event) {
    QScrollArea::resizeEvent(event);
    bar->setGeometry(width() - barWidth, 0, barWidth, height());
    bar->setPageStep(verticalScrollBar()->pageStep());
    bar->raise();
}

} // namespace quillet
