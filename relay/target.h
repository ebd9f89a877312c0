#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace sorrelwind::relay {

/// The path of a request target, without query.
[[nodiscard]] std::string_view pathOf(std::string_view target);

/// The percent-decoded value of the first query item `name`; none if it is missing or its escapes
/// are broken. "+" stands for itself, as it does in the URLs that WebSocket clients build.
[[nodiscard]] std::optional<std::string> queryItem(std::string_view target, std::string_view name);

/// The token of an "Authorization: Bearer" header's value (RFC 6750); empty if it has none.
[[nodiscard]] std::string_view bearerToken(std::string_view authorization);

} // namespace sorrelwind::relay
