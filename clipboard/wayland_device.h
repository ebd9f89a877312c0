#pragma once

#include "clipboard/file_descriptor.h"
#include "clipboard/wayland_connection.h"

#include <QStringList>

#include <functional>
#include <memory>

namespace sorrelwind {

class WaylandSource;

/// What some program has copied: the types that it offers, and a way to ask for the bytes.
class WaylandOffer {
public:
    explicit WaylandOffer(ext_data_control_offer_v1* proxy);
    WaylandOffer(const WaylandOffer&) = delete;
    WaylandOffer& operator=(const WaylandOffer&) = delete;

    [[nodiscard]] ext_data_control_offer_v1* proxy() const { return m_proxy.get(); }
    [[nodiscard]] const QStringList& types() const { return m_types; }
    /// Has the owner write its bytes of this type into the pipe, once the connection is flushed.
    void receive(const QString& type, const FileDescriptor& pipe) const;

private:
    WaylandPtr<ext_data_control_offer_v1> m_proxy;
    QStringList m_types;
};

/// The clipboard of one seat: hears of every copy and takes ours. The primary selection is let go
/// by. Owned by the pasteboard; the connection outlives it.
class WaylandDevice {
public:
    /// Called with each new copy, also with the one that lies there at the start; with null when
    /// the clipboard is empty.
    using Selected = std::function<void(std::unique_ptr<WaylandOffer>)>;

    /// The connection must have a seat.
    WaylandDevice(const WaylandConnection& connection, Selected selected);
    WaylandDevice(const WaylandDevice&) = delete;
    WaylandDevice& operator=(const WaylandDevice&) = delete;

    void setSelection(const WaylandSource& source) const;

private:
    struct Events;
    [[nodiscard]] std::unique_ptr<WaylandOffer> take(ext_data_control_offer_v1* proxy);

    WaylandPtr<ext_data_control_device_v1> m_proxy;
    Selected m_selected;
    /// Its types are arriving; the next selection will be this one.
    std::unique_ptr<WaylandOffer> m_introduced;
};

} // namespace sorrelwind
