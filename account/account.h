#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace sorrelwind {

/// One device's membership in a group: which hub, who it is there, and how to come by the group
/// key. Holds secrets (token, passphrase, key): never print it.
struct Account {
    QString server; // canonical hub address, see server_defaults.h
    QString groupId;
    QString deviceId; // given by the hub
    QString deviceName;
    QString token; // bearer credential at the hub
    std::optional<QString> passphrase;
    std::optional<QString> salt; // standard base64
    std::optional<QString> key;  // standard base64 of 32 bytes

    bool operator==(const Account&) const = default;

    /// A JSON object, indented, members in sorted order, absent optionals left out.
    [[nodiscard]] QByteArray toJson() const;
    /// None when a required member is missing or any known member has the wrong type.
    [[nodiscard]] static std::optional<Account> fromJson(const QByteArray& json);
};

} // namespace sorrelwind
