#pragma once

#include "base/result.h"

#include <QJsonObject>
#include <QList>
#include <QString>

#include <optional>

namespace sorrelwind {

// The JSON records exchanged with the hub (docs/protocol.md). Times are milliseconds since the Unix
// epoch. Unknown keys are ignored; a required key that is missing or has the wrong type fails the
// whole record; an optional one may be absent or null.

/// One clipboard item as the hub delivers it.
struct CloudItem {
    QString id;
    qint64 ts = 0;
    std::optional<QString> from; // device id of the publisher
    QString device;              // display name of the publisher
    QString mime;
    QString payload; // "sw1." text, or plain text in a group without encryption

    bool operator==(const CloudItem&) const = default;
    [[nodiscard]] static std::optional<CloudItem> fromJson(const QJsonValue& json);
};

/// One clipboard item as this device publishes it; the hub adds the sender.
struct OutgoingItem {
    QString id; // random UUID, canonical form, upper case
    qint64 ts = 0;
    QString payload;

    [[nodiscard]] QJsonObject toJson() const;
};

/// One member of the group.
struct DeviceInfo {
    QString id;
    QString name;
    QString platform;
    qint64 createdAt = 0;
    qint64 lastSeen = 0;
    bool online = false;

    bool operator==(const DeviceInfo&) const = default;
    [[nodiscard]] static std::optional<DeviceInfo> fromJson(const QJsonValue& json);
};

/// The group's key-derivation parameters, kept by the hub. `v` and `kdf` are carried, not
/// interpreted.
struct CryptoRecord {
    qint64 v = 0;
    QString kdf;
    qint64 iters = 0;
    QString salt; // standard base64

    bool operator==(const CryptoRecord&) const = default;
    [[nodiscard]] static std::optional<CryptoRecord> fromJson(const QJsonValue& json);
};

enum class EnvelopeFault {
    unreadable, // no JSON, or not the record
    excessive,  // more devices or longer names than the bounds below allow
};

/// A frame of the WebSocket, as the hub sends it.
struct Envelope {
    QString type;
    std::optional<CloudItem> item;
    std::optional<QList<DeviceInfo>> devices; // the complete list
    std::optional<QString> ref;
    std::optional<qint64> status;
    std::optional<qint64> recipients;

    static constexpr qsizetype kMaxDevices = 256;
    static constexpr qsizetype kMaxWord = 256; // UTF-16 units of any text but the payload

    [[nodiscard]] static Result<Envelope, EnvelopeFault> fromText(const QByteArray& utf8);
};

/// Reply of creating a group and of claiming a pairing code.
struct Joined {
    QString deviceId;
    QString deviceName;
    QString token;
    std::optional<QString> groupId;

    [[nodiscard]] static std::optional<Joined> fromJson(const QJsonValue& json);
};

/// Reply of reading or setting the group's crypto parameters; none means that it has none yet.
struct CryptoReply {
    std::optional<CryptoRecord> crypto;

    [[nodiscard]] static std::optional<CryptoReply> fromJson(const QJsonValue& json);
};

/// Reply of asking for a pairing code.
struct PairingReply {
    QString code;
    qint64 expiresAt = 0;

    [[nodiscard]] static std::optional<PairingReply> fromJson(const QJsonValue& json);
};

/// Reply of publishing over REST.
struct PublishReply {
    std::optional<qint64> recipients;

    [[nodiscard]] static std::optional<PublishReply> fromJson(const QJsonValue& json);
};

/// Reply of renaming and deleting; its content does not matter.
struct OkReply {
    [[nodiscard]] static std::optional<OkReply> fromJson(const QJsonValue& json);
};

/// The hub's own words in a reply other than 200, if there are any; cut if they are many.
[[nodiscard]] std::optional<QString> errorText(const QByteArray& body);

} // namespace sorrelwind
