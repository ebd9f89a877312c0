#include "hub/http_reader.h"

#include <algorithm>
#include <optional>

namespace sorrelwind {

namespace {

constexpr QByteArrayView kBegin = "HTTP/1.";

// Digits only, and no more of them than fit.
std::optional<qint64> number(const QByteArray& digits, int base) {
    const auto isDigit = [base](char c) {
        return (c >= '0' && c <= '9') ||
               (base == 16 && ((c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F')));
    };
    if (digits.isEmpty() || digits.size() > 15 || !std::ranges::all_of(digits, isDigit))
        return std::nullopt;
    return digits.toLongLong(nullptr, base);
}

} // namespace

HttpReader::State HttpReader::add(const QByteArray& bytes) {
    qsizetype at = 0;
    while (m_state == State::reading && at < bytes.size()) {
        const QByteArrayView left = QByteArrayView(bytes).sliced(at);
        if (m_part == Part::body || m_part == Part::untilEnd || m_part == Part::chunk) {
            at += takeBody(left);
            continue;
        }
        const qsizetype end = left.indexOf('\n');
        const auto piece = end < 0 ? left : left.first(end + 1);
        at += piece.size();
        m_headBytes += piece.size();
        m_line.append(piece);
        if (m_part == Part::status &&
            !m_line.startsWith(kBegin.first(std::min(kBegin.size(), m_line.size()))))
            m_state = State::notHttp;
        else if (m_headBytes > kMaxHead)
            m_state = State::tooLong;
        else if (end >= 0) {
            m_line.chop(m_line.endsWith("\r\n") ? 2 : 1);
            takeLine(std::exchange(m_line, {}));
        }
    }
    if (m_state == State::done)
        m_rest += bytes.mid(at);
    return m_state;
}

HttpReader::State HttpReader::end() {
    if (m_state == State::reading && m_part == Part::untilEnd)
        m_state = State::done;
    return m_state;
}

void HttpReader::takeLine(const QByteArray& line) {
    switch (m_part) {
    case Part::status:
        return takeStatus(line);
    case Part::headers:
        return line.isEmpty() ? beginBody() : takeHeader(line);
    case Part::chunkSize:
        return takeChunkSize(line);
    case Part::chunkEnd:
        m_part = Part::chunkSize;
        if (!line.isEmpty())
            m_state = State::notHttp;
        return;
    default: // trailers
        if (line.isEmpty())
            m_state = State::done;
    }
}

void HttpReader::takeStatus(const QByteArray& line) {
    const QList<QByteArray> words = line.split(' ');
    const auto status = words.value(1).size() == 3 ? number(words[1], 10) : std::nullopt;
    if (words[0].size() != kBegin.size() + 1 || !status || *status < 100) {
        m_state = State::notHttp;
        return;
    }
    m_status = static_cast<int>(*status);
    m_part = Part::headers;
}

void HttpReader::takeHeader(const QByteArray& line) {
    const qsizetype colon = line.indexOf(':');
    if (colon <= 0) {
        m_state = State::notHttp;
        return;
    }
    QByteArray& value = m_headers[line.first(colon).toLower()];
    value += (value.isEmpty() ? "" : ", ") + line.mid(colon + 1).trimmed();
}

void HttpReader::beginBody() {
    constexpr int kSwitching = 101;
    if (m_status < 200 && m_status != kSwitching) { // an interim one: the response is to follow
        m_status = 0;
        m_headers.clear();
        m_part = Part::status;
        return;
    }
    if (m_status == kSwitching || m_status == 204 || m_status == 304) {
        m_state = State::done;
        return;
    }
    if (header("transfer-encoding").toLower() == "chunked") {
        m_part = Part::chunkSize;
        return;
    }
    if (!m_headers.contains("content-length")) {
        m_part = Part::untilEnd;
        return;
    }
    const auto length = number(header("content-length"), 10);
    m_part = Part::body;
    m_due = length.value_or(0);
    if (!length)
        m_state = State::notHttp;
    else if (*length == 0)
        m_state = State::done;
}

void HttpReader::takeChunkSize(const QByteArray& line) {
    const auto size = number(line.split(';').first().trimmed(), 16); // extensions say nothing
    if (!size)
        m_state = State::notHttp;
    m_due = size.value_or(0);
    m_part = m_due == 0 ? Part::trailers : Part::chunk;
}

qsizetype HttpReader::takeBody(QByteArrayView bytes) {
    const bool bounded = m_part != Part::untilEnd;
    const auto taken =
        bounded ? static_cast<qsizetype>(std::min<qint64>(m_due, bytes.size())) : bytes.size();
    if (m_body.size() + taken > kMaxBody) {
        m_state = State::tooLong;
        m_body.clear();
        return taken;
    }
    m_body.append(bytes.first(taken));
    m_due -= taken;
    if (bounded && m_due == 0) {
        if (m_part == Part::body)
            m_state = State::done;
        m_part = Part::chunkEnd;
    }
    return taken;
}

} // namespace sorrelwind
