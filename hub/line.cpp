#include "hub/line.h"

#include "hub/network.h"

#include <QCryptographicHash>
#include <QHostAddress>
#include <QNetworkProxyFactory>
#include <QSslCertificate>
#include <QSslSocket>
#include <QUrl>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace sorrelwind {

namespace {

using Why = Unreachable::Why;

constexpr qint64 kReadBuffer = 256 * 1024;
constexpr qint64 kPiece = 32 * 1024; // at most this much is handed to the socket ahead of time
constexpr std::chrono::milliseconds kHeadStart{250};

bool isTlsScheme(const QString& scheme) {
    return scheme == QLatin1StringView("https") || scheme == QLatin1StringView("wss");
}

// How much a reason tells when another road came to nothing as well.
int weight(Why why) {
    return why == Why::nameNotFound ? 0 : why == Why::noRoad ? 1 : 2;
}

Why whyOf(QAbstractSocket::SocketError error) {
    switch (error) {
    case QAbstractSocket::HostNotFoundError:
        return Why::nameNotFound;
    case QAbstractSocket::ConnectionRefusedError:
        return Why::refused;
    case QAbstractSocket::SocketTimeoutError:
        return Why::timedOut;
    case QAbstractSocket::NetworkError:
        return Why::noRoad;
    case QAbstractSocket::SslHandshakeFailedError:
        return Why::noTls;
    case QAbstractSocket::ProxyAuthenticationRequiredError:
    case QAbstractSocket::ProxyConnectionRefusedError:
    case QAbstractSocket::ProxyConnectionClosedError:
    case QAbstractSocket::ProxyConnectionTimeoutError:
    case QAbstractSocket::ProxyNotFoundError:
    case QAbstractSocket::ProxyProtocolError:
        return Why::proxy;
    default:
        return Why::closed;
    }
}

Why whyOf(const QList<QSslError>& errors) {
    Why why = Why::otherName;
    for (const QSslError& error : errors) {
        switch (error.error()) {
        case QSslError::CertificateExpired:
            return Why::expired; // such an authority is not trusted besides
        case QSslError::CertificateNotYetValid:
            return Why::notYetValid;
        case QSslError::HostNameMismatch:
            break;
        default:
            why = Why::untrusted;
        }
    }
    return why;
}

QString issuerOf(const QSslCertificate& certificate) {
    constexpr qsizetype kLongest = 60;
    for (const auto part : {QSslCertificate::CommonName, QSslCertificate::Organization}) {
        const QStringList names = certificate.issuerInfo(part);
        if (!names.isEmpty())
            return names.first().left(kLongest);
    }
    return QStringLiteral("?");
}

} // namespace

Line::Line(const Network& network, const QUrl& url)
    : m_network(network), m_isTls(isTlsScheme(url.scheme())), m_host(url.host()),
      m_place(url.adjusted(QUrl::RemoveUserInfo).authority()),
      m_port(static_cast<quint16>(url.port(m_isTls ? 443 : 80))) {
    m_next.setSingleShot(true);
    connect(&m_next, &QTimer::timeout, this, &Line::tryNext);
}

void Line::open() {
    const QNetworkProxyQuery query(m_host, m_port,
                                   m_isTls ? QStringLiteral("https") : QStringLiteral("http"));
    const auto proxies = QNetworkProxyFactory::proxyForQuery(query);
    const bool direct = proxies.isEmpty() || proxies.first().type() == QNetworkProxy::NoProxy;
    if (direct && QHostAddress(m_host).isNull())
        m_roads = {QAbstractSocket::IPv6Protocol, QAbstractSocket::IPv4Protocol};
    else
        m_roads = {QAbstractSocket::AnyIPProtocol};
    m_next.start(std::chrono::milliseconds(0));
}

void Line::tryNext() {
    if (m_roads.isEmpty())
        return;
    const auto road = m_roads.takeFirst();
    m_next.start(kHeadStart);
    auto* socket = m_isTls ? new QSslSocket(this) : new QTcpSocket(this);
    m_attempts.append(socket);
    connect(socket, &QTcpSocket::connected, this, [this, socket] { settle(socket); });
    connect(socket, &QTcpSocket::errorOccurred, this, [this, socket] { attemptFailed(socket); });
    socket->setProtocolTag(m_isTls ? QStringLiteral("https") : QStringLiteral("http"));
    socket->setReadBufferSize(kReadBuffer);
    socket->connectToHost(m_host, m_port, QIODevice::ReadWrite, road);
}

