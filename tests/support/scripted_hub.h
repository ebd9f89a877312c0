#pragma once

#include "base/task.h"
#include "tests/support/wait.h"

#include <QHash>
#include <QList>
#include <QMap>
#include <QTcpServer>

#include <functional>
#include <optional>

class QTcpSocket;

namespace sorrelwind::test {

/// One request as the hub saw it.
struct SeenRequest {
    QByteArray method;
    QByteArray path; ///< without the query
    QByteArray query;
    QMap<QByteArray, QByteArray> headers; ///< names in lower case
    QByteArray body;
};

/// What the hub does with one request.
struct Answer {
    enum Ending {
        keepOpen, ///< with an incomplete `raw` this is a stall
        close,
        dribble, ///< goes on with a blank now and then, for ever
    };

    int status = 200;
    QByteArray body = "{}";
    QByteArray headers = {};            ///< whole lines, each with its CRLF
    std::optional<QByteArray> raw = {}; ///< sent as it stands instead of a reply
    Ending ending = keepOpen;
};

/// A hub on a loopback port that does what the test says: HTTP and WebSocket on real sockets, with
/// every fault a peer can have. A request without a script gets 404; "GET /ws" without one becomes
/// the WebSocket, of which the latest counts.
class ScriptedHub {
public:
    enum Opcode { text = 1, binary = 2, closing = 8, ping = 9, pong = 10 };

    ScriptedHub();
    ~ScriptedHub();

    [[nodiscard]] QString base() const;
    [[nodiscard]] QByteArray port() const { return QByteArray::number(m_port); }

    /// The answers to a request such as "GET /crypto", in turn; the last one stays.
    void on(const QByteArray& request, QList<Answer> answers) { m_scripts[request] = answers; }
    /// It has no script any more.
    void forget(const QByteArray& request) { m_scripts.remove(request); }
    /// Every request, handshakes too.
    QList<SeenRequest> requests;
    [[nodiscard]] qsizetype count(const QByteArray& request) const;

    QByteArray greeting;                            ///< text frame after each handshake, if any
    bool answersPings = true;                       ///< with a pong
    std::function<void(const QByteArray&)> onFrame; ///< told each text message
    QList<QByteArray> frames;                       ///< text messages seen
    int pings = 0;
    int sockets = 0; ///< WebSockets accepted so far
    std::optional<int> closeCode;

    void send(const QByteArray& payload, Opcode opcode = text);
    /// Ends the latest WebSocket without a closing handshake.
    void dropSocket();
    [[nodiscard]] QTcpSocket* socket() const { return m_socket; }

    /// Stops listening and ends every connection without a word.
    void die();
    /// Listens again on the same port.
    void revive();

private:
    void accept();
    void readHttp(QTcpSocket* connection);
    void readFrames(QTcpSocket* connection);
    void answer(QTcpSocket* connection, const SeenRequest& request);
    void upgrade(QTcpSocket* connection, const SeenRequest& request);

    QTcpServer m_server;
    quint16 m_port = 0;
    QHash<QByteArray, QList<Answer>> m_scripts;
    QHash<QTcpSocket*, QByteArray> m_unread;
    QTcpSocket* m_socket = nullptr;
    QByteArray m_message; // the parts of a fragmented message so far
};

/// Runs one flow to its end with the event loop; none when it did not end in time.
template <class T>
[[nodiscard]] std::optional<T> outcomeOf(Task<T> task) {
    std::optional<T> outcome;
    const auto keep = [](Task<T> flow, std::optional<T>& out) -> Task<> {
        out.emplace(co_await std::move(flow));
    };
    TaskScope scope;
    scope.start(keep(std::move(task), outcome));
    (void)waitFor([&] { return outcome.has_value(); });
    return outcome;
}

} // namespace sorrelwind::test
