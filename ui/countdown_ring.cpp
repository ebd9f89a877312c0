#include "ui/countdown_ring.h"

#include "ui/palette.h"
#include "ui/text_font.h"

#include <QPainter>

namespace sorrelwind {

CountdownRing::CountdownRing(QWidget* parent) : QWidget(parent) {
    setFixedSize(44, 44);
    m_arc.setDuration(250);
    m_arc.setStartValue(0.0);
    m_arc.setEndValue(0.0);
    connect(&m_arc, &QVariantAnimation::valueChanged, this, [this] { update(); });
}

qint64 CountdownRing::remaining(const QDateTime& expiresAt, const QDateTime& now) {
    return std::max<qint64>(0, now.msecsTo(expiresAt) / 1000);
}

QString CountdownRing::label(const QDateTime& expiresAt, const QDateTime& now, bool expired) {
    const qint64 seconds = expired ? 0 : remaining(expiresAt, now);
    return QStringLiteral("%1:%2").arg(seconds / 60).arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

double CountdownRing::progress(const QDateTime& expiresAt, const QDateTime& now, double total) {
    // The hub's clock may run ahead of ours.
    return std::min(1.0, static_cast<double>(remaining(expiresAt, now)) / total);
}

void CountdownRing::setTime(const QDateTime& expiresAt, const QDateTime& now, bool expired) {
    m_label = label(expiresAt, now, expired);
    setAccessibleName(m_label);
    const double target = expired ? 0 : progress(expiresAt, now, kTotal);
    if (m_arc.endValue().toDouble() != target) {
        const QVariant from = isVisible() ? m_arc.currentValue() : QVariant(target);
        m_arc.stop();
        m_arc.setStartValue(from);
        m_arc.setEndValue(target);
        isVisible() ? m_arc.start() : m_arc.setCurrentTime(m_arc.duration());
    }
    update();
}

void CountdownRing::paintEvent(QPaintEvent*) {
    constexpr double kStroke = 3;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF ring =
        QRectF(rect()).adjusted(kStroke / 2, kStroke / 2, -kStroke / 2, -kStroke / 2);
    painter.setPen(QPen(Palette::Role::fillStrong(), kStroke));
    painter.drawEllipse(ring);
    // Qt counts sixteenths of a degree, anticlockwise from three o'clock.
    painter.setPen(QPen(Brand::accent(), kStroke, Qt::SolidLine, Qt::RoundCap));
    const double part = m_arc.currentValue().toDouble();
    if (part > 0)
        painter.drawArc(ring, 90 * 16, static_cast<int>(-part * 360 * 16));
    painter.setPen(Palette::Role::text());
    painter.setFont(textFont(Palette::TextSize::caption, QFont::DemiBold));
    painter.drawText(rect(), Qt::AlignCenter, m_label);
}

} // namespace sorrelwind
