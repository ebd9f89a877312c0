#include "app/wake_notifier.h"

#include <QDBusConnection>
#include <QNetworkInformation>

namespace sorrelwind {

WakeNotifier::WakeNotifier() {
    QDBusConnection::systemBus().connect(
        QStringLiteral("org.freedesktop.login1"), QStringLiteral("/org/freedesktop/login1"),
        QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("PrepareForSleep"), this,
        SLOT(onPrepareForSleep(bool)));
    if (!QNetworkInformation::loadBackendByFeatures(QNetworkInformation::Feature::Reachability))
        return;
    connect(QNetworkInformation::instance(), &QNetworkInformation::reachabilityChanged, this,
            [this](QNetworkInformation::Reachability reachability) {
                if (reachability == QNetworkInformation::Reachability::Online)
                    Q_EMIT woke();
            });
}

void WakeNotifier::onPrepareForSleep(bool goingToSleep) {
    if (!goingToSleep)
        Q_EMIT woke();
}

} // namespace sorrelwind
