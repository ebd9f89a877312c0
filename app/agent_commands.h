#pragma once

#include "app/command_line.h"

namespace sorrelwind {

class L10n;

/// Carries out a command that the running agent answers (status, devices, pair, remove, …) and
/// prints the answer. Returns the program's exit code.
[[nodiscard]] int runAgentCommand(const CommandLine& line, const L10n& l10n);

} // namespace sorrelwind
