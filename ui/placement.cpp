#include "ui/placement.h"

#include <algorithm>

namespace sorrelwind {

namespace {

constexpr int kMargin = 8;
constexpr int kFromRight = 200;
// Room left for a panel that does not say how much of the screen it takes.
constexpr int kStatusBarThickness = 24;

/// Shifts the frame into the free part; what is larger keeps its left and its top.
QRect clamped(QRect frame, const QRect& visible) {
    const int right = visible.x() + visible.width() - kMargin - frame.width();
    const int bottom = visible.y() + visible.height() - kMargin - frame.height();
    frame.moveLeft(std::max(std::min(frame.x(), right), visible.x() + kMargin));
    frame.moveTop(std::max(std::min(frame.y(), bottom), visible.y()));
    return frame;
}

const ScreenGeometry& screenOf(const QRect& anchor, const QList<ScreenGeometry>& screens) {
    const auto found = std::ranges::find_if(screens, [&](const ScreenGeometry& screen) {
        return screen.frame.contains(anchor.center());
    });
    return found == screens.end() ? screens.front() : *found;
}

} // namespace

QRect frameUnder(QSize size, std::optional<QRect> anchor, const QList<ScreenGeometry>& screens,
                 int gap) {
    QRect frame(QPoint(), size);
    if (screens.isEmpty())
        return frame;
    if (!anchor) {
        const ScreenGeometry& main = screens.front();
        const bool barAtTop = main.visible.y() > main.frame.y();
        frame.moveTo(main.frame.x() + main.frame.width() - kFromRight - size.width(),
                     barAtTop ? main.visible.y() : main.frame.y() + kStatusBarThickness);
        return clamped(frame, main.visible);
    }
    const QRect& visible = screenOf(*anchor, screens).visible;
    const int x = anchor->x() + anchor->width() / 2 - size.width() / 2;
    frame.moveTo(x, anchor->y() + anchor->height() + gap);
    frame = clamped(frame, visible);
    if (frame.intersects(*anchor)) {
        frame.moveTo(x, anchor->y() - gap - size.height());
        frame = clamped(frame, visible);
    }
    return frame;
}

int tallestUnder(std::optional<QRect> anchor, const QList<ScreenGeometry>& screens, int gap) {
    if (screens.isEmpty())
        return 0;
    const QRect visible = anchor ? screenOf(*anchor, screens).visible : screens.front().visible;
    const QRect free = visible.adjusted(0, kMargin, 0, -kMargin);
    // Beside an icon in a panel at the left or right there is room from top to bottom.
    if (!anchor || anchor->right() < visible.left() || anchor->left() > visible.right())
        return free.height();
    const int below = free.bottom() - std::max(free.top() - 1, anchor->bottom() + gap);
    const int above = std::min(free.bottom() + 1, anchor->top() - gap) - free.top();
    return std::max(below, above);
}

} // namespace sorrelwind
