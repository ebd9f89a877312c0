#pragma once

#include "relay/hub_address.h"
#include "relay/text.h"

#include <boost/asio/awaitable.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>

#include <chrono>
#include <exception>
#include <memory>
#include <string>
#include <vector>

namespace sorrelwind::relay {

class Stream;

/// A visit that came to nothing; its text is half a sentence that goes on after "the hub" or "it".
class VisitError : public std::exception {
public:
    explicit VisitError(Text text) : m_text(std::move(text)) {}
    [[nodiscard]] const Text& text() const { return m_text; }
    [[nodiscard]] const char* what() const noexcept override { return m_text.en.c_str(); }

private:
    Text m_text;
};

/// What TLS showed of the other end.
struct PeerCertificate {
    long distrust = 0; ///< X509_V_ERR_… for which this computer does not vouch for it; 0 = it does
    bool namesHost = false;
    std::int64_t lifetime = 0; ///< seconds
    std::int64_t secondsLeft = 0;
    std::string protocol; ///< such as "TLSv1.3"
};

struct HubReply {
    int status = 0;
    std::string date; ///< the header's value, as are the next three; empty without one
    std::string location;
    std::string server;
    std::string via;
    std::string body;
};

/// What became of an attempt to open a socket and leave it idle.
struct SocketVisit {
    int status = 0; ///< of the upgrade: 101, or the refusal
    bool hello = false;
    int pings = 0;                       ///< that the hub sent in the idle time
    bool stayed = false;                 ///< open to the end of the idle time
    std::chrono::milliseconds lasted{0}; ///< how long nothing was sent before it ended
};

/// A client of a hub on another machine that believes nothing: each operation makes a connection
/// of its own to one address and is bounded in time and size. TLS is spoken with anyone; whether
/// the certificate is good is for the caller to judge. All but `resolve` and `connect` throw
/// VisitError.
class HubVisit {
public:
    static constexpr std::chrono::seconds kPatience{10}; ///< for each operation

    explicit HubVisit(HubAddress address);

    struct Request {
        std::string method;
        std::string path;
        std::string token{};
        std::string body{};
        bool fromPage = false; ///< as the hub's own page in a browser sends it
    };

    /// The addresses of the hub's host, 8 at most; empty when the name is not known.
    [[nodiscard]] boost::asio::awaitable<std::vector<boost::asio::ip::tcp::endpoint>> resolve();
    /// No error when someone accepts a connection there. The first that does is used from then on.
    [[nodiscard]] boost::asio::awaitable<boost::system::error_code>
    connect(boost::asio::ip::tcp::endpoint endpoint);
    [[nodiscard]] boost::asio::awaitable<PeerCertificate> certificate();
    [[nodiscard]] boost::asio::awaitable<HubReply> send(Request request);
    /// Opens the socket of this token, waits for "hello", then sends nothing for `idle`.
    [[nodiscard]] boost::asio::awaitable<SocketVisit> openSocket(std::string token,
                                                                 std::chrono::seconds idle);

private:
    /// A connection, ready to be written to.
    [[nodiscard]] boost::asio::awaitable<Stream> open() const;

    HubAddress m_address;
    std::shared_ptr<boost::asio::ssl::context> m_tls; ///< null for a plain address
    boost::asio::ip::tcp::endpoint m_endpoint;        ///< port 0 until one accepted
};

} // namespace sorrelwind::relay
