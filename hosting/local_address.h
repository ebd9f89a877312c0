#pragma once

#include "base/task.h"

#include <QByteArray>
#include <QHostAddress>
#include <QString>
#include <QStringList>

namespace sorrelwind {

// How other devices of the local network reach this computer.

/// The interfaces that carry a default route, best first, of the content of /proc/net/route.
[[nodiscard]] QStringList defaultRouteInterfaces(const QByteArray& routes);

/// This computer's IPv4 address on the interface of the default route, null when there is no
/// network. Point-to-point interfaces, which tunnels are, come last: a phone beside this computer
/// does not reach it there.
[[nodiscard]] QHostAddress defaultRouteAddress();

/// This computer's name in the local network, such as "studio.local", when avahi publishes one and
/// this computer resolves it too (it is to use the same address as the others); else empty.
[[nodiscard]] Task<QString> multicastName();

/// The base address of a hub on this computer for the whole group: by name, else by address, never
/// a loopback one; empty when there is neither.
[[nodiscard]] QString hostedHubAddress(const QString& name, const QHostAddress& address,
                                       quint16 port);

/// Whether `server`, a canonical hub address, is one that no other computer reaches.
[[nodiscard]] bool isLoopback(const QString& server);

/// Whether `server`, a canonical hub address, names this computer.
[[nodiscard]] bool isThisComputer(const QString& server);

} // namespace sorrelwind
