#include "ui/status_notifier_item.h"

#include "ui/menu_bar_icon.h"
#include "ui/palette.h"

#include <QCoreApplication>
#include <QCursor>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QGuiApplication>
#include <QImage>
#include <QScreen>
#include <QtEndian>

namespace sorrelwind {

QDBusArgument& operator<<(QDBusArgument& argument, const NotifierPixmap& pixmap) {
    argument.beginStructure();
    argument << pixmap.width << pixmap.height << pixmap.argb;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, NotifierPixmap& pixmap) {
    argument.beginStructure();
    argument >> pixmap.width >> pixmap.height >> pixmap.argb;
    argument.endStructure();
    return argument;
}

QDBusArgument& operator<<(QDBusArgument& argument, const NotifierToolTip& toolTip) {
    argument.beginStructure();
    argument << QString() << NotifierPixmaps() << toolTip.title << QString();
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, NotifierToolTip& toolTip) {
    QString iconName, text;
    NotifierPixmaps pixmaps;
    argument.beginStructure();
    argument >> iconName >> pixmaps >> toolTip.title >> text;
    argument.endStructure();
    return argument;
}

namespace {

const QString kWatcher = QStringLiteral("org.kde.StatusNotifierWatcher");
const QString kWatcherPath = QStringLiteral("/StatusNotifierWatcher");
const QString kItemPath = QStringLiteral("/StatusNotifierItem");
const QString kMenuPath = QStringLiteral("/MenuBar"); // where hosts expect one

constexpr int kEdge = 64;     // panels are no thicker
constexpr int kIconSide = 22; // the usual size in a panel

NotifierPixmap toNetwork(const QImage& image) {
    const QImage argb = image.convertToFormat(QImage::Format_ARGB32);
    NotifierPixmap pixmap{argb.width(), argb.height(), QByteArray(argb.sizeInBytes(), '\0')};
    qToBigEndian<quint32>(argb.constBits(), argb.width() * qsizetype(argb.height()),
                          pixmap.argb.data());
    return pixmap;
}

} // namespace

std::optional<QRect> iconAt(QPoint click, const QRect& frame, const QRect& visible) {
    if (!frame.contains(click) ||
        frame.adjusted(kEdge, kEdge, -kEdge, -kEdge).contains(click, true))
        return std::nullopt;
    QRect icon(0, 0, kIconSide, kIconSide);
    icon.moveCenter(click);
    // What hangs from the icon hangs from its panel.
    if (click.y() < visible.top())
        icon.setBottom(visible.top() - 1);
    return icon;
}

StatusNotifierItem::StatusNotifierItem(std::optional<QDBusConnection> bus)
    : m_bus(std::move(bus)), m_service(QStringLiteral("org.kde.StatusNotifierItem-%1-1")
                                           .arg(QCoreApplication::applicationPid())) {
    qDBusRegisterMetaType<NotifierPixmap>();
    qDBusRegisterMetaType<NotifierPixmaps>();
    qDBusRegisterMetaType<NotifierToolTip>();
}

StatusNotifierItem::~StatusNotifierItem() {
    if (m_bus) {
        m_bus->unregisterObject(kItemPath);
        m_bus->unregisterObject(kMenuPath);
        m_bus->unregisterService(m_service);
    }
}

void StatusNotifierItem::start() {
    if (!m_bus ||
        !m_bus->registerObject(kItemPath, this, QDBusConnection::ExportScriptableContents) ||
        !m_bus->registerObject(kMenuPath, &m_menu, QDBusConnection::ExportScriptableContents) ||
        !m_bus->registerService(m_service)) {
        setHosted(false);
        return;
    }
    auto* watch =
        new QDBusServiceWatcher(kWatcher, *m_bus, QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(watch, &QDBusServiceWatcher::serviceRegistered, this, &StatusNotifierItem::askWatcher);
    connect(watch, &QDBusServiceWatcher::serviceUnregistered, this, [this] { setHosted(false); });
    for (const QString& change : {QStringLiteral("StatusNotifierHostRegistered"),
                                  QStringLiteral("StatusNotifierHostUnregistered")})
        m_bus->connect(kWatcher, kWatcherPath, kWatcher, change, this, SLOT(askWatcher()));
    askWatcher();
}

void StatusNotifierItem::askWatcher() {
    auto registration = QDBusMessage::createMethodCall(
        kWatcher, kWatcherPath, kWatcher, QStringLiteral("RegisterStatusNotifierItem"));
    registration.setAutoStartService(false);
    registration << m_service;
    m_bus->asyncCall(registration);

    auto question = QDBusMessage::createMethodCall(
        kWatcher, kWatcherPath, QStringLiteral("org.freedesktop.DBus.Properties"),
        QStringLiteral("Get"));
    question.setAutoStartService(false);
    question << kWatcher << QStringLiteral("IsStatusNotifierHostRegistered");
    auto* call = new QDBusPendingCallWatcher(m_bus->asyncCall(question), this);
    connect(call, &QDBusPendingCallWatcher::finished, this, [this, call] {
        const QDBusPendingReply<QVariant> reply = *call;
        setHosted(reply.isValid() && reply.value().toBool());
        call->deleteLater();
    });
}

void StatusNotifierItem::setHosted(bool hosted) {
    if (m_hosted == hosted)
        return;
    m_hosted = hosted;
    m_anchor.reset(); // another panel has its icons elsewhere
    Q_EMIT hostedChanged();
}

void StatusNotifierItem::setDimmed(bool dimmed) {
    if (std::exchange(m_dimmed, dimmed) != dimmed)
        Q_EMIT NewIcon();
}

void StatusNotifierItem::setToolTip(const QString& text) {
    const QString shown = text.toHtmlEscaped(); // hosts take it for markup
    if (std::exchange(m_toolTip, shown) != shown)
        Q_EMIT NewToolTip();
}

NotifierPixmaps StatusNotifierItem::iconPixmap() const {
    // No host tells the colour of its panel: this one stands out from dark and light alike.
    QColor ink = Palette::Teal::s500();
    ink.setAlphaF(m_dimmed ? kDimmedOpacity : 1.F);
    NotifierPixmaps pixmaps;
    for (const int side : {16, 22, 24, 32, 48, 64})
        pixmaps.append(toNetwork(menuBarIcon(side, ink).toImage()));
    return pixmaps;
}

QDBusObjectPath StatusNotifierItem::menu() const {
    return QDBusObjectPath(kMenuPath);
}

// The coordinates that hosts pass are the screen's in some sessions and the icon's own in others;
// the pointer is where the click was, and known to X11 alone.
void StatusNotifierItem::rememberPlace() {
    m_anchor.reset();
    if (QGuiApplication::platformName() != QLatin1StringView("xcb") ||
        qEnvironmentVariableIsSet("WAYLAND_DISPLAY"))
        return;
    const QPoint click = QCursor::pos();
    if (const QScreen* screen = QGuiApplication::screenAt(click))
        m_anchor = iconAt(click, screen->geometry(), screen->availableGeometry());
}

void StatusNotifierItem::Activate(int, int) {
    rememberPlace();
    Q_EMIT clicked();
}

void StatusNotifierItem::SecondaryActivate(int x, int y) {
    ContextMenu(x, y);
}

void StatusNotifierItem::ContextMenu(int, int) {
    rememberPlace();
    Q_EMIT menuRequested();
}

} // namespace sorrelwind
