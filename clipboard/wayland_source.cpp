#include "clipboard/wayland_source.h"

#include "clipboard/clipboard_text.h"
#include "clipboard/pasteboard.h"

#include <ext-data-control-v1-client-protocol.h>

#include <algorithm>
#include <utility>

namespace sorrelwind {
namespace {

/// What old programs ask for by way of the compositor's X server; it leaves the encoding to us.
constexpr QLatin1StringView kAnyEncoding{"TEXT"};

} // namespace

struct WaylandSource::Events {
    static void send(void* self, ext_data_control_source_v1*, const char* type, int32_t fd) {
        FileDescriptor pipe(fd);
        const auto& source = *static_cast<WaylandSource*>(self);
        const QString wanted = QString::fromUtf8(type);
        // Programs may ask for anything; what was not offered comes out empty, as the mark does.
        if (std::ranges::count(kTextTypes, wanted) > 0 || wanted == kAnyEncoding) {
            source.m_writes.add(std::move(pipe), encodeText(wanted, source.m_utf8));
        } else if (wanted == kConcealedType || wanted == kPasswordHintType) {
            source.m_writes.add(std::move(pipe), QByteArrayLiteral("secret"));
        }
    }
    static void cancelled(void* self, ext_data_control_source_v1*) {
        const auto replaced = static_cast<WaylandSource*>(self)->m_replaced;
        replaced();
    }
};

WaylandSource::WaylandSource(const WaylandConnection& connection, PipeWrites& writes,
                             const QByteArray& utf8, bool secret, const QString& mark,
                             std::function<void()> replaced)
    : m_proxy(ext_data_control_manager_v1_create_data_source(connection.manager())),
      m_writes(writes), m_utf8(utf8), m_replaced(std::move(replaced)) {
    static constexpr ext_data_control_source_v1_listener kEvents{.send = Events::send,
                                                                 .cancelled = Events::cancelled};
    ext_data_control_source_v1_add_listener(m_proxy.get(), &kEvents, this);
    const auto offer = [this](const QByteArray& type) {
        ext_data_control_source_v1_offer(m_proxy.get(), type.constData());
    };
    for (const QLatin1StringView type : kTextTypes) {
        offer(type.toString().toLatin1());
    }
    offer(kAnyEncoding.toString().toLatin1());
    offer(mark.toLatin1());
    if (secret) {
        offer(kConcealedType.toString().toLatin1());
        offer(kPasswordHintType.toString().toLatin1());
    }
}

} // namespace sorrelwind
