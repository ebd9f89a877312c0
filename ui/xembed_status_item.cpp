#include "ui/xembed_status_item.h"

#include "ui/menu_bar_icon.h"
#include "ui/plain_tool_tip.h"

#include <QApplication>
#include <QIconEngine>
#include <QMouseEvent>
#include <QPainter>
#include <QScreen>
#include <QWidget>

namespace sorrelwind {

using std::chrono_literals::operator""ms;

namespace {

constexpr auto kFirstLook = 200ms;
constexpr auto kRestingLook = 25'600ms; // a panel changes its colours without a word

} // namespace

// Draws at whatever size the tray has, and has the ground looked at after each painting: the tray
// puts its own colour there after it took the icon in, on a busy machine seconds after.
class XembedStatusItem::Ink final : public QIconEngine {
public:
    explicit Ink(XembedStatusItem& item) : m_item(item) {}

    void paint(QPainter* painter, const QRect& box, QIcon::Mode, QIcon::State) override {
        const int side = qMin(box.width(), box.height());
        QRect square(0, 0, side, side);
        square.moveCenter(box.center());
        QColor ink = m_item.m_ink;
        ink.setAlphaF(m_item.m_dimmed ? kDimmedOpacity : 1.F);
        painter->drawPixmap(square, menuBarIcon(side, ink, painter->device()->devicePixelRatioF()));
        m_item.m_lookSoon.start(kFirstLook);
    }

    [[nodiscard]] QIconEngine* clone() const override { return new Ink(m_item); }

private:
    XembedStatusItem& m_item;
};

XembedStatusItem::XembedStatusItem() {
    connect(&m_icon, &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason reason) {
                if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick)
                    Q_EMIT clicked();
                else
                    askForMenu();
            });
    connect(&m_lookSoon, &QTimer::timeout, this, &XembedStatusItem::look);
    draw();
    m_icon.show();
}

void XembedStatusItem::askForMenu() {
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (widget->inherits("QSystemTrayIconSys"))
            widget->installEventFilter(this);
    }
    Q_EMIT menuRequested();
}

// Qt takes two quick clicks for a double one, and tells of that for the left button only.
bool XembedStatusItem::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::MouseButtonDblClick &&
        static_cast<QMouseEvent*>(event)->button() != Qt::LeftButton)
        Q_EMIT menuRequested();
    return StatusItem::eventFilter(watched, event);
}

void XembedStatusItem::setDimmed(bool dimmed) {
    if (std::exchange(m_dimmed, dimmed) != dimmed)
        draw();
}

void XembedStatusItem::setToolTip(const QString& text) {
    m_icon.setToolTip(plainToolTip(text));
}

std::optional<QRect> XembedStatusItem::anchor() const {
    const QRect place = m_icon.geometry();
    return place.isEmpty() ? std::nullopt : std::optional(place);
}

bool XembedStatusItem::hosted() const {
    return QSystemTrayIcon::isSystemTrayAvailable();
}

void XembedStatusItem::draw() {
    m_icon.setIcon(QIcon(new Ink(*this)));
}

// A tray tells no colours, so the ink is chosen by what is seen in the corner of the icon.
void XembedStatusItem::look() {
    const QRect place = m_icon.geometry();
    QScreen* screen = QGuiApplication::screenAt(place.center());
    m_lookSoon.setInterval(qMin(m_lookSoon.intervalAsDuration() * 2, kRestingLook));
    if (!screen) // a tray that is not in its place yet
        return;
    const QPoint corner = place.topLeft() - screen->geometry().topLeft();
    const QImage seen = screen->grabWindow(0, corner.x(), corner.y(), 1, 1).toImage();
    const QColor ink = seen.isNull() || qGray(seen.pixel(0, 0)) < 128 ? Qt::white : Qt::black;
    if (std::exchange(m_ink, ink) != ink)
        draw();
}

} // namespace sorrelwind
