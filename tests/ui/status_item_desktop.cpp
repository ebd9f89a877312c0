#include "tests/ui/status_item_desktop.h"

#include "tests/support/wait.h"

#include <QApplication>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDeadlineTimer>

#include <QScreen>

#include <gtest/gtest.h>

namespace sorrelwind::test {

namespace {

constexpr int kPatienceMs = 20'000;
const QString kItemInterface = QStringLiteral("org.kde.StatusNotifierItem");
const QString kItemPath = QStringLiteral("/StatusNotifierItem");
const QString kMenuPath = QStringLiteral("/MenuBar");
const QString kMenuInterface = QStringLiteral("com.canonical.dbusmenu");

const TrayDesktop* g_desktop = nullptr;

QDBusConnection ownConnection() {
    static int number = 0;
    return QDBusConnection::connectToBus(desktop().busAddress(),
                                         QStringLiteral("panel%1").arg(++number));
}

} // namespace

TrayDesktop::TrayDesktop() {
    m_windowManager =
        std::make_unique<Program>(QStringLiteral("openbox"), QStringList(), m_xvfb.environment());
    // A tray that starts before the window manager is left where it was made. Managing the windows
    // that are there is the last that it does when it starts.
    QProcess property;
    const QDeadlineTimer deadline(kPatienceMs);
    do {
        property.setProcessEnvironment(m_xvfb.environment());
        property.start(QStringLiteral("xprop"),
                       {QStringLiteral("-root"), QStringLiteral("_NET_CLIENT_LIST")});
        property.waitForFinished(kPatienceMs);
    } while (!property.readAllStandardOutput().contains("window id") && !deadline.hasExpired());
    qputenv("DISPLAY", m_xvfb.display());
    qputenv("DBUS_SESSION_BUS_ADDRESS", m_bus.address().toUtf8());
    qputenv("XDG_RUNTIME_DIR", m_runtime.path().toLocal8Bit());
    qputenv("QT_QPA_PLATFORM", "xcb");
    qunsetenv("WAYLAND_DISPLAY");
    g_desktop = this;
}

std::unique_ptr<Program> TrayDesktop::tray(const char* colour) const {
    return std::make_unique<Program>(
        QStringLiteral("trayer"),
        QStringList{QStringLiteral("--edge"), QStringLiteral("bottom"), QStringLiteral("--align"),
                    QStringLiteral("right"), QStringLiteral("--widthtype"),
                    QStringLiteral("request"), QStringLiteral("--height"), QStringLiteral("28"),
                    QStringLiteral("--tint"), QString::fromLatin1(colour),
                    QStringLiteral("--transparent"), QStringLiteral("true"),
                    QStringLiteral("--alpha"), QStringLiteral("0")},
        m_xvfb.environment());
}

void TrayDesktop::xdotool(const QStringList& arguments) const {
    Program program(QStringLiteral("xdotool"), arguments, m_xvfb.environment());
    EXPECT_TRUE(waitFor([&] { return !program.running(); }));
}

void TrayDesktop::click(QPoint place, int button) const {
    xdotool({QStringLiteral("mousemove"), QString::number(place.x()), QString::number(place.y()),
             QStringLiteral("click"), QString::number(button)});
}

QImage TrayDesktop::screenshot(const QRect& place) {
    return QGuiApplication::primaryScreen()
        ->grabWindow(0, place.x(), place.y(), place.width(), place.height())
        .toImage();
}

const TrayDesktop& desktop() {
    return *g_desktop;
}

NotifierPanel::NotifierPanel(bool withHost) : m_bus(ownConnection()), m_hostRegistered(withHost) {
    EXPECT_TRUE(m_bus.registerObject(QStringLiteral("/StatusNotifierWatcher"), this,
                                     QDBusConnection::ExportScriptableContents));
    EXPECT_TRUE(m_bus.registerService(QStringLiteral("org.kde.StatusNotifierWatcher")));
    m_bus.connect(QString(), kItemPath, kItemInterface, QStringLiteral("NewIcon"), this,
                  SLOT(onNewIcon()));
    m_bus.connect(QString(), kItemPath, kItemInterface, QStringLiteral("NewToolTip"), this,
                  SLOT(onNewToolTip()));
    m_bus.connect(QString(), kMenuPath, kMenuInterface, QStringLiteral("LayoutUpdated"), this,
                  SLOT(onLayout(uint, int)));
    m_bus.connect(QString(), kMenuPath, kMenuInterface, QStringLiteral("ItemsPropertiesUpdated"),
                  this, SLOT(onProperties(QDBusMessage)));
}

NotifierPanel::~NotifierPanel() {
    QDBusConnection::disconnectFromBus(m_bus.name());
}

void NotifierPanel::setHost(bool registered) {
    m_hostRegistered = registered;
    if (registered)
        Q_EMIT StatusNotifierHostRegistered();
    else
        Q_EMIT StatusNotifierHostUnregistered();
}

void NotifierPanel::RegisterStatusNotifierItem(const QString& service) {
    items.append(service);
}

QVariantMap NotifierPanel::properties() {
    auto question = QDBusMessage::createMethodCall(
        items.value(0), kItemPath, QStringLiteral("org.freedesktop.DBus.Properties"),
        QStringLiteral("GetAll"));
    question << kItemInterface;
    const QDBusPendingReply<QVariantMap> reply = m_bus.asyncCall(question);
    EXPECT_TRUE(waitFor([&] { return reply.isFinished(); }));
    return reply.isValid() ? reply.value() : QVariantMap();
}

void NotifierPanel::onProperties(const QDBusMessage& message) {
    newTexts += qdbus_cast<QList<BusMenuItem>>(message.arguments().value(0));
}

QDBusMessage NotifierPanel::askMenu(const char* method, const QVariantList& arguments) {
    auto question = QDBusMessage::createMethodCall(items.value(0), kMenuPath, kMenuInterface,
                                                   QString::fromLatin1(method));
    question.setArguments(arguments);
    const QDBusPendingCall call = m_bus.asyncCall(question);
    EXPECT_TRUE(waitFor([&] { return call.isFinished(); }));
    return call.reply();
}

void NotifierPanel::call(const char* method) {
    auto message = QDBusMessage::createMethodCall(items.value(0), kItemPath, kItemInterface,
                                                  QString::fromLatin1(method));
    message << 3 << 4;
    m_bus.asyncCall(message);
}

} // namespace sorrelwind::test

int main(int argc, char** argv) {
    const sorrelwind::test::TrayDesktop desktop;
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
