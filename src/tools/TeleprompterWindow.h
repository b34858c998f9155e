// TeleprompterWindow.h: the window with the script that is read aloud.
#pragma once

#include "tools/FloatingWindow.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace quillet {

class ResizeGripView;
class TeleprompterView;

/// A dark pane with round corners; translucent where a compositing manager runs. A drag of what is not a control or the
/// text moves it.
///
/// Threads: main.
class TeleprompterWindow : public FloatingWindow {
public:
    TeleprompterWindow();

    [[nodiscard]] TeleprompterView& view() const { return *content; }

protected:
    [[nodiscard]] std::optional<QRegion> shape() const override;
    void screensRearranged() override { returnToScreens(); }
    void changeEvent(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    void takeColours();

    TeleprompterView* content;
    ResizeGripView* grip;
    bool isHeld = false;
    Point startMouse;
    Rect startFrame;
};

/// The teleprompter while it is switched on: shown by showOn(), gone with its owner.
///
/// Threads: main.
class TeleprompterController {
public:
    TeleprompterController();
    ~TeleprompterController();
    TeleprompterController(const TeleprompterController&) = delete;
    TeleprompterController& operator=(const TeleprompterController&) = delete;

    /// In the lower middle of what `screen` leaves to windows, in front of everything, without taking the keyboard.
    void showOn(const Screen& screen);
    void orderOut();
    [[nodiscard]] std::vector<std::uint32_t> windowIDs() const;

    [[nodiscard]] TeleprompterWindow& window() const { return *pane; }
    [[nodiscard]] TeleprompterView& view() const { return pane->view(); }

private:
    std::unique_ptr<TeleprompterWindow> pane;
};

} // namespace quillet
