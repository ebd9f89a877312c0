#pragma once

#include "account/account.h"
#include "account/pairing_link.h"
#include "base/l10n.h"
#include "base/result.h"
#include "base/task.h"
#include "crypto/clipboard_crypto.h"
#include "hub/hub_error.h"
#include "hub/wire_records.h"

#include <functional>
#include <variant>

class QNetworkAccessManager;

namespace sorrelwind {

/// Why a group could not be created or joined.
using SetupError = std::variant<HubError, CryptoError>;
/// One sentence for the user.
[[nodiscard]] QString setupMessage(const SetupError& error, Lang lang);

/// Turns the wish to create or join a group into a membership. Keeps nothing between calls, saves
/// nothing: the caller saves the Account. There is no roll-back: what fails after the hub has made
/// the device leaves it there, and the user starts again.
class GroupSetup {
public:
    /// Told what is going on, on the main thread.
    using Progress = std::function<void(const QString& text)>;

    GroupSetup(QNetworkAccessManager& network, const L10n& l10n)
        : m_network(&network), m_l10n(&l10n) {}

    /// A new group at the canonical address `server`, with this device as its first.
    [[nodiscard]] Task<Result<Account, SetupError>>
    create(QString server, QString deviceName, QString passphrase, Progress progress) const {
        return createWith(*this, server, deviceName, passphrase, progress);
    }

    /// Joins by `link`, whose server and code then count, or by a typed `code`. The passphrase is
    /// used when the link carries no usable key.
    [[nodiscard]] Task<Result<Account, SetupError>>
    join(QString server, std::optional<PairingLink> link, QString code, QString passphrase,
         QString deviceName, Progress progress) const {
        return joinWith(*this, server, link, code, passphrase, deviceName, progress);
    }

    /// Derives the group key on the thread pool.
    [[nodiscard]] static Task<Result<SymmetricKey, CryptoError>> derive(QString passphrase,
                                                                        CryptoRecord record);
    /// The reply's group id, else the leading part of its token.
    [[nodiscard]] static QString groupId(const Joined& joined);

private:
    static Task<Result<Account, SetupError>> createWith(GroupSetup self, QString server,
                                                        QString deviceName, QString passphrase,
                                                        Progress progress);
    static Task<Result<Account, SetupError>> joinWith(GroupSetup self, QString server,
                                                      std::optional<PairingLink> link, QString code,
                                                      QString passphrase, QString deviceName,
                                                      Progress progress);

    QNetworkAccessManager* m_network;
    const L10n* m_l10n;
};

} // namespace sorrelwind
