#pragma once

#include "app/control_protocol.h"
#include "base/result.h"

#include <QString>

namespace sorrelwind {

enum class ControlFailure {
    notRunning, // nobody listens in this config directory
    noAnswer,   // the agent did not answer in time, or not as it should
};

/// Asks the agent that runs on `configDir` and waits for its answer, for about two minutes at most.
[[nodiscard]] Result<ControlReply, ControlFailure> askAgent(const QString& configDir,
                                                            const ControlRequest& request);

} // namespace sorrelwind
