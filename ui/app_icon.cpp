#include "ui/app_icon.h"

#include "ui/controls/logo_tile.h"

#include <QPainter>
#include <QPixmap>

namespace sorrelwind {

QIcon appIcon() {
    QIcon icon;
    for (const int size : {16, 24, 32, 48, 64, 128}) {
        QPixmap pixmap(size, size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        LogoTile::paintLogo(painter, pixmap.rect());
        painter.end();
        icon.addPixmap(pixmap);
    }
    return icon;
}

} // namespace sorrelwind
