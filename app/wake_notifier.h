#pragma once

#include "app/network_change.h"

#include <QObject>

namespace sorrelwind {

/// Says when the computer woke from sleep (logind on the system bus) or got another way to the
/// network. Without logind it stays silent about the former.
class WakeNotifier final : public QObject {
    Q_OBJECT
public:
    WakeNotifier();

Q_SIGNALS:
    void woke();

private Q_SLOTS:
    void onPrepareForSleep(bool goingToSleep);

private:
    NetworkChange m_network;
};

} // namespace sorrelwind
