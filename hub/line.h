#pragma once

#include "hub/unreachable.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QTcpSocket>
#include <QTimer>

class QSslSocket;
class QUrl;

namespace sorrelwind {

class Network;

/// One connection to a hub: TCP, inside TLS where the address says so, through the system's proxy
/// if there is one. Names that lead to both kinds of addresses are tried by both (RFC 8305). What
/// waits to be written waits here and hardly in the kernel, so that waiting() tells how far a slow
/// line has come. Says `failed` once at most, and nothing after it.
class Line : public QObject {
    Q_OBJECT
public:
    /// `url` is http, https, ws or wss; host and port count.
    Line(const Network& network, const QUrl& url);

    /// Nothing is said before this returns.
    void open();
    void write(const QByteArray& bytes);
    /// Takes what has come.
    [[nodiscard]] QByteArray read();
    /// Bytes of those written that are still here.
    [[nodiscard]] qint64 waiting() const { return m_queued + unsent(); }
    /// Sends what the network takes at once, and ends the connection.
    void finish();
    /// This line, given up for the reason.
    [[nodiscard]] Unreachable because(Unreachable::Why why) const;

Q_SIGNALS:
    void opened();
    void received(); // some bytes
    void wrote();    // some bytes left this computer's hands, or nearly so
    void failed(const Unreachable& reason);

private:
    void tryNext();
    void attemptFailed(QTcpSocket* socket);
    void settle(QTcpSocket* socket);
    void ready();
    void pump();
    void fail(const Unreachable& reason);
    [[nodiscard]] qint64 unsent() const;
    [[nodiscard]] Unreachable reasonOf(const QTcpSocket& socket) const;

    const Network& m_network;
    const bool m_isTls;
    QString m_host;
    QString m_place; // the host with its port
    quint16 m_port;

    QList<QAbstractSocket::NetworkLayerProtocol> m_roads; // not tried yet
    QList<QTcpSocket*> m_attempts;                        // that may still succeed
    QTimer m_next;
    std::optional<Unreachable> m_reason; // the most telling one so far

    QTcpSocket* m_socket = nullptr; // the attempt that succeeded
    QSslSocket* m_tls = nullptr;    // the same, with TLS
    bool m_ready = false;           // nothing may be written before
    QList<QByteArray> m_queue;
    qsizetype m_begun = 0; // bytes taken of its first
    qint64 m_queued = 0;   // bytes in it
    bool m_over = false;
};

} // namespace sorrelwind
