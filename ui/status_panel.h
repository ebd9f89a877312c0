#pragma once

#include "ui/status_view.h"

#include <memory>

namespace sorrelwind {

class FloatingCard;

/// The panel that drops from the status item. The coordinator owns it and says when to show and
/// close it; it closes by itself on Escape, which withdraws an open question first, on a click
/// elsewhere and when the application loses the focus. The model outlives it.
class StatusPanelController {
public:
    StatusPanelController(AppModel& model, const L10n& l10n, StatusActions actions);
    ~StatusPanelController();
    StatusPanelController(const StatusPanelController&) = delete;
    StatusPanelController& operator=(const StatusPanelController&) = delete;

    void show();
    /// Does nothing when the panel is not shown.
    void close();
    /// False as soon as it begins to close.
    [[nodiscard]] bool isVisible() const;
    /// Fits the panel to its content anew, once for all calls of this turn of the event loop.
    void contentChanged();
    /// Where the status item is, asked at each placement; none while that is unknown.
    void setAnchor(std::function<std::optional<QRect>()> anchor);

    /// The shown panel has the pointer, so it is the one to hear that the status item's other
    /// button was pressed. It has closed by then.
    std::function<void()> onMenuRequested;

private:
    void place();
    void pressedOutside(QPoint place, Qt::MouseButton button);

    StatusView* m_view; // the panel's
    std::unique_ptr<FloatingCard> m_panel;
    std::function<std::optional<QRect>()> m_anchor;
    QTimer m_resize;
    bool m_shown = false;
};

} // namespace sorrelwind
