#pragma once

#include <string_view>

namespace sorrelwind::relay {

/// Whether an Accept-Encoding header's value names `coding` without refusing it (RFC 9110, 12.5.3).
/// "*" is not taken: who means a coding says so.
[[nodiscard]] bool acceptsEncoding(std::string_view header, std::string_view coding);

/// Whether an If-None-Match header's value names `etag`, by the weak comparison (RFC 9110, 13.1.2).
[[nodiscard]] bool namesEtag(std::string_view header, std::string_view etag);

} // namespace sorrelwind::relay
