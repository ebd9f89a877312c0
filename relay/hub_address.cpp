#include "relay/hub_address.h"

#include <boost/asio/ip/address.hpp>

#include <algorithm>
#include <charconv>

namespace sorrelwind::relay {

namespace {

bool isHostCharacter(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte >= 0x80 || std::isalnum(byte) || c == '-' || c == '.' || c == '_';
}

bool isIpv6(const std::string& text) {
    boost::system::error_code error;
    boost::asio::ip::make_address_v6(text, error);
    return !error;
}

} // namespace

std::optional<HubAddress> HubAddress::parse(std::string_view text) {
    constexpr std::size_t kMaxHost = 253; // of a name in the DNS
    HubAddress address;
    if (const auto colon = text.find("://"); colon != std::string_view::npos) {
        const auto scheme = text.substr(0, colon);
        address.tls = scheme == "https" || scheme == "wss";
        if (!address.tls && scheme != "http" && scheme != "ws")
            return std::nullopt;
        text.remove_prefix(colon + 3);
    }
    address.port = address.tls ? 443 : 80;

    const auto end = text.find_first_of("/?#");
    address.hasPath = end != std::string_view::npos && text[end] == '/' && end + 1 < text.size() &&
                      text[end + 1] != '?' && text[end + 1] != '#';
    text = text.substr(0, end);

    const bool bracketed = text.starts_with('[');
    const auto hostEnd = bracketed ? text.find(']') : std::min(text.find(':'), text.size());
    if (hostEnd == std::string_view::npos)
        return std::nullopt;
    address.host = text.substr(bracketed, hostEnd - bracketed);
    auto rest = text.substr(hostEnd + bracketed);
    if (address.host.empty() || address.host.size() > kMaxHost ||
        !(bracketed ? isIpv6(address.host) : std::ranges::all_of(address.host, isHostCharacter)))
        return std::nullopt;

    if (rest.empty() || rest == ":")
        return address;
    if (rest.front() != ':')
        return std::nullopt;
    rest.remove_prefix(1);
    const auto [stop, error] =
        std::from_chars(rest.data(), rest.data() + rest.size(), address.port);
    if (error != std::errc() || stop != rest.data() + rest.size() || address.port == 0)
        return std::nullopt;
    return address;
}

std::string HubAddress::authority() const {
    std::string text = host.find(':') == std::string::npos ? host : '[' + host + ']';
    if (port != (tls ? 443 : 80))
        text += ':' + std::to_string(port);
    return text;
}

std::string HubAddress::text() const {
    return (tls ? "https://" : "http://") + authority();
}

bool HubAddress::isLoopback() const {
    boost::system::error_code error;
    const auto ip = boost::asio::ip::make_address(host, error);
    return error ? host == "localhost" : ip.is_loopback();
}

} // namespace sorrelwind::relay
