#pragma once

#include "ui/controls/text_role.h"

#include <QVariantAnimation>
#include <QWidget>

namespace sorrelwind {

/// A dot of 7 × 7 that may breathe between full and weak. Nothing runs while it cannot be seen.
class StatusDot final : public QWidget {
    Q_OBJECT
public:
    explicit StatusDot(TextRole role, QWidget* parent = nullptr);

    void setRole(TextRole role);
    void setPulsing(bool pulsing);
    [[nodiscard]] bool isBreathing() const {
        return m_breath.state() == QAbstractAnimation::Running;
    }

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void breatheIfSeen();

    TextRole m_role;
    bool m_pulsing = false;
    QVariantAnimation m_breath; // opacity
};

} // namespace sorrelwind
