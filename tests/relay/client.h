#pragma once

#include <boost/json.hpp>

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace sorrelwind::relay::test {

/// A small client of the hub that shares nothing with it but the protocol. Each operation waits
/// with a deadline and throws when it is over.

struct Reply {
    int status = 0;
    std::map<std::string, std::string> headers; ///< names in lower case
    std::string body;

    [[nodiscard]] boost::json::object json() const { return boost::json::parse(body).as_object(); }
    [[nodiscard]] std::string text(const char* key) const {
        return std::string(json().at(key).as_string());
    }
};

struct Request {
    std::string method;
    std::string path;
    std::string body{};
    std::string token{};
    std::map<std::string, std::string> headers{};
};

/// One keep-alive connection.
class Http {
public:
    explicit Http(unsigned short port);
    ~Http();
    Reply send(const Request& request);

private:
    struct State;
    std::unique_ptr<State> m_state;
};

Reply request(unsigned short port, const Request& request);

struct Device {
    std::string group, id, token;
};
Device createGroup(unsigned short port, const std::string& name = "first");
Device joinGroup(unsigned short port, const Device& member, const std::string& name = "second");
boost::json::object item(const std::string& id, const std::string& payload = "sw1.x.y");

class Socket {
public:
    /// `status` of the upgrade is 101, or the refusal.
    Socket(unsigned short port, const std::string& token);
    ~Socket();
    Socket(Socket&&) noexcept;

    [[nodiscard]] int status() const;
    void send(const boost::json::object& frame);
    void sendText(const std::string& text);
    void publish(const boost::json::object& published);
    /// The next frame; none when the hub closed the socket.
    std::optional<boost::json::object> next();
    /// The next frame of this type; others are skipped.
    boost::json::object next(std::string_view type);
    /// Reads until the hub closes: the close code, 0 without one.
    int closeCode();

private:
    struct State;
    std::unique_ptr<State> m_state;
};

/// The bytes of a WebSocket handshake.
std::string upgradeRequest(const std::string& token);

/// A plain TCP connection for what no proper client sends.
class RawConnection {
public:
    explicit RawConnection(unsigned short port, const std::string& from = "127.0.0.1");
    ~RawConnection();
    void write(std::string_view bytes);
    void shutDownSending();
    void readUntil(const std::string& mark);
    /// Everything until the hub closes the connection.
    std::string readToEnd();

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace sorrelwind::relay::test
