#pragma once

#include <QColor>
#include <QPixmap>
#include <QRectF>
#include <QString>

class QPainter;

namespace sorrelwind {

// The program's own symbols: single-colour drawings on a 24 × 24 grid, compiled in from
// ui/symbols/NAME.svg. Nothing depends on an installed icon theme.

[[nodiscard]] bool hasSymbol(const QString& name);

/// The symbol in `colour`, `size` logical pixels square, sharp at the device pixel ratio `dpr`. A
/// valid `glyph` colours what is cut out of a filled symbol, such as the tick in a disc. An unknown
/// name gives an empty picture.
[[nodiscard]] QPixmap symbolPixmap(const QString& name, int size, const QColor& colour, qreal dpr,
                                   const QColor& glyph = {});

/// Paints the symbol as large as fits into `box`, centred, on whole device pixels.
void paintSymbol(QPainter& painter, const QString& name, const QRectF& box, const QColor& colour,
                 const QColor& glyph = {});

} // namespace sorrelwind
