#pragma once

#include "account/account.h"
#include "account/pairing_link.h"
#include "base/l10n.h"
#include "base/result.h"
#include "base/task.h"
#include "crypto/clipboard_crypto.h"
#include "hub/hub_error.h"
#include "hub/wire_records.h"

#include <chrono>
#include <functional>
#include <stop_token>
#include <variant>

namespace sorrelwind {

class Network;

/// Why a group could not be created or joined, or its key not be had.
using SetupError = std::variant<HubError, CryptoError>;
/// One sentence for the user.
[[nodiscard]] Sentence setupMessage(const SetupError& error);
/// What to say of a derivation that takes longer than GroupSetup::kPatience: the hub chooses
/// `iters`.
[[nodiscard]] Sentence longDerivation(qint64 iters);
/// What to say of a passphrase that was typed, while nothing has shown whether it is the group's.
[[nodiscard]] Sentence passphraseUnproven();

/// Turns the wish to create or join a group into a membership. Keeps nothing between calls, saves
/// nothing: the caller saves the Account. There is no roll-back: what fails after the hub has made
/// the device leaves it there, and the user starts again.
class GroupSetup {
public:
    /// Told what is going on, on the main thread.
    using Progress = std::function<void(const Sentence& sentence)>;
    static constexpr std::chrono::milliseconds kPatience{5'000};

    /// Asked to `stop`, a flow derives no key any more and comes back with a membership without
    /// one, for the caller to give back.
    explicit GroupSetup(const Network& network, std::stop_token stop = {})
        : m_network(&network), m_stop(std::move(stop)) {}

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

    /// `account` with the key that another passphrase gives; notEncrypted where there is none.
    [[nodiscard]] Task<Result<Account, SetupError>> rekey(Account account, QString passphrase,
                                                          Progress progress) const {
        return rekeyWith(*this, account, passphrase, progress);
    }

    /// Derives the group key on the thread pool, until asked to `stop` or dropped. `onLong` is
    /// called when it takes longer than kPatience.
    [[nodiscard]] static Task<Result<SymmetricKey, CryptoError>>
    derive(QString passphrase, CryptoRecord record, std::function<void()> onLong,
           std::stop_token stop = {});
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
    static Task<Result<Account, SetupError>> rekeyWith(GroupSetup self, Account account,
                                                       QString passphrase, Progress progress);
    static Task<Result<Account, SetupError>> withKey(GroupSetup self, Account account,
                                                     QString passphrase, CryptoRecord record,
                                                     Progress progress);

    const Network* m_network;
    std::stop_token m_stop;
};

} // namespace sorrelwind
