#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace sorrelwind {

/// Standard base64 (RFC 4648, section 4) taken strictly: padding present, no white space, nothing
/// after it. None when `text` is anything else; empty text decodes to no bytes.
[[nodiscard]] std::optional<QByteArray> strictBase64Decode(QByteArrayView text);

/// Appends `bytes` in standard base64 with padding, without line breaks.
void appendBase64(QString& text, QByteArrayView bytes);

} // namespace sorrelwind
