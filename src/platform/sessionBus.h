// sessionBus.h: the desktop session's message bus, where there is one.
#pragma once

#include <QDBusConnection>

#include <optional>

namespace quillet {

/// Nothing when the session names no bus: asking all the same would start a bus of our own. Threads: any, with an
/// application object.
[[nodiscard]] std::optional<QDBusConnection> sessionBus();

} // namespace quillet
