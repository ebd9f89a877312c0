#include "hub/wire_records.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>

namespace sorrelwind {

namespace {

/// Reads the members of one object and remembers whether any of them was not as it must be.
class Reader {
public:
    explicit Reader(const QJsonValue& json) : m_object(json.toObject()), m_ok(json.isObject()) {}

    [[nodiscard]] bool ok() const { return m_ok; }

    Reader& required(const char* key, QString& out) {
        const QJsonValue value = m_object.value(QLatin1StringView(key));
        m_ok = m_ok && value.isString();
        out = value.toString();
        return *this;
    }
    Reader& required(const char* key, qint64& out) {
        const auto number = integer(m_object.value(QLatin1StringView(key)));
        m_ok = m_ok && number;
        out = number.value_or(0);
        return *this;
    }
    Reader& required(const char* key, bool& out) {
        const QJsonValue value = m_object.value(QLatin1StringView(key));
        m_ok = m_ok && value.isBool();
        out = value.toBool();
        return *this;
    }
    Reader& optional(const char* key, std::optional<QString>& out) {
        return optionalAs(key, out, [](const QJsonValue& value) {
            return value.isString() ? std::optional(value.toString()) : std::nullopt;
        });
    }
    Reader& optional(const char* key, std::optional<qint64>& out) {
        return optionalAs(key, out, integer);
    }
    template <class Record>
    Reader& optional(const char* key, std::optional<Record>& out) {
        return optionalAs(key, out, Record::fromJson);
    }
    Reader& optional(const char* key, std::optional<bool>& out) {
        return optionalAs(key, out, [](const QJsonValue& value) {
            return value.isBool() ? std::optional(value.toBool()) : std::nullopt;
        });
    }
    template <class Record>
    Reader& optional(const char* key, std::optional<QList<Record>>& out) {
        return optionalAs(key, out, list<Record>);
    }

private:
    template <class T, class Decode>
    Reader& optionalAs(const char* key, std::optional<T>& out, Decode decode) {
        const QJsonValue value = m_object.value(QLatin1StringView(key));
        if (value.isUndefined() || value.isNull())
            return *this;
        out = decode(value);
        m_ok = m_ok && out;
        return *this;
    }

    // 2 and 2.0 are integers, 1.5 and "5" are not.
    static std::optional<qint64> integer(const QJsonValue& value) {
        const qint64 number = value.toInteger(0);
        if (!value.isDouble() || number != value.toInteger(1))
            return std::nullopt;
        return number;
    }

    template <class Record>
    static std::optional<QList<Record>> list(const QJsonValue& value) {
        if (!value.isArray())
            return std::nullopt;
        QList<Record> records;
        const QJsonArray array = value.toArray();
        for (const QJsonValue entry : array) {
            auto record = Record::fromJson(entry);
            if (!record)
                return std::nullopt;
            records.append(*std::move(record));
        }
        return records;
    }

    QJsonObject m_object;
    bool m_ok;
};

// By reference: the reader fills the record while the arguments are worked out, in any order.
template <class Record>
std::optional<Record> whole(const Reader& reader, Record& record) {
    return reader.ok() ? std::optional(std::move(record)) : std::nullopt;
}

constexpr qsizetype kMaxToken = 4096; // characters, as is the next
constexpr qsizetype kMaxError = 1000;

bool isLong(const QString& word) {
    return word.size() > Envelope::kMaxWord;
}

bool isExcessive(const Envelope& envelope) {
    const auto isExcessiveDevice = [](const DeviceInfo& device) {
        return isLong(device.id) || isLong(device.name) || isLong(device.platform);
    };
    if (envelope.devices && (envelope.devices->size() > Envelope::kMaxDevices ||
                             std::ranges::any_of(*envelope.devices, isExcessiveDevice)))
        return true;
    const auto& item = envelope.item;
    return isLong(envelope.type) || isLong(envelope.ref.value_or(QString())) ||
           (item && (isLong(item->id) || isLong(item->from.value_or(QString())) ||
                     isLong(item->device) || isLong(item->mime)));
}

/// The text fit for QJsonDocument, which swallows a byte order mark at the start of a string, but
/// not an escaped one, and holds each value in several times its bytes: none when there are more
/// of them than a frame can need.
std::optional<QByteArray> prepared(const QByteArray& utf8) {
    constexpr qsizetype kMaxTokens = 64 * Envelope::kMaxDevices;
    constexpr QByteArrayView kMark = "\xEF\xBB\xBF";
    const QByteArrayView text(utf8);
    qsizetype tokens = 0;
    QByteArray json;
    qsizetype copied = 0;
    bool inString = false;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (inString) {
            inString = c != '"';
            i += c == '\\' ? 1 : 0;
            continue;
        }
        inString = c == '"';
        if ((inString || c == ',' || c == '[' || c == '{') && ++tokens > kMaxTokens)
            return std::nullopt;
        if (inString && text.sliced(i + 1).startsWith(kMark)) {
            json.append(text.sliced(copied, i + 1 - copied)).append("\\ufeff");
            copied = i + 1 + kMark.size();
        }
    }
    return copied == 0 ? utf8 : json.append(text.sliced(copied));
}

/// The `device` object of a Joined reply.
struct Dev {
    QString id;
    QString name;

