#pragma once

#include <array>
#include <string>
#include <string_view>

namespace sorrelwind::relay {

using Digest = std::array<unsigned char, 32>;

/// SHA-256, the only form in which tokens and pairing codes are stored.
[[nodiscard]] Digest sha256(std::string_view text);

/// A new group or device id: 128 random bits as 22 URL-safe characters, of which the first
/// is not "-": people type ids on command lines.
[[nodiscard]] std::string newId();

/// A new device token: the group's id, ".", and 256 random bits in URL-safe base64.
[[nodiscard]] std::string newToken(std::string_view group);

} // namespace sorrelwind::relay
