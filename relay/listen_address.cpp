#include "relay/listen_address.h"

#include <charconv>

namespace sorrelwind::relay {

std::optional<ListenAddress> ListenAddress::parse(std::string_view text) {
    const auto colon = text.rfind(':');
    if (colon == std::string_view::npos || colon > 64)
        return std::nullopt;
    auto host = text.substr(0, colon);
    const bool bracketed = host.starts_with('[') && host.ends_with(']');
    if (bracketed)
        host = host.substr(1, host.size() - 2);
    boost::system::error_code error;
    ListenAddress result{boost::asio::ip::make_address(std::string(host), error), 0};
    if (error || result.address.is_v6() != bracketed)
        return std::nullopt;

    const auto digits = text.substr(colon + 1);
    const auto [end, bad] =
        std::from_chars(digits.data(), digits.data() + digits.size(), result.port);
    if (bad != std::errc() || end != digits.data() + digits.size())
        return std::nullopt;
    return result;
}

std::string ListenAddress::text() const {
    const auto host = address.to_string();
    return (address.is_v6() ? '[' + host + ']' : host) + ':' + std::to_string(port);
}

} // namespace sorrelwind::relay
