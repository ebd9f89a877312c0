#include "app/wake_notifier.h"

#include <QDBusConnection>

namespace sorrelwind {

WakeNotifier::WakeNotifier() {
    QDBusConnection::systemBus().connect(
        QStringLiteral("org.freedesktop.login1"), QStringLiteral("/org/freedesktop/login1"),
        QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("PrepareForSleep"), this,
        SLOT(onPrepareForSleep(bool)));
    connect(&m_network, &NetworkChange::changed, this, &WakeNotifier::woke);
}

void WakeNotifier::onPrepareForSleep(bool goingToSleep) {
    if (!goingToSleep)
        Q_EMIT woke();
}

} // namespace sorrelwind
