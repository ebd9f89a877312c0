#pragma once

#include "tests/relay/client.h"
#include "tests/relay/hub_program.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct ssl_st;
struct ssl_ctx_st;

namespace sorrelwind::relay::test {

struct Target {
    unsigned short port;
    bool tls;
};

/// What a WebSocket peer gets: a whole message or a control frame.
struct Message {
    int opcode;
    std::string payload;
    [[nodiscard]] int closeCode() const;
};

/// One connection to the hub, plain or TLS, from any loopback address, which sends any bytes that
/// somebody who means harm would. What waits has a deadline and then says false or nothing.
class Peer {
public:
    using TlsSettings = std::function<void(ssl_ctx_st*)>;

    /// Throws when the connection or its TLS handshake fails. A `receiveBuffer` in bytes makes the
    /// hub's answers pile up on its own side when they are not read.
    Peer(const Target& hub, const std::string& from, int receiveBuffer = 0,
         const TlsSettings& settings = {});
    ~Peer();
    Peer(Peer&&) noexcept;

    /// Sends what is taken at once; returns how much.
    std::size_t offer(std::string_view bytes);
    bool send(std::string_view bytes);
    void shutDownSending() const;
    /// Ends the connection with a reset.
    void reset();

    /// Reads what has arrived; false when nothing had.
    bool pull();
    void discard() { m_inbox.clear(); }
    /// Whether the hub has ended the connection, as far as was read.
    [[nodiscard]] bool over() const { return m_over; }
    bool readable(std::chrono::milliseconds time = kPatience) const;
    bool readUntil(const std::function<bool()>& done);
    bool readToEnd() {
        return readUntil([] { return false; }) || m_over;
    }

    /// The next answer; status 0 when the connection ended without one.
    Reply reply();
    Reply exchange(std::string_view bytes) { return send(bytes), reply(); }

    /// Opens the WebSocket, its greeting still unread; the status of the answer.
    int upgrade(const std::string& token) { return exchange(upgradeRequest(token)).status; }
    /// The next message; none when the connection ended.
    std::optional<Message> message();
    /// Skips messages until one contains `text`.
    std::optional<Message> messageWith(std::string_view text);
    /// Reads until the hub closes: the close code, 0 without one.
    int closeCode();

    [[nodiscard]] const std::string& inbox() const { return m_inbox; }
    [[nodiscard]] int descriptor() const { return m_descriptor; }
    [[nodiscard]] ssl_st* tls() const { return m_tls; }

private:
    void connect(const Target& hub, const std::string& from);
    void handshake(const TlsSettings& settings);
    void note(long result);
    std::optional<Message> takeMessage();

    int m_descriptor = -1;
    ssl_st* m_tls = nullptr;
    bool m_over = false;
    std::string m_inbox;
    std::string m_partial; ///< of a message in fragments
    int m_partialOpcode = 0;
};

/// Many of them, and bytes for all of them at once.
using Crowd = std::vector<Peer>;

struct Pouring {
    std::chrono::milliseconds time; ///< at most
    bool reads = false;             ///< and throws away what comes back
    bool again = false;             ///< begins anew when all is sent
};
/// Sends the bytes to each of the crowd, side by side; returns how many were taken in all.
std::size_t pour(Crowd& crowd, std::string_view bytes, const Pouring& how);

/// A frame of a client (RFC 6455), masked with zeros unless `masked` is false.
std::string frame(std::string_view payload, int firstByte = 0x81, bool masked = true);
/// Only the beginning of a frame that says it is so long.
std::string frameHead(std::uint64_t size, int firstByte = 0x81, bool masked = true);
std::string httpRequest(const std::string& method, const std::string& path,
                        const std::string& body = {}, const std::string& token = {});

} // namespace sorrelwind::relay::test
