#include "ui/controls/logo_tile.h"

#include "ui/palette.h"

#include <QPainter>

namespace sorrelwind {

namespace {

constexpr QRectF kBody(6.4, 5.3, 11.2, 14.4);
constexpr qreal kBodyRadius = 2.6;
constexpr QRectF kClip(9.2, 3.9, 5.6, 3.2);
constexpr qreal kClipRadius = 1.5;
constexpr qreal kClipGap = 0.7; // of the tile, between clip and body

} // namespace

LogoTile::LogoTile(int size, QWidget* parent) : QWidget(parent) {
    setFixedSize(size, size);
    setAccessibleName(QStringLiteral("Sorrelwind"));
}

void LogoTile::paintLogo(QPainter& painter, const QRectF& box) {
    const Palette::Accent accent = Palette::Product::sorrelwind();
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(box.topLeft());
    painter.scale(box.width() / LogoGeometry::designSize, box.height() / LogoGeometry::designSize);
    painter.setPen(Qt::NoPen);

    QLinearGradient tile(0, 0, 0, LogoGeometry::designSize);
    tile.setColorAt(0, accent.iconTop);
    tile.setColorAt(1, accent.iconBottom);
    painter.setBrush(tile);
    painter.drawRoundedRect(QRectF(0, 0, LogoGeometry::designSize, LogoGeometry::designSize),
                            LogoGeometry::tileRadius, LogoGeometry::tileRadius);

    painter.setBrush(Palette::Neutral::s0());
    painter.drawRoundedRect(kBody, kBodyRadius, kBodyRadius);
    painter.setBrush(tile);
    painter.drawRoundedRect(kClip.adjusted(-kClipGap, -kClipGap, kClipGap, kClipGap),
                            kClipRadius + kClipGap, kClipRadius + kClipGap);
    painter.setBrush(Palette::Neutral::s0());
    painter.drawRoundedRect(kClip, kClipRadius, kClipRadius);

    painter.setBrush(Brand::knock());
    for (const QRectF& bar : LogoGeometry::bars)
        painter.drawRoundedRect(bar, bar.width() / 2, bar.width() / 2);
    painter.restore();
}

void LogoTile::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    paintLogo(painter, rect());
}

} // namespace sorrelwind
