#include "ui/menu_bar_icon.h"

#include <QPainter>
#include <QPainterPath>

namespace sorrelwind {

namespace {

constexpr qreal kDesignSize = 21;

struct RoundedRect {
    qreal x, y, width, height, radius; // y grows upwards, from the lower edge
};

constexpr RoundedRect kShapes[] = {
    {5.25, 3.0625, 10.5, 11.9, 2.45},         // body of the clipboard
    {8.225, 15.75, 4.55, 2.45, 1.225},        // its clip
    {7.6125, 5.425, 1.6625, 3.85, 0.83125},   // three bars, holes in the body
    {9.66875, 5.425, 1.6625, 5.775, 0.83125}, //
    {11.725, 5.425, 1.6625, 7.525, 0.83125},  //
};

} // namespace

QPixmap menuBarIcon(int size, const QColor& colour, qreal dpr) {
    QPainterPath path;
    path.setFillRule(Qt::OddEvenFill);
    for (const RoundedRect& shape : kShapes) {
        path.addRoundedRect(
            QRectF(shape.x, kDesignSize - shape.y - shape.height, shape.width, shape.height),
            shape.radius, shape.radius);
    }
    const int pixels = qRound(size * dpr);
    QPixmap pixmap(pixels, pixels);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(pixels / kDesignSize, pixels / kDesignSize);
    painter.fillPath(path, colour);
    painter.end();
    pixmap.setDevicePixelRatio(dpr);
    return pixmap;
}

QIcon menuBarIcon(const QColor& colour) {
    QIcon icon;
    for (const int size : {16, 18, 21, 22, 24, 32, 42, 48, 64})
        icon.addPixmap(menuBarIcon(size, colour));
    return icon;
}

} // namespace sorrelwind
