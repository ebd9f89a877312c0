#include "ui/session_bus.h"

#include <QFile>

namespace sorrelwind {

std::optional<QDBusConnection> sessionBus() {
    const QString runtimeDir = qEnvironmentVariable("XDG_RUNTIME_DIR");
    const bool exists =
        !qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS") ||
        (!runtimeDir.isEmpty() && QFile::exists(runtimeDir + QStringLiteral("/bus")));
    if (!exists)
        return std::nullopt;
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return std::nullopt;
    return bus;
}

} // namespace sorrelwind
