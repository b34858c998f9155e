#include "platform/chooseWindowing.h"

#include "platform/x11/XDesktopWatch.h"
#include "platform/x11/XMouseLog.h"
#include "platform/x11/XThemeWatch.h"
#include "platform/x11/XWindowControl.h"

#include <QGuiApplication>
#include <QWindow>

namespace quillet {

namespace {

class PlainDesktop : public DesktopWatch {
public:
    [[nodiscard]] bool isComposited() const override { return true; }
    [[nodiscard]] bool isProgramInFrontOf(const std::vector<std::uint32_t>& /*windows*/) override { return false; }
};

/// By the toolkit's own means, for window systems of which nothing more is known.
class PlainWindow : public WindowControl {
public:
    explicit PlainWindow(QWindow& controlled) : window(controlled) {}

    [[nodiscard]] std::uint32_t number() const override { return static_cast<std::uint32_t>(window.winId()); }
    void place(const PixelRect& pixels) override {
        if (pixels.isEmpty()) return;
        const double ratio = window.devicePixelRatio();
        window.setGeometry(QRectF(pixels.x, pixels.y, pixels.width / ratio, pixels.height / ratio).toAlignedRect());
    }
    void raise() override { window.raise(); }
    void setShape(const std::optional<QRegion>& shape) override { window.setMask(shape.value_or(QRegion())); }
    void setMouseRegion(const std::optional<QRegion>& region) override {
        window.setFlag(Qt::WindowTransparentForInput, region && region->isEmpty());
    }
    void forbidShadow() override {}
    void takeKeyboard() override { window.requestActivate(); }
    void returnKeyboard() override {}

private:
    QWindow& window;
};

class NoMouseLog : public MouseLog {
public:
    [[nodiscard]] std::optional<QPoint> pixelAt(Event /*event*/, std::uint64_t /*timestamp*/) const override {
        return std::nullopt;
    }
};

class NoTheme : public ThemeWatch {
public:
    [[nodiscard]] const std::string& themeName() const override { return none; }

private:
    const std::string none;
};

} // namespace

std::unique_ptr<DesktopWatch> makeDesktopWatch() {
    if (qGuiApp->nativeInterface<QNativeInterface::QX11Application>())
        if (auto watch = XDesktopWatch::make()) return watch;
    return std::make_unique<PlainDesktop>();
}

std::unique_ptr<WindowControl> makeWindowControl(QWindow& window) {
    const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    if (x11 && x11->connection())
        return std::make_unique<XWindowControl>(x11->connection(), static_cast<std::uint32_t>(window.winId()));
    return std::make_unique<PlainWindow>(window);
}

std::unique_ptr<MouseLog> makeMouseLog() {
    if (qGuiApp->nativeInterface<QNativeInterface::QX11Application>()) return std::make_unique<XMouseLog>();
    return std::make_unique<NoMouseLog>();
}

std::unique_ptr<ThemeWatch> makeThemeWatch() {
    if (qGuiApp->nativeInterface<QNativeInterface::QX11Application>())
        if (auto watch = XThemeWatch::make()) return watch;
    return std::make_unique<NoTheme>();
}

} // namespace quillet
