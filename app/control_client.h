#pragma once

#include "app/control_protocol.h"
#include "base/l10n.h"
#include "base/result.h"

#include <QString>

#include <functional>

namespace sorrelwind {

enum class ControlFailure {
    notRunning, // nobody listens in this config directory
    forbidden,  // the directory, or the agent in it, is another user's
    noAnswer,   // the agent did not answer in time, or not as it should
};

/// One sentence for the user.
[[nodiscard]] QString sentence(ControlFailure reason, const QString& configDir, Lang lang);

/// Asks the agent that runs on `configDir` and waits for its answer, for about two minutes at most.
[[nodiscard]] Result<ControlReply, ControlFailure> askAgent(const QString& configDir,
                                                            const ControlRequest& request);

/// Asks, and hands over every reply until the agent closes the connection or `onReply` says that it
/// wants no more. Returns why it ended.
[[nodiscard]] ControlFailure followAgent(const QString& configDir, const ControlRequest& request,
                                         const std::function<bool(const ControlReply&)>& onReply);

} // namespace sorrelwind
