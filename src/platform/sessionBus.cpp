#include "platform/sessionBus.h"

#include <QFile>

namespace quillet {

std::optional<QDBusConnection> sessionBus() {
    if (qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS") &&
        (qEnvironmentVariableIsEmpty("XDG_RUNTIME_DIR") ||
         !QFile::exists(qEnvironmentVariable("XDG_RUNTIME_DIR") + QStringLiteral("/bus"))))
        return std::nullopt;
    const QDBusConnection bus = QDBusConnection::sessionBus();
    return bus.isConnected() ? std::optional(bus) : std::nullopt;
}

} // namespace quillet
