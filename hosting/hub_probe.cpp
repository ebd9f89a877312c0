#include "hosting/hub_probe.h"

#include "hub/http.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace sorrelwind {

namespace {

using namespace std::chrono_literals;

constexpr auto kPatience = 2s;

} // namespace

Task<bool> hubAnswers(const Network& network, QString server) {
    HttpRequest request;
    request.method = "GET";
    request.url = hubUrl(server, QStringLiteral("healthz"));
    request.timeout = kPatience;
    HttpExchange exchange(network, request);
    const HttpReply reply = co_await exchange;
    // Whoever else listens there may answer anything with 200.
    const QJsonObject health = QJsonDocument::fromJson(reply.body).object();
    co_return !reply.trouble && reply.status == 200 &&
        health.value(QLatin1StringView("ok")).toBool() &&
        health.value(QLatin1StringView("version")).isString();
}

} // namespace sorrelwind
