#include "ui/onboarding/link_button.h"

#include "ui/palette.h"
#include "ui/text_font.h"

#include <QFontMetrics>
#include <QPainter>

namespace sorrelwind {

LinkButton::LinkButton(QWidget* parent) : Control(parent) {
    setFont(textFont(Palette::TextSize::footnote));
    setCursor(Qt::PointingHandCursor);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

QSize LinkButton::sizeHint() const {
    return {QFontMetrics(font()).horizontalAdvance(text()) + 2 * Palette::Space::s3, 28};
}

void LinkButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (hovered() || isDown()) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(isDown() ? Palette::Role::fillStrong() : Palette::Role::fill());
        painter.drawRoundedRect(rect(), 8, 8);
    }
    painter.setFont(font());
    painter.setPen(hovered() ? Palette::Role::text() : Palette::Role::textSecondary());
    painter.drawText(rect(), Qt::AlignCenter, text());
    if (showsFocus(*this))
        paintFocusRing(painter, rect(), 8, Palette::Role::focus());
}

} // namespace sorrelwind
