#include "account/account.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace sorrelwind {

namespace {

struct Required {
    const char* name;
    QString Account::*field;
};
struct Optional {
    const char* name;
    std::optional<QString> Account::*field;
};

constexpr Required kRequired[] = {
    {"server", &Account::server},     {"groupId", &Account::groupId},
    {"deviceId", &Account::deviceId}, {"deviceName", &Account::deviceName},
    {"token", &Account::token},
};
constexpr Optional kOptional[] = {
    {"passphrase", &Account::passphrase},
    {"salt", &Account::salt},
    {"key", &Account::key},
};

} // namespace

QByteArray Account::toJson() const {
    QJsonObject object;
    for (const auto& [name, field] : kRequired)
        object.insert(QLatin1StringView(name), this->*field);
    for (const auto& [name, field] : kOptional) {
        if (this->*field)
            object.insert(QLatin1StringView(name), *(this->*field));
    }
    return QJsonDocument(object).toJson(QJsonDocument::Indented);
}

std::optional<Account> Account::fromJson(const QByteArray& json) {
    const QJsonDocument document = QJsonDocument::fromJson(json);
    if (!document.isObject())
        return std::nullopt;
    const QJsonObject object = document.object();
    Account account;
    for (const auto& [name, field] : kRequired) {
        const QJsonValue value = object.value(QLatin1StringView(name));
        if (!value.isString())
            return std::nullopt;
        account.*field = value.toString();
    }
    for (const auto& [name, field] : kOptional) {
        const QJsonValue value = object.value(QLatin1StringView(name));
        if (value.isUndefined() || value.isNull())
            continue;
        if (!value.isString())
            return std::nullopt;
        account.*field = value.toString();
    }
    return account;
}

} // namespace sorrelwind
