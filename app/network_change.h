#pragma once

#include "clipboard/file_descriptor.h"

#include <QSocketNotifier>
#include <QTimer>

#include <memory>

namespace sorrelwind {

/// Says when this computer's way to the network has changed: the kernel has a new default route
/// (rtnetlink(7)), as when a network comes up, when a laptop moves to another one, or when a VPN
/// starts. Needs no service of the desktop. Where the kernel does not tell, it stays silent.
class NetworkChange final : public QObject {
    Q_OBJECT
public:
    NetworkChange();

Q_SIGNALS:
    /// Once for changes that come together, as those of IPv4 and IPv6 do.
    void changed();

private:
    void read();

    FileDescriptor m_socket;
    std::unique_ptr<QSocketNotifier> m_readable;
    QTimer m_settled;
};

} // namespace sorrelwind
