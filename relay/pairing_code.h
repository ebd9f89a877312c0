#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace sorrelwind::relay {

/// A new pairing code of the shape "XXXX-XXXX", about 39.6 bits, every code equally likely.
[[nodiscard]] std::string newPairingCode();

/// How many wrong codes a minute may be tried in all while so many codes are alive: the chance that
/// any of a day's guesses hits stays below one in a million, where that allows 100 at least.
[[nodiscard]] int allowedGuesses(std::int64_t liveCodes);

/// What a typed code is compared by: its letters and digits in upper case, without separators.
/// None if they cannot be a code.
[[nodiscard]] std::optional<std::string> canonicalCode(std::string_view typed);

} // namespace sorrelwind::relay
