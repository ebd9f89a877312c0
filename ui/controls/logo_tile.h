#pragma once

#include <QWidget>

namespace sorrelwind {

/// The fixed drawing of the logo on a tile of 24 × 24.
struct LogoGeometry {
    static constexpr qreal designSize = 24;
    static constexpr qreal tileRadius = 6;
    /// Rising left to right on a common foot; y grows downwards.
    static constexpr QRectF bars[] = {
        {8.7, 13.4, 1.9, 4.4}, {11.05, 11.2, 1.9, 6.6}, {13.4, 9.2, 1.9, 8.6}};
};

/// The logo at `size` logical pixels square: a clipboard with a rising signal on a teal tile, the
/// same in both appearances.
class LogoTile final : public QWidget {
    Q_OBJECT
public:
    explicit LogoTile(int size, QWidget* parent = nullptr);

    static void paintLogo(QPainter& painter, const QRectF& box);

protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace sorrelwind
