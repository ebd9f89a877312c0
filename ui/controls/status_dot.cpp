#include "ui/controls/status_dot.h"

#include <QPainter>

namespace sorrelwind {

namespace {

constexpr int kSide = 7;
constexpr qreal kWeak = 0.35;
constexpr int kBreathMs = 1600; // out and in again

} // namespace

StatusDot::StatusDot(TextRole role, QWidget* parent) : QWidget(parent), m_role(role) {
    setFixedSize(kSide, kSide);
    m_breath.setDuration(kBreathMs);
    m_breath.setLoopCount(-1);
    m_breath.setEasingCurve(QEasingCurve::Linear);
    m_breath.setKeyValueAt(0, 0.0);
    m_breath.setKeyValueAt(0.5, 1.0);
    m_breath.setKeyValueAt(1, 0.0);
    connect(&m_breath, &QVariantAnimation::valueChanged, this, [this] { update(); });
}

void StatusDot::setRole(TextRole role) {
    if (m_role == role)
        return;
    m_role = role;
    update();
}

void StatusDot::setPulsing(bool pulsing) {
    if (m_pulsing == pulsing)
        return;
    m_pulsing = pulsing;
    breatheIfSeen();
    update();
}

void StatusDot::breatheIfSeen() {
    const bool wanted = m_pulsing && isVisible();
    if (wanted && !isBreathing())
        m_breath.start();
    else if (!wanted)
        m_breath.stop();
}

void StatusDot::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    breatheIfSeen();
}

void StatusDot::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    breatheIfSeen();
}

void StatusDot::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (isBreathing()) {
        static const QEasingCurve kEase(QEasingCurve::InOutQuad);
        const qreal at = kEase.valueForProgress(m_breath.currentValue().toReal());
        painter.setOpacity(1 - (1 - kWeak) * at);
    }
    painter.setPen(Qt::NoPen);
    painter.setBrush(textColour(m_role));
    painter.drawEllipse(rect());
}

} // namespace sorrelwind
