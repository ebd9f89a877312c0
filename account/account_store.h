#pragma once

#include "account/account.h"
#include "base/l10n.h"
#include "base/result.h"

#include <QString>

namespace sorrelwind {

/// The account file and its directory: the one record of this device's membership, account.json,
/// readable by its owner only. It exists exactly while the device is in a group.
class AccountStore {
public:
    /// `dir` need not exist. Without it: ~/.config/sorrelwind of the password database's home.
    explicit AccountStore(QString dir = defaultDir());

    [[nodiscard]] static QString defaultDir();

    [[nodiscard]] const QString& dir() const { return m_dir; }
    [[nodiscard]] QString fileUrl() const;

    /// None when there is no file or it does not decode; the file stays as it is.
    [[nodiscard]] std::optional<Account> load() const;
    /// Replaces the file whole, mode 0600 from its first byte. The error is the system's reason;
    /// the earlier file is then untouched.
    [[nodiscard]] Result<void, Sentence> save(const Account& account) const;
    /// Deletes the account file if there is one, and nothing else.
    void clear() const;
    /// A passphrase left by an earlier configuration file, config.json, if it has a non-empty one.
    [[nodiscard]] std::optional<QString> legacyPassphrase() const;

    /// Makes the directory and proves that a file can be written in it; else what to tell the user.
    [[nodiscard]] Result<void, Sentence> prepare() const;

private:
    QString m_dir;
};

} // namespace sorrelwind
