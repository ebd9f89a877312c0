#pragma once

#include "app/command_line.h"

#include <QString>

namespace sorrelwind {

class Defaults;
class L10n;

/// Carries out `create` or `join`: makes the membership, saves it, and tells a running agent. Needs
/// a QCoreApplication and runs its event loop. Returns the program's exit code.
[[nodiscard]] int runSetup(const CommandLine& line, Defaults& defaults, const L10n& l10n);

} // namespace sorrelwind
