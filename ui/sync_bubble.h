#pragma once

#include "base/bubble_kind.h"
#include "ui/bubble_timeline.h"

#include <QRect>
#include <QString>
#include <QTimer>

#include <memory>
#include <optional>

namespace sorrelwind {

class FloatingCard;

/// The short confirmation under the status item after a copy: a capsule with an icon and one line
/// that comes and goes by itself. It takes neither focus nor clicks. The coordinator owns it and
/// decides when it may be seen.
class SyncBubble {
public:
    /// `visibleFor` is the time from a show to the start of the fade-out.
    explicit SyncBubble(std::chrono::milliseconds visibleFor);
    ~SyncBubble();
    SyncBubble(const SyncBubble&) = delete;
    SyncBubble& operator=(const SyncBubble&) = delete;

    void show(const QString& text, BubbleKind kind, std::optional<QRect> below);
    [[nodiscard]] bool isVisible() const;

    /// The capsule without its window.
    [[nodiscard]] static std::unique_ptr<QWidget> view(const QString& text, BubbleKind kind);

private:
    void step();

    std::unique_ptr<FloatingCard> m_panel; // made at the first show and then kept
    BubbleTimeline m_timeline;
    QTimer m_timer;
};

} // namespace sorrelwind
