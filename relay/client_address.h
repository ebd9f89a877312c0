#pragma once

#include <boost/asio/ip/address.hpp>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sorrelwind::relay {

using Address = boost::asio::ip::address;

/// A range of addresses such as "10.0.0.0/8", "::1" or "fd00::/8".
class Cidr {
public:
    [[nodiscard]] static std::optional<Cidr> parse(std::string_view text);

    [[nodiscard]] bool contains(const Address& address) const;

private:
    Cidr(const Address& network, int prefix) : m_network(network), m_prefix(prefix) {}

    Address m_network;
    int m_prefix;
};

[[nodiscard]] bool isTrusted(const Address& peer, const std::vector<Cidr>& trusted);

/// The address of the person's machine: the peer's, unless the peer is a trusted proxy. Then it is
/// the right-most hop of X-Forwarded-For that is not one; hops left of it could be made up.
[[nodiscard]] Address clientAddress(const Address& peer, std::string_view forwardedFor,
                                    const std::vector<Cidr>& trusted);

/// What limits by address go by: the IPv4 address, or the /64 network of an IPv6 address, which is
/// what one customer is given.
[[nodiscard]] std::string limitKey(const Address& address);

} // namespace sorrelwind::relay
