#include "hub/http.h"

#include <QNetworkReply>
#include <QTimer>

namespace sorrelwind {

QUrl hubUrl(const QString& base, const QString& path) {
    QUrl url(base);
    QString prefix = url.path(QUrl::FullyDecoded);
    while (prefix.endsWith(u'/'))
        prefix.chop(1);
    url.setPath(prefix + u'/' + path, QUrl::DecodedMode);
    return url;
}

HttpExchange::HttpExchange(QNetworkAccessManager& network, const HttpRequest& request)
    : m_reply(nullptr, [](QNetworkReply* reply) {
          reply->abort();
          reply->deleteLater();
      }) {
    QNetworkRequest outgoing(request.url);
    outgoing.setTransferTimeout(static_cast<int>(request.timeout.count()));
    outgoing.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                          QNetworkRequest::ManualRedirectPolicy);
    // Requests are rare, and a kept connection may have died with the hub: the next request on it
    // is then sent again by Qt, or waits for its time-out.
    outgoing.setRawHeader("Connection", "close");
    if (!request.token.isEmpty())
        outgoing.setRawHeader("Authorization", "Bearer " + request.token);
    if (!request.body.isEmpty())
        outgoing.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    m_reply.reset(request.body.isEmpty()
                      ? network.sendCustomRequest(outgoing, request.method)
                      : network.sendCustomRequest(outgoing, request.method, request.body));
    // A hub that sends a byte now and then never runs into the time-out without progress.
    QTimer::singleShot(request.timeout * 6, m_reply.get(), &QNetworkReply::abort);
}

void HttpExchange::await_suspend(std::coroutine_handle<> waiting) {
    m_waiting = waiting;
    QObject::connect(m_reply.get(), &QNetworkReply::readyRead, &m_context, [this] {
        if (m_reply->bytesAvailable() > kMaxReplyBytes) {
            m_tooLong = true;
            m_reply->abort();
        }
    });
    QObject::connect(m_reply.get(), &QNetworkReply::finished, &m_context, [this] { finish(); });
    if (m_reply->isFinished()) // it failed before anyone waited for it
        QMetaObject::invokeMethod(
            &m_context, [this] { finish(); }, Qt::QueuedConnection);
}

void HttpExchange::finish() {
    if (!m_waiting)
        return;
    m_result.status = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    // Qt's codes below 200 are failures of the network and of proxies, those above are the server's
    // answers. A reply that broke off in its body has a status all the same.
    const auto error = m_reply->error();
    m_result.completed = m_tooLong || error == QNetworkReply::NoError || error > 199;
    if (!m_tooLong && m_reply->isOpen()) // an aborted reply is not
        m_result.body = m_reply->read(kMaxReplyBytes);
    std::exchange(m_waiting, {}).resume();
}

} // namespace sorrelwind
