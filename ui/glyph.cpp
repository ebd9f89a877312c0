#include "ui/glyph.h"

#include "ui/palette.h"
#include "ui/symbol.h"

#include <QPainter>

namespace sorrelwind {

Glyph::Glyph(const QString& symbol, int size, TextRole role, QWidget* parent)
    : QWidget(parent), m_symbol(symbol), m_role(role) {
    setFixedSize(size, size);
}

void Glyph::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    paintSymbol(painter, m_symbol, rect(), textColour(m_role), Palette::Role::surface());
}

} // namespace sorrelwind
