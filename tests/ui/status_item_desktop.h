#pragma once

#include "tests/support/message_bus.h"
#include "tests/support/program.h"
#include "tests/support/xvfb.h"
#include "ui/bus_menu.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QImage>
#include <QObject>
#include <QPoint>
#include <QStringList>
#include <QTemporaryDir>
#include <QVariantMap>

#include <memory>

namespace sorrelwind::test {

/// A desktop for the test program itself: X server, window manager and a session bus of its own,
/// which the environment names from here on. To be made before the QApplication.
class TrayDesktop {
public:
    TrayDesktop();
    TrayDesktop(const TrayDesktop&) = delete;
    TrayDesktop& operator=(const TrayDesktop&) = delete;

    [[nodiscard]] QString busAddress() const { return m_bus.address(); }
    /// An X11 tray of `trayer` in the lower right corner, with this background.
    [[nodiscard]] std::unique_ptr<Program> tray(const char* colour = "0xf0f0f0") const;
    /// Runs xdotool to its end.
    void xdotool(const QStringList& arguments) const;
    void click(QPoint place, int button = 1) const;
    [[nodiscard]] static QImage screenshot(const QRect& place);

private:
    Xvfb m_xvfb;
    MessageBus m_bus;
    QTemporaryDir m_runtime;
    std::unique_ptr<Program> m_windowManager;
};

/// The one of this program, made by its main.
[[nodiscard]] const TrayDesktop& desktop();

/// A panel that shows StatusNotifierItems, on a connection of its own: takes the watcher's name,
/// keeps what registers and asks it as panels do. Gone with the object.
class NotifierPanel final : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ hostRegistered SCRIPTABLE true)
public:
    explicit NotifierPanel(bool withHost = true);
    ~NotifierPanel() override;

    /// The watcher runs already; its host comes or goes.
    void setHost(bool registered);
    [[nodiscard]] bool hostRegistered() const { return m_hostRegistered; }

    QStringList items; // services, each as often as it registered
    int newIcons = 0;
    int newToolTips = 0;
    QList<uint> layouts;         // revisions of the menu
    QList<BusMenuItem> newTexts; // entries of the menu that changed

    /// All properties of the one item; empty when it does not answer.
    [[nodiscard]] QVariantMap properties();
    /// Calls Activate or ContextMenu of the item, with coordinates that are of no use.
    void call(const char* method);
    /// What the item's menu answers.
    [[nodiscard]] QDBusMessage askMenu(const char* method, const QVariantList& arguments);

    Q_SCRIPTABLE Q_INVOKABLE void RegisterStatusNotifierItem(const QString& service);

public Q_SLOTS:
    void onNewIcon() { ++newIcons; }
    void onNewToolTip() { ++newToolTips; }
    void onLayout(uint revision, int) { layouts.append(revision); }
    void onProperties(const QDBusMessage& message);

Q_SIGNALS:
    Q_SCRIPTABLE void StatusNotifierHostRegistered();
    Q_SCRIPTABLE void StatusNotifierHostUnregistered();

private:
    QDBusConnection m_bus;
    bool m_hostRegistered;
};

} // namespace sorrelwind::test
