#pragma once

#include "app/command_line.h"

namespace sorrelwind {

/// Runs "passphrase": derives the key here, where it can be interrupted, and hands it to the agent
/// that runs, which tries it; without one the account gets it. Returns the exit code.
[[nodiscard]] int runPassphrase(const CommandLine& line, const L10n& l10n);

} // namespace sorrelwind
