// chooseWindowing.h: the one place that decides which window system serves the floating windows.
#pragma once

#include "platform/DesktopWatch.h"
#include "platform/MouseLog.h"
#include "platform/ThemeWatch.h"
#include "platform/WindowControl.h"

#include <memory>

class QWindow;

namespace quillet {

/// The session's own. Never null: where the window system is unknown or cannot be asked, transparency is taken for
/// granted and nothing ever changes. Threads: main, while a QGuiApplication lives.
[[nodiscard]] std::unique_ptr<DesktopWatch> makeDesktopWatch();

/// For `window`, which has been created. Never null: where the window system is unknown, what the toolkit can do is
/// done. Threads: main.
[[nodiscard]] std::unique_ptr<WindowControl> makeWindowControl(QWindow& window);

/// Never null: where the window system is unknown, nothing is known, and the toolkit's own places must do. Threads:
/// main, while a QGuiApplication lives; to be gone before it.
[[nodiscard]] std::unique_ptr<MouseLog> makeMouseLog();

/// Never null: where the window system is unknown or cannot be asked, no theme has a name. Threads: main.
[[nodiscard]] std::unique_ptr<ThemeWatch> makeThemeWatch();

} // namespace quillet
