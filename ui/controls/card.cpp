#include "ui/controls/card.h"

#include "ui/palette.h"

#include <QEvent>
#include <QPainter>

namespace sorrelwind {

Card::Card(QWidget* parent) : QWidget(parent), m_rows(new QVBoxLayout(this)) {
    m_rows->setContentsMargins(1, 1, 1, 1);
    m_rows->setSpacing(1); // the lines are painted in the gaps
}

void Card::addRow(QWidget* row) {
    m_rows->addWidget(row);
}

void Card::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        update();
}

void Card::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(Palette::Role::separator(), 1));
    painter.setBrush(Palette::Role::surface());
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), Palette::Radius::md,
                            Palette::Radius::md);
    bool first = true;
    for (int i = 0; i < m_rows->count(); ++i) {
        const QWidget* row = m_rows->itemAt(i)->widget();
        if (row == nullptr || row->isHidden())
            continue;
        if (!first)
            painter.fillRect(QRect(1, row->y() - 1, width() - 2, 1), Palette::Role::separator());
        first = false;
    }
}

} // namespace sorrelwind