void Line::attemptFailed(QTcpSocket* socket) {
    const Unreachable reason = reasonOf(*socket);
    if (!m_reason || weight(reason.why) >= weight(m_reason->why))
        m_reason = reason;
    m_attempts.removeOne(socket);
    socket->disconnect(this);
    socket->deleteLater();
    if (!m_roads.isEmpty())
        m_next.start(std::chrono::milliseconds(0));
    else if (m_attempts.isEmpty())
        fail(*m_reason);
}

void Line::settle(QTcpSocket* socket) {
    m_next.stop();
    m_roads.clear();
    for (QTcpSocket* attempt : std::exchange(m_attempts, {})) {
        attempt->disconnect(this);
        if (attempt != socket)
            attempt->deleteLater();
    }
    m_socket = socket;
    m_socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    // The kernel takes megabytes that a slow line needs a minute for; so it takes little.
    const int unsentBytes = static_cast<int>(kPiece);
    (void)::setsockopt(static_cast<int>(socket->socketDescriptor()), IPPROTO_TCP, TCP_NOTSENT_LOWAT,
                       &unsentBytes, sizeof unsentBytes);
    connect(socket, &QTcpSocket::readyRead, this, &Line::received);
    connect(socket, &QTcpSocket::errorOccurred, this, [this] { fail(reasonOf(*m_socket)); });
    connect(socket, &QTcpSocket::disconnected, this, [this] { fail(because(Why::closed)); });
    const auto left = [this] {
        pump();
        Q_EMIT wrote();
    };
    if (!m_isTls) {
        connect(socket, &QTcpSocket::bytesWritten, this, left);
        ready();
        return;
    }
    m_tls = static_cast<QSslSocket*>(socket);
    connect(m_tls, &QSslSocket::bytesWritten, this, &Line::pump);
    connect(m_tls, &QSslSocket::encryptedBytesWritten, this, left);
    connect(m_tls, &QSslSocket::encrypted, this, &Line::ready);
    m_tls->setSslConfiguration(m_network.tls());
    m_tls->startClientEncryption();
}

void Line::ready() {
    m_ready = true;
    pump();
    Q_EMIT opened();
}

qint64 Line::unsent() const {
    const qint64 sealed = m_tls ? m_tls->encryptedBytesToWrite() : 0;
    return m_socket ? m_socket->bytesToWrite() + sealed : 0;
}

void Line::write(const QByteArray& bytes) {
    m_queue.append(bytes);
    m_queued += bytes.size();
    pump();
}

void Line::pump() {
    while (m_ready && !m_queue.isEmpty() && unsent() < kPiece) {
        const QByteArray& first = m_queue.first();
        const qint64 taken = m_socket->write(first.constData() + m_begun,
                                             std::min<qint64>(kPiece, first.size() - m_begun));
        if (taken < 0)
            return; // it says so by its error
        m_begun += taken;
        m_queued -= taken;
        if (m_begun == first.size()) {
            m_queue.removeFirst();
            m_begun = 0;
        }
    }
}

QByteArray Line::read() {
    return m_socket ? m_socket->readAll() : QByteArray();
}

void Line::finish() {
    if (!m_socket)
        return;
    m_over = true;
    m_socket->flush();
    m_socket->disconnectFromHost();
}

void Line::fail(const Unreachable& reason) {
    if (std::exchange(m_over, true))
        return;
    if (m_socket && m_socket->bytesAvailable() > 0)
        Q_EMIT received();
    Q_EMIT failed(reason);
}

Unreachable Line::because(Why why) const {
    return {why, m_place, {}, {}};
}

Unreachable Line::reasonOf(const QTcpSocket& socket) const {
    const QList<QSslError> errors = m_tls ? m_tls->sslHandshakeErrors() : QList<QSslError>();
    if (socket.error() != QAbstractSocket::SslHandshakeFailedError || errors.isEmpty())
        return because(whyOf(socket.error()));
    const QSslCertificate certificate = m_tls->peerCertificate();
    return {
        whyOf(errors), m_place, issuerOf(certificate),
        QString::fromLatin1(certificate.digest(QCryptographicHash::Sha256).toHex(' ').toUpper())};
}

} // namespace sorrelwind
