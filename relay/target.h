#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace sorrelwind::relay {

/// The path of a request target, without query; an absolute-form target (RFC 9112, 3.2.2) has one
/// as well.
[[nodiscard]] std::string_view pathOf(std::string_view target);

/// The host and port of an absolute-form target, which stand for those of the Host header; empty
/// for any other target.
[[nodiscard]] std::string_view authorityOf(std::string_view target);

/// Whether `origin` (RFC 6454), as browsers send it, is the one of a page of this `host`. Without
/// TLS of the hub's own there may be a proxy that has it, so https is right as well.
[[nodiscard]] bool isOwnOrigin(std::string_view origin, std::string_view host, bool tls);

/// Whether a Content-Type, whatever its parameters, says JSON.
[[nodiscard]] bool isJsonType(std::string_view contentType);

/// The percent-decoded value of the first query item `name`; none if it is missing or its escapes
/// are broken. "+" stands for itself, as it does in the URLs that WebSocket clients build.
[[nodiscard]] std::optional<std::string> queryItem(std::string_view target, std::string_view name);

/// The token of an "Authorization: Bearer" header's value (RFC 6750); empty if it has none.
[[nodiscard]] std::string_view bearerToken(std::string_view authorization);

} // namespace sorrelwind::relay
