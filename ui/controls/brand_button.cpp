#include "ui/controls/brand_button.h"

#include "ui/palette.h"
#include "ui/symbol.h"
#include "ui/text_font.h"

#include <QPainter>
#include <QtMath>

namespace sorrelwind {

namespace {

constexpr int kHeight = 34;
constexpr int kPadding = Palette::Space::s4;
constexpr int kSymbolSize = 16;
constexpr int kSymbolGap = 7;
constexpr qreal kDisabledOpacity = 0.45;

} // namespace

BrandButton::BrandButton(Kind kind, bool wide, QWidget* parent) : Control(parent), m_kind(kind) {
    setFont(textFont(Palette::TextSize::footnote, QFont::DemiBold));
    setSizePolicy(wide ? QSizePolicy::Expanding : QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void BrandButton::setSymbol(const QString& name) {
    if (m_symbol == name)
        return;
    m_symbol = name;
    updateGeometry();
    update();
}

int BrandButton::contentWidth() const {
    const int text = qCeil(QFontMetricsF(font()).horizontalAdvance(this->text())) + 1;
    if (m_symbol.isEmpty())
        return text;
    return kSymbolSize + kSymbolGap + text;
}

QSize BrandButton::sizeHint() const {
    return {contentWidth() + 2 * kPadding, kHeight};
}

QSize BrandButton::minimumSizeHint() const {
    return {2 * kPadding, kHeight};
}

QColor BrandButton::background() const {
    switch (m_kind) {
    case Kind::primary:
        if (isDown())
            return Palette::Product::sorrelwind().accentStrong;
        return mixed(Brand::accent(), Palette::Product::sorrelwind().accentStrong,
                     hovered() ? 0.4 : 0);
    case Kind::secondary:
        return mixed(Palette::Role::fillStrong(), Palette::Role::text(),
                     isDown() ? 0.12 : (hovered() ? 0.05 : 0));
    case Kind::destructive:
        break;
    }
    const qreal tint = Palette::isDark() ? 0.14 : 0.09;
    return mixed(Palette::Role::surface(), Palette::Role::danger(),
                 tint + (isDown() ? 0.1 : (hovered() ? 0.04 : 0)));
}

QColor BrandButton::foreground() const {
    switch (m_kind) {
    case Kind::primary:
        return Brand::onAccent();
    case Kind::secondary:
        return Palette::Role::text();
    case Kind::destructive:
        break;
    }
    return Palette::Role::danger();
}

void BrandButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (!isEnabled())
        painter.setOpacity(kDisabledOpacity);
    painter.setPen(Qt::NoPen);
    painter.setBrush(background());
    painter.drawRoundedRect(rect(), Palette::Radius::sm, Palette::Radius::sm);

    const QColor colour = foreground();
    const int width = qMin(contentWidth(), this->width() - Palette::Space::s2);
    QRect content((this->width() - width) / 2, 0, width, height());
    if (!m_symbol.isEmpty()) {
        paintSymbol(painter, m_symbol,
                    QRect(content.x(), (height() - kSymbolSize) / 2, kSymbolSize, kSymbolSize),
                    colour);
        content.setLeft(content.x() + kSymbolSize + kSymbolGap);
    }
    painter.setPen(colour);
    painter.drawText(content, Qt::AlignVCenter | Qt::TextSingleLine,
                     fontMetrics().elidedText(text(), Qt::ElideRight, content.width()));
    if (showsFocus(*this)) {
        const bool primary = m_kind == Kind::primary;
        const qreal inset = primary ? 2 : 0; // the accent would not show at its own edge
        paintFocusRing(painter, QRectF(rect()).adjusted(inset, inset, -inset, -inset),
                       Palette::Radius::sm - inset, primary ? colour : Palette::Role::focus());
    }
}

} // namespace sorrelwind
