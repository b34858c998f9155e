// FloatingLayer.h: what all floating windows have in common: one stack, one watch, one arrangement of screens.
#pragma once

#include "platform/Screens.h"
#include "platform/chooseWindowing.h"
#include "tools/RaisePacing.h"

#include <QObject>
#include <QTimer>

#include <memory>
#include <vector>

class QScreen;

namespace quillet {

class FloatingWindow;

/// Keeps the floating windows in front of all ordinary ones, in their own order, and tells them when the desktop
/// changes around them.
///
/// Exists as long as there is a floating window. Threads: main.
class FloatingLayer : public QObject {
public:
    /// Shared by the windows themselves: made with the first, gone with the last.
    [[nodiscard]] static std::shared_ptr<FloatingLayer> shared();
    ~FloatingLayer() override;

    void add(FloatingWindow& window);
    void remove(FloatingWindow& window);
    /// In front of everything, the other floating windows included.
    void bringToFront(FloatingWindow& window);

    [[nodiscard]] const ScreenArrangement& screens() const { return arrangement; }
    [[nodiscard]] bool isComposited() const { return watch->isComposited(); }
    [[nodiscard]] const MouseLog& mouse() const { return *mouseLog; }

private:
    FloatingLayer();
    void watchScreen(QScreen& screen);
    void settle();
    void screensChanged();
    void stayInFront();

    std::unique_ptr<DesktopWatch> watch;
    std::unique_ptr<MouseLog> mouseLog;
    ScreenArrangement arrangement;
    std::vector<FloatingWindow*> windows; // bottom up
    RaisePacing pacing;
    QTimer later;         // a raise that has to wait
    QTimer screensSettle; // the toolkit tells of one change in several signals
    int unsettledLooks = 0;
};

} // namespace quillet
