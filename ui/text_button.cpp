#include "ui/text_button.h"

#include "ui/palette.h"
#include "ui/symbol.h"
#include "ui/text_font.h"

#include <QPainter>

namespace sorrelwind {

namespace {

constexpr int kHeight = 28;
constexpr int kPadding = 6;
constexpr int kSymbol = 14;

} // namespace

TextButton::TextButton(const QString& symbol, QWidget* parent) : Control(parent), m_symbol(symbol) {
    setFont(textFont(Palette::TextSize::footnote, QFont::DemiBold));
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

QSize TextButton::sizeHint() const {
    return {2 * kPadding + kSymbol + Palette::Space::s1 + fontMetrics().horizontalAdvance(text()) +
                1,
            kHeight};
}

void TextButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (hovered() || isDown()) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(isDown() ? Palette::Role::fillStrong() : Palette::Role::fill());
        painter.drawRoundedRect(rect(), Palette::Radius::xs, Palette::Radius::xs);
    }
    paintSymbol(painter, m_symbol, QRectF(kPadding, (height() - kSymbol) / 2.0, kSymbol, kSymbol),
                Brand::accentText());
    painter.setPen(Brand::accentText());
    painter.setFont(font());
    painter.drawText(rect().adjusted(kPadding + kSymbol + Palette::Space::s1, 0, 0, 0),
                     Qt::AlignVCenter, text());
    if (showsFocus(*this))
        paintFocusRing(painter, rect(), Palette::Radius::xs, Palette::Role::focus());
}

} // namespace sorrelwind
