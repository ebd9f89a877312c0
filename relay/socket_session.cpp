#include "relay/socket_session.h"

#include "relay/heartbeat.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/stream.hpp>

#include <deque>

namespace sorrelwind::relay {

namespace {

namespace net = boost::asio;
namespace websocket = boost::beast::websocket;
using boost::beast::error_code;

websocket::close_reason reasonOf(Goodbye why) {
    switch (why) {
    case Goodbye::removed:
        return {websocket::close_code::policy_error, "removed"};
    case Goodbye::tooManySockets:
        return {websocket::close_code::policy_error, "too many sockets"};
    case Goodbye::tooSlow:
        return {websocket::close_code::try_again_later, "too slow"};
    case Goodbye::stopping:
        return {websocket::close_code::going_away, "stopping"};
    }
    return {websocket::close_code::internal_error};
}

/// One open WebSocket: reads frames for the hub, writes what the bus queues, and watches that the
/// peer is alive. Its three coroutines hold it; the reading one is its life, and the other two end
/// soon after it.
class SocketSession final : public Outlet, public std::enable_shared_from_this<SocketSession> {
public:
    SocketSession(Stream stream, Hub& hub, Member member)
        : m_socket(std::move(stream)), m_hub(hub), m_member(std::move(member)),
          m_wake(m_socket.get_executor()), m_watch(m_socket.get_executor()),
          m_deadline(m_socket.get_executor()), m_heartbeat(std::chrono::steady_clock::now()) {}

    net::awaitable<void> run(HttpRequest upgrade);

    bool send(const Frame& frame) override;
    void close(Goodbye why) override;

private:
    static net::awaitable<void> write(std::shared_ptr<SocketSession> self);
    static net::awaitable<void> watch(std::shared_ptr<SocketSession> self);
    net::awaitable<void> read();
    void heard() { m_heartbeat.heard(std::chrono::steady_clock::now()); }
    void ping();
    void cut() { m_socket.next_layer().cut(); }

