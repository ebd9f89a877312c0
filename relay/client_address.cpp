#include "relay/client_address.h"

#include <algorithm>
#include <charconv>

namespace sorrelwind::relay {

namespace {

namespace ip = boost::asio::ip;

/// An IPv4 address that came in as ::ffff:a.b.c.d is the IPv4 address.
Address unmapped(const Address& address) {
    if (address.is_v6() && address.to_v6().is_v4_mapped())
        return ip::make_address_v4(ip::v4_mapped, address.to_v6());
    return address;
}

std::optional<Address> parseAddress(std::string_view text) {
    // Longer texts cannot be addresses, and the parser wants a terminated copy.
    if (text.empty() || text.size() > 64)
        return std::nullopt;
    boost::system::error_code error;
    const auto address = ip::make_address(std::string(text), error);
    if (error)
        return std::nullopt;
    return unmapped(address);
}

/// A hop as proxies write it: an address, with a port or in brackets or both.
std::optional<Address> parseHop(std::string_view hop) {
    while (!hop.empty() && (hop.front() == ' ' || hop.front() == '\t'))
        hop.remove_prefix(1);
    while (!hop.empty() && (hop.back() == ' ' || hop.back() == '\t'))
        hop.remove_suffix(1);
    if (hop.starts_with('[')) {
        const auto end = hop.find(']');
        return end == std::string_view::npos ? std::nullopt : parseAddress(hop.substr(1, end - 1));
    }
    if (std::count(hop.begin(), hop.end(), ':') == 1)
        hop = hop.substr(0, hop.find(':'));
    return parseAddress(hop);
}

template <std::size_t N>
bool samePrefix(const std::array<unsigned char, N>& a, const std::array<unsigned char, N>& b,
                int bits) {
    for (std::size_t i = 0; i < N && bits > 0; ++i, bits -= 8) {
        const unsigned mask = bits >= 8 ? 0xffu : 0xffu << (8 - bits);
        if (((a[i] ^ b[i]) & mask & 0xffu) != 0)
            return false;
    }
    return true;
}

} // namespace

std::optional<Cidr> Cidr::parse(std::string_view text) {
    const auto slash = text.find('/');
    const auto network = parseAddress(text.substr(0, slash));
    if (!network)
        return std::nullopt;
    const int width = network->is_v4() ? 32 : 128;
    int prefix = width;
    if (slash != std::string_view::npos) {
        const auto digits = text.substr(slash + 1);
        const auto [end, error] =
            std::from_chars(digits.data(), digits.data() + digits.size(), prefix);
        if (error != std::errc() || end != digits.data() + digits.size() || prefix < 0 ||
            prefix > width)
            return std::nullopt;
    }
    return Cidr(*network, prefix);
}

bool Cidr::contains(const Address& address) const {
    const auto plain = unmapped(address);
    if (plain.is_v4() != m_network.is_v4())
        return false;
    return plain.is_v4()
               ? samePrefix(plain.to_v4().to_bytes(), m_network.to_v4().to_bytes(), m_prefix)
               : samePrefix(plain.to_v6().to_bytes(), m_network.to_v6().to_bytes(), m_prefix);
}

bool isTrusted(const Address& peer, const std::vector<Cidr>& trusted) {
    return std::any_of(trusted.begin(), trusted.end(),
                       [&](const Cidr& range) { return range.contains(peer); });
}

Address clientAddress(const Address& peer, std::string_view forwardedFor,
                      const std::vector<Cidr>& trusted) {
    Address client = unmapped(peer);
    while (!forwardedFor.empty() && isTrusted(client, trusted)) {
        const auto comma = forwardedFor.rfind(',');
        const auto hop = parseHop(forwardedFor.substr(comma + 1)); // npos + 1 is 0
        if (!hop)
            break;
        client = *hop;
        forwardedFor = forwardedFor.substr(0, comma == std::string_view::npos ? 0 : comma);
    }
    return client;
}

std::string limitKey(const Address& address) {
    const auto plain = unmapped(address);
    if (plain.is_v4())
        return plain.to_string();
    auto bytes = plain.to_v6().to_bytes();
    std::fill(bytes.begin() + 8, bytes.end(), static_cast<unsigned char>(0));
    return ip::address_v6(bytes).to_string() + "/64";
}

} // namespace sorrelwind::relay
