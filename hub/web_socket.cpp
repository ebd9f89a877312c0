#include "hub/web_socket.h"

#include "base/printable.h"
#include "hub/http.h"

#include <QCryptographicHash>
#include <QRandomGenerator>
#include <QtEndian>

namespace sorrelwind {

namespace {

// Above the largest item that a hub relays (8 MiB unless its owner allows more).
constexpr qsizetype kMaxMessage = 64 * 1024 * 1024;
constexpr qint64 kMaxAnswers = 1024 * 1024; // pongs and receipts that the peer does not read
constexpr quint16 kNormalClosure = 1000;

QByteArray freshKey() {
    QByteArray bytes(16, Qt::Uninitialized);
    for (char& byte : bytes)
        byte = static_cast<char>(QRandomGenerator::system()->bounded(256));
    return bytes.toBase64();
}

QByteArray acceptFor(const QByteArray& key) { // RFC 6455, section 4.2.2
    return QCryptographicHash::hash(key + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11",
                                    QCryptographicHash::Sha1)
        .toBase64();
}

QString closedBy(const QByteArray& payload) {
    if (payload.size() < 2)
        return QStringLiteral("closed by the hub");
    return QStringLiteral("closed by the hub (%1 %2)")
        .arg(qFromBigEndian<quint16>(payload.constData()))
        .arg(printable(QString::fromUtf8(payload.mid(2))));
}

} // namespace

WebSocket::WebSocket(const Network& network, QUrl url)
    : m_url(std::move(url)), m_line(network, m_url), m_frames(kMaxMessage) {
    connect(&m_line, &Line::opened, this, &WebSocket::shakeHands);
    connect(&m_line, &Line::received, this, &WebSocket::read);
    connect(&m_line, &Line::wrote, this, [this] {
        if (m_line.waiting() == 0)
            m_answers = 0;
        if (m_open)
            Q_EMIT wrote();
    });
    connect(&m_line, &Line::failed, this,
            [this](const Unreachable& reason) { lose(reason.sentence().en); });
}

void WebSocket::open() {
    m_line.open();
}

void WebSocket::shakeHands() {
    m_key = freshKey();
    m_line.write(requestHead("GET", m_url) +
                 "Connection: Upgrade\r\nUpgrade: websocket\r\nSec-WebSocket-Version: 13\r\n"
                 "Sec-WebSocket-Key: " +
                 m_key + "\r\n\r\n");
}

void WebSocket::read() {
    const QByteArray bytes = m_line.read();
    if (m_over)
        return;
    if (m_open)
        readFrames(bytes);
    else
        readAnswer(bytes);
}

void WebSocket::readAnswer(const QByteArray& bytes) {
    const auto state = m_answer.add(bytes);
    if (state == HttpReader::State::tooLong)
        return overstep(QStringLiteral("an answer to the upgrade without an end"));
    if (state == HttpReader::State::notHttp)
        return lose(QStringLiteral("the answer to the upgrade is no HTTP"));
    if (m_answer.status() >= 200) // the others are followed by the answer itself
        return lose(QStringLiteral("the upgrade was answered with %1").arg(m_answer.status()));
    if (state == HttpReader::State::reading)
        return;
    if (m_answer.header("upgrade").toLower() != "websocket" ||
        !m_answer.header("connection").toLower().contains("upgrade") ||
        m_answer.header("sec-websocket-accept") != acceptFor(m_key) ||
        !m_answer.header("sec-websocket-extensions").isEmpty())
        return lose(QStringLiteral("the answer to the upgrade is not that of a WebSocket"));
    m_open = true;
    Q_EMIT opened();
    if (!m_answer.rest().isEmpty())
        readFrames(m_answer.rest());
}

void WebSocket::readFrames(const QByteArray& bytes) {
    Q_EMIT heard();
    const auto messages = m_frames.add(bytes);
    for (const WebSocketMessage& message : messages) {
        if (m_over)
            return;
        take(message);
    }
    if (m_frames.fault() == FrameReader::Fault::tooLarge)
        overstep(QStringLiteral("a frame of more than 64 MiB"));
    else if (m_frames.fault() == FrameReader::Fault::protocol)
        lose(QStringLiteral("what came is no WebSocket frame"));
}

void WebSocket::take(const WebSocketMessage& message) {
    switch (message.opcode) {
    case Opcode::ping:
        sendAnswer(Opcode::pong, message.payload);
        break;
    case Opcode::close:
        send(Opcode::close, message.payload);
        m_line.finish();
        lose(closedBy(message.payload));
        break;
    case Opcode::pong:
        break;
    default:
        Q_EMIT received(message.payload);
    }
}

void WebSocket::send(Opcode opcode, QByteArrayView payload) {
    if (!m_open || m_over)
        return;
    const QByteArray frame = clientFrame(opcode, payload);
    m_sent += frame.size();
    m_line.write(frame);
}

void WebSocket::sendAnswer(Opcode opcode, QByteArrayView payload) {
    const qint64 before = m_sent;
    send(opcode, payload);
    m_answers += m_sent - before;
    if (m_answers > kMaxAnswers)
        overstep(QStringLiteral("it asks and does not read the answers"));
}

void WebSocket::sendText(const QByteArray& utf8) {
    send(Opcode::text, utf8);
}

void WebSocket::answer(const QByteArray& utf8) {
    sendAnswer(Opcode::text, utf8);
}

void WebSocket::ping() {
    send(Opcode::ping, {});
}

void WebSocket::close() {
    QByteArray code(2, Qt::Uninitialized);
    qToBigEndian(kNormalClosure, code.data());
    send(Opcode::close, code);
    m_over = true;
    m_line.finish();
}

void WebSocket::lose(const QString& why) {
    if (!std::exchange(m_over, true))
        Q_EMIT lost(why);
}

void WebSocket::overstep(const QString& what) {
    if (!std::exchange(m_over, true))
        Q_EMIT overstepped(what);
}

} // namespace sorrelwind