    static std::optional<Dev> fromJson(const QJsonValue& json) {
        Dev dev;
        return whole(Reader(json).required("id", dev.id).required("name", dev.name), dev);
    }
};

} // namespace

std::optional<CloudItem> CloudItem::fromJson(const QJsonValue& json) {
    CloudItem item;
    return whole(Reader(json)
                     .required("id", item.id)
                     .required("ts", item.ts)
                     .optional("from", item.from)
                     .required("device", item.device)
                     .required("mime", item.mime)
                     .required("payload", item.payload),
                 item);
}

QJsonObject OutgoingItem::toJson() const {
    return {{QStringLiteral("id"), id},
            {QStringLiteral("ts"), ts},
            {QStringLiteral("mime"), QStringLiteral("text/plain")},
            {QStringLiteral("payload"), payload}};
}

std::optional<DeviceInfo> DeviceInfo::fromJson(const QJsonValue& json) {
    DeviceInfo info;
    return whole(Reader(json)
                     .required("id", info.id)
                     .required("name", info.name)
                     .required("platform", info.platform)
                     .required("createdAt", info.createdAt)
                     .required("lastSeen", info.lastSeen)
                     .required("online", info.online),
                 info);
}

std::optional<CryptoRecord> CryptoRecord::fromJson(const QJsonValue& json) {
    CryptoRecord record;
    return whole(Reader(json)
                     .required("v", record.v)
                     .required("kdf", record.kdf)
                     .required("iters", record.iters)
                     .required("salt", record.salt),
                 record);
}

Result<Envelope, EnvelopeFault> Envelope::fromText(const QByteArray& utf8) {
    const auto json = prepared(utf8);
    if (!json)
        return failure(EnvelopeFault::excessive);
    const QJsonDocument document = QJsonDocument::fromJson(*json);
    if (!document.isObject())
        return failure(EnvelopeFault::unreadable);
    Envelope envelope;
    const bool ok = Reader(document.object())
                        .required("type", envelope.type)
                        .optional("item", envelope.item)
                        .optional("devices", envelope.devices)
                        .optional("ref", envelope.ref)
                        .optional("status", envelope.status)
                        .optional("recipients", envelope.recipients)
                        .ok();
    if (!ok)
        return failure(EnvelopeFault::unreadable);
    if (isExcessive(envelope))
        return failure(EnvelopeFault::excessive);
    return envelope;
}

std::optional<Joined> Joined::fromJson(const QJsonValue& json) {
    Joined joined;
    std::optional<Dev> device;
    const Reader reader = Reader(json)
                              .optional("device", device)
                              .required("token", joined.token)
                              .optional("groupId", joined.groupId);
    if (!device || isLong(device->id) || isLong(device->name) ||
        isLong(joined.groupId.value_or(QString())) || joined.token.size() > kMaxToken)
        return std::nullopt;
    joined.deviceId = device->id;
    joined.deviceName = device->name;
    return whole(reader, joined);
}

std::optional<CryptoReply> CryptoReply::fromJson(const QJsonValue& json) {
    CryptoReply reply;
    return whole(Reader(json).optional("crypto", reply.crypto), reply);
}

std::optional<PairingReply> PairingReply::fromJson(const QJsonValue& json) {
    PairingReply reply;
    return whole(Reader(json).required("code", reply.code).required("expiresAt", reply.expiresAt),
                 reply);
}

std::optional<PublishReply> PublishReply::fromJson(const QJsonValue& json) {
    PublishReply reply;
    return whole(Reader(json).optional("recipients", reply.recipients), reply);
}

std::optional<OkReply> OkReply::fromJson(const QJsonValue& json) {
    std::optional<bool> ok;
    OkReply reply;
    return whole(Reader(json).optional("ok", ok), reply);
}

std::optional<QString> errorText(const QByteArray& body) {
    std::optional<QString> error;
    const QJsonDocument document = QJsonDocument::fromJson(body);
    const bool ok = Reader(document.object()).optional("error", error).ok();
    return ok && error && !error->isEmpty() ? std::optional(error->left(kMaxError)) : std::nullopt;
}

} // namespace sorrelwind
