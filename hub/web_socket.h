#pragma once

#include "hub/frame_reader.h"
#include "hub/http_reader.h"
#include "hub/line.h"

#include <QUrl>

namespace sorrelwind {

/// The client's end of one WebSocket (RFC 6455) without extensions. Answers pings itself. Owned by
/// SyncClient, which lets go of it by deleteLater; says `lost` or `overstepped` once at most, and
/// nothing after it.
class WebSocket : public QObject {
    Q_OBJECT
public:
    /// `url` is ws or wss.
    WebSocket(const Network& network, QUrl url);

    /// Nothing is said before this returns.
    void open();
    /// Before it is open, nothing may be sent.
    void sendText(const QByteArray& utf8);
    /// As sendText, for what the hub asked for: it must not pile up here.
    void answer(const QByteArray& utf8);
    void ping();
    /// Code 1000, sent before this returns if the network takes it at once.
    void close();

    // Bytes of frames, counted from the first: what was sent by now, and what of it has left.
    [[nodiscard]] qint64 sent() const { return m_sent; }
    [[nodiscard]] qint64 left() const { return m_sent - m_line.waiting(); }

Q_SIGNALS:
    void opened();
    void received(const QByteArray& message);
    void heard();                  // some bytes, whatever they are, once it is open
    void wrote();                  // some bytes left
    void lost(const QString& why); // in English
    /// The peer made this side hold more than any honest one does.
    void overstepped(const QString& what);

private:
    void shakeHands();
    void read();
    void readAnswer(const QByteArray& bytes);
    void readFrames(const QByteArray& bytes);
    void take(const WebSocketMessage& message);
    void send(Opcode opcode, QByteArrayView payload);
    void sendAnswer(Opcode opcode, QByteArrayView payload);
    void lose(const QString& why);
    void overstep(const QString& what);

    QUrl m_url;
    Line m_line;
    QByteArray m_key; // as sent
    HttpReader m_answer;
    FrameReader m_frames;
    bool m_open = false;
    bool m_over = false;
    qint64 m_sent = 0;
    qint64 m_answers = 0; // bytes of answers since the peer last read all
};

} // namespace sorrelwind
