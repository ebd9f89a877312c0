#include "tests/support/throttle.h"

#include <QTcpSocket>

#include <sys/socket.h>

namespace sorrelwind::test {

namespace {

constexpr std::chrono::milliseconds kTick{10};
constexpr int kHeld = 16 * 1024; // bytes

} // namespace

Throttle::Throttle(quint16 target, qint64 bytesPerSecond)
    : m_target(target), m_bytesPerTick(bytesPerSecond * kTick.count() / 1000) {
    QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this] { accept(); });
    if (!m_server.listen(QHostAddress::LocalHost))
        qFatal("the slow line cannot listen: %s", qPrintable(m_server.errorString()));
    // What is accepted inherits it.
    (void)::setsockopt(static_cast<int>(m_server.socketDescriptor()), SOL_SOCKET, SO_RCVBUF, &kHeld,
                       sizeof kHeld);
    m_tick.start(kTick);
}

QString Throttle::base() const {
    return QStringLiteral("http://127.0.0.1:%1").arg(m_server.serverPort());
}

void Throttle::accept() {
    while (QTcpSocket* near = m_server.nextPendingConnection()) {
        auto* far = new QTcpSocket(near);
        far->connectToHost(QHostAddress(QHostAddress::LocalHost), m_target);
        couple(near, far);
        couple(far, near);
        QObject::connect(near, &QTcpSocket::disconnected, near, &QObject::deleteLater);
    }
}

void Throttle::couple(QTcpSocket* from, QTcpSocket* to) {
    from->setReadBufferSize(kHeld);
    QObject::connect(&m_tick, &QTimer::timeout, from, [this, from, to] {
        if (to->state() != QAbstractSocket::ConnectedState || to->bytesToWrite() > 0)
            return;
        to->write(from->read(m_bytesPerTick));
        if (from->state() == QAbstractSocket::UnconnectedState && from->bytesAvailable() == 0)
            to->disconnectFromHost();
    });
}

} // namespace sorrelwind::test
