#include "hub/frame_reader.h"

#include <QRandomGenerator>
#include <QtEndian>

#include <algorithm>
#include <array>

namespace sorrelwind {

namespace {

constexpr unsigned kFinal = 0x80;
constexpr unsigned kMasked = 0x80;
constexpr quint64 kMaxControl = 125;

unsigned byteAt(const QByteArray& bytes, qsizetype at) {
    return static_cast<unsigned char>(bytes[at]);
}

bool isControl(Opcode opcode) {
    return opcode >= Opcode::close;
}

bool isKnown(unsigned opcode) {
    return opcode <= 2 || (opcode >= 8 && opcode <= 10);
}

// The length of a frame's head; 2 as long as its second byte is not there.
qsizetype headSize(const QByteArray& head) {
    const unsigned length = head.size() < 2 ? 0 : byteAt(head, 1) & ~kMasked;
    return length == 126 ? 4 : length == 127 ? 10 : 2;
}

} // namespace

QList<WebSocketMessage> FrameReader::add(QByteArrayView bytes) {
    QList<WebSocketMessage> messages;
    while (m_fault == Fault::none && (!bytes.isEmpty() || m_left == 0)) {
        if (!m_left) {
            m_head.append(bytes.front());
            bytes = bytes.sliced(1);
            if (m_head.size() == headSize(m_head))
                begin();
            continue;
        }
        const auto taken =
            static_cast<qsizetype>(std::min<quint64>(*m_left, static_cast<quint64>(bytes.size())));
        (isControl(m_opcode) ? m_control : m_message).append(bytes.first(taken));
        bytes = bytes.sliced(taken);
        *m_left -= static_cast<quint64>(taken);
        if (*m_left == 0)
            complete(messages);
    }
    return messages;
}

void FrameReader::begin() {
    const unsigned first = byteAt(m_head, 0);
    const unsigned second = byteAt(m_head, 1);
    quint64 length = second & ~kMasked;
    if (m_head.size() == 4)
        length = qFromBigEndian<quint16>(m_head.constData() + 2);
    else if (m_head.size() == 10)
        length = qFromBigEndian<quint64>(m_head.constData() + 2);
    m_head.clear();
    const unsigned kind = first & 0x0F;
    m_final = (first & kFinal) != 0;
    m_opcode = static_cast<Opcode>(kind);
    const bool reserved = (first & 0x70) != 0;
    const bool wrongControl = isControl(m_opcode) && (!m_final || length > kMaxControl);
    const bool outOfTurn =
        !isControl(m_opcode) && (m_opcode == Opcode::continuation) != m_messageKind.has_value();
    if (reserved || !isKnown(kind) || (second & kMasked) != 0 || wrongControl || outOfTurn) {
        m_fault = Fault::protocol;
        return;
    }
    if (!isControl(m_opcode)) {
        if (length > static_cast<quint64>(m_maxMessage - m_message.size())) {
            m_fault = Fault::tooLarge;
            return;
        }
        if (!m_messageKind)
            m_messageKind = m_opcode;
    }
    m_left = length;
}

void FrameReader::complete(QList<WebSocketMessage>& messages) {
    m_left.reset();
    if (isControl(m_opcode)) {
        messages.append({m_opcode, std::exchange(m_control, {})});
        return;
    }
    if (!m_final)
        return;
    const Opcode kind = *std::exchange(m_messageKind, std::nullopt);
    QByteArray message = std::exchange(m_message, {});
    if (kind == Opcode::text && !message.isValidUtf8())
        m_fault = Fault::protocol;
    else
        messages.append({kind, std::move(message)});
}

QByteArray clientFrame(Opcode opcode, QByteArrayView payload) {
    QByteArray frame;
    frame.reserve(payload.size() + 14);
    frame.append(static_cast<char>(kFinal | static_cast<unsigned>(opcode)));
    const auto append = [&frame](auto number) {
        std::array<char, sizeof number> bytes;
        qToBigEndian(number, bytes.data());
        frame.append(bytes.data(), bytes.size());
    };
    if (payload.size() <= static_cast<qsizetype>(kMaxControl)) {
        append(static_cast<quint8>(kMasked | static_cast<unsigned>(payload.size())));
    } else if (payload.size() <= 0xFFFF) {
        append(static_cast<quint8>(kMasked | 126));
        append(static_cast<quint16>(payload.size()));
    } else {
        append(static_cast<quint8>(kMasked | 127));
        append(static_cast<quint64>(payload.size()));
    }
    append(QRandomGenerator::system()->generate());
    const qsizetype start = frame.size();
    frame.append(payload);
    char* const body = frame.data() + start;
    const char* const mask = body - sizeof(quint32);
    for (qsizetype i = 0; i < payload.size(); ++i)
        body[i] = static_cast<char>(body[i] ^ mask[i % 4]);
    return frame;
}

} // namespace sorrelwind
