#pragma once

#include <QObject>

namespace sorrelwind {

/// Says when the computer woke from sleep (logind on the system bus) or the network came back.
/// Without either service it stays silent.
class WakeNotifier final : public QObject {
    Q_OBJECT
public:
    WakeNotifier();

Q_SIGNALS:
    void woke();

private Q_SLOTS:
    void onPrepareForSleep(bool goingToSleep);
};

} // namespace sorrelwind
