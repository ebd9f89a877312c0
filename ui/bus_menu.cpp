#include "ui/bus_menu.h"

#include <QDBusMetaType>

#include <algorithm>

namespace sorrelwind {

QDBusArgument& operator<<(QDBusArgument& argument, const BusMenuItem& item) {
    argument.beginStructure();
    argument << item.id << item.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, BusMenuItem& item) {
    argument.beginStructure();
    argument >> item.id >> item.properties;
    argument.endStructure();
    return argument;
}

QDBusArgument& operator<<(QDBusArgument& argument, const BusMenuLayout& layout) {
    argument.beginStructure();
    argument << layout.item.id << layout.item.properties;
    argument.beginArray(QMetaType::fromType<QDBusVariant>());
    for (const BusMenuLayout& child : layout.children)
        argument << QDBusVariant(QVariant::fromValue(child));
    argument.endArray();
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, BusMenuLayout& layout) {
    argument.beginStructure();
    argument >> layout.item.id >> layout.item.properties;
    argument.beginArray();
    while (!argument.atEnd()) {
        QDBusVariant child;
        argument >> child;
        layout.children.append(qdbus_cast<BusMenuLayout>(child.variant()));
    }
    argument.endArray();
    argument.endStructure();
    return argument;
}

QDBusArgument& operator<<(QDBusArgument& argument, const BusMenuEvent& event) {
    argument.beginStructure();
    argument << event.id << event.type << QDBusVariant(0) << 0U;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, BusMenuEvent& event) {
    QDBusVariant data;
    uint timestamp = 0;
    argument.beginStructure();
    argument >> event.id >> event.type >> data >> timestamp;
    argument.endStructure();
    return argument;
}

QDBusArgument& operator<<(QDBusArgument& argument, const BusMenuLoss& loss) {
    argument.beginStructure();
    argument << loss.id << loss.names;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, BusMenuLoss& loss) {
    argument.beginStructure();
    argument >> loss.id >> loss.names;
    argument.endStructure();
    return argument;
}

namespace {

constexpr qsizetype kMostEvents = 16; // that one message can bring about

QVariantMap propertiesOf(const MenuEntry& entry, const QStringList& names) {
    QVariantMap all;
    if (entry.text.isEmpty()) {
        all.insert(QStringLiteral("type"), QStringLiteral("separator"));
    } else {
        all.insert(QStringLiteral("label"),
                   QString(entry.text).replace(u'_', QStringLiteral("__")));
        all.insert(QStringLiteral("enabled"), entry.enabled);
    }
    if (!names.isEmpty())
        all.removeIf([&](QVariantMap::iterator each) { return !names.contains(each.key()); });
    return all;
}

} // namespace

BusMenu::BusMenu() {
    qDBusRegisterMetaType<BusMenuItem>();
    qDBusRegisterMetaType<QList<BusMenuItem>>();
    qDBusRegisterMetaType<BusMenuLayout>();
    qDBusRegisterMetaType<BusMenuEvent>();
    qDBusRegisterMetaType<QList<BusMenuEvent>>();
    qDBusRegisterMetaType<BusMenuLoss>();
    qDBusRegisterMetaType<QList<BusMenuLoss>>();
}

void BusMenu::setEntries(const QList<MenuEntry>& entries) {
    const QList<MenuEntry> before = std::exchange(m_entries, entries);
    if (before.size() != entries.size()) {
        m_first += static_cast<int>(before.size());
        Q_EMIT LayoutUpdated(++m_revision, 0);
        return;
    }
    QList<BusMenuItem> changed;
    for (int i = 0; i < entries.size(); ++i) {
        BusMenuItem now = item(m_first + i, {});
        if (now.properties != propertiesOf(before[i], {}))
            changed.append(std::move(now));
    }
    if (!changed.isEmpty())
        Q_EMIT ItemsPropertiesUpdated(changed, {});
}

bool BusMenu::knows(int id) const {
    return id == 0 || (id >= m_first && id - m_first < m_entries.size());
}

BusMenuItem BusMenu::item(int id, const QStringList& names) const {
    if (id != 0)
        return {id, propertiesOf(m_entries[id - m_first], names)};
    const QString key = QStringLiteral("children-display");
    if (!names.isEmpty() && !names.contains(key))
        return {};
    return {0, {{key, QStringLiteral("submenu")}}};
}

void BusMenu::refuse(int id) const {
    sendErrorReply(QDBusError::InvalidArgs, QStringLiteral("no entry %1").arg(id));
}

uint BusMenu::GetLayout(int parentId, int recursionDepth, const QStringList& propertyNames,
                        BusMenuLayout& layout) {
    if (!knows(parentId)) {
        refuse(parentId);
        return 0;
    }
    layout.item = item(parentId, propertyNames);
    if (parentId == 0 && recursionDepth != 0) {
        for (int i = 0; i < m_entries.size(); ++i)
            layout.children.append({item(m_first + i, propertyNames), {}});
    }
    return m_revision;
}

QList<BusMenuItem> BusMenu::GetGroupProperties(const QList<int>& ids, const QStringList& names) {
    QList<BusMenuItem> found;
    for (int i = 0; i < m_entries.size(); ++i) {
        if (ids.isEmpty() || ids.contains(m_first + i))
            found.append(item(m_first + i, names));
    }
    if (ids.isEmpty() || ids.contains(0))
        found.append(item(0, names));
    return found;
}

QDBusVariant BusMenu::GetProperty(int id, const QString& name) {
    const QVariantMap found = knows(id) ? item(id, {name}).properties : QVariantMap();
    if (found.isEmpty())
        refuse(id);
    return QDBusVariant(found.value(name));
}

// Later, as an entry may end the program or take the menu away, and the host waits for its answer.
void BusMenu::take(const BusMenuEvent& event) {
    if (event.id == 0 || event.type != QLatin1StringView("clicked"))
        return;
    const MenuEntry& entry = m_entries[event.id - m_first];
    if (entry.enabled && entry.chosen)
        QMetaObject::invokeMethod(this, entry.chosen, Qt::QueuedConnection);
}

void BusMenu::Event(int id, const QString& type, const QDBusVariant&, uint) {
    if (knows(id))
        take({id, type});
    else
        refuse(id);
}

QList<int> BusMenu::EventGroup(const QList<BusMenuEvent>& events) {
    QList<int> unknown;
    for (const BusMenuEvent& event : events.first(std::min(events.size(), kMostEvents))) {
        if (knows(event.id))
            take(event);
        else
            unknown.append(event.id);
    }
    return unknown;
}

bool BusMenu::AboutToShow(int id) {
    if (!knows(id))
        refuse(id);
    return false; // hosts have been told of each change
}

QList<int> BusMenu::AboutToShowGroup(const QList<int>& ids, QList<int>& unknown) {
    for (const int id : ids.first(std::min(ids.size(), kMostEvents))) {
        if (!knows(id))
            unknown.append(id);
    }
    return {};
}

} // namespace sorrelwind
