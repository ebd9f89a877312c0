#pragma once

#include "ui/bus_menu.h"
#include "ui/status_item.h"

#include <QByteArray>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusObjectPath>
#include <QList>

namespace sorrelwind {

/// One size of an icon on the bus: (iiay), ARGB32 in network byte order.
struct NotifierPixmap {
    int width = 0;
    int height = 0;
    QByteArray argb;
};
using NotifierPixmaps = QList<NotifierPixmap>;

/// What hovering says, (sa(iiay)ss); the title alone is shown by every host.
struct NotifierToolTip {
    QString title;
};

QDBusArgument& operator<<(QDBusArgument& argument, const NotifierPixmap& pixmap);
const QDBusArgument& operator>>(const QDBusArgument& argument, NotifierPixmap& pixmap);
QDBusArgument& operator<<(QDBusArgument& argument, const NotifierToolTip& toolTip);
const QDBusArgument& operator>>(const QDBusArgument& argument, NotifierToolTip& toolTip);

/// The icon by org.kde.StatusNotifierItem (freedesktop.org, StatusNotifierItem), object
/// /StatusNotifierItem. A host either draws the menu at /MenuBar itself or reports the click that
/// asks for one. Registers with every watcher that comes onto the bus.
class StatusNotifierItem final : public StatusItem {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierItem")
    Q_PROPERTY(QString Category READ category SCRIPTABLE true)
    Q_PROPERTY(QString Id READ id SCRIPTABLE true)
    Q_PROPERTY(QString Title READ title SCRIPTABLE true)
    Q_PROPERTY(QString Status READ status SCRIPTABLE true)
    Q_PROPERTY(int WindowId READ windowId SCRIPTABLE true)
    Q_PROPERTY(QString IconName READ iconName SCRIPTABLE true)
    Q_PROPERTY(sorrelwind::NotifierPixmaps IconPixmap READ iconPixmap SCRIPTABLE true)
    Q_PROPERTY(sorrelwind::NotifierToolTip ToolTip READ toolTip SCRIPTABLE true)
    Q_PROPERTY(bool ItemIsMenu READ itemIsMenu SCRIPTABLE true)
    Q_PROPERTY(QDBusObjectPath Menu READ menu SCRIPTABLE true)
public:
    explicit StatusNotifierItem(std::optional<QDBusConnection> bus);
    ~StatusNotifierItem() override;

    /// Looks for a host; hostedChanged tells the first answer, whatever it is, and each change.
    void start();

    void setDimmed(bool dimmed) override;
    void setToolTip(const QString& text) override;
    void setMenu(const QList<MenuEntry>& entries) override { m_menu.setEntries(entries); }
    [[nodiscard]] std::optional<QRect> anchor() const override { return m_anchor; }
    [[nodiscard]] bool hosted() const override { return m_hosted.value_or(false); }

    [[nodiscard]] QString category() const { return QStringLiteral("ApplicationStatus"); }
    [[nodiscard]] QString id() const { return QStringLiteral("sorrelwind"); }
    [[nodiscard]] QString title() const { return QStringLiteral("Sorrelwind"); }
    [[nodiscard]] QString status() const { return QStringLiteral("Active"); }
    [[nodiscard]] int windowId() const { return 0; }
    [[nodiscard]] QString iconName() const { return {}; } // so that the pixmaps are shown
    [[nodiscard]] NotifierPixmaps iconPixmap() const;
    [[nodiscard]] NotifierToolTip toolTip() const { return {m_toolTip}; }
    [[nodiscard]] bool itemIsMenu() const { return false; }
    [[nodiscard]] QDBusObjectPath menu() const;

public Q_SLOTS:
    Q_SCRIPTABLE void Activate(int x, int y);
    Q_SCRIPTABLE void SecondaryActivate(int x, int y);
    Q_SCRIPTABLE void ContextMenu(int x, int y);

Q_SIGNALS:
    void hostedChanged();
    Q_SCRIPTABLE void NewIcon();
    Q_SCRIPTABLE void NewToolTip();

private Q_SLOTS:
    void askWatcher();

private:
    void setHosted(bool hosted);
    void rememberPlace();

    std::optional<QDBusConnection> m_bus;
    QString m_service;
    BusMenu m_menu;
    bool m_dimmed = false;
    QString m_toolTip;
    std::optional<bool> m_hosted; // none until the bus has answered
    std::optional<QRect> m_anchor;
};

/// The icon that was clicked at `click`, on a screen `frame` whose panels leave `visible` free.
/// None away from the screen's edges, where no panel is and the place is not to be believed.
[[nodiscard]] std::optional<QRect> iconAt(QPoint click, const QRect& frame, const QRect& visible);

} // namespace sorrelwind
