#include "ui/settings/slim_scroll_bar.h"

#include "ui/palette.h"

#include <QPainter>
#include <QStyleOptionSlider>

namespace sorrelwind {

namespace {
constexpr int kWidth = 10;
constexpr int kHandle = 4;
} // namespace

SlimScrollBar::SlimScrollBar(QWidget* parent) : QScrollBar(Qt::Vertical, parent) {
    setFixedWidth(kWidth);
    setAttribute(Qt::WA_OpaquePaintEvent, false);
}

QSize SlimScrollBar::sizeHint() const {
    return {kWidth, QScrollBar::sizeHint().height()};
}

void SlimScrollBar::paintEvent(QPaintEvent*) {
    if (minimum() == maximum())
        return;
    // Where the pointer takes hold of it is the style's choice.
    QStyleOptionSlider option;
    initStyleOption(&option);
    const QRect handle =
        style()->subControlRect(QStyle::CC_ScrollBar, &option, QStyle::SC_ScrollBarSlider, this);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Palette::Role::separatorStrong());
    painter.drawRoundedRect(
        QRectF((kWidth - kHandle) / 2.0, handle.y() + 2, kHandle, handle.height() - 4),
        kHandle / 2.0, kHandle / 2.0);
}

} // namespace sorrelwind
