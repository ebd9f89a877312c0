#include "relay/socket_session.h"

#include "relay/heartbeat.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/stream.hpp>

#include <array>
#include <deque>
#include <utility>

namespace sorrelwind::relay {

namespace {

namespace net = boost::asio;
namespace websocket = boost::beast::websocket;
using boost::beast::error_code;

// Roughly what a socket takes by itself, and a frame in its queue besides its text.
constexpr std::size_t kSocketBytes = 8u << 10;
constexpr std::size_t kFrameOverhead = 192;

websocket::close_code codeOf(Goodbye why) {
    switch (why) {
    case Goodbye::removed:
    case Goodbye::tooManySockets:
        return websocket::close_code::policy_error;
    case Goodbye::tooLarge:
        return websocket::close_code::too_big;
    case Goodbye::tooSlow:
    case Goodbye::outOfMemory:
        return websocket::close_code::try_again_later;
    case Goodbye::stopping:
        return websocket::close_code::going_away;
    }
    return websocket::close_code::internal_error;
}

const char* textOf(Goodbye why) {
    switch (why) {
    case Goodbye::removed:
        return "removed";
    case Goodbye::tooManySockets:
        return "too many sockets";
    case Goodbye::tooLarge:
        return "too large";
    case Goodbye::tooSlow:
        return "too slow";
    case Goodbye::outOfMemory:
        return "out of memory";
    case Goodbye::stopping:
        return "stopping";
    }
    return "";
}

/// What the end of reading says of the peer.
const char* textOf(error_code error) {
    if (error == websocket::error::closed)
        return "left";
    if (error == websocket::error::message_too_big || error == websocket::error::buffer_overflow)
        return "too large";
    if (error == websocket::condition::protocol_violation)
        return "broke the protocol";
    return "connection lost";
}

/// One open WebSocket: reads frames for the hub, writes what the bus queues, and watches that the
/// peer is alive. Its three coroutines hold it; the reading one is its life, and the other two end
/// soon after it.
class SocketSession final : public Outlet,
                            public MemoryBudget::Holder,
                            public std::enable_shared_from_this<SocketSession> {
public:
    SocketSession(Stream stream, Hub& hub, Member member)
        : m_socket(std::move(stream)), m_hub(hub), m_member(std::move(member)),
          m_wake(m_socket.get_executor()), m_watch(m_socket.get_executor()),
          m_deadline(m_socket.get_executor()), m_heartbeat(std::chrono::steady_clock::now()),
          m_memory(hub.memory(), m_member.group, 0, this) {}

    net::awaitable<void> run(HttpRequest upgrade);

    bool send(const Frame& frame) override;
    void close(Goodbye why) override;

    [[nodiscard]] std::uint64_t weight() const override;
    void giveUp() override;

private:
    static net::awaitable<void> write(std::shared_ptr<SocketSession> self);
    static net::awaitable<void> watch(std::shared_ptr<SocketSession> self);
    net::awaitable<void> read();
    void heard() { m_heartbeat.heard(std::chrono::steady_clock::now()); }
    void ping();
    void keepOfQueue(std::size_t frames);
    void written();
    void count();
    /// Off the bus, once.
    void leave();
    /// The same when the bus may be in the middle of its sockets.
    void leaveSoon();
    void peerLeft();
    /// The first reason for the end is the one that is logged.
    void because(std::string_view why) {
        if (m_why.empty())
            m_why = why;
    }
    /// However the goodbye goes, the connection ends soon.
    void endSoon();
    void cut() { m_socket.next_layer().cut(); }

    websocket::stream<Stream> m_socket;
    Hub& m_hub;
    Member m_member;
    std::deque<Frame> m_queue;  ///< the first one is being written
    std::size_t m_queued = 0;   ///< bytes in it
    std::size_t m_own = 0;      ///< those among them that no other queue shares
    std::size_t m_arriving = 0; ///< bytes of the message that is being received
    net::steady_timer m_wake;   ///< cancelled when the writer has something to do
    net::steady_timer m_watch;
    net::steady_timer m_deadline;
    Heartbeat m_heartbeat;
    MemoryBudget::Charge m_memory;
    std::optional<Goodbye> m_goodbye;
    std::string_view m_why;
    bool m_pinging = false;
    bool m_left = false;
    bool m_gone = false; ///< given up: nothing of it counts any more
    bool m_over = false;
};

bool SocketSession::send(const Frame& frame) {
    if (m_over || m_left || m_goodbye)
        return false;
    if (m_queued > kMaxQueued) {
        // What waits is of no use to a peer that comes back: the newest item is held for it.
        keepOfQueue(1);
        close(Goodbye::tooSlow);
        leaveSoon();
        return false;
    }
    m_queue.push_back(frame);
    m_queued += frame.size() + kFrameOverhead;
    m_own += frame.head.size() + kFrameOverhead;
    m_wake.cancel();
    count();
    return !m_goodbye;
}

void SocketSession::keepOfQueue(std::size_t frames) {
    m_queue.resize(frames);
    m_queued = 0;
    m_own = 0;
    for (const auto& frame : m_queue) {
        m_queued += frame.size() + kFrameOverhead;
        m_own += frame.head.size() + kFrameOverhead;
    }
    count();
}

void SocketSession::written() {
    if (m_queue.empty())
        return;
    const auto& frame = m_queue.front();
    m_queued -= frame.size() + kFrameOverhead;
    m_own -= frame.head.size() + kFrameOverhead;
    m_queue.pop_front();
    count();
}

void SocketSession::count() {
    m_memory.resize(m_gone ? 0 : kSocketBytes + m_own + m_arriving);
}

std::uint64_t SocketSession::weight() const {
    return m_gone ? 0 : kSocketBytes + m_queued + m_arriving;
}

void SocketSession::giveUp() {
    m_gone = true;
    keepOfQueue(0);
    close(Goodbye::outOfMemory);
    cut();
    leaveSoon();
}

void SocketSession::close(Goodbye why) {
    if (m_over || m_goodbye)
        return;
    m_goodbye = why;
    because(textOf(why));
    m_wake.cancel();
    endSoon();
}

void SocketSession::leave() {
    if (std::exchange(m_left, true))
        return;
    try {
        m_hub.closed(m_member, *this, Now::read());
    } catch (const std::exception& failure) {
        logEvent(failure.what());
    }
}

void SocketSession::leaveSoon() {
    net::post(m_socket.get_executor(), [self = shared_from_this()] { self->leave(); });
}

void SocketSession::peerLeft() {
    // It is offline as soon as it says so, even if its end of the connection stays open.
    leave();
    endSoon();
}

void SocketSession::endSoon() {
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
        // The bytes by themselves, since the queue may be given up meanwhile.
        const auto head = self->m_queue.front().head;
        const auto rest = self->m_queue.front().rest.text;
        const auto restBuffer = rest ? net::buffer(*rest) : net::const_buffer();
        const std::array<net::const_buffer, 2> buffers{net::buffer(head), restBuffer};
        co_await self->m_socket.async_write(buffers,
                                            net::redirect_error(net::use_awaitable, error));
        self->written();
    }
    if (!self->m_over && !error) {
        const websocket::close_reason reason(codeOf(*self->m_goodbye), textOf(*self->m_goodbye));
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
            self->because("silent");
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
    constexpr std::size_t kKeep = 16u << 10;
    error_code error;
    boost::beast::flat_buffer buffer;
    for (;;) {
        // Piece by piece, so that a long message on a slow line counts as a sign of life.
        co_await m_socket.async_read_some(buffer, kPiece,
                                          net::redirect_error(net::use_awaitable, error));
        if (error) {
            because(textOf(error));
            co_return;
        }
        heard();
        m_arriving = buffer.size();
        count();
        if (!m_socket.is_message_done())
            continue;
        if (!m_goodbye) {
            const auto data = buffer.cdata();
            const std::string_view text(static_cast<const char*>(data.data()), data.size());
            m_hub.frame(m_member, *this, text, Now::read());
        }
        buffer.consume(buffer.size());
        m_arriving = 0;
        count();
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
    m_socket.control_callback([this](websocket::frame_type kind, boost::beast::string_view) {
        heard();
        if (kind == websocket::frame_type::close)
            peerLeft();
    });
    const auto anonymous = [](websocket::response_type& response) {
        response.erase(boost::beast::http::field::server);
    };
    m_socket.set_option(websocket::stream_base::decorator(anonymous));
    m_socket.text(true);

    error_code error;
    co_await m_socket.async_accept(upgrade, net::redirect_error(net::use_awaitable, error));
    if (error)
        co_return;
    upgrade = HttpRequest();
    heard();
    count();

    net::co_spawn(m_socket.get_executor(), write(self), net::detached);
    net::co_spawn(m_socket.get_executor(), watch(self), net::detached);
    try {
        m_hub.open(m_member, *this, Now::read());
        logEvent("socket opened", {{"device", m_member.device}});
        co_await read();
    } catch (const std::exception& failure) {
        logEvent(failure.what());
        because("failed");
    }
    m_over = true;
    cut();
    m_wake.cancel();
    m_watch.cancel();
    m_deadline.cancel();
    logEvent("socket closed", {{"device", m_member.device}, {"why", m_why}});
    leave();
}

} // namespace

net::awaitable<void> runSocket(Stream stream, HttpRequest upgrade, Hub& hub, Member member) {
    const auto session = std::make_shared<SocketSession>(std::move(stream), hub, std::move(member));
    co_await session->run(std::move(upgrade));
}

} // namespace sorrelwind::relay
