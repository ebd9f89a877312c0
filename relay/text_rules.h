#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace sorrelwind::relay {

/// A device's name as it is stored: trimmed of white space, then 1 to 64 Unicode characters, none
/// of them a control character or a line break, nor one that turns the direction of its neighbours
/// or hides, except inside emoji. None if `text` (valid UTF-8) cannot be one.
[[nodiscard]] std::optional<std::string> deviceName(std::string_view text);

/// The word by which a device tells its kind: 1 to 32 characters of a-z, 0-9 and "-".
[[nodiscard]] bool isPlatform(std::string_view text);

/// 1 to `maxLength` printable ASCII characters.
[[nodiscard]] bool isPrintable(std::string_view text, std::size_t maxLength);

} // namespace sorrelwind::relay
