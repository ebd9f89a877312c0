#include "ui/controls/control.h"

#include <QKeyEvent>
#include <QPainter>

namespace sorrelwind {

Control::Control(QWidget* parent) : QAbstractButton(parent) {
    // A click leaves the focus where it is, say in the field being filled in.
    setFocusPolicy(Qt::TabFocus);
    setAttribute(Qt::WA_Hover);
}

void Control::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        click();
        return;
    }
    QAbstractButton::keyPressEvent(event);
}

void Control::changeEvent(QEvent* event) {
    QAbstractButton::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::EnabledChange)
        update();
}

bool showsFocus(const QWidget& widget) {
    return widget.hasFocus() && widget.window()->testAttribute(Qt::WA_KeyboardFocusChange);
}

void paintFocusRing(QPainter& painter, const QRectF& edge, qreal radius, const QColor& colour) {
    painter.setPen(QPen(colour, 2));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(edge.adjusted(1, 1, -1, -1), radius - 1, radius - 1);
}

} // namespace sorrelwind
