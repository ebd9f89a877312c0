#pragma once

#include <QByteArray>
#include <QList>

#include <optional>

namespace sorrelwind {

enum class Opcode { continuation = 0, text = 1, binary = 2, close = 8, ping = 9, pong = 10 };

/// A whole message, put together, or a control frame.
struct WebSocketMessage {
    Opcode opcode;
    QByteArray payload;
};

/// Reads what a server sends over a WebSocket (RFC 6455, section 5) from the bytes of the
/// connection, as they come. Memory grows with what has arrived, not with what is announced.
class FrameReader {
public:
    enum class Fault {
        none,
        protocol, // against the RFC, texts that are no UTF-8 included
        tooLarge, // a message of more than the limit
    };

    explicit FrameReader(qsizetype maxMessage) : m_maxMessage(maxMessage) {}

    /// The messages that these bytes complete, in order. After a fault there are no more.
    [[nodiscard]] QList<WebSocketMessage> add(QByteArrayView bytes);
    [[nodiscard]] Fault fault() const { return m_fault; }

private:
    void begin();
    void complete(QList<WebSocketMessage>& messages);

    qsizetype m_maxMessage;
    Fault m_fault = Fault::none;
    QByteArray m_head;             // of the current frame, as far as it has come
    std::optional<quint64> m_left; // bytes of its payload still to come; none while in its head
    bool m_final = false;
    Opcode m_opcode = Opcode::text;
    QByteArray m_control;                // payload of a control frame
    std::optional<Opcode> m_messageKind; // of the unfinished message
    QByteArray m_message;
};

/// One whole frame as a client sends it, masked with fresh random bytes.
[[nodiscard]] QByteArray clientFrame(Opcode opcode, QByteArrayView payload);

} // namespace sorrelwind
