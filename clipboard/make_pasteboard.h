#pragma once

#include "clipboard/pasteboard.h"

#include <QByteArray>

#include <memory>

namespace sorrelwind {

/// The best back-end that this session offers; never null. Without any it is one that is not
/// available and says why. `display` names the X server, as the variable DISPLAY does.
[[nodiscard]] std::unique_ptr<Pasteboard>
makePasteboard(const QByteArray& display = qgetenv("DISPLAY"));

} // namespace sorrelwind