    websocket::stream<Stream> m_socket;
    Hub& m_hub;
    Member m_member;
    std::deque<Frame> m_queue; ///< the first one is being written
    std::size_t m_queued = 0;  ///< bytes in it
    net::steady_timer m_wake;  ///< cancelled when the writer has something to do
    net::steady_timer m_watch;
    net::steady_timer m_deadline;
    Heartbeat m_heartbeat;
    std::optional<Goodbye> m_goodbye;
    bool m_pinging = false;
    bool m_over = false;
};

bool SocketSession::send(const Frame& frame) {
    if (m_over || m_goodbye)
        return false;
    if (m_queued > kMaxQueued) {
        // What waits is of no use to a peer that comes back: the newest item is held for it.
        m_queue.resize(1);
        m_queued = m_queue.front()->size();
        close(Goodbye::tooSlow);
        // Only later, since the bus is in the middle of its sockets now.
        net::post(m_socket.get_executor(), [self = shared_from_this()] {
            self->m_hub.closed(self->m_member, *self, Now::read());
        });
        return false;
    }
    m_queue.push_back(frame);
    m_queued += frame->size();
    m_wake.cancel();
    return true;
}

void SocketSession::close(Goodbye why) {
    if (m_over || m_goodbye)
        return;
    m_goodbye = why;
    m_wake.cancel();
    m_deadline.expires_after(kCloseTime);
    m_deadline.async_wait([self = shared_from_this()](error_code error) {
        if (!error)
            self->cut();
    });
}

net::awaitable<void> SocketSession::write(std::shared_ptr<SocketSession> self) {
    error_code error;
    while (!self->m_over && !error) {
        if (self->m_queue.empty()) {
            if (self->m_goodbye)
                break;
            self->m_wake.expires_at(Steady::max());
            co_await self->m_wake.async_wait(net::redirect_error(net::use_awaitable, error));
            error = {};
            continue;
        }
        const Frame frame = self->m_queue.front();
        const auto buffer = net::buffer(*frame);
        co_await self->m_socket.async_write(buffer, net::redirect_error(net::use_awaitable, error));
        self->m_queue.pop_front();
        self->m_queued -= frame->size();
    }
    if (!self->m_over && !error) {
        const auto reason = reasonOf(*self->m_goodbye);
        co_await self->m_socket.async_close(reason, net::redirect_error(net::use_awaitable, error));
    }
    self->cut();
}

void SocketSession::ping() {
    // Not awaited: behind a write that does not move on, the watch has to go on watching.
    if (m_pinging)
        return;
    m_pinging = true;
    m_socket.async_ping({}, [self = shared_from_this()](error_code) { self->m_pinging = false; });
}

net::awaitable<void> SocketSession::watch(std::shared_ptr<SocketSession> self) {
    while (!self->m_over) {
        switch (self->m_heartbeat.due(std::chrono::steady_clock::now())) {
        case Heartbeat::Due::gone:
            self->cut();
            co_return;
        case Heartbeat::Due::ping:
            self->ping();
            break;
        case Heartbeat::Due::nothing:
            break;
        }
        error_code ignored;
        self->m_watch.expires_at(self->m_heartbeat.next());
        co_await self->m_watch.async_wait(net::redirect_error(net::use_awaitable, ignored));
    }
}

net::awaitable<void> SocketSession::read() {
    constexpr std::size_t kPiece = 64u << 10;
    constexpr std::size_t kKeep = 256u << 10;
    error_code error;
    boost::beast::flat_buffer buffer;
    for (;;) {
        // Piece by piece, so that a long message on a slow line counts as a sign of life.
        co_await m_socket.async_read_some(buffer, kPiece,
                                          net::redirect_error(net::use_awaitable, error));
        if (error)
            co_return;
        heard();
        if (!m_socket.is_message_done())
            continue;
        if (!m_goodbye) {
            const auto data = buffer.cdata();
            const std::string_view text(static_cast<const char*>(data.data()), data.size());
            m_hub.frame(m_member, *this, text, Now::read());
        }
        buffer.consume(buffer.size());
        if (buffer.capacity() > kKeep)
            buffer.shrink_to_fit();
    }
}

net::awaitable<void> SocketSession::run(HttpRequest upgrade) {
    const auto self = shared_from_this();
    websocket::stream_base::timeout timeouts{};
    timeouts.handshake_timeout = kCloseTime;
    timeouts.idle_timeout = websocket::stream_base::none();
    timeouts.keep_alive_pings = false;
    m_socket.set_option(timeouts);
    m_socket.read_message_max(m_hub.limits().maxMessage());
    // Long messages go out in fragments, between which pings and the goodbye find their way.
    m_socket.auto_fragment(true);
    m_socket.write_buffer_bytes(64u << 10);
    m_socket.control_callback(
        [this](websocket::frame_type, boost::beast::string_view) { heard(); });
    m_socket.text(true);

    error_code error;
    co_await m_socket.async_accept(upgrade, net::redirect_error(net::use_awaitable, error));
    if (error)
        co_return;
    heard();

    net::co_spawn(m_socket.get_executor(), write(self), net::detached);
    net::co_spawn(m_socket.get_executor(), watch(self), net::detached);
    try {
        m_hub.open(m_member, *this, Now::read());
        logEvent("socket opened", {{"device", m_member.device}});
        co_await read();
    } catch (const std::exception& failure) {
        logEvent(failure.what());
    }
    m_over = true;
    cut();
    m_wake.cancel();
    m_watch.cancel();
    m_deadline.cancel();
    const auto why = m_goodbye ? std::string(reasonOf(*m_goodbye).reason.c_str()) : "left";
    logEvent("socket closed", {{"device", m_member.device}, {"why", why}});
    try {
        m_hub.closed(m_member, *this, Now::read());
    } catch (const std::exception& failure) {
        logEvent(failure.what());
    }
}

} // namespace

net::awaitable<void> runSocket(Stream stream, HttpRequest upgrade, Hub& hub, Member member) {
    const auto session = std::make_shared<SocketSession>(std::move(stream), hub, std::move(member));
    co_await session->run(std::move(upgrade));
}

} // namespace sorrelwind::relay
