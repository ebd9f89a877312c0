#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace sorrelwind {

// The hub as a service of the user's own systemd, under a name that nobody else's unit has.

inline constexpr QLatin1StringView kHubUnit{"sorrelwind-hosted-hub.service"};

/// Where the unit file stands: "systemd/user" in XDG_CONFIG_HOME, else in ~/.config.
[[nodiscard]] QString hubUnitPath();

/// The unit file that runs `program`, an absolute path, with `arguments` (systemd.service(5)).
[[nodiscard]] QByteArray hubUnit(const QString& program, const QStringList& arguments);

} // namespace sorrelwind
