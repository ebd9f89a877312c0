#pragma once

#include <QString>

namespace sorrelwind {

/// `text` as a QR code (ISO/IEC 18004) of half-height block characters with its quiet zone, dark on
/// light; lines end in "\n". With `colours`, ANSI colours fix dark and light whatever the
/// terminal's are; without, light modules are drawn, as fits a dark terminal. Empty when `text` is
/// too long.
[[nodiscard]] QString terminalQr(const QString& text, bool colours);

} // namespace sorrelwind
