#include "tests/relay/siege_peer.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace sorrelwind::relay::test {

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

sockaddr_in endpoint(const std::string& address, unsigned short port) {
    sockaddr_in name{};
    name.sin_family = AF_INET;
    name.sin_port = htons(port);
    if (::inet_pton(AF_INET, address.c_str(), &name.sin_addr) != 1)
        throw std::runtime_error("not an address: " + address);
    return name;
}

int await(int descriptor, short events, std::chrono::milliseconds time) {
    pollfd wait{descriptor, events, 0};
    return ::poll(&wait, 1, static_cast<int>(std::max(time.count(), 0L))) > 0 ? wait.revents : 0;
}

std::chrono::milliseconds until(Clock::time_point deadline) {
    return std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
}

std::uint64_t bigEndian(std::string_view bytes) {
    std::uint64_t value = 0;
    for (const char byte : bytes)
        value = value << 8 | static_cast<unsigned char>(byte);
    return value;
}

} // namespace

int Message::closeCode() const {
    return opcode == 8 && payload.size() >= 2 ? static_cast<int>(bigEndian(payload.substr(0, 2)))
                                              : 0;
}

Peer::Peer(const Target& hub, const std::string& from, int receiveBuffer,
           const TlsSettings& settings)
    : m_descriptor(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
    if (receiveBuffer > 0)
        ::setsockopt(m_descriptor, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
    try {
        connect(hub, from);
        if (hub.tls)
            handshake(settings);
    } catch (...) {
        ::SSL_free(m_tls);
        ::close(m_descriptor);
        throw;
    }
}

Peer::~Peer() {
    ::SSL_free(m_tls);
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

Peer::Peer(Peer&& other) noexcept
    : m_descriptor(std::exchange(other.m_descriptor, -1)), m_tls(std::exchange(other.m_tls, {})),
      m_over(other.m_over), m_inbox(std::move(other.m_inbox)),
      m_partial(std::move(other.m_partial)), m_partialOpcode(other.m_partialOpcode) {}

void Peer::connect(const Target& hub, const std::string& from) {
    const int on = 1;
    ::setsockopt(m_descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    const auto own = endpoint(from, 0);
    const auto other = endpoint("127.0.0.1", hub.port);
    if (::bind(m_descriptor, reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0)
        throw std::runtime_error("cannot use the address " + from);
    ::connect(m_descriptor, reinterpret_cast<const sockaddr*>(&other), sizeof other);
    if (await(m_descriptor, POLLOUT, kPatience) != POLLOUT)
        throw std::runtime_error("cannot connect to the hub");
}

void Peer::handshake(const TlsSettings& settings) {
    const std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context(
        SSL_CTX_new(TLS_client_method()), SSL_CTX_free);
    if (settings)
        settings(context.get());
    m_tls = SSL_new(context.get());
    SSL_set_mode(m_tls, SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
    SSL_set_fd(m_tls, m_descriptor);
    const auto deadline = Clock::now() + kPatience;
    for (;;) {
        const int result = SSL_connect(m_tls);
        const int error = SSL_get_error(m_tls, result);
        if (result == 1)
            return;
        const short wanted = error == SSL_ERROR_WANT_WRITE ? POLLOUT : POLLIN;
        if ((error != SSL_ERROR_WANT_READ && error != SSL_ERROR_WANT_WRITE) ||
            await(m_descriptor, wanted, until(deadline)) == 0)
            throw std::runtime_error("no TLS handshake");
    }
}

void Peer::note(long result) {
    const bool later =
        m_tls != nullptr
            ? SSL_get_error(m_tls, static_cast<int>(result)) == SSL_ERROR_WANT_READ ||
                  SSL_get_error(m_tls, static_cast<int>(result)) == SSL_ERROR_WANT_WRITE
            : result < 0 && (errno == EAGAIN || errno == EINTR);
    m_over = m_over || !later;
}

std::size_t Peer::offer(std::string_view bytes) {
    if (m_over || bytes.empty())
        return 0;
    const auto part = std::min(bytes.size(), std::size_t{1} << 20);
    const long sent = m_tls != nullptr ? SSL_write(m_tls, bytes.data(), static_cast<int>(part))
                                       : ::send(m_descriptor, bytes.data(), part, MSG_NOSIGNAL);
    if (sent > 0)
        return static_cast<std::size_t>(sent);
    // A hub that has had enough may have said so before it reset the connection.
    if (m_tls != nullptr || (errno != EPIPE && errno != ECONNRESET))
        note(sent);
    else
        m_over = !pull();
    return 0;
}

bool Peer::send(std::string_view bytes) {
    const auto deadline = Clock::now() + kPatience;
    while (!bytes.empty() && !m_over && Clock::now() < deadline) {
        const auto sent = offer(bytes);
        bytes.remove_prefix(sent);
        if (sent == 0)
            await(m_descriptor, POLLOUT, 100ms);
    }
    return bytes.empty();
}

void Peer::shutDownSending() const {
    ::shutdown(m_descriptor, SHUT_WR);
}

void Peer::reset() {
    const linger now{1, 0};
    ::setsockopt(m_descriptor, SOL_SOCKET, SO_LINGER, &now, sizeof now);
    ::close(std::exchange(m_descriptor, -1));
    m_over = true;
}

bool Peer::pull() {
    char buffer[65536];
    bool some = false;
    while (!m_over) {
        const long size = m_tls != nullptr ? SSL_read(m_tls, buffer, sizeof buffer)
                                           : ::recv(m_descriptor, buffer, sizeof buffer, 0);
        if (size <= 0) {
            note(size);
            break;
        }
        m_inbox.append(buffer, static_cast<std::size_t>(size));
        some = true;
    }
    return some;
}

bool Peer::readable(std::chrono::milliseconds time) const {
    return await(m_descriptor, POLLIN, time) != 0;
}

bool Peer::readUntil(const std::function<bool()>& done) {
    const auto deadline = Clock::now() + kPatience;
    while (!done()) {
        if (m_over || Clock::now() >= deadline)
            return false;
        if (!pull() && !m_over)
            readable(until(deadline));
    }
    return true;
}

Reply Peer::reply() {
    std::size_t head = 0;
    const bool begun =
        readUntil([&] { return (head = m_inbox.find("\r\n\r\n")) != std::string::npos; });
    if (!begun)
        return {};
    Reply reply{std::atoi(m_inbox.c_str() + m_inbox.find(' ')), {}, {}};
    for (std::size_t at = m_inbox.find("\r\n") + 2; at < head + 2;) {
        const auto end = m_inbox.find("\r\n", at);
        const auto colon = std::min(m_inbox.find(':', at), end);
        auto name = m_inbox.substr(at, colon - at);
        std::transform(name.begin(), name.end(), name.begin(), ::tolower);
        reply.headers[name] = m_inbox.substr(std::min(colon + 2, end), end - colon - 2);
        at = end + 2;
    }
    const auto length = reply.headers.find("content-length");
    const auto size = length == reply.headers.end() ? 0 : std::stoul(length->second);
    if (!readUntil([&] { return m_inbox.size() >= head + 4 + size; }))
        return {};
    reply.body = m_inbox.substr(head + 4, size);
    m_inbox.erase(0, head + 4 + size);
    return reply;
}

std::optional<Message> Peer::takeMessage() {
    for (;;) {
        if (m_inbox.size() < 2)
            return std::nullopt;
        const auto first = static_cast<unsigned char>(m_inbox[0]);
        std::uint64_t size = static_cast<unsigned char>(m_inbox[1]) & 0x7f;
        const std::size_t wide = size == 126 ? 2 : size == 127 ? 8 : 0;
        if (m_inbox.size() < 2 + wide)
            return std::nullopt;
        if (wide > 0)
            size = bigEndian(std::string_view(m_inbox).substr(2, wide));
        if (m_inbox.size() < 2 + wide + size)
            return std::nullopt;
        auto payload = m_inbox.substr(2 + wide, size);
        m_inbox.erase(0, 2 + wide + size);
        const int opcode = first & 0x0f;
        if (opcode >= 8)
            return Message{opcode, std::move(payload)};
        if (opcode != 0)
            m_partialOpcode = opcode;
        m_partial += payload;
        if ((first & 0x80) != 0)
            return Message{m_partialOpcode, std::exchange(m_partial, {})};
    }
}

std::optional<Message> Peer::message() {
    std::optional<Message> next;
    readUntil([&] { return (next = takeMessage()).has_value(); });
    return next;
}

std::optional<Message> Peer::messageWith(std::string_view text) {
    for (;;) {
        auto next = message();
        if (!next || next->payload.find(text) != std::string::npos)
            return next;
    }
}

int Peer::closeCode() {
    while (const auto next = message())
        if (next->opcode == 8)
            return next->closeCode();
    return 0;
}

std::size_t pour(Crowd& crowd, std::string_view bytes, const Pouring& how) {
    const auto deadline = Clock::now() + how.time;
    std::vector<std::size_t> sent(crowd.size());
    std::size_t total = 0;
    std::vector<pollfd> waits(crowd.size());
    while (Clock::now() < deadline) {
        bool open = false;
        for (std::size_t i = 0; i < crowd.size(); ++i) {
            auto& peer = crowd[i];
            if (how.reads && peer.pull())
                peer.discard();
            if (how.again && sent[i] == bytes.size())
                sent[i] = 0;
            const auto taken = peer.offer(bytes.substr(sent[i]));
            sent[i] += taken;
            total += taken;
            const bool more = !peer.over() && (how.again || sent[i] < bytes.size());
            open = open || more;
            // A descriptor below zero is passed over.
            waits[i] = {more ? peer.descriptor() : -1,
                        static_cast<short>(how.reads ? POLLIN | POLLOUT : POLLOUT), 0};
        }
        if (!open)
            break;
        ::poll(waits.data(), waits.size(), static_cast<int>(std::max(until(deadline).count(), 0L)));
    }
    return total;
}

std::string frameHead(std::uint64_t size, int firstByte, bool masked) {
    std::string head(1, static_cast<char>(firstByte));
    const int mask = masked ? 0x80 : 0;
    const int wide = size < 126 ? 0 : size <= 0xffff ? 2 : 8;
    head += static_cast<char>(mask | (wide == 0 ? static_cast<int>(size) : wide == 2 ? 126 : 127));
    for (int shift = (wide - 1) * 8; shift >= 0; shift -= 8)
        head += static_cast<char>(size >> shift);
    return masked ? head.append(4, '\0') : head;
}

std::string frame(std::string_view payload, int firstByte, bool masked) {
    return frameHead(payload.size(), firstByte, masked).append(payload);
}

std::string httpRequest(const std::string& method, const std::string& path, const std::string& body,
                        const std::string& token) {
    std::string text = method + " " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\n";
    if (!token.empty())
        text += "Authorization: Bearer " + token + "\r\n";
    if (!body.empty())
        text += "Content-Type: application/json\r\nContent-Length: " + std::to_string(body.size()) +
                "\r\n";
    return text + "\r\n" + body;
}

} // namespace sorrelwind::relay::test
