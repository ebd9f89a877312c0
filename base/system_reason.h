#pragma once

#include "base/l10n.h"

namespace sorrelwind {

/// Why the system refused, in a few words, by an errno value. Its own words are in its own
/// language.
[[nodiscard]] Sentence systemReason(int error);

} // namespace sorrelwind
