// CameraPreviewWindow.h: the camera bubble: the user's live picture in a circle that is moved and resized by hand.
#pragma once

#include "media/PixelBuffer.h"
#include "tools/BubblePicture.h"
#include "tools/FloatingWindow.h"
#include "tools/bubbleArithmetic.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace quillet {

/// Where the bubble's diameter outlives the program.
struct BubbleDiameterStore {
    /// The key under which settings keep it, a double in points.
    static constexpr const char* key = "Quillet.cameraPreviewDiameter";

    std::function<double()> read; ///< 0 when nothing is stored
    std::function<void(double)> write;
};

/// The bubble itself. It repaints only when a new picture or size has come. Threads: main.
class CameraPreviewView : public FloatingWindow {
public:
    /// `circles`: those of a film of the same camera; null: none.
    explicit CameraPreviewView(std::function<void(double)> storeDiameter,
                               std::shared_ptr<CircleShelf> circles = nullptr);

    /// The camera's newest picture, BGRA, as the camera sees it: the bubble mirrors it. Before the first one, and with
    /// null, there is only the ring.
    void setPicture(ConstPixelBufferRef newest);

    /// The new frame at every step of a move.
    std::function<void(const Rect&)> onLiveMove;
    /// The frame at the end of a move or resize, also when nothing came of it.
    std::function<void(const Rect&)> onFrameCommitted;

protected:
    [[nodiscard]] std::optional<QRegion> shape() const override;
    [[nodiscard]] std::optional<QRegion> mouseArea() const override;
    void screensRearranged() override;
    void paintEvent(QPaintEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    [[nodiscard]] Size viewSize() const;
    [[nodiscard]] BubbleDrag dragAt(Point mouse) const; ///< global
    [[nodiscard]] QPainterPath disc() const;
    [[nodiscard]] QPainterPath grip(double radius) const;
    void showGrip();
    void drag(Point mouse);

    std::function<void(double)> storeDiameter;
    ConstPixelBufferRef picture;
    bool isPictureDrawn = false;
    BubblePicture bubble;
    bool hovering = false;
    bool gripShown = false;
    BubbleDrag dragMode = BubbleDrag::none;
    Point dragStartMouse;
    Rect dragStartFrame;
};

/// Places the bubble and remembers its size. Made hidden. Threads: main.
class CameraPreviewController {
public:
    /// `circles`: those of a film of the same camera; null: none.
    explicit CameraPreviewController(BubbleDiameterStore store, std::shared_ptr<CircleShelf> circles = nullptr);
    CameraPreviewController(const CameraPreviewController&) = delete;
    CameraPreviewController& operator=(const CameraPreviewController&) = delete;

    /// In the lower right corner of `screen`, as large as the user left it the last time.
    void placeDefault(const Screen& screen);
    /// Shows the bubble in front of everything, without taking the keyboard.
    void orderFront() { view.orderFront(); }
    void orderOut() { view.orderOut(); }

    /// The bubble in global screen points.
    [[nodiscard]] Rect frame() const { return view.frame(); }
    [[nodiscard]] std::vector<std::uint32_t> windowIDs() const { return {view.windowNumber()}; }

private:
    BubbleDiameterStore store;

public:
    CameraPreviewView view;
};

} // namespace quillet
