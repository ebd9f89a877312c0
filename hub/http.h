#pragma once

#include "hub/http_reader.h"
#include "hub/line.h"

#include <QByteArray>
#include <QUrl>

#include <chrono>
#include <coroutine>
#include <optional>

namespace sorrelwind {

/// What came back from one HTTP request.
struct HttpReply {
    std::optional<Unreachable> trouble; // why there is no whole reply
    int status = 0;                     // 0: the reply was no HTTP
    QByteArray body; // of HttpReader::kMaxBody at most; a longer one reads as empty
    QUrl location;   // where a redirect leads to; empty without one
};

struct HttpRequest {
    QByteArray method;
    QUrl url;
    QByteArray token;                          // empty: no Authorization header
    QByteArray body;                           // empty: no body and no Content-Type, else JSON
    std::chrono::milliseconds timeout{20'000}; // without a byte that moves in either direction
};

/// `base` with `path` appended as path components; a path prefix of `base` is kept.
[[nodiscard]] QUrl hubUrl(const QString& base, const QString& path);
/// The lines that begin each request: the request line, Host and User-Agent.
[[nodiscard]] QByteArray requestHead(const QByteArray& method, const QUrl& url);

/// Awaits one request, which is sent once, on a connection of its own: what becomes of a request
/// without a reply only the hub knows. Redirects are not followed: the bearer token goes to the hub
/// alone. A flow that is destroyed meanwhile cancels the request.
class HttpExchange {
public:
    HttpExchange(const Network& network, const HttpRequest& request);
    HttpExchange(const HttpExchange&) = delete;
    HttpExchange& operator=(const HttpExchange&) = delete;

    [[nodiscard]] bool await_ready() const noexcept { return false; }
    void await_suspend(std::coroutine_handle<> waiting);
    [[nodiscard]] HttpReply await_resume() const { return m_result; }

private:
    void take(HttpReader::State state);
    void finish();

    QUrl m_url;
    Line m_line;
    HttpReader m_reader;
    QTimer m_patience;
    std::coroutine_handle<> m_waiting;
    bool m_finished = false;
    HttpReply m_result;
    QObject m_context; // dies first, and with it all that is connected
};

} // namespace sorrelwind
