#pragma once

#include <QByteArray>

#include <optional>

namespace sorrelwind {

/// Standard base64 (RFC 4648, section 4) taken strictly: padding present, no white space, nothing
/// after it. None when `text` is anything else; empty text decodes to no bytes.
[[nodiscard]] std::optional<QByteArray> strictBase64Decode(QByteArrayView text);

/// Standard base64 with padding, without line breaks; at most 1.5 GiB of bytes.
[[nodiscard]] QByteArray base64Encode(QByteArrayView bytes);

} // namespace sorrelwind
