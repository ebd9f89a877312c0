#include "hub/hub_api.h"

#include "base/printable.h"
#include "hub/http.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace sorrelwind {

namespace {

// What the hub knows this program as.
const QString kPlatform = QStringLiteral("macos");

// Where the hub that was asked for `path` over plain http says that it is to be found over https.
QString safeAddress(const QUrl& asked, const QString& path, const QUrl& location) {
    if (asked.scheme() != QLatin1StringView("http") ||
        location.scheme() != QLatin1StringView("https") || location.host().isEmpty())
        return {};
    const QString target = location.path();
    const QString prefix =
        target.endsWith(u'/' + path) ? target.chopped(path.size() + 1) : QString();
    QUrl address;
    address.setScheme(location.scheme());
    address.setHost(location.host());
    address.setPort(location.port());
    address.setPath(prefix);
    return printable(address.toString());
}

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
    if (reply.trouble)
        co_return failure(HubError{HubError::Kind::network, 0, {}, reply.trouble});
    if (reply.status != 200)
        co_return failure(HubError{HubError::Kind::status,
                                   reply.status,
                                   errorText(reply.body),
                                   {},
                                   safeAddress(request.url, path, reply.location)});
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
