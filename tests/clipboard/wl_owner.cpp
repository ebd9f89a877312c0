#include "tests/clipboard/wl_owner.h"

#include "tests/support/wait.h"

#include <gtest/gtest.h>

#include <ext-data-control-v1-client-protocol.h>

#include <unistd.h>

namespace sorrelwind::test {

WlOwner::WlOwner(const QByteArray& display, QMap<QByteArray, QByteArray> bytes)
    : m_bytes(std::move(bytes)) {
    auto connection = WaylandConnection::open(display, QDeadlineTimer(kPatience));
    if (!connection) {
        ADD_FAILURE() << connection.error().en.toStdString();
        return;
    }
    m_connection = *std::move(connection);
    static constexpr ext_data_control_source_v1_listener kSource{
        .send =
            [](void* self, ext_data_control_source_v1*, const char* type, int32_t fd) {
                const QByteArray value = static_cast<WlOwner*>(self)->m_bytes.value(type);
                (void)!::write(fd, value.constData(), static_cast<size_t>(value.size()));
                ::close(fd);
            },
        .cancelled = [](void*, ext_data_control_source_v1*) {}};
    static constexpr ext_data_control_device_v1_listener kDevice{
        .data_offer =
            [](void* self, ext_data_control_device_v1*, ext_data_control_offer_v1* offer) {
                static_cast<WlOwner*>(self)->m_offers.emplace_back(offer);
            },
        .selection = [](void*, ext_data_control_device_v1*, ext_data_control_offer_v1*) {},
        .finished = [](void*, ext_data_control_device_v1*) {},
        .primary_selection = [](void*, ext_data_control_device_v1*, ext_data_control_offer_v1*) {}};
    m_source.reset(ext_data_control_manager_v1_create_data_source(m_connection->manager()));
    ext_data_control_source_v1_add_listener(m_source.get(), &kSource, this);
    for (const QByteArray& type : m_bytes.keys()) {
        ext_data_control_source_v1_offer(m_source.get(), type.constData());
    }
    m_device.reset(
        ext_data_control_manager_v1_get_data_device(m_connection->manager(), m_connection->seat()));
    ext_data_control_device_v1_add_listener(m_device.get(), &kDevice, this);
    ext_data_control_device_v1_set_selection(m_device.get(), m_source.get());
    m_connection->flush();
}

WlOwner::~WlOwner() = default;

} // namespace sorrelwind::test
