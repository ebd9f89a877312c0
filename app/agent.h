#pragma once

#include "app/command_line.h"

namespace sorrelwind {

class Defaults;
class L10n;

/// Runs the agent on one config directory until it is asked to end. Needs a QApplication, or with
/// --headless a QCoreApplication; puts together everything that lives as long as the program.
/// Returns the program's exit code.
[[nodiscard]] int runAgent(const CommandLine& line, Defaults& defaults, L10n& l10n);

/// Where there is no desktop: lets the agent that runs on this directory show itself, else says
/// that windows need a desktop. Needs a QCoreApplication. Returns the program's exit code.
[[nodiscard]] int failWithoutDesktop(const CommandLine& line, const L10n& l10n);

} // namespace sorrelwind
