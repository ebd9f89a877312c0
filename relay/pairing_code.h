#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace sorrelwind::relay {

/// A new pairing code of the shape "XXXX-XXXX", about 39.6 bits, every code equally likely.
[[nodiscard]] std::string newPairingCode();

/// What a typed code is compared by: its letters and digits in upper case, without separators.
/// None if they cannot be a code.
[[nodiscard]] std::optional<std::string> canonicalCode(std::string_view typed);

} // namespace sorrelwind::relay
