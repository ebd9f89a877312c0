#include "clipboard/wayland_device.h"

#include "clipboard/clipboard_text.h"
#include "clipboard/wayland_source.h"

#include <ext-data-control-v1-client-protocol.h>

#include <cstring>
#include <utility>

namespace sorrelwind {
namespace {

/// Types kept of one offer; programs of a desktop list a few dozen.
constexpr qsizetype kMaxTypes = 1024;

} // namespace

WaylandOffer::WaylandOffer(ext_data_control_offer_v1* proxy) : m_proxy(proxy) {
    static constexpr ext_data_control_offer_v1_listener kEvents{
        .offer = [](void* self, ext_data_control_offer_v1*, const char* type) {
            auto& types = static_cast<WaylandOffer*>(self)->m_types;
            if (types.size() < kMaxTypes && std::strlen(type) <= kLongestTypeName) {
                types.append(QString::fromUtf8(type));
            }
        }};
    ext_data_control_offer_v1_add_listener(proxy, &kEvents, this);
}

void WaylandOffer::receive(const QString& type, const FileDescriptor& pipe) const {
    ext_data_control_offer_v1_receive(m_proxy.get(), type.toUtf8().constData(), pipe.get());
}

struct WaylandDevice::Events {
    static void offered(void* self, ext_data_control_device_v1*, ext_data_control_offer_v1* offer) {
        static_cast<WaylandDevice*>(self)->m_introduced = std::make_unique<WaylandOffer>(offer);
    }
    static void selection(void* self, ext_data_control_device_v1*,
                          ext_data_control_offer_v1* offer) {
        auto& device = *static_cast<WaylandDevice*>(self);
        device.m_selected(device.take(offer));
    }
    static void primary(void* self, ext_data_control_device_v1*, ext_data_control_offer_v1* offer) {
        (void)static_cast<WaylandDevice*>(self)->take(offer);
    }
    /// The seat went, which the registry announces too.
    static void finished(void*, ext_data_control_device_v1*) {}
};

WaylandDevice::WaylandDevice(const WaylandConnection& connection, Selected selected)
    : m_proxy(ext_data_control_manager_v1_get_data_device(connection.manager(), connection.seat())),
      m_selected(std::move(selected)) {
    static constexpr ext_data_control_device_v1_listener kEvents{
        .data_offer = Events::offered,
        .selection = Events::selection,
        .finished = Events::finished,
        .primary_selection = Events::primary,
    };
    ext_data_control_device_v1_add_listener(m_proxy.get(), &kEvents, this);
}

void WaylandDevice::setSelection(const WaylandSource& source) const {
    ext_data_control_device_v1_set_selection(m_proxy.get(), source.proxy());
}

std::unique_ptr<WaylandOffer> WaylandDevice::take(ext_data_control_offer_v1* proxy) {
    const bool known = proxy && m_introduced && m_introduced->proxy() == proxy;
    return known ? std::move(m_introduced) : nullptr;
}

} // namespace sorrelwind
