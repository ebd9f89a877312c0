#pragma once

#include <QString>

#include <optional>

namespace sorrelwind {

/// One line of standard input without its end; asked for by `prompt` on stderr, and not echoed,
/// when that is a terminal. None at its end, or when the line is over 4096 bytes or not UTF-8.
[[nodiscard]] std::optional<QString> readSecretLine(const QString& prompt);

[[nodiscard]] bool standardInputIsTerminal();

} // namespace sorrelwind
