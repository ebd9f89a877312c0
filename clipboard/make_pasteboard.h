#pragma once

#include "clipboard/pasteboard.h"

#include <QByteArray>

#include <chrono>
#include <memory>

namespace sorrelwind {

/// Which back-end to use; `automatic` takes Wayland where the compositor allows it, else X11.
enum class ClipboardChoice { automatic, wayland, x11 };

/// Where this session's servers listen, as the variables of the same names say.
struct ClipboardServers {
    QByteArray waylandDisplay = qgetenv("WAYLAND_DISPLAY");
    QByteArray display = qgetenv("DISPLAY");
};

/// The back-end of this choice; never null. Where it cannot be had, and where automatic finds none,
/// the result is one that is not available and says why. A copy that makes no progress for as long
/// as `patience` is given up.
[[nodiscard]] std::unique_ptr<Pasteboard>
makePasteboard(ClipboardChoice choice = ClipboardChoice::automatic,
               const ClipboardServers& servers = {},
               std::chrono::milliseconds patience = std::chrono::seconds(1));

} // namespace sorrelwind
