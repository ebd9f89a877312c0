#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace sorrelwind::relay {

/// Where a hub is, as its devices are told: scheme, host and port. What else a URL may hold, such
/// as the key in a pairing link's fragment, is dropped unread.
struct HubAddress {
    bool tls = true;
    std::string host; ///< a name or an IP address, without the brackets of IPv6
    std::uint16_t port = 443;
    bool hasPath = false; ///< a path other than "/" was dropped

    /// Reads "https://hub.example:8443"; also http, wss and ws, and https when there is no scheme.
    /// None for anything else, names of users included.
    [[nodiscard]] static std::optional<HubAddress> parse(std::string_view text);

    /// Host and port as a request's Host header has them (RFC 9110): the usual port is left out.
    [[nodiscard]] std::string authority() const;
    [[nodiscard]] std::string text() const;
    /// Whether it names this computer itself.
    [[nodiscard]] bool isLoopback() const;
};

} // namespace sorrelwind::relay
