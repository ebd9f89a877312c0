#include "tests/ui/model_over_hub.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace sorrelwind::test {

namespace {

QByteArray frame(const char* type, const QList<DeviceInfo>& devices) {
    QJsonArray list;
    for (const DeviceInfo& device : devices) {
        list.append(QJsonObject{{QStringLiteral("id"), device.id},
                                {QStringLiteral("name"), device.name},
                                {QStringLiteral("platform"), device.platform},
                                {QStringLiteral("createdAt"), device.createdAt},
                                {QStringLiteral("lastSeen"), device.lastSeen},
                                {QStringLiteral("online"), device.online}});
    }
    return QJsonDocument(QJsonObject{{QStringLiteral("type"), QLatin1StringView(type)},
                                     {QStringLiteral("devices"), list}})
        .toJson(QJsonDocument::Compact);
}

} // namespace

ModelOverHub::ModelOverHub(Defaults& defaults) : l10n(defaults), prefs(defaults) {
    hub.on("GET /crypto", {Answer{.body = R"({"crypto":null})"}});
    hub.on("POST /items", {Answer{.status = 500}});
}

QList<DeviceInfo> ModelOverHub::devices(const QStringList& others) {
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    QList<DeviceInfo> list = {
        {QStringLiteral("me"), QStringLiteral("Studio"), QStringLiteral("macos"), 1, now, true}};
    for (const QString& name : others) {
        const qint64 hours = list.size() - 1;
        list.append({QStringLiteral("d%1").arg(list.size()), name, QStringLiteral("android"), 1,
                     now - hours * 3 * 3600 * 1000, hours == 0});
    }
    return list;
}

bool ModelOverHub::start(const QList<DeviceInfo>& devices, bool withKey) {
    Account account{server,
                    QStringLiteral("g"),
                    QStringLiteral("me"),
                    QStringLiteral("Studio"),
                    QStringLiteral("g.t"),
                    QStringLiteral("words"),
                    {},
                    {}};
    if (withKey)
        account.key = QString::fromLatin1(QByteArray(32, 'k').toBase64());
    if (!store.save(account))
        return false;
    hub.greeting = frame("hello", devices);
    model = std::make_unique<AppModel>(AppModel::Services{store, pasteboard, network, l10n, prefs});
    return waitFor(
        [&] { return model->connection() == SyncState::connected && model->devices() == devices; });
}

bool ModelOverHub::setDevices(const QList<DeviceInfo>& devices) {
    hub.send(frame("devices", devices));
    return waitFor([&] { return model->devices() == devices; });
}

bool ModelOverHub::copy(std::optional<int> recipients) {
    hub.onFrame = [this, recipients](const QByteArray& text) {
        const QJsonObject item = QJsonDocument::fromJson(text).object().value(u"item").toObject();
        if (item.isEmpty())
            return;
        const QJsonObject ack{{QStringLiteral("type"), QStringLiteral("ack")},
                              {QStringLiteral("ref"), item.value(u"id")},
                              {QStringLiteral("status"), recipients ? 200 : 413},
                              {QStringLiteral("recipients"), recipients.value_or(0)}};
        hub.send(QJsonDocument(ack).toJson(QJsonDocument::Compact));
    };
    const auto before = model->lastSent();
    pasteboard.copyText(QStringLiteral("copy %1").arg(++m_count));
    return waitFor([&] { return model->lastSent() != before; });
}

bool ModelOverHub::receive(const QString& payload, const QString& device) {
    const auto received = model->lastReceived();
    const bool failed = model->decryptFailed();
    const QJsonObject item{{QStringLiteral("id"), QStringLiteral("i%1").arg(++m_count)},
                           {QStringLiteral("ts"), 1},
                           {QStringLiteral("from"), QStringLiteral("d1")},
                           {QStringLiteral("device"), device},
                           {QStringLiteral("mime"), QStringLiteral("text/plain")},
                           {QStringLiteral("payload"), payload}};
    hub.send(QJsonDocument(QJsonObject{{QStringLiteral("type"), QStringLiteral("item")},
                                       {QStringLiteral("item"), item}})
                 .toJson(QJsonDocument::Compact));
    return waitFor(
        [&] { return model->lastReceived() != received || model->decryptFailed() != failed; });
}

} // namespace sorrelwind::test
