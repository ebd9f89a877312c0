#pragma once

#include <QList>
#include <QRect>
#include <QSize>

#include <optional>

namespace sorrelwind {

/// A screen in the desktop's coordinates: all of it, and what panels and docks leave free.
struct ScreenGeometry {
    QRect frame, visible;
};

/// Where a pop-up of `size` goes: centred under `anchor`, the icon in the tray, `gap` below it, and
/// kept 8 inside the free part of the icon's screen. Where that would cover the icon, as with a
/// panel at the bottom of the screen, it goes above. Without an anchor it hangs at the top right of
/// the main screen, which is the first one. Logical pixels, y grows downwards.
[[nodiscard]] QRect frameUnder(QSize size, std::optional<QRect> anchor,
                               const QList<ScreenGeometry>& screens, int gap);

/// The greatest height with which a pop-up fits there, without covering the icon.
[[nodiscard]] int tallestUnder(std::optional<QRect> anchor, const QList<ScreenGeometry>& screens,
                               int gap);

} // namespace sorrelwind
