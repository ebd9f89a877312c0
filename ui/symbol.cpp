#include "ui/symbol.h"

#include <QFile>
#include <QImage>
#include <QPainter>
#include <QPixmapCache>
#include <QSvgRenderer>

#include <cmath>

// Outside of any namespace, as the macro asks.
static void loadSymbols() {
    Q_INIT_RESOURCE(symbols);
}

namespace sorrelwind {

namespace {

QString pathOf(const QString& name) {
    static const bool kLoaded = (loadSymbols(), true);
    Q_UNUSED(kLoaded)
    return QStringLiteral(":/symbols/") + name + QStringLiteral(".svg");
}

/// The files draw in black and cut out in white; here black becomes `colour` and white `glyph`.
QPixmap drawn(const QString& name, int pixels, const QColor& colour, const QColor& glyph) {
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QSvgRenderer renderer(pathOf(name));
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    renderer.render(&painter, QRectF(0, 0, pixels, pixels));
    painter.end();

    const QRgb ink = qPremultiply(colour.rgba());
    const QRgb cut = glyph.isValid() ? qPremultiply(glyph.rgba()) : 0;
    for (int y = 0; y < pixels; ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < pixels; ++x) {
            const int white = qRed(line[x]);
            const int black = qAlpha(line[x]) - white;
            const auto channel = [white, black](int ofInk, int ofCut) {
                return (ofInk * black + ofCut * white) / 255;
            };
            line[x] = qRgba(channel(qRed(ink), qRed(cut)), channel(qGreen(ink), qGreen(cut)),
                            channel(qBlue(ink), qBlue(cut)), channel(qAlpha(ink), qAlpha(cut)));
        }
    }
    return QPixmap::fromImage(image);
}

} // namespace

bool hasSymbol(const QString& name) {
    return QFile::exists(pathOf(name));
}

QPixmap symbolPixmap(const QString& name, int size, const QColor& colour, qreal dpr,
                     const QColor& glyph) {
    if (size <= 0 || !hasSymbol(name))
        return {};
    const int pixels = qRound(size * dpr);
    const QString key = QStringLiteral("symbol/%1/%2/%3/%4")
                            .arg(name)
                            .arg(pixels)
                            .arg(colour.rgba(), 0, 16)
                            .arg(glyph.isValid() ? glyph.rgba() : 0, 0, 16);
    QPixmap pixmap;
    if (!QPixmapCache::find(key, &pixmap)) {
        pixmap = drawn(name, pixels, colour, glyph);
        QPixmapCache::insert(key, pixmap);
    }
    pixmap.setDevicePixelRatio(dpr);
    return pixmap;
}

void paintSymbol(QPainter& painter, const QString& name, const QRectF& box, const QColor& colour,
                 const QColor& glyph) {
    // The device transform knows the scale also where a widget is painted into a picture, and
    // where the symbol is turned.
    const QTransform toDevice = painter.deviceTransform();
    const qreal dpr = std::hypot(toDevice.m11(), toDevice.m12());
    painter.setRenderHint(QPainter::SmoothPixmapTransform, toDevice.isRotating());
    const int size = qFloor(qMin(box.width(), box.height()));
    const QPixmap pixmap = symbolPixmap(name, size, colour, dpr, glyph);
    if (pixmap.isNull())
        return;
    const auto snapped = [dpr](qreal at) { return std::round(at * dpr) / dpr; };
    painter.drawPixmap(
        QPointF(snapped(box.center().x() - size / 2.0), snapped(box.center().y() - size / 2.0)),
        pixmap);
}

} // namespace sorrelwind
