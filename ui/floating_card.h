#pragma once

#include <QVariantAnimation>
#include <QWidget>

#include <chrono>
#include <functional>
#include <optional>

namespace sorrelwind {

/// The frameless window that hangs from the status item: a rounded card with a soft shadow around
/// it. Its owner gives it one content and says where the card goes; the shadow's margin is its own
/// affair. Without a compositor there is neither shadow nor roundness: the card has square corners
/// and a line around it.
class FloatingCard : public QWidget {
    Q_OBJECT
public:
    /// `shadow` is how far the shadow reaches, `radius` that of the corners.
    FloatingCard(Qt::WindowFlags flags, int radius, int shadow);

    /// Replaces the content, which fills the card from now on and belongs to it.
    void setContent(QWidget* content);
    /// Places a card of `size` `gap` below the status item, or lets the desktop place it.
    void placeUnder(std::optional<QRect> anchor, QSize size, int gap);
    /// The card without its shadow, in this window's coordinates.
    [[nodiscard]] QRect cardRect() const;
    /// The tallest card that placeUnder can show whole.
    [[nodiscard]] static int tallest(std::optional<QRect> anchor, int gap);

    /// Of the whole window, at once on the screen.
    void setOpacity(double opacity);
    /// Animates the opacity from what it is; `done` follows only when nothing else came between.
    void fadeTo(double opacity, std::chrono::milliseconds duration,
                std::function<void()> done = {});

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    int m_radius;
    int m_shadow;
    bool m_composited = true;
    QWidget* m_content = nullptr;
    QVariantAnimation m_fade;
};

} // namespace sorrelwind
