#pragma once

#include <QDBusConnection>

#include <optional>

namespace sorrelwind {

/// The session's message bus, if the session has one. Asking the library for it where there is none
/// would start a bus that outlives the program.
[[nodiscard]] std::optional<QDBusConnection> sessionBus();

} // namespace sorrelwind
