#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace sorrelwind::relay {

/// URL-safe base64 without padding (RFC 4648, section 5).
[[nodiscard]] std::string base64Url(std::span<const unsigned char> bytes);

/// How many bytes a text of standard base64 stands for; none if it is not strictly that: padding
/// present, no white space, the unused bits zero.
[[nodiscard]] std::optional<std::size_t> base64Size(std::string_view text);

} // namespace sorrelwind::relay
