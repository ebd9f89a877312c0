#pragma once

#include "ui/status_item.h"

#include <QDBusArgument>
#include <QDBusContext>
#include <QDBusVariant>
#include <QVariantMap>

namespace sorrelwind {

/// One entry with what is said of it, (ia{sv}).
struct BusMenuItem {
    int id = 0;
    QVariantMap properties;
};

/// An entry with the entries below it, (ia{sv}av).
struct BusMenuLayout {
    BusMenuItem item;
    QList<BusMenuLayout> children;
};

/// What became of an entry in the host's menu, (isvu); data and time stamp are not looked at.
struct BusMenuEvent {
    int id = 0;
    QString type;
};

/// Properties that an entry lost, (ias).
struct BusMenuLoss {
    int id = 0;
    QStringList names;
};

QDBusArgument& operator<<(QDBusArgument& argument, const BusMenuItem& item);
const QDBusArgument& operator>>(const QDBusArgument& argument, BusMenuItem& item);
QDBusArgument& operator<<(QDBusArgument& argument, const BusMenuLayout& layout);
const QDBusArgument& operator>>(const QDBusArgument& argument, BusMenuLayout& layout);
QDBusArgument& operator<<(QDBusArgument& argument, const BusMenuEvent& event);
const QDBusArgument& operator>>(const QDBusArgument& argument, BusMenuEvent& event);
QDBusArgument& operator<<(QDBusArgument& argument, const BusMenuLoss& loss);
const QDBusArgument& operator>>(const QDBusArgument& argument, BusMenuLoss& loss);

/// The status item's menu for hosts that draw it themselves, by com.canonical.dbusmenu version 3.
/// Owned by the item, which puts it on the bus. An entry's id is used once: a click on a menu that
/// is on the screen still, but was replaced, comes to nothing. Shortcuts are left out, as
/// this program cannot hear them while a host's menu is open.
class BusMenu final : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.canonical.dbusmenu")
    Q_PROPERTY(uint Version READ version SCRIPTABLE true)
    Q_PROPERTY(QString TextDirection READ textDirection SCRIPTABLE true)
    Q_PROPERTY(QString Status READ status SCRIPTABLE true)
    Q_PROPERTY(QStringList IconThemePath READ iconThemePath SCRIPTABLE true)
public:
    BusMenu();

    /// Tells the hosts what has changed, if anything has.
    void setEntries(const QList<MenuEntry>& entries);

    [[nodiscard]] uint version() const { return 3; }
    [[nodiscard]] QString textDirection() const { return QStringLiteral("ltr"); }
    [[nodiscard]] QString status() const { return QStringLiteral("normal"); }
    [[nodiscard]] QStringList iconThemePath() const { return {}; }

public Q_SLOTS:
    Q_SCRIPTABLE uint GetLayout(int parentId, int recursionDepth, const QStringList& propertyNames,
                                sorrelwind::BusMenuLayout& layout);
    Q_SCRIPTABLE QList<sorrelwind::BusMenuItem> GetGroupProperties(const QList<int>& ids,
                                                                   const QStringList& names);
    Q_SCRIPTABLE QDBusVariant GetProperty(int id, const QString& name);
    Q_SCRIPTABLE void Event(int id, const QString& type, const QDBusVariant& data, uint timestamp);
    Q_SCRIPTABLE QList<int> EventGroup(const QList<sorrelwind::BusMenuEvent>& events);
    Q_SCRIPTABLE bool AboutToShow(int id);
    Q_SCRIPTABLE QList<int> AboutToShowGroup(const QList<int>& ids, QList<int>& unknown);

Q_SIGNALS:
    Q_SCRIPTABLE void LayoutUpdated(uint revision, int parent);
    Q_SCRIPTABLE void ItemsPropertiesUpdated(const QList<sorrelwind::BusMenuItem>& changed,
                                             const QList<sorrelwind::BusMenuLoss>& removed);

private:
    [[nodiscard]] bool knows(int id) const;
    [[nodiscard]] BusMenuItem item(int id, const QStringList& names) const;
    void take(const BusMenuEvent& event);
    void refuse(int id) const;

    QList<MenuEntry> m_entries;
    int m_first = 1; // id of the first entry; 0 is the menu itself
    uint m_revision = 1;
};

} // namespace sorrelwind
