#include "hosting/local_address.h"

#include "hosting/awaited.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QFile>
#include <QHostInfo>
#include <QNetworkInterface>
#include <QSysInfo>
#include <QUrl>

#include <algorithm>

namespace sorrelwind {

namespace {

constexpr int kAvahiPatienceMs = 2000;

bool reachable(const QHostAddress& address) {
    return address.protocol() == QAbstractSocket::IPv4Protocol && !address.isLoopback() &&
           !address.isLinkLocal();
}

Awaited<QString>::Begin askAvahi() {
    return [](QObject& context, const Awaited<QString>::Done& done) {
        auto call = QDBusMessage::createMethodCall(
            QStringLiteral("org.freedesktop.Avahi"), QStringLiteral("/"),
            QStringLiteral("org.freedesktop.Avahi.Server"), QStringLiteral("GetHostNameFqdn"));
        call.setAutoStartService(false);
        auto* watcher = new QDBusPendingCallWatcher(
            QDBusConnection::systemBus().asyncCall(call, kAvahiPatienceMs), &context);
        QObject::connect(
            watcher, &QDBusPendingCallWatcher::finished, &context,
            [watcher, done] {
                const QDBusPendingReply<QString> reply(*watcher);
                done(reply.isValid() ? reply.value() : QString());
            },
            Qt::QueuedConnection);
    };
}

Awaited<bool>::Begin lookUp(const QString& name) {
    return [name](QObject& context, const Awaited<bool>::Done& done) {
        QHostInfo::lookupHost(name, &context,
                              [done](const QHostInfo& info) { done(!info.addresses().isEmpty()); });
    };
}

} // namespace

QStringList defaultRouteInterfaces(const QByteArray& routes) {
    // Iface Destination Gateway Flags RefCnt Use Metric Mask MTU Window IRTT, numbers in hex but
    // for the metric.
    QList<std::pair<uint, QString>> found;
    for (const QByteArray& line : routes.split('\n')) {
        const QList<QByteArray> fields = line.simplified().split(' ');
        if (fields.size() < 8 || fields[1] != "00000000" || fields[7] != "00000000")
            continue;
        constexpr uint kUp = 0x1;
        bool isHex = false;
        bool isNumber = false;
        const uint flags = fields[3].toUInt(&isHex, 16);
        const uint metric = fields[6].toUInt(&isNumber);
        if (isHex && isNumber && (flags & kUp) != 0)
            found.emplaceBack(metric, QString::fromLocal8Bit(fields[0]));
    }
    std::stable_sort(found.begin(), found.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    QStringList names;
    for (const auto& [metric, name] : found)
        names << name;
    return names;
}

QHostAddress defaultRouteAddress() {
    QFile file(QStringLiteral("/proc/net/route"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QHostAddress tunnel;
    for (const QString& name : defaultRouteInterfaces(file.readAll())) {
        const auto interface = QNetworkInterface::interfaceFromName(name);
        for (const auto& entry : interface.addressEntries()) {
            if (!reachable(entry.ip()))
                continue;
            if (!interface.flags().testFlag(QNetworkInterface::IsPointToPoint))
                return entry.ip();
            if (tunnel.isNull())
                tunnel = entry.ip();
        }
    }
    return tunnel;
}

Task<QString> multicastName() {
    if (!QDBusConnection::systemBus().isConnected())
        co_return QString();
    Awaited<QString> avahi(askAvahi());
    const QString name = co_await avahi;
    if (name.isEmpty())
        co_return QString();
    Awaited<bool> lookup(lookUp(name));
    const bool resolves = co_await lookup;
    co_return resolves ? name : QString();
}

QString hostedHubAddress(const QString& name, const QHostAddress& address, quint16 port) {
    const bool hasName = name.endsWith(QLatin1StringView(".local"), Qt::CaseInsensitive);
    if (!hasName && !reachable(address))
        return {};
    return QStringLiteral("http://%1:%2").arg(hasName ? name : address.toString()).arg(port);
}

bool isLoopback(const QString& server) {
    const QString host = QUrl(server).host();
    return host == QLatin1StringView("localhost") || QHostAddress(host).isLoopback();
}

bool isThisComputer(const QString& server) {
    const QString host = QUrl(server).host();
    const QString name = QSysInfo::machineHostName();
    return isLoopback(server) ||
           host.compare(name + QLatin1StringView(".local"), Qt::CaseInsensitive) == 0 ||
           QNetworkInterface::allAddresses().contains(QHostAddress(host));
}

} // namespace sorrelwind
