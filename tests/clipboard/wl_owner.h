#pragma once

#include "clipboard/wayland_connection.h"

#include <QByteArray>
#include <QMap>

#include <memory>
#include <vector>

namespace sorrelwind::test {

/// A program of a Wayland session that copies whatever it is told to, such as a secret, which no
/// ready-made program does. Runs on the test's own main loop.
class WlOwner {
public:
    /// Puts bytes on the clipboard of the compositor at `display`, by type.
    WlOwner(const QByteArray& display, QMap<QByteArray, QByteArray> bytes);
    ~WlOwner();
    WlOwner(const WlOwner&) = delete;
    WlOwner& operator=(const WlOwner&) = delete;

private:
    QMap<QByteArray, QByteArray> m_bytes;
    std::unique_ptr<WaylandConnection> m_connection;
    std::vector<WaylandPtr<ext_data_control_offer_v1>> m_offers; ///< of others, all the same to it
    WaylandPtr<ext_data_control_source_v1> m_source;
    WaylandPtr<ext_data_control_device_v1> m_device;
};

} // namespace sorrelwind::test
