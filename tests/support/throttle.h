#pragma once

#include <QString>
#include <QTcpServer>
#include <QTimer>

class QTcpSocket;

namespace sorrelwind::test {

/// A slow line to a port on loopback: a proxy that passes so many bytes a second on, in each
/// direction of each connection, and holds hardly any itself.
class Throttle {
public:
    Throttle(quint16 target, qint64 bytesPerSecond);

    [[nodiscard]] QString base() const;

private:
    void accept();
    void couple(QTcpSocket* from, QTcpSocket* to);

    quint16 m_target;
    qint64 m_bytesPerTick;
    QTcpServer m_server;
    QTimer m_tick;
};

} // namespace sorrelwind::test
