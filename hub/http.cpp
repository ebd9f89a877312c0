#include "hub/http.h"

namespace sorrelwind {

namespace {

// A token comes from outside and must not become a line of its own.
QByteArray headerValue(QByteArray text) {
    return text.replace('\r', "").replace('\n', "");
}

} // namespace

QUrl hubUrl(const QString& base, const QString& path) {
    QUrl url(base);
    QString prefix = url.path(QUrl::FullyDecoded);
    while (prefix.endsWith(u'/'))
        prefix.chop(1);
    url.setPath(prefix + u'/' + path, QUrl::DecodedMode);
    return url;
}

QByteArray requestHead(const QByteArray& method, const QUrl& url) {
    QByteArray target = url.path(QUrl::FullyEncoded).toLatin1();
    if (url.hasQuery())
        target += '?' + url.query(QUrl::FullyEncoded).toLatin1();
    const QString host = url.adjusted(QUrl::RemoveUserInfo).authority(QUrl::FullyEncoded);
    return method + ' ' + target + " HTTP/1.1\r\nHost: " + host.toLatin1() +
           "\r\nUser-Agent: Sorrelwind/" SORRELWIND_VERSION "\r\n";
}

HttpExchange::HttpExchange(const Network& network, const HttpRequest& request)
    : m_url(request.url), m_line(network, request.url) {
    QByteArray head = requestHead(request.method, request.url) + "Connection: close\r\n";
    if (!request.token.isEmpty())
        head += "Authorization: Bearer " + headerValue(request.token) + "\r\n";
    if (!request.body.isEmpty())
        head += "Content-Type: application/json\r\n";
    if (!request.body.isEmpty() || request.method == "POST")
        head += "Content-Length: " + QByteArray::number(request.body.size()) + "\r\n";
    m_line.write(head + "\r\n");
    if (!request.body.isEmpty())
        m_line.write(request.body);
    m_patience.setSingleShot(true);
    m_patience.setInterval(request.timeout);
}

void HttpExchange::await_suspend(std::coroutine_handle<> waiting) {
    m_waiting = waiting;
    const auto moved = [this] { m_patience.start(); };
    QObject::connect(&m_line, &Line::opened, &m_context, moved);
    QObject::connect(&m_line, &Line::wrote, &m_context, moved);
    QObject::connect(&m_line, &Line::received, &m_context, [this] {
        m_patience.start();
        take(m_reader.add(m_line.read()));
    });
    QObject::connect(&m_line, &Line::failed, &m_context, [this](const Unreachable& reason) {
        if (m_finished)
            return;
        m_result.trouble = reason;
        take(m_reader.end());
        finish();
    });
    QObject::connect(&m_patience, &QTimer::timeout, &m_context, [this] {
        m_result.trouble = m_line.because(Unreachable::Why::timedOut);
        finish();
    });
    m_patience.start();
    m_line.open();
}

void HttpExchange::take(HttpReader::State state) {
    if (m_finished || state == HttpReader::State::reading)
        return;
    m_result.trouble.reset();
    if (state != HttpReader::State::notHttp) {
        m_result.status = m_reader.status();
        m_result.body = m_reader.body();
        const QByteArray location = m_reader.header("location");
        if (m_result.status / 100 == 3 && !location.isEmpty())
            m_result.location = m_url.resolved(QUrl::fromEncoded(location));
    }
    finish();
}

// Later, as the flow may end this object while the line is still speaking.
void HttpExchange::finish() {
    if (std::exchange(m_finished, true))
        return;
    m_patience.stop();
    QMetaObject::invokeMethod(
        &m_context, [this] { std::exchange(m_waiting, {}).resume(); }, Qt::QueuedConnection);
}

} // namespace sorrelwind
