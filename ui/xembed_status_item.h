#pragma once

#include "ui/status_item.h"

#include <QColor>
#include <QSystemTrayIcon>
#include <QTimer>

namespace sorrelwind {

/// The icon by the X11 system tray protocol (freedesktop.org, System Tray). To be made only while
/// no StatusNotifierHost is there: QSystemTrayIcon would talk to that one for good. It waits for a
/// tray, and returns with it, by itself.
class XembedStatusItem final : public StatusItem {
    Q_OBJECT
public:
    XembedStatusItem();

    void setDimmed(bool dimmed) override;
    void setToolTip(const QString& text) override;
    [[nodiscard]] std::optional<QRect> anchor() const override;
    [[nodiscard]] bool hosted() const override;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    class Ink;

    void draw();
    void askForMenu();
    void look();

    QSystemTrayIcon m_icon;
    bool m_dimmed = false;
    QColor m_ink = Qt::white;
    QTimer m_lookSoon;
};

} // namespace sorrelwind
