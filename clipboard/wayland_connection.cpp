#include "clipboard/wayland_connection.h"

#include <QSocketNotifier>

#include <ext-data-control-v1-client-protocol.h>
#include <wlr-data-control-unstable-v1-client-protocol.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <poll.h>

namespace sorrelwind {
namespace {

/// The second version adds the primary selection, which is of no interest here.
constexpr uint32_t kWlrVersion = 2;

} // namespace

void WaylandDeleter::operator()(ext_data_control_device_v1* device) const {
    ext_data_control_device_v1_destroy(device);
}
void WaylandDeleter::operator()(ext_data_control_manager_v1* manager) const {
    ext_data_control_manager_v1_destroy(manager);
}
void WaylandDeleter::operator()(ext_data_control_offer_v1* offer) const {
    ext_data_control_offer_v1_destroy(offer);
}
void WaylandDeleter::operator()(ext_data_control_source_v1* source) const {
    ext_data_control_source_v1_destroy(source);
}
void WaylandDeleter::operator()(wl_callback* callback) const {
    wl_callback_destroy(callback);
}
void WaylandDeleter::operator()(wl_registry* registry) const {
    wl_registry_destroy(registry);
}
void WaylandDeleter::operator()(wl_seat* seat) const {
    wl_seat_destroy(seat);
}

std::unique_ptr<WaylandConnection> WaylandConnection::begin(const QByteArray& display) {
    // As Qt's own sockets do: a program that stops pasting must be an error of a write, not our
    // end.
    std::signal(SIGPIPE, SIG_IGN);
    // It would write to standard error; the errors of the connection are reported by ourselves.
    wl_log_set_handler_client([](const char*, va_list) {});
    wl_display* const connected = wl_display_connect(display.constData());
    return connected ? std::unique_ptr<WaylandConnection>(new WaylandConnection(connected))
                     : nullptr;
}

Result<std::unique_ptr<WaylandConnection>, Sentence>
WaylandConnection::open(const QByteArray& display, QDeadlineTimer deadline) {
    if (display.isEmpty()) {
        return failure(Sentence::of(u"没有设置 WAYLAND_DISPLAY", u"WAYLAND_DISPLAY is not set"));
    }
    auto connection = begin(display);
    if (!connection) {
        return failure(Sentence::of(u"连不上 Wayland 合成器", u"no Wayland compositor answers"));
    }
    while (connection->m_settling && !connection->m_lost) {
        pollfd socket{wl_display_get_fd(connection->m_display), POLLIN, 0};
        ::poll(&socket, 1, static_cast<int>(deadline.remainingTime()));
        connection->dispatch();
        if (connection->m_settling && deadline.hasExpired()) {
            return failure(
                Sentence::of(u"Wayland 合成器没有回应", u"the Wayland compositor does not answer"));
        }
    }
    if (!connection->manager()) {
        return failure(Sentence::of(u"Wayland 合成器不提供 data-control",
                                    u"the Wayland compositor offers no data-control"));
    }
    return connection;
}

WaylandConnection::WaylandConnection(wl_display* display)
    : m_display(display), m_registry(wl_display_get_registry(display)),
      m_settling(wl_display_sync(display)) {
    static constexpr wl_registry_listener kRegistry{
        .global =
            [](void* self, wl_registry*, uint32_t name, const char* interface, uint32_t version) {
                static_cast<WaylandConnection*>(self)->announced(name, interface, version);
            },
        .global_remove =
            [](void* self, wl_registry*, uint32_t name) {
                static_cast<WaylandConnection*>(self)->withdrawn(name);
            }};
    static constexpr wl_callback_listener kSettling{.done = [](void* self, wl_callback*, uint32_t) {
        static_cast<WaylandConnection*>(self)->settle();
    }};
    wl_registry_add_listener(m_registry.get(), &kRegistry, this);
    wl_callback_add_listener(m_settling.get(), &kSettling, this);
    const int socket = wl_display_get_fd(m_display);
    m_readable = std::make_unique<QSocketNotifier>(socket, QSocketNotifier::Read);
    connect(m_readable.get(), &QSocketNotifier::activated, this, &WaylandConnection::dispatch);
    m_writable = std::make_unique<QSocketNotifier>(socket, QSocketNotifier::Write);
    connect(m_writable.get(), &QSocketNotifier::activated, this, &WaylandConnection::flush);
    flush();
}

WaylandConnection::~WaylandConnection() {
    m_readable.reset();
    m_writable.reset();
    m_seat.reset();
    m_manager.reset();
    m_settling.reset();
    m_registry.reset();
    wl_display_disconnect(m_display);
}

void WaylandConnection::announced(uint32_t name, const char* interface, uint32_t version) {
    const auto is = [interface](const wl_interface& other) {
        return std::strcmp(interface, other.name) == 0;
    };
    if (is(ext_data_control_manager_v1_interface)) {
        m_ext = {name, 1};
    } else if (is(zwlr_data_control_manager_v1_interface)) {
        m_wlr = {name, std::min(version, kWlrVersion)};
    } else if (is(wl_seat_interface)) {
        m_seats.append(name);
        if (!m_settling) {
            useFirstSeat();
        }
    }
}

void WaylandConnection::withdrawn(uint32_t name) {
    const bool inUse = m_seat && m_seats.front() == name;
    m_seats.removeOne(name);
    if (inUse) {
        m_seat.reset();
        useFirstSeat();
    }
}

void WaylandConnection::settle() {
    m_settling.reset();
    // The protocols are the same in all but the names of their interfaces, and these are told to
    // the compositor only here. So all code takes the one for the other.
    const bool ext = m_ext.version > 0;
    const Global& chosen = ext ? m_ext : m_wlr;
    if (chosen.version > 0) {
        m_manager.reset(static_cast<ext_data_control_manager_v1*>(wl_registry_bind(
            m_registry.get(), chosen.name,
            ext ? &ext_data_control_manager_v1_interface : &zwlr_data_control_manager_v1_interface,
            chosen.version)));
    }
    useFirstSeat();
    Q_EMIT settled();
}

void WaylandConnection::useFirstSeat() {
    if (m_seat) {
        return;
    }
    if (!m_seats.isEmpty()) {
        m_seat.reset(static_cast<wl_seat*>(
            wl_registry_bind(m_registry.get(), m_seats.front(), &wl_seat_interface, 1)));
    }
    Q_EMIT seatChanged();
}

void WaylandConnection::flush() {
    if (m_lost) {
        return;
    }
    // Other errors show when the socket is read.
    m_writable->setEnabled(wl_display_flush(m_display) < 0 && errno == EAGAIN);
    if (wl_display_get_error(m_display) != 0) {
        QMetaObject::invokeMethod(this, &WaylandConnection::dispatch, Qt::QueuedConnection);
    }
}

void WaylandConnection::dispatch() {
    if (m_lost) {
        return;
    }
    if (takeEvents()) {
        flush(); // what the answers wrote
        return;
    }
    m_lost = true;
    m_readable->setEnabled(false);
    m_writable->setEnabled(false);
    if (wl_display_get_error(m_display) == EPROTO) {
        const wl_interface* interface = nullptr;
        const uint32_t code = wl_display_get_protocol_error(m_display, &interface, nullptr);
        qWarning("clipboard: the compositor complains with error %u of %s", code,
                 interface ? interface->name : "an object that is gone");
    }
    Q_EMIT lost();
}

bool WaylandConnection::takeEvents() {
    while (wl_display_prepare_read(m_display) != 0) {
        if (wl_display_dispatch_pending(m_display) < 0) {
            return false;
        }
    }
    return wl_display_read_events(m_display) >= 0 && wl_display_dispatch_pending(m_display) >= 0;
}

void WaylandBarrier::raise(WaylandConnection& connection, std::function<void()> passed) {
    static constexpr wl_callback_listener kPassed{.done = [](void* self, wl_callback*, uint32_t) {
        auto& barrier = *static_cast<WaylandBarrier*>(self);
        barrier.m_callback.reset();
        if (const auto notice = std::move(barrier.m_passed)) {
            notice();
        }
    }};
    m_passed = std::move(passed);
    m_callback.reset(wl_display_sync(connection.display()));
    wl_callback_add_listener(m_callback.get(), &kPassed, this);
    connection.flush();
}

} // namespace sorrelwind
