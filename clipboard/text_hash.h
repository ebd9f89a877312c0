#pragma once

#include <QString>

namespace sorrelwind {

/// SHA-256 (FIPS 180-4) of the text's UTF-8 bytes as 64 lowercase hexadecimal digits.
[[nodiscard]] QString sha256Hex(const QString& text);

} // namespace sorrelwind
