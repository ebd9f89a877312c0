#include "ui/controls/symbol_badge.h"

#include "ui/palette.h"
#include "ui/symbol.h"

#include <QPainter>

namespace sorrelwind {

namespace {

/// Even, so that the symbol sits on whole pixels in an even badge.
int symbolSize(int badge) {
    return qRound(badge * 0.24) * 2;
}

} // namespace

SymbolBadge::SymbolBadge(const QString& systemName, int size, QWidget* parent)
    : QWidget(parent), m_symbol(systemName) {
    setFixedSize(size, size);
}

void SymbolBadge::setSymbol(const QString& systemName) {
    m_symbol = systemName;
    update();
}

void SymbolBadge::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Brand::accentSoft());
    const qreal radius = qMin<qreal>(width() * 0.28, Palette::Radius::md);
    painter.drawRoundedRect(rect(), radius, radius);
    const int side = symbolSize(width());
    QRect box(0, 0, side, side);
    box.moveTo((width() - side) / 2, (height() - side) / 2);
    paintSymbol(painter, m_symbol, box, Brand::accentText());
}

} // namespace sorrelwind
