#include "ui/spring_mark.h"

#include "ui/palette.h"
#include "ui/symbol.h"

#include <QPainter>

#include <cmath>
#include <numbers>

namespace sorrelwind {

namespace {

constexpr double kResponse = 0.45;
constexpr double kDamping = 0.65;
constexpr double kRest = 1.0; // seconds, by when it no longer moves visibly

} // namespace

SpringMark::SpringMark(int size, QWidget* parent) : QWidget(parent), m_seconds(this) {
    const int room = size + size / 5; // it overshoots
    setFixedSize(room, room);
    m_seconds.setStartValue(0.0);
    m_seconds.setEndValue(kRest);
    m_seconds.setDuration(static_cast<int>(kRest * 1000));
    connect(&m_seconds, &QVariantAnimation::valueChanged, this, [this] { update(); });
}

double SpringMark::springAt(double seconds) {
    const double omega = 2 * std::numbers::pi / kResponse;
    const double damped = omega * std::sqrt(1 - kDamping * kDamping);
    return 1 - std::exp(-kDamping * omega * seconds) *
                   (std::cos(damped * seconds) +
                    kDamping * omega / damped * std::sin(damped * seconds));
}

void SpringMark::paintEvent(QPaintEvent*) {
    // At rest, or in a picture of a window that is not shown, it has its full size.
    const bool moves = m_seconds.state() == QAbstractAnimation::Running;
    const double scale = moves ? springAt(m_seconds.currentValue().toDouble()) : 1;
    const double side = width() / 1.2 * scale;
    QPainter painter(this);
    paintSymbol(painter, QStringLiteral("checkmark.circle.fill"),
                QRectF((width() - side) / 2, (height() - side) / 2, side, side),
                Palette::Role::success(), Palette::Role::bg());
}

void SpringMark::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    m_seconds.start();
}

void SpringMark::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    m_seconds.stop();
}

} // namespace sorrelwind
