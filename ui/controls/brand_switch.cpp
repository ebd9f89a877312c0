#include "ui/controls/brand_switch.h"

#include "ui/palette.h"

#include <QPainter>

namespace sorrelwind {

namespace {

constexpr QSize kSize(38, 22);
constexpr int kInset = 2;
constexpr int kFocusedInset = 4; // the ring needs room
constexpr int kSlideMs = 120;
constexpr qreal kDisabledOpacity = 0.45;

} // namespace

BrandSwitch::BrandSwitch(QWidget* parent) : Control(parent) {
    setCheckable(true);
    setFixedSize(kSize);
    m_slide.setDuration(kSlideMs);
    m_slide.setEasingCurve(QEasingCurve::InOutQuad);
    connect(&m_slide, &QVariantAnimation::valueChanged, this, [this] { update(); });
}

QSize BrandSwitch::sizeHint() const {
    return kSize;
}

void BrandSwitch::nextCheckState() {
    Control::nextCheckState();
    m_slide.stop();
    m_slide.setStartValue(isChecked() ? 0.0 : 1.0);
    m_slide.setEndValue(isChecked() ? 1.0 : 0.0);
    if (isVisible())
        m_slide.start();
}

void BrandSwitch::hideEvent(QHideEvent* event) {
    m_slide.stop();
    Control::hideEvent(event);
}

void BrandSwitch::paintEvent(QPaintEvent*) {
    const bool sliding = m_slide.state() == QAbstractAnimation::Running;
    const qreal at = sliding ? m_slide.currentValue().toReal() : (isChecked() ? 1 : 0);

    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (!isEnabled())
        painter.setOpacity(kDisabledOpacity);
    QColor off = Palette::Role::separatorStrong();
    QColor on = Brand::accent();
    if (hovered()) {
        off = mixed(off, Palette::Role::text(), 0.08);
        on = mixed(on, Palette::Product::sorrelwind().accentStrong, 0.4);
    }
    const qreal radius = height() / 2.0;
    painter.setPen(Qt::NoPen);
    painter.setBrush(mixed(off, on, at));
    painter.drawRoundedRect(rect(), radius, radius);

    const int inset = showsFocus(*this) ? kFocusedInset : kInset;
    const int knob = height() - 2 * inset;
    const QRectF box(inset + at * (width() - knob - 2 * inset), inset, knob, knob);
    painter.setBrush(QColor(0, 0, 0, 40));
    painter.drawEllipse(box.translated(0, 0.75));
    painter.setBrush(Palette::Neutral::s0());
    painter.drawEllipse(box);
    if (showsFocus(*this))
        paintFocusRing(painter, rect(), radius, Palette::Role::text());
}

} // namespace sorrelwind
