#pragma once

#include "base/task.h"

#include <QString>

namespace sorrelwind {

class Network;

/// Where a hub listens that was started without options, or came as a service.
inline constexpr QLatin1StringView kHubOfThisComputer{"http://127.0.0.1:8787"};

/// Whether a hub answers at `server`, a canonical address. `network` outlives the wait.
[[nodiscard]] Task<bool> hubAnswers(const Network& network, QString server);

} // namespace sorrelwind
