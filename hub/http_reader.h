#pragma once

#include <QByteArray>
#include <QMap>

namespace sorrelwind {

/// Reads one HTTP/1.1 response (RFC 9112) from the bytes of a connection, as they come. Holds a
/// head of 64 KiB and a body of 1 MiB at most, whatever is sent.
class HttpReader {
public:
    enum class State {
        reading,
        done,
        notHttp, // what came is no such response
        tooLong, // the status and the headers are there, or the head itself has no end
    };
    static constexpr qsizetype kMaxHead = 64 * 1024; // interim responses and trailers included
    static constexpr qsizetype kMaxBody = 1024 * 1024;

    /// Takes what it needs; what comes after the response stays in rest().
    State add(const QByteArray& bytes);
    /// The connection ended: a body that ends with it is whole.
    State end();

    [[nodiscard]] int status() const { return m_status; } // 0 until there is one
    /// By its name in lower case; several are one list (RFC 9110, section 5.3).
    [[nodiscard]] QByteArray header(const QByteArray& name) const { return m_headers.value(name); }
    [[nodiscard]] const QByteArray& body() const { return m_body; }
    [[nodiscard]] const QByteArray& rest() const { return m_rest; }

private:
    enum class Part { status, headers, body, untilEnd, chunkSize, chunk, chunkEnd, trailers };

    void takeLine(const QByteArray& line);
    void takeStatus(const QByteArray& line);
    void takeHeader(const QByteArray& line);
    void beginBody();
    void takeChunkSize(const QByteArray& line);
    qsizetype takeBody(QByteArrayView bytes);

    State m_state = State::reading;
    Part m_part = Part::status;
    QByteArray m_line; // the unfinished one
    qsizetype m_headBytes = 0;
    int m_status = 0;
    QMap<QByteArray, QByteArray> m_headers;
    qint64 m_due = 0; // bytes of the body or chunk that are still to come
    QByteArray m_body;
    QByteArray m_rest;
};

} // namespace sorrelwind
