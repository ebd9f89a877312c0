#include "tests/support/scripted_hub.h"

#include <QCryptographicHash>
#include <QTcpSocket>
#include <QtEndian>

namespace sorrelwind::test {

ScriptedHub::ScriptedHub() {
    QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this] { accept(); });
    revive();
}

ScriptedHub::~ScriptedHub() {
    die();
}

QString ScriptedHub::base() const {
    return u"http://127.0.0.1:%1"_qs.arg(m_port);
}

qsizetype ScriptedHub::count(const QByteArray& request) const {
    return std::count_if(requests.begin(), requests.end(), [&](const SeenRequest& seen) {
        return seen.method + ' ' + seen.path == request;
    });
}

void ScriptedHub::revive() {
    if (!m_server.listen(QHostAddress::LocalHost, m_port))
        qFatal("the scripted hub cannot listen: %s", qPrintable(m_server.errorString()));
    m_port = m_server.serverPort();
}

void ScriptedHub::die() {
    m_server.close();
    m_socket = nullptr;
    m_unread.clear();
    for (auto* connection : m_server.findChildren<QTcpSocket*>()) {
        connection->disconnect();
        connection->abort();
        connection->deleteLater();
    }
}

void ScriptedHub::accept() {
    while (QTcpSocket* connection = m_server.nextPendingConnection()) {
        QObject::connect(connection, &QTcpSocket::readyRead, &m_server, [this, connection] {
            m_unread[connection] += connection->readAll();
            connection == m_socket ? readFrames(connection) : readHttp(connection);
        });
        QObject::connect(connection, &QTcpSocket::disconnected, &m_server, [this, connection] {
            if (connection == m_socket)
                m_socket = nullptr;
            m_unread.remove(connection);
            connection->deleteLater();
        });
    }
}

void ScriptedHub::readHttp(QTcpSocket* connection) {
    QByteArray& unread = m_unread[connection];
    const qsizetype headEnd = unread.indexOf("\r\n\r\n");
    if (headEnd < 0)
        return;
    SeenRequest request;
    QList<QByteArray> lines = unread.first(headEnd).split('\n');
    const QList<QByteArray> words = lines.takeFirst().trimmed().split(' ');
    request.method = words.value(0);
    request.path = words.value(1);
    if (const qsizetype mark = request.path.indexOf('?'); mark >= 0) {
        request.query = request.path.mid(mark + 1);
        request.path.truncate(mark);
    }
    for (const QByteArray& line : lines) {
        const qsizetype colon = line.indexOf(':');
        request.headers.insert(line.first(colon).toLower(), line.mid(colon + 1).trimmed());
    }
    const qsizetype length = request.headers.value("content-length").toLongLong();
    if (unread.size() < headEnd + 4 + length)
        return;
    request.body = unread.mid(headEnd + 4, length);
    unread.remove(0, headEnd + 4 + length);
    requests.append(request);

    const bool scripted = m_scripts.contains(request.method + ' ' + request.path);
    if (!scripted && request.headers.value("upgrade").toLower() == "websocket")
        upgrade(connection, request);
    else
        answer(connection, request);
}

void ScriptedHub::answer(QTcpSocket* connection, const SeenRequest& request) {
    QList<Answer>& script = m_scripts[request.method + ' ' + request.path];
    if (script.isEmpty())
        script.append(Answer{.status = 404});
    const Answer answer = script.size() > 1 ? script.takeFirst() : script.first();
    const QByteArray reply = "HTTP/1.1 " + QByteArray::number(answer.status) + " Scripted\r\n" +
                             "Content-Length: " + QByteArray::number(answer.body.size()) + "\r\n" +
                             answer.headers + "\r\n" + answer.body;
    connection->write(answer.raw.value_or(reply));
    if (answer.ending == Answer::close)
        connection->disconnectFromHost();
    if (answer.ending == Answer::dribble) {
        auto* timer = new QTimer(connection);
        QObject::connect(timer, &QTimer::timeout, connection,
                         [connection] { connection->write(" "); });
        timer->start(std::chrono::milliseconds(5));
    }
}

void ScriptedHub::upgrade(QTcpSocket* connection, const SeenRequest& request) {
    const QByteArray accepted = request.headers.value("sec-websocket-key") +
                                "258EAFA5-E914-47DA-95CA-C5AB0DC85B11"; // RFC 6455, section 1.3
    connection->write(
        "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
        "Sec-WebSocket-Accept: " +
        QCryptographicHash::hash(accepted, QCryptographicHash::Sha1).toBase64() + "\r\n\r\n");
    m_socket = connection;
    m_message.clear();
    closeCode.reset();
    ++sockets;
    if (!greeting.isEmpty())
        send(greeting);
}

void ScriptedHub::send(const QByteArray& payload, Opcode opcode) {
    if (!m_socket)
        return;
    QByteArray frame(1, static_cast<char>(0x80 | opcode));
    if (payload.size() < 126) {
        frame += static_cast<char>(payload.size());
    } else if (payload.size() < 0x10000) {
        frame += static_cast<char>(126);
        frame.resize(4);
        qToBigEndian<quint16>(static_cast<quint16>(payload.size()), frame.data() + 2);
    } else {
        frame += static_cast<char>(127);
        frame.resize(10);
        qToBigEndian<quint64>(static_cast<quint64>(payload.size()), frame.data() + 2);
    }
    m_socket->write(frame + payload);
}

void ScriptedHub::dropSocket() {
    if (m_socket)
        m_socket->abort();
}

// RFC 6455, section 5.2; clients mask what they send.
void ScriptedHub::readFrames(QTcpSocket* connection) {
    while (connection == m_socket) {
        QByteArray& unread = m_unread[connection];
        if (unread.size() < 2)
            return;
        const auto first = static_cast<unsigned char>(unread[0]);
        quint64 length = static_cast<unsigned char>(unread[1]) & 0x7FU;
        const qsizetype lengthBytes = length == 126 ? 2 : length == 127 ? 8 : 0;
        const qsizetype start = 2 + lengthBytes + 4;
        if (unread.size() < start)
            return;
        if (lengthBytes == 2)
            length = qFromBigEndian<quint16>(unread.constData() + 2);
        else if (lengthBytes == 8)
            length = qFromBigEndian<quint64>(unread.constData() + 2);
        const auto size = static_cast<qsizetype>(length);
        if (unread.size() < start + size)
            return;
        QByteArray payload = unread.mid(start, size);
        for (qsizetype i = 0; i < size; ++i)
            payload[i] = static_cast<char>(payload[i] ^ unread[start - 4 + i % 4]);
        unread.remove(0, start + size);

        const unsigned opcode = first & 0x0FU;
        if (opcode == closing) {
            closeCode = payload.size() >= 2 ? qFromBigEndian<quint16>(payload.constData()) : 1005;
            send(payload, closing);
            connection->disconnectFromHost();
        } else if (opcode == ping) {
            ++pings;
            if (answersPings)
                send(payload, pong);
        } else if (opcode < closing) {
            m_message += payload;
            if ((first & 0x80U) != 0) {
                frames.append(std::exchange(m_message, {}));
                if (onFrame)
                    onFrame(frames.last());
            }
        }
    }
}

} // namespace sorrelwind::test
