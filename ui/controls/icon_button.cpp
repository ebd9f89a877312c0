#include "ui/controls/icon_button.h"

#include "ui/palette.h"
#include "ui/plain_tool_tip.h"
#include "ui/symbol.h"

#include <QPainter>

namespace sorrelwind {

namespace {

constexpr int kSide = 28;
constexpr int kSymbolSize = 16;
constexpr qreal kDisabledOpacity = 0.4;

} // namespace

IconButton::IconButton(const QString& systemName, const QString& help, std::function<void()> action,
                       QWidget* parent)
    : Control(parent), m_symbol(systemName) {
    setFixedSize(kSide, kSide);
    setHelp(help);
    if (action)
        connect(this, &QAbstractButton::clicked, this, std::move(action));
}

void IconButton::setSymbol(const QString& systemName) {
    m_symbol = systemName;
    update();
}

void IconButton::setHelp(const QString& help) {
    setToolTip(plainToolTip(help));
    setAccessibleName(help);
}

void IconButton::setRole(TextRole role) {
    m_role = role;
    update();
}

QSize IconButton::sizeHint() const {
    return {kSide, kSide};
}

void IconButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (!isEnabled())
        painter.setOpacity(kDisabledOpacity);
    if (isDown() || hovered()) {
        // Shows on a surface and on a filled card alike.
        QColor shade = Palette::Role::text();
        shade.setAlphaF(isDown() ? 0.14F : 0.07F);
        painter.setPen(Qt::NoPen);
        painter.setBrush(shade);
        painter.drawRoundedRect(rect(), Palette::Radius::xs, Palette::Radius::xs);
    }
    const bool lively = m_role == TextRole::secondary && hovered();
    const int inset = (kSide - kSymbolSize) / 2;
    paintSymbol(painter, m_symbol, rect().adjusted(inset, inset, -inset, -inset),
                textColour(lively ? TextRole::primary : m_role), Palette::Neutral::s0());
    if (showsFocus(*this))
        paintFocusRing(painter, rect(), Palette::Radius::xs, Palette::Role::focus());
}

} // namespace sorrelwind
