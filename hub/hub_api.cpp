#include "hub/hub_api.h"

#include "hub/http.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace sorrelwind {

namespace {

// What the hub knows this program as.
const QString kPlatform = QStringLiteral("macos");

// The API is taken by value: the caller's may be gone when the reply comes.
template <class T>
HubAPI::Reply<T> send(HubAPI api, QByteArray method, QString path,
                      std::optional<QJsonObject> body) {
    HttpRequest request;
    request.method = method;
    request.url = hubUrl(api.base, path);
    request.token = api.token.value_or(QString()).toUtf8();
    if (body)
        request.body = QJsonDocument(*body).toJson(QJsonDocument::Compact);
    HttpExchange exchange(*api.network, request);
    const HttpReply reply = co_await exchange;
    if (!reply.completed)
        co_return failure(HubError{HubError::Kind::network, 0, {}});
    if (reply.status != 200)
        co_return failure(HubError{HubError::Kind::status, reply.status, errorText(reply.body)});
    const QJsonDocument document = QJsonDocument::fromJson(reply.body);
    auto record = document.isObject() ? T::fromJson(document.object()) : std::nullopt;
    if (!record)
        co_return failure(HubError{HubError::Kind::decode, 0, {}});
    co_return *std::move(record);
}

HubAPI::Reply<std::optional<CryptoRecord>> cryptoOf(HubAPI::Reply<CryptoReply> request) {
    const auto reply = co_await std::move(request);
    if (!reply)
        co_return failure(reply.error());
    co_return reply->crypto;
}

} // namespace

HubAPI::Reply<Joined> HubAPI::createGroup(QString name) const {
    const QJsonObject body{{QStringLiteral("name"), name}, {QStringLiteral("platform"), kPlatform}};
    return send<Joined>(*this, "POST", QStringLiteral("groups"), body);
}

HubAPI::Reply<std::optional<CryptoRecord>> HubAPI::setCrypto(QString salt) const {
    const QJsonObject body{{QStringLiteral("salt"), salt}};
    return cryptoOf(send<CryptoReply>(*this, "POST", QStringLiteral("crypto"), body));
}

HubAPI::Reply<Joined> HubAPI::claim(QString code, QString name) const {
    const QJsonObject body{{QStringLiteral("code"), code},
                           {QStringLiteral("name"), name},
                           {QStringLiteral("platform"), kPlatform}};
    return send<Joined>(*this, "POST", QStringLiteral("pair/claim"), body);
}

HubAPI::Reply<OkReply> HubAPI::renameDevice(QString id, QString name) const {
    const QJsonObject body{{QStringLiteral("name"), name}};
    return send<OkReply>(*this, "PATCH", QStringLiteral("devices/") + id, body);
}

HubAPI::Reply<PairingReply> HubAPI::createPairing() const {
    return send<PairingReply>(*this, "POST", QStringLiteral("pair"), std::nullopt);
}

HubAPI::Reply<std::optional<CryptoRecord>> HubAPI::fetchCrypto() const {
    return cryptoOf(send<CryptoReply>(*this, "GET", QStringLiteral("crypto"), std::nullopt));
}

HubAPI::Reply<OkReply> HubAPI::deleteDevice(QString id) const {
    return send<OkReply>(*this, "DELETE", QStringLiteral("devices/") + id, std::nullopt);
}

} // namespace sorrelwind
