#include "ui/controls/slim_scroll_area.h"

#include "ui/palette.h"

#include <QPainter>
#include <QScrollBar>
#include <QStyleOptionSlider>

namespace sorrelwind {

namespace {

constexpr int kWidth = 10;
constexpr int kHandle = 4;

class SlimScrollBar final : public QScrollBar {
public:
    SlimScrollBar() : QScrollBar(Qt::Vertical) {
        setFixedWidth(kWidth);
        setAttribute(Qt::WA_OpaquePaintEvent, false);
    }

    [[nodiscard]] QSize sizeHint() const override {
        return {kWidth, QScrollBar::sizeHint().height()};
    }

protected:
    void paintEvent(QPaintEvent*) override {
        if (minimum() == maximum())
            return;
        // Where the pointer takes hold of it is the style's choice.
        QStyleOptionSlider option;
        initStyleOption(&option);
        const QRect handle = style()->subControlRect(QStyle::CC_ScrollBar, &option,
                                                     QStyle::SC_ScrollBarSlider, this);
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(Palette::Role::separatorStrong());
        painter.drawRoundedRect(
            QRectF((kWidth - kHandle) / 2.0, handle.y() + 2, kHandle, handle.height() - 4),
            kHandle / 2.0, kHandle / 2.0);
    }
};

} // namespace

SlimScrollArea::SlimScrollArea(QWidget* content) {
    setVerticalScrollBar(new SlimScrollBar);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setWidgetResizable(true);
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::NoFocus);
    setWidget(content);
    viewport()->setAutoFillBackground(false);
    content->setAutoFillBackground(false);
}

} // namespace sorrelwind
