#pragma once

#include "relay/options.h"

namespace sorrelwind::relay {

/// Whether a hub could start with these options, as the user who asks: says each fault in a line of
/// its own, makes and changes nothing. Returns the exit status: 0, or 2 when something is wrong.
[[nodiscard]] int checkOptions(const Options& options);

} // namespace sorrelwind::relay
