#pragma once

#include <QByteArray>
#include <QNetworkAccessManager>
#include <QUrl>

#include <chrono>
#include <coroutine>
#include <memory>

class QNetworkReply;

namespace sorrelwind {

/// What came back from one HTTP request.
struct HttpReply {
    bool completed = false; // false: no connection, time-out, cancelled
    int status = 0;         // 0: the reply was no HTTP
    QByteArray body;        // at most kMaxReplyBytes; a longer one reads as empty
};

inline constexpr qint64 kMaxReplyBytes = 1024 * 1024;

struct HttpRequest {
    QByteArray method;
    QUrl url;
    QByteArray token; // empty: no Authorization header
    QByteArray body;  // empty: no body and no Content-Type, else JSON
    std::chrono::milliseconds timeout{
        20'000}; // without progress; the whole takes at most 6 times that
};

/// `base` with `path` appended as path components; a path prefix of `base` is kept.
[[nodiscard]] QUrl hubUrl(const QString& base, const QString& path);

/// Awaits one request. Redirects are not followed: the bearer token goes to the hub alone. A flow
/// that is destroyed meanwhile cancels the request.
class HttpExchange {
public:
    HttpExchange(QNetworkAccessManager& network, const HttpRequest& request);
    HttpExchange(const HttpExchange&) = delete;
    HttpExchange& operator=(const HttpExchange&) = delete;

    [[nodiscard]] bool await_ready() const noexcept { return false; }
    void await_suspend(std::coroutine_handle<> waiting);
    [[nodiscard]] HttpReply await_resume() const { return m_result; }

private:
    void finish();

    std::unique_ptr<QNetworkReply, void (*)(QNetworkReply*)> m_reply;
    QObject m_context; // its death ends the connections to the reply
    std::coroutine_handle<> m_waiting;
    HttpReply m_result;
    bool m_tooLong = false;
};

} // namespace sorrelwind
