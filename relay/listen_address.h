#pragma once

#include <boost/asio/ip/address.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace sorrelwind::relay {

/// Where to listen: an IP address and a port, 0 for any free one.
struct ListenAddress {
    boost::asio::ip::address address;
    std::uint16_t port = 0;

    /// Reads "127.0.0.1:8787" or "[::1]:8787".
    [[nodiscard]] static std::optional<ListenAddress> parse(std::string_view text);
    /// The same form again.
    [[nodiscard]] std::string text() const;
};

} // namespace sorrelwind::relay
