#include "ui/plain_window.h"

#include "ui/palette.h"

#include <QCloseEvent>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScreen>
#include <QStyleHints>
#include <QWindow>

namespace sorrelwind {

namespace {
constexpr QSize kFrame(8, 40); // what window managers add at most, unknown before they do
}

PlainWindow::PlainWindow(QSize size)
    : QWidget(nullptr, Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                           Qt::WindowSystemMenuHint | Qt::WindowCloseButtonHint),
      m_size(size) {
    setFixedSize(size);
    setAttribute(Qt::WA_QuitOnClose, false); // the agent goes on without windows
    setFocusPolicy(Qt::ClickFocus);
}

void PlainWindow::present() {
    if (!isVisible()) {
        const QRect area = screen()->availableGeometry();
        setFixedSize(m_size.boundedTo(area.size() - kFrame));
        move(area.center() - QRect(QPoint(), size() + kFrame).center());
    }
    if (isMinimized())
        showNormal();
    show();
    raise();
    activateWindow();
}

void PlainWindow::paintEvent(QPaintEvent*) {
    QPainter(this).fillRect(rect(), Palette::Role::bg());
}

void PlainWindow::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        update();
}

void PlainWindow::closeEvent(QCloseEvent* event) {
    event->accept();
    hide();
    if (const auto callback = onClosed) // which it may replace
        callback();
}

void PlainWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape)
        close();
    else
        QWidget::keyPressEvent(event);
}

void PlainWindow::mousePressEvent(QMouseEvent* event) {
    QWidget::mousePressEvent(event);
    if (event->button() == Qt::LeftButton)
        m_grip = event->pos();
}

// Not at the press: a window manager that heard of it after a quick release would go on moving.
void PlainWindow::mouseMoveEvent(QMouseEvent* event) {
    if (!m_grip || !event->buttons().testFlag(Qt::LeftButton) || !windowHandle() ||
        (event->pos() - *m_grip).manhattanLength() <
            QGuiApplication::styleHints()->startDragDistance())
        return;
    m_grip.reset();
    windowHandle()->startSystemMove();
}

} // namespace sorrelwind
