#pragma once

#include "base/result.h"
#include "base/task.h"
#include "hub/hub_error.h"
#include "hub/wire_records.h"

#include <QString>

namespace sorrelwind {

class Network;

/// The hub's REST interface (docs/protocol.md). A plain value, made where a request is needed and
/// not kept; `network` is the process-wide one and outlives every request.
struct HubAPI {
    const Network* network;
    QString base;                 // the account's server, maybe with a path prefix
    std::optional<QString> token; // none while creating or joining a group

    template <class T>
    using Reply = Task<Result<T, HubError>>;

    // Every operation fails with a HubError and never retries.
    [[nodiscard]] Reply<Joined> createGroup(QString name) const;
    [[nodiscard]] Reply<std::optional<CryptoRecord>> setCrypto(QString salt) const;
    [[nodiscard]] Reply<Joined> claim(QString code, QString name) const;
    [[nodiscard]] Reply<OkReply> renameDevice(QString id, QString name) const;
    [[nodiscard]] Reply<PairingReply> createPairing() const;
    [[nodiscard]] Reply<std::optional<CryptoRecord>> fetchCrypto() const;
    [[nodiscard]] Reply<OkReply> deleteDevice(QString id) const;
};

} // namespace sorrelwind
