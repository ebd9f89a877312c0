#pragma once

#include <QWidget>

#include <functional>
#include <optional>

namespace sorrelwind {

/// An ordinary window of fixed size, smaller only where the screen leaves less room, in the
/// program's colours, with no button in its title but the one that closes it: moved by its
/// background, closed by Escape. Its owner shows it with present() and is told when it was closed.
class PlainWindow : public QWidget {
    Q_OBJECT
public:
    explicit PlainWindow(QSize size);

    /// Shows it in the middle of the screen, or brings it to the front.
    void present();

    /// After the window has gone from the screen.
    std::function<void()> onClosed;

protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;

private:
    QSize m_size;
    std::optional<QPoint> m_grip; // where the background was taken hold of
};

} // namespace sorrelwind
